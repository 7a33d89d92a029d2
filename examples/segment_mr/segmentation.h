#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "options.h"
#include "support/image.h"

namespace segment_mr {

/// What evidential c-means tells beside the classes.
struct Evidence {
  std::vector<float> undecided;  ///< per voxel: mass on sets of several classes; 0 outside
  std::vector<float>
      unassigned;  ///< per voxel: mass on no class, or the conflict between two images; 0 outside
  std::size_t undecidedVoxels = 0;  ///< whose largest mass is on a set of several classes
  std::size_t outlierVoxels = 0;    ///< whose largest mass is on no class; none after fusion
};

/// How the second of two fused images was clustered.
struct FusedImage {
  std::vector<double> centroids;  ///< in the order of the first image's classes
  std::size_t iterations = 0;
  bool hasConverged = false;
};

/// The classes of an image, in the order of their centroids.
struct Segmentation {
  std::vector<double> start;             ///< the starting centroids, in the order in which they were given
  std::vector<double> centroids;         ///< intensities, ascending
  std::vector<std::size_t> voxelCounts;  ///< of each class
  std::vector<std::uint8_t> labels;      ///< per voxel: 1 is the darkest class, 0 is outside
  std::vector<std::vector<float>> memberships;  ///< per class and voxel; 0 outside
  std::vector<double> changes;                  ///< of each iteration; to six decimals but for the last
  bool hasConverged = false;
  std::optional<Evidence> evidence;
  std::optional<FusedImage> fused;
};

/// Whether a voxel of that value is clustered: above 0, and a number.
bool IsInside(double value);

/// Clusters the voxels above 0.
/// @param second  an image to fuse with, of the same grid; null for none.
/// @throws example::Failure  when there is no voxel, or when the voxels have fewer distinct intensities than
/// there are classes; when the evidence of the first image has not converged for
/// fusion.
Segmentation Segment(const example::GreyImage& image, const example::GreyImage* second,
                     const Options& options);

}  // namespace segment_mr
