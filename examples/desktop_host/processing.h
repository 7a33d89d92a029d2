#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "mth/clustering/Mth_clustering.h"
#include "support/image.h"

namespace desktop_host {

/// The classes of a slice, in the order of their centroids, and the engine that found them.
struct Segmentation {
  std::unique_ptr<MTH_CLUSTERING> engine;
  std::vector<int> clusterOfClass;              ///< the engine's number of each class
  std::vector<int> sampleOfVoxel;               ///< the engine's sample at each voxel, -1 outside
  std::vector<double> centroids;                ///< intensities, ascending
  std::vector<std::uint8_t> labels;             ///< per voxel: 1 is the darkest class, 0 is outside
  std::vector<std::vector<float>> memberships;  ///< per class and voxel; 0 outside
};

/// What came out of a computation: classes of the slice, a new slice, or nothing after a failure that the
/// library has told the user.
struct Outcome {
  std::optional<Segmentation> segmentation;
  std::optional<example::GreyImage> slice;
};

/// An entry of the menu of computations. All of them show the library's progress window.
struct Processing {
  const char* name;  ///< with the mnemonic of the menu
  const char* hint;
  /// @param slice  one plane; without voxels when no image is open.
  Outcome (*run)(const example::GreyImage& slice, int classesCount);
};

/// The computations that the host offers, in the order of the menu.
const std::vector<Processing>& Processings();

}  // namespace desktop_host
