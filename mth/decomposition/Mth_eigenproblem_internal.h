#pragma once

#include <cstdint>

#include "mth/core/Mth_complex_number_internal.h"

namespace mth_internal {

/// A square matrix of doubles, row-major, in someone else's memory.
struct SquareView {
  double* elements;
  std::int64_t size;
  double* operator[](std::int64_t row) const { return elements + row * size; }
};

/// The reflection I - v vt / h that sends (0, ..., 0, column `k` of `a` from row k + 1 on) to a multiple of
/// e_(k + 1), whose factor is `image`.
struct ColumnReflection {
  double image;
  double h;  // 0 when there is nothing to reflect
};

/// Writes the vector of the reflection of column k to v, from row k + 1 on.
ColumnReflection ReflectColumnBelow(SquareView a, std::int64_t k, double* v);

/// QR steps that an eigenvalue may take.
constexpr int kEigenvalueIterationCap = 60;

/// Eigenvalues of a symmetric matrix, descending, and as the rows of `vectors` their orthonormal
/// eigenvectors.
/// @param a     destroyed.
/// @param work  size x (size + 3) doubles.
/// @return      false when an eigenvalue does not converge.
bool SolveSymmetric(SquareView a, double* values, SquareView vectors, double* work);

/// Balances `a`, scaling by powers of two, which are exact: a becomes D^-1 a D with D in `scales`.
void Balance(SquareView a, double* scales);

/// Reduces `a` to Hessenberg form h = Qt a Q in place; `qt` receives Q transposed. Work: 2 rows.
void ReduceToHessenberg(SquareView a, SquareView qt, double* work);

/// Reduces a Hessenberg matrix to real Schur form in place and carries `qt` along. Blocks of two rows are
/// left for complex pairs only.
/// @return  false when an eigenvalue does not converge.
bool ReduceToSchur(SquareView h, SquareView qt, Complex* values);

/// Eigenvectors of a real Schur form, in its coordinates: row j of `vectors` for a real eigenvalue j, rows j
/// and j + 1 the real and imaginary parts for a complex pair.
void SchurVectors(SquareView t, const Complex* values, SquareView vectors, Complex* work);

}  // namespace mth_internal
