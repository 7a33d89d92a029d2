#pragma once

#include <cstddef>

#include "mth/matrix/Mth_matrix_internal.h"

// Matrices with a row of masses, or of what is read from them, for each sample.

namespace mth_internal {

/// A new matrix of doubles; null when there is no memory.
inline MatrixPtr NewCredalMatrix(int rows, int columns) {
  return NewMatrix(rows, columns, 0);
}

/// The first element of a row of a matrix of doubles.
inline double* RowOf(const MTH_MATRIX& matrix, int row) {
  return matrix.GetEDataAddress() + std::ptrdiff_t{row} * matrix.GetNbCols();
}

}  // namespace mth_internal
