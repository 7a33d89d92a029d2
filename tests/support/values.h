#pragma once

#include <limits>

namespace mth_test {

inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kInfinity = std::numeric_limits<double>::infinity();
inline constexpr int kIntMin = std::numeric_limits<int>::min();
inline constexpr int kIntMax = std::numeric_limits<int>::max();

}  // namespace mth_test
