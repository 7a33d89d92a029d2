#pragma once

#include "mth/core/Mth_complex_number_internal.h"
#include "mth/decomposition/Mth_eigenproblem_internal.h"
#include "mth/value/Mth_complex.h"

namespace mth_internal {

/// Row j of `result` becomes row j of `left` times `right`, with the columns scaled; null scales are 1.
/// Incomplete when the host gives up.
void MultiplyVectors(SquareView left, SquareView right, const double* scales, SquareView result);

/// Writes eigenvectors as the columns of n x n entries, of unit norm, the largest component, the first of
/// equals, real and positive. Row j of `rows` is the vector of a real eigenvalue j, rows j and j + 1 the
/// parts of the first of a complex pair.
void WriteVectors(SquareView rows, const Complex* values, MTH_COMPLEX* vectors);

}  // namespace mth_internal
