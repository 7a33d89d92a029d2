#pragma once

#include <limits>

#include "mth/matrix/Mth_matrix.h"

namespace mth_internal {

/// What the clustering code gives for a distance that there is not: the largest float.
inline constexpr double kNoDistance = static_cast<double>(std::numeric_limits<float>::max());

/// (x - c)' M (x - c) by the matrix operators, for `count` features; 0 when a shape or an element type does
/// not fit.
double QuadraticForm(const double* features, int count, const MTH_MATRIX& center, const MTH_MATRIX& m);

}  // namespace mth_internal
