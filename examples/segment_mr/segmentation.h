#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "options.h"
#include "support/image.h"

namespace segment_mr {

/// The classes of an image, in the order of their centroids.
struct Segmentation {
  std::vector<double> start;             ///< the starting centroids, in the order in which they were given
  std::vector<double> centroids;         ///< intensities, ascending
  std::vector<std::size_t> voxelCounts;  ///< of each class
  std::vector<std::uint8_t> labels;      ///< per voxel: 1 is the darkest class, 0 is outside
  std::vector<std::vector<float>> memberships;  ///< per class and voxel; 0 outside
  std::vector<double> changes;                  ///< of each iteration; to six decimals but for the last
  bool hasConverged = false;
};

/// Clusters the voxels above 0.
/// @throws example::Failure  when none is, or when they have fewer distinct intensities than there are
/// classes.
Segmentation Segment(const example::GreyImage& image, const Options& options);

}  // namespace segment_mr
