#pragma once

namespace mth_internal {

/// 1 - 1.2e-7: what uniform deviates are cut at, so that they stay below 1 as floats, too.
inline constexpr double kLargestUniform = 0.99999988;

}  // namespace mth_internal
