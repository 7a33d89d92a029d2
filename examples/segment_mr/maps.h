#pragma once

#include <string>
#include <vector>

#include "options.h"
#include "support/image.h"
#include "support/raster.h"
#include "support/results.h"
#include "support/segmentation.h"

namespace segment_mr {

/// Writes the labels and every result per voxel as NIfTI in the grid of the image, with names and colours of
/// the labels for the programs that show them.
void WriteMaps(example::Results& results, const example::GreyImage& image,
               const example::Segmentation& segmentation, const Options& options);

/// Of each class; after them "undecided" of an evidential run, and "lesions" where there is a mask of them.
std::vector<std::string> LabelNames(const example::Segmentation& segmentation, const Options& options);

/// The colour of each label from 1 on.
std::vector<example::Colour> LabelColours(const example::Segmentation& segmentation);

}  // namespace segment_mr
