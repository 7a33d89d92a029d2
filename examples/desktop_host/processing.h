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

/// What a computation works on.
struct Request {
  const example::GreyImage& image;  ///< without voxels when none is open
  const example::GreyImage& slice;  ///< the plane of it that is shown
  int classesCount;
};

/// What came out of a computation: classes of the slice, a new image, or nothing after a failure that the
/// user was told of.
struct Outcome {
  std::optional<Segmentation> segmentation;
  std::optional<example::GreyImage> image;
};

/// An entry of the menu of computations. They show their progress, and their failures, in the library's
/// windows.
struct Processing {
  const char* name;  ///< with the mnemonic of the menu
  const char* hint;
  Outcome (*run)(const Request& request);
};

/// The computations that the host offers, in the order of the menu.
const std::vector<Processing>& Processings();

}  // namespace desktop_host
