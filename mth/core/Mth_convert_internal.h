#pragma once

#include <limits>

namespace mth_internal {

/// The value without its fraction, as an int; beyond the range of int the nearest one, 0 for NaN.
inline int TruncateToInt(double value) {
  using Limits = std::numeric_limits<int>;
  if (value >= static_cast<double>(Limits::max())) return Limits::max();
  if (value <= static_cast<double>(Limits::min())) return Limits::min();
  return value == value ? static_cast<int>(value) : 0;
}

}  // namespace mth_internal
