#pragma once

#include <algorithm>
#include <cstdint>

#include "mth/matrix/Mth_register_tile_internal.h"

namespace mth_internal {

/// Elements with a stride in both directions; that of the columns is 1 or -1, either may be negative.
template <class T>
struct Block {
  T* elements;
  std::int64_t rowStride;
  std::int64_t columnStride;
};

// Blocks of at most this many columns are eliminated from the rest of the matrix at once: enough that a tile
// of the rest is loaded and stored seldom, little enough that a panel of the block stays in the first cache.
constexpr std::int64_t kBlockDepth = 128;
// The same of the rows that are solved: fewer, because the zeros of an identity are left out block by block.
constexpr std::int64_t kSolvedDepth = 64;
// Columns that a block is eliminated from between two questions whether to go on: whole tiles.
constexpr std::int64_t kSliceColumns = 1056;
// Panels of this many columns are factored column by column.
constexpr std::int64_t kPanelColumns = 16;

/// Doubles of scratch memory that the elimination of n rows in blocks of so many columns needs.
constexpr std::int64_t EliminationScratch(std::int64_t n, std::int64_t depth) {
  return std::min(depth, n) * (n + 2 * kWidestTile);
}

constexpr double kTinyPivot = 1e-19;  // replaces a pivot that is 0

}  // namespace mth_internal
