#pragma once

#include <cstdint>

namespace mth_internal {

/// No register tile of any instruction set has more columns, or more rows.
constexpr std::int64_t kWidestTile = 32;

}  // namespace mth_internal
