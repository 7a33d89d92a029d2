#pragma once

#include <cstdint>

namespace mth_internal {

/// No register tile of any instruction set has more columns, or more rows.
constexpr std::int64_t kWidestTile = 32;
/// No vector of any instruction set has more doubles.
constexpr std::int64_t kWidestVector = 8;

}  // namespace mth_internal
