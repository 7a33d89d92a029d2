#pragma once

#include "mth/matrix/Mth_matrix.h"

namespace mth_internal {

/// Mth_Median of a matrix with rows and columns, for callers whose results depend on whether there is memory.
/// @return  false, with the matrix as it was, without memory.
bool MedianOfMagnitudes(MTH_MATRIX& m, double& median);

}  // namespace mth_internal
