#pragma once

#include <cstdint>
#include <vector>

#include "options.h"
#include "support/image.h"

namespace texture_mr {

inline constexpr int kOutside = -1;
inline constexpr int kWholeImage = 0;  ///< the label of the one region of an image without a mask

/// Which voxels belong together.
struct Regions {
  std::vector<int> labels;            ///< of the regions to measure, ascending
  std::vector<std::int16_t> ofVoxel;  ///< index of the voxel's region, or kOutside
};

/// The regions that the options name; the whole image without a mask. Voxels that were no finite numbers
/// belong to none.
/// @throws example::Failure  when the mask cannot be read or used: another size than the image's, values that
/// are no labels, no region or too many of them, or no voxel of a label that is asked for.
Regions ReadRegions(const example::GreyImage& image, const Options& options);

}  // namespace texture_mr
