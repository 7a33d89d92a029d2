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

/// QR steps that an eigenvalue may take.
constexpr int kEigenvalueIterationCap = 60;

/// Eigenvalues of a symmetric matrix, descending, and as the rows of `vectors` their orthonormal
/// eigenvectors.
/// @param a     elements of about 1 at most; destroyed.
/// @param work   size x (size + 3) doubles.
/// @param order  size numbers.
/// @return       false when an eigenvalue does not converge or the host gives up.
bool SolveSymmetric(SquareView a, double* values, SquareView vectors, double* work, std::int64_t* order);

/// Balances `a`, scaling by powers of two, which are exact: a becomes D^-1 a D with D in `scales`.
void Balance(SquareView a, double* scales);

/// Reduces `a` to Hessenberg form h = Qt a Q in place; `qt` receives Q transposed. Work: 2 rows.
/// @return  false when the host gives up.
bool ReduceToHessenberg(SquareView a, SquareView qt, double* work);

/// Reduces a Hessenberg matrix to real Schur form in place and carries `qt` along: blocks of two rows are
/// left for complex pairs only, with equal diagonal elements and off-diagonal ones of opposite signs; all
/// else below the diagonal is exactly 0.
/// @return  false when an eigenvalue does not converge or the host gives up.
bool ReduceToSchur(SquareView h, SquareView qt);

/// The eigenvalues of a real Schur form, in the order of its diagonal, of pairs the positive imaginary part
/// first.
void SchurValues(SquareView t, Complex* values);

/// Eigenvectors of a real Schur form, in its coordinates: row j of `vectors` for a real eigenvalue j, rows j
/// and j + 1 the real and imaginary parts for a complex pair. Incomplete when the host gives up.
void SchurVectors(SquareView t, const Complex* values, SquareView vectors, Complex* work);

/// Rotation of the planes k and k + 1: (x, y) becomes (c x + s y, c y - s x).
struct PlaneRotation {
  double c;
  double s;
};

/// The rotation that sends (x, y) to (r, 0), whatever their size; `r` may be null.
PlaneRotation RotationOf(double x, double y, double* r = nullptr);

/// a becomes G a Gt with the rotation G of planes k and k + 1, where rows k and k + 1 are 0 before column k
/// and columns k and k + 1 are 0 after row k + 1; `qt` becomes G qt.
void RotateSchur(SquareView t, SquareView qt, std::int64_t k, PlaneRotation rotation);

/// Brings rows k and k + 1 of a Schur form, all else in place, to the form that ReduceToSchur promises.
void StandardiseBlock(SquareView t, SquareView qt, std::int64_t k);

}  // namespace mth_internal
