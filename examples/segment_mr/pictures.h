#pragma once

#include "support/image.h"
#include "support/results.h"
#include "support/segmentation.h"

namespace segment_mr {

/// Writes labels.png, membership_K.png and panel.png, after an evidential run undecided.png and outliers.png
/// or conflict.png, too; of a volume its middle plane along z.
/// @param over  labels of the same grid, for undecided_over_labels.png, which stands on the panel in the
///              place of the labels; null: none.
/// @throws example::Failure  when `over` is no label image of at most kMostClusters labels.
void WritePictures(example::Results& results, const example::GreyImage& image, const example::GreyImage* over,
                   const example::Segmentation& segmentation, example::Side side);

}  // namespace segment_mr
