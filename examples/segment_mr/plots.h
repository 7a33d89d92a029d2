#pragma once

#include <string>

#include "options.h"
#include "support/image.h"
#include "support/segmentation.h"

namespace segment_mr {

/// The histogram of the intensities with the centroids and the membership curves, as SVG.
std::string DrawHistogram(const example::GreyImage& image, const example::Segmentation& segmentation);

/// The change in each iteration, on a logarithmic axis, as SVG.
std::string DrawConvergence(const example::Segmentation& segmentation, const Options& options);

}  // namespace segment_mr
