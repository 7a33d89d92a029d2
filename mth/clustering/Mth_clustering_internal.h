#pragma once

#include <cstddef>
#include <limits>

namespace mth_internal {

/// What the clustering code gives for a distance that there is not: the largest float.
inline constexpr double kNoDistance = static_cast<double>(std::numeric_limits<float>::max());

}  // namespace mth_internal
