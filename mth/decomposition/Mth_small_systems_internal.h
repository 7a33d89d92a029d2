#pragma once

#include <algorithm>
#include <cmath>
#include <utility>

#include "mth/core/Mth_complex_number_internal.h"

// Systems of a few unknowns, as the blocks of triangular forms give them, by elimination with complete
// pivoting. A pivot that vanishes is perturbed by rounding's worth.

namespace mth_internal {

template <class Scalar>
struct PairSolution {
  Scalar first;
  Scalar second;
};

/// Solves a x + b y = upper, c x + d y = lower; pivots are at least `smallest` in magnitude.
template <class Scalar>
PairSolution<Scalar> SolvePairOf(Scalar a, Scalar b, Scalar c, Scalar d, Scalar upper, Scalar lower,
                                 double smallest) {
  const double rowSizes[] = {std::max(Modulus(a), Modulus(b)), std::max(Modulus(c), Modulus(d))};
  if (rowSizes[1] > rowSizes[0]) {
    std::swap(a, c);
    std::swap(b, d);
    std::swap(upper, lower);
  }
  const bool isSwapped = Modulus(b) > Modulus(a);
  if (isSwapped) {
    std::swap(a, b);
    std::swap(c, d);
  }
  if (Modulus(a) < smallest) a = smallest;
  const Scalar ratio = c / a;
  Scalar pivot = d - ratio * b;
  if (Modulus(pivot) < smallest) pivot = smallest;
  const Scalar y = (lower - ratio * upper) / pivot;
  const Scalar x = (upper - b * y) / a;
  if (isSwapped) return {y, x};
  return {x, y};
}

/// Solves the count x count system m x = x in place, count at most 8, rows `count` apart; m is destroyed.
/// @return  false when a pivot is not above `smallest` in magnitude: it counts as that.
inline bool SolveSmall(double* m, int count, double* x, double smallest) {
  int order[8];
  double y[8];
  bool isRegular = true;
  for (int j = 0; j < count; ++j) order[j] = j;
  for (int k = 0; k < count; ++k) {
    int pivotRow = k;
    int pivotColumn = k;
    double largest = -1.0;
    for (int i = k; i < count; ++i) {
      for (int j = k; j < count; ++j) {
        if (!(std::abs(m[i * count + j]) > largest)) continue;
        largest = std::abs(m[i * count + j]);
        pivotRow = i;
        pivotColumn = j;
      }
    }
    if (pivotRow != k) std::swap_ranges(m + k * count, m + (k + 1) * count, m + pivotRow * count);
    std::swap(x[k], x[pivotRow]);
    for (int i = 0; i < count; ++i) std::swap(m[i * count + k], m[i * count + pivotColumn]);
    std::swap(order[k], order[pivotColumn]);
    if (!(largest > smallest)) {
      isRegular = false;
      m[k * count + k] = smallest;
    }
    for (int i = k + 1; i < count; ++i) {
      const double ratio = m[i * count + k] / m[k * count + k];
      for (int j = k + 1; j < count; ++j) m[i * count + j] -= ratio * m[k * count + j];
      x[i] -= ratio * x[k];
    }
  }
  for (int k = count - 1; k >= 0; --k) {
    for (int j = k + 1; j < count; ++j) x[k] -= m[k * count + j] * y[j];
    y[k] = x[k] / m[k * count + k];
  }
  for (int k = 0; k < count; ++k) x[order[k]] = y[k];
  return isRegular;
}

}  // namespace mth_internal
