#include "histogram.h"

#include <algorithm>
#include <cmath>

namespace segment_mr {

using example::Segmentation;

namespace {

constexpr double kMostLevels = 512.0;  // more would be thinner than the dots of a screen
constexpr double kBins = 128.0;

// Empty, with its bins laid out; `labels` tells which voxels count.
Histogram LayOutBins(const std::vector<double>& values, const std::vector<std::uint8_t>& labels) {
  double least = 0.0;
  double greatest = 0.0;
  bool isFirst = true;
  bool areWhole = true;
  for (std::size_t voxel = 0; voxel < values.size(); ++voxel) {
    if (labels[voxel] == 0) continue;
    const double value = values[voxel];
    least = isFirst ? value : std::min(least, value);
    greatest = isFirst ? value : std::max(greatest, value);
    areWhole = areWhole && value == std::floor(value);
    isFirst = false;
  }
  Histogram histogram;
  const bool hasBinPerLevel = areWhole && greatest - least < kMostLevels;
  histogram.start = hasBinPerLevel ? least - 0.5 : least;
  histogram.binWidth = hasBinPerLevel ? 1.0 : (greatest - least) / kBins;
  histogram.counts.assign(static_cast<std::size_t>(hasBinPerLevel ? greatest - least + 1.0 : kBins), 0.0);
  return histogram;
}

}  // namespace

Histogram ComputeHistogram(const example::GreyImage& image, const Segmentation& segmentation) {
  Histogram histogram = LayOutBins(image.values, segmentation.labels);
  const std::size_t bins = histogram.counts.size();
  histogram.memberships.assign(segmentation.memberships.size(), std::vector<double>(bins, 0.0));
  for (std::size_t voxel = 0; voxel < image.values.size(); ++voxel) {
    if (segmentation.labels[voxel] == 0) continue;
    const double position = (image.values[voxel] - histogram.start) / histogram.binWidth;
    const std::size_t bin = std::min(static_cast<std::size_t>(position), bins - 1);
    histogram.counts[bin] += 1.0;
    for (std::size_t k = 0; k < histogram.memberships.size(); ++k) {
      histogram.memberships[k][bin] += segmentation.memberships[k][voxel];
    }
  }
  for (auto& curve : histogram.memberships) {
    for (std::size_t bin = 0; bin < bins; ++bin) curve[bin] /= std::max(histogram.counts[bin], 1.0);
  }
  return histogram;
}

}  // namespace segment_mr
