#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/decomposition/Mth_eigenproblem_internal.h"
#include "mth/decomposition/Mth_reflections_internal.h"

// Symmetric matrices: Householder tridiagonal form, then QR steps with Wilkinson's shift.

namespace mth_internal {
namespace {

// Two reflections from both sides at once: A - v wt - w vt. Row k of `vt` keeps vector k; d and e receive the
// diagonals.
// @return  false when the host gives up.
bool Tridiagonalise(SquareView a, double* d, double* e, SquareView reflections, double* w) {
  const std::int64_t n = a.size;
  for (std::int64_t k = 0; k + 1 < n; ++k) {
    if (IsGivenUp(n)) return false;
    double* v = reflections[k];
    std::fill_n(v, n, 0.0);
    double squares = 0.0;
    for (std::int64_t i = k + 1; i < n; ++i) {
      v[i] = a[i][k];
      squares += v[i] * v[i];
    }
    const double power = BringSquaresNearOne(v + k + 1, n - k - 1, squares);
    const Reflection reflection = ReflectionOf(v[k + 1], squares);
    v[k + 1] = reflection.head;
    d[k] = a[k][k];
    e[k] = reflection.image / power;
    if (reflection.factor == 0.0) {
      std::fill_n(v, n, 0.0);
      continue;
    }
    // v becomes of squared norm 2, so that the reflection is I - v vt.
    const double scale = 1.0 / std::sqrt(reflection.h);
    for (std::int64_t i = k + 1; i < n; ++i) v[i] *= scale;
    std::fill_n(w, n, 0.0);
    for (std::int64_t i = k + 1; i < n; ++i) {
      for (std::int64_t j = k + 1; j < n; ++j) w[j] += v[i] * a[i][j];
    }
    double half = 0.0;
    for (std::int64_t i = k + 1; i < n; ++i) half += v[i] * w[i];
    half *= 0.5;
    for (std::int64_t i = k + 1; i < n; ++i) w[i] -= half * v[i];
    for (std::int64_t i = k + 1; i < n; ++i) {
      for (std::int64_t j = k + 1; j < n; ++j) a[i][j] -= v[i] * w[j] + w[i] * v[j];
    }
  }
  if (n > 0) d[n - 1] = a[n - 1][n - 1];
  if (n > 0) e[n - 1] = 0.0;
  return true;
}

// The product of the reflections, transposed.
// @return  false when the host gives up.
bool AccumulateTransposed(SquareView reflections, SquareView qt) {
  const std::int64_t n = qt.size;
  std::fill_n(qt.elements, n * n, 0.0);
  for (std::int64_t i = 0; i < n; ++i) qt[i][i] = 1.0;
  for (std::int64_t k = n - 2; k >= 0; --k) {
    if (IsGivenUp(n)) return false;
    const double* v = reflections[k];
    for (std::int64_t row = k + 1; row < n; ++row) {
      double dot = 0.0;
      for (std::int64_t i = k + 1; i < n; ++i) dot += qt[row][i] * v[i];
      for (std::int64_t i = k + 1; i < n; ++i) qt[row][i] -= dot * v[i];
    }
  }
  return true;
}

// One implicit QR step on rows [first, last] of the tridiagonal matrix.
void Step(double* d, double* e, SquareView vectors, std::int64_t first, std::int64_t last) {
  const double half = 0.5 * (d[last - 1] - d[last]);
  const double b = e[last - 1];
  const double root = std::sqrt(half * half + b * b);
  const double shift = d[last] - b * b / (half + (half < 0.0 ? -root : root));
  double x = d[first] - shift;
  double z = e[first];
  for (std::int64_t k = first; k < last; ++k) {
    double r = 0.0;
    const auto [c, s] = RotationOf(x, z, &r);
    if (k > first) e[k - 1] = r;
    const double upper = d[k];
    const double lower = d[k + 1];
    const double beside = e[k];
    d[k] = c * c * upper + 2.0 * c * s * beside + s * s * lower;
    d[k + 1] = s * s * upper - 2.0 * c * s * beside + c * c * lower;
    e[k] = c * s * (lower - upper) + (c * c - s * s) * beside;
    x = e[k];
    if (k + 1 < last) {
      z = s * e[k + 1];
      e[k + 1] *= c;
    }
    double* __restrict a = vectors[k];
    double* __restrict below = vectors[k + 1];
    for (std::int64_t j = 0; j < vectors.size; ++j) {
      const double former = a[j];
      a[j] = c * former + s * below[j];
      below[j] = c * below[j] - s * former;
    }
  }
}

bool DiagonaliseTridiagonal(double* d, double* e, SquareView vectors) {
  constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
  double norm = 0.0;
  for (std::int64_t k = 0; k < vectors.size; ++k) norm = std::max(norm, std::abs(d[k]) + std::abs(e[k]));
  const auto isSmall = [&](std::int64_t k) { return std::abs(e[k]) <= 0.5 * kEpsilon * norm; };
  for (std::int64_t last = vectors.size - 1; last > 0; --last) {
    if (IsGivenUp(vectors.size)) return false;
    for (int iterations = 0; !isSmall(last - 1); ++iterations) {
      if (iterations == kEigenvalueIterationCap) return false;
      std::int64_t first = last - 1;
      while (first > 0 && !isSmall(first - 1)) --first;
      Step(d, e, vectors, first, last);
    }
  }
  return true;
}

// Row j becomes what row order[j] was; cycle by cycle, which leaves `order` the identity.
void MoveRows(SquareView rows, std::int64_t* order) {
  for (std::int64_t first = 0; first < rows.size; ++first) {
    std::int64_t j = first;
    while (order[j] != first) {
      const std::int64_t source = order[j];
      std::swap_ranges(rows[j], rows[j] + rows.size, rows[source]);
      order[j] = j;
      j = source;
    }
    order[j] = j;
  }
}

}  // namespace

bool SolveSymmetric(SquareView a, double* values, SquareView vectors, double* work, std::int64_t* order) {
  const std::int64_t n = a.size;
  double* d = work;
  double* e = d + n;
  double* w = e + n;
  const SquareView reflections{w + n, n};
  if (!Tridiagonalise(a, d, e, reflections, w)) return false;
  if (!AccumulateTransposed(reflections, vectors)) return false;
  if (!DiagonaliseTridiagonal(d, e, vectors)) return false;
  // Descending, equal ones as they stand.
  std::iota(order, order + n, 0);
  std::sort(order, order + n,
            [d](std::int64_t i, std::int64_t j) { return d[i] > d[j] || (d[i] == d[j] && i < j); });
  for (std::int64_t j = 0; j < n; ++j) values[j] = d[order[j]];
  MoveRows(vectors, order);
  return true;
}

}  // namespace mth_internal
