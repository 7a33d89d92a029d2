#pragma once

#include <cstdint>

#include "mth/decomposition/Mth_reflections_internal.h"

namespace mth_internal {

/// Rows of work matrices are padded to whole groups of this many elements. Dot products are summed in as many
/// lanes on every instruction set, for the same bits.
constexpr std::int64_t kDotLanes = 16;

constexpr int kSVDIterationCap = 50;

constexpr std::int64_t PaddedRow(std::int64_t columns) {
  return (columns + kDotLanes - 1) / kDotLanes * kDotLanes;
}

/// Rotations of rows k and k + 1: the upper row becomes c upper + s lower, the lower one c lower - s upper.
struct Rotation {
  double c;
  double s;
};

/// Rotations of the rows [first, last], one after the other downwards.
struct RotationSweep {
  std::int64_t first;
  std::int64_t last;
};

/// Sweeps are recorded up to this many rows' worth, then applied together while blocks of columns are in
/// cache.
constexpr std::int64_t kRecordedSweeps = 32;

/// Doubles of scratch memory for the decomposition of a rows x columns matrix.
constexpr std::int64_t SVDScratch(std::int64_t rows, std::int64_t columns) {
  const std::int64_t padded = PaddedRow(columns);
  return 5 * columns * padded + 8 * padded + 4 * kRecordedSweeps * (columns + 2) + 2 * columns +
         (rows > columns ? rows * (columns + kWidestPanel) : columns * kWidestPanel);
}

}  // namespace mth_internal
