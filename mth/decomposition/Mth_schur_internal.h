#pragma once

#include "mth/decomposition/Mth_eigenproblem_internal.h"

namespace mth_internal {

bool IsUpperTriangular(SquareView a);

/// Reduces `a` to real Schur form Qt a Q in place; `qt` receives Q transposed. A triangular matrix stays as
/// it is. Work: 2 rows.
/// @return  false when an eigenvalue does not converge.
bool DecomposeBySchur(SquareView a, SquareView qt, double* work);

}  // namespace mth_internal
