#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

#include "mth/matrix/Mth_matrix.h"

// Matrices with a row of masses, or of what is read from them, for each sample.

namespace mth_internal {

using CredalMatrix = std::unique_ptr<MTH_MATRIX>;

/// A new matrix of doubles; null when there is no memory.
inline CredalMatrix NewCredalMatrix(int rows, int columns) {
  CredalMatrix matrix(new (std::nothrow) MTH_MATRIX(rows, columns, 0));
  return matrix && matrix->IsAllocated() ? std::move(matrix) : nullptr;
}

/// The first element of a row of a matrix of doubles.
inline double* RowOf(const MTH_MATRIX& matrix, int row) {
  return matrix.GetEDataAddress() + std::ptrdiff_t{row} * matrix.GetNbCols();
}

}  // namespace mth_internal
