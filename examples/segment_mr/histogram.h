#pragma once

#include <vector>

#include "support/image.h"
#include "support/segmentation.h"

namespace segment_mr {

/// The intensities above 0, counted in bins of equal width.
struct Histogram {
  double start = 0.0;  ///< lower end of the first bin
  double binWidth = 1.0;
  std::vector<double> counts;
  std::vector<std::vector<double>> memberships;  ///< per class and bin: the mean over the bin's voxels

  double MiddleOf(std::size_t bin) const { return start + (static_cast<double>(bin) + 0.5) * binWidth; }
};

/// One bin per grey level where these are few whole numbers; 128 bins otherwise.
Histogram ComputeHistogram(const example::GreyImage& image, const example::Segmentation& segmentation);

}  // namespace segment_mr
