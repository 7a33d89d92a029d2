#include <algorithm>
#include <cmath>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/decomposition/Mth_qz_internal.h"
#include "mth/decomposition/Mth_reflections_internal.h"

// Hessenberg-triangular form, the first half of the generalised Schur form (Moler and Stewart).

namespace mth_internal {
namespace {

void SetIdentity(SquareView matrix) {
  std::fill_n(matrix.elements, matrix.size * matrix.size, 0.0);
  for (std::int64_t i = 0; i < matrix.size; ++i) matrix[i][i] = 1.0;
}

// b becomes upper triangular by reflections of rows.
void Triangularise(const Pencil& p, double* work) {
  const std::int64_t n = p.a.size;
  double* v = work;
  double* sums = work + n;
  for (std::int64_t k = 0; k + 1 < n; ++k) {
    if (IsGivenUp(n)) return;  // as the rotations will find
    double squares = 0.0;
    double below = 0.0;
    for (std::int64_t i = k; i < n; ++i) {
      v[i] = p.b[i][k];
      squares += v[i] * v[i];
      if (i > k) below = std::max(below, std::abs(v[i]));
    }
    if (below == 0.0) continue;
    const double scale = BringSquaresNearOne(v + k, n - k, squares);
    const Reflection reflection = ReflectionOf(v[k], squares);
    v[k] = reflection.head;
    ReflectRowsBy(p.b.elements, n, n, v, reflection.factor, k, k + 1, sums);
    ReflectRowsBy(p.a.elements, n, n, v, reflection.factor, k, 0, sums);
    ReflectRowsBy(p.qt.elements, n, n, v, reflection.factor, k, 0, sums);
    p.b[k][k] = reflection.image / scale;
    for (std::int64_t i = k + 1; i < n; ++i) p.b[i][k] = 0.0;
  }
}

// a becomes Hessenberg: each element is rotated away from below, and b made triangular again.
bool RotateToHessenberg(const Pencil& p) {
  const std::int64_t n = p.a.size;
  for (std::int64_t j = 0; j + 2 < n; ++j) {
    if (IsGivenUp(n)) return false;
    for (std::int64_t i = n - 1; i >= j + 2; --i) {
      if (p.a[i][j] == 0.0) continue;
      RotateRows(p, i - 1, j, i - 1, RotationOf(p.a[i - 1][j], p.a[i][j]));
      p.a[i][j] = 0.0;
      RotateColumns(p, i - 1, n, i + 1, ToTheRight(p.b[i][i - 1], p.b[i][i]));
      p.b[i][i - 1] = 0.0;
    }
  }
  return true;
}

}  // namespace

bool ReduceToHessenbergTriangular(const Pencil& p, double* work) {
  SetIdentity(p.qt);
  SetIdentity(p.zt);
  Triangularise(p, work);
  return RotateToHessenberg(p);
}

}  // namespace mth_internal
