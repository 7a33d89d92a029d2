#pragma once

#include "segmentation.h"
#include "support/image.h"
#include "support/results.h"

namespace segment_mr {

/// Writes labels.png, membership_K.png and panel.png, after an evidential run undecided.png and outliers.png
/// or conflict.png, too; of a volume its middle plane along z.
void WritePictures(example::Results& results, const example::GreyImage& image,
                   const Segmentation& segmentation);

}  // namespace segment_mr
