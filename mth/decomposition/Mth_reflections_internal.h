#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace mth_internal {

/// Columns are carried through the reflections in panels of at most this many, padded to whole vectors.
constexpr std::int64_t kWidestPanel = 32;

/// Doubles of scratch memory for the QR decomposition of a rows x columns matrix.
constexpr std::int64_t QRScratch(std::int64_t rows, std::int64_t columns) {
  return rows * (std::min(rows, columns) + columns + 3 * kWidestPanel) + columns;
}

}  // namespace mth_internal
