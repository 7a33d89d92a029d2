#pragma once

#include <cstdint>

namespace mth_internal {

/// A multiple of the columns of every instruction set's register tile.
constexpr std::int64_t kWidestTile = 16;

}  // namespace mth_internal
