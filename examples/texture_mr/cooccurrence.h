#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "options.h"
#include "regions.h"
#include "support/image.h"

namespace texture_mr {

/// A way from a voxel to the other one of its pair.
struct Direction {
  std::string name;           ///< an angle in degrees on the screen, or the steps along x, y and z
  std::array<int, 3> offset;  ///< in the grid of the file
};

/// The four angles within the planes of an image or, where the user asks for them, of a volume; the thirteen
/// directions of a volume otherwise.
std::vector<Direction> DirectionsOf(const example::GreyImage& image, const Options& options);

/// How often two levels stand beside each other, counted both ways: symmetric, levels x levels.
struct PairCounts {
  int levels = 0;
  std::int64_t total = 0;
  std::vector<std::int64_t> counts;  ///< of levels i and j at i * levels + j

  std::int64_t At(int i, int j) const {
    return counts[static_cast<std::size_t>(i) * static_cast<std::size_t>(levels) +
                  static_cast<std::size_t>(j)];
  }
};

/// The matrices of one region, one per direction.
struct RegionPairs {
  int label = 0;
  std::int64_t voxels = 0;
  std::vector<PairCounts> pairs;
};

/// Intensities in levels of equal width.
struct Levels {
  double lowest = 0.0;
  double highest = 0.0;
  std::vector<std::uint8_t> ofVoxel;
};

/// Voxels outside the regions get a level too, which nothing reads.
/// @param options  whose number of levels is completed by the width of one, if that is given.
/// @throws example::Failure  when the difference of the intensities is no finite number.
Levels Quantise(const example::GreyImage& image, const Regions& regions, Options& options);

/// The pairs of every chosen region.
/// @throws example::Failure  when there are none at all.
std::vector<RegionPairs> CountPairs(const example::GreyImage& image, const Levels& levels,
                                    const Regions& regions, const std::vector<Direction>& directions,
                                    const Options& options);

}  // namespace texture_mr
