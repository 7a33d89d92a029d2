#pragma once

#include <cstdint>

#include "mth/core/Mth_complex_number_internal.h"
#include "mth/decomposition/Mth_eigenproblem_internal.h"
#include "mth/decomposition/Mth_small_reflections_internal.h"

namespace mth_internal {

/// A pair of square matrices under orthogonal transformations of rows and columns: a = Q' A Z, b = Q' B Z.
/// `qt` and `zt` receive Q and Z transposed; one of size 0 is not wanted.
struct Pencil {
  SquareView a;
  SquareView b;
  SquareView qt;
  SquareView zt;
};

/// The four matrices of a pencil of that size, one after the other in memory.
inline Pencil PencilIn(double* memory, std::int64_t size) {
  const std::int64_t area = size * size;
  return {{memory, size}, {memory + area, size}, {memory + 2 * area, size}, {memory + 3 * area, size}};
}

/// Sets qt and zt to the identity and brings the pencil, of elements of about 1 at most, to generalised real
/// Schur form: `a` quasi-triangular with blocks of two rows for complex pairs only, `b` triangular with no
/// negative diagonal element and diagonal in those blocks. All else is exactly 0. Work: 2 rows.
/// @return  false when an eigenvalue does not converge or the host gives up.
bool ReduceToGeneralisedSchur(const Pencil& pencil, double* work);

/// Brings rows k and k + 1 of a pencil, all else in place and b triangular, to that form.
void StandardisePair(const Pencil& pencil, std::int64_t k);

/// Makes b[k][k] of a form not negative, by a change of sign in Q.
void MakePositive(const Pencil& pencil, std::int64_t k);

/// Whether rows k and k + 1 are a block.
inline bool IsPair(SquareView a, std::int64_t k) {
  return k + 1 < a.size && a[k + 1][k] != 0.0;
}

/// The eigenvalues alpha / beta of a generalised Schur form, in the order of its diagonal, of pairs the
/// positive imaginary part first.
void GeneralisedValues(SquareView a, SquareView b, Complex* alphas, double* betas);

/// Right eigenvectors of a generalised Schur form, in its coordinates: row j of `vectors` for a real
/// eigenvalue j, rows j and j + 1 the real and imaginary parts for a complex pair. Incomplete when the host
/// gives up.
/// @param work, x  work: 2 matrices and 4 rows of doubles, and size numbers.
void GeneralisedSchurVectors(SquareView a, SquareView b, const Complex* alphas, const double* betas,
                             SquareView vectors, double* work, Complex* x);

/// Rows k and k + 1, from these columns on.
inline void RotateRows(const Pencil& p, std::int64_t k, std::int64_t firstOfA, std::int64_t firstOfB,
                       PlaneRotation rotation) {
  const std::int64_t n = p.a.size;
  RotateTwoRows(p.a[k], p.a[k + 1], firstOfA, n, rotation);
  RotateTwoRows(p.b[k], p.b[k + 1], firstOfB, n, rotation);
  RotateTwoRows(p.qt[k], p.qt[k + 1], 0, p.qt.size, rotation);
}

/// Columns k and k + 1 of the first rows.
inline void RotateColumns(const Pencil& p, std::int64_t k, std::int64_t rowsOfA, std::int64_t rowsOfB,
                          PlaneRotation rotation) {
  RotateTwoColumns(p.a, k, 0, rowsOfA, rotation);
  RotateTwoColumns(p.b, k, 0, rowsOfB, rotation);
  RotateTwoRows(p.zt[k], p.zt[k + 1], 0, p.zt.size, rotation);
}

/// The rotation of two columns that sends the row (x, y) to (0, r).
inline PlaneRotation ToTheRight(double x, double y) {
  const PlaneRotation rotation = RotationOf(y, x);
  return {rotation.c, -rotation.s};
}

}  // namespace mth_internal
