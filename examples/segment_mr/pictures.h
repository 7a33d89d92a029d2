#pragma once

#include "support/image.h"
#include "support/raster.h"
#include "support/results.h"
#include "support/segmentation.h"

namespace segment_mr {

/// Writes labels.png, membership_K.png and panel.png, after an evidential run undecided.png and outliers.png
/// or conflict.png, too; of a volume its middle plane along z.
/// @param colours  of the labels from 1 on.
void WritePictures(example::Results& results, const example::GreyImage& image,
                   const example::Segmentation& segmentation, const std::vector<example::Colour>& colours,
                   example::Side side);

}  // namespace segment_mr
