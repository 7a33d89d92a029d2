#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "mth/core/Mth_compiler_internal.h"
#include "mth/decomposition/Mth_eigenproblem_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"

// Reflections of two or three neighbouring rows or columns, which chase a bulge down a Hessenberg matrix.

namespace mth_internal {

/// I - factor v vt with v = (1, second, third).
struct SmallReflection {
  double factor;
  double second;
  double third;
};

/// Sends (x, y, z) to (image, 0, 0); x receives the image. Nothing to reflect: a factor of 0.
inline SmallReflection SmallReflectionOf(double& x, double y, double z) {
  double squares = x * x + y * y + z * z;
  double scale = 1.0;
  if (!AreSquaresSafe(squares)) {
    const double largest = std::max({std::abs(x), std::abs(y), std::abs(z)});
    if (largest == 0.0 || !std::isfinite(largest)) return {0.0, 0.0, 0.0};
    scale = PowerToUnit(largest);
    x *= scale;
    y *= scale;
    z *= scale;
    squares = x * x + y * y + z * z;
  }
  const double norm = std::sqrt(squares);
  const double image = x >= 0.0 ? -norm : norm;
  const double head = x - image;
  x = image / scale;
  return {-head / image, y / head, z / head};
}

inline void ReflectThreeRows(double* __restrict upper, double* __restrict middle, double* __restrict lower,
                             std::int64_t first, std::int64_t last, const SmallReflection& reflection) {
  for (std::int64_t j = first; j < last; ++j) {
    const double step =
        reflection.factor * (upper[j] + reflection.second * middle[j] + reflection.third * lower[j]);
    upper[j] -= step;
    middle[j] -= step * reflection.second;
    lower[j] -= step * reflection.third;
  }
}

inline void ReflectTwoRows(double* __restrict upper, double* __restrict lower, std::int64_t first,
                           std::int64_t last, const SmallReflection& reflection) {
  for (std::int64_t j = first; j < last; ++j) {
    const double step = reflection.factor * (upper[j] + reflection.second * lower[j]);
    upper[j] -= step;
    lower[j] -= step * reflection.second;
  }
}

/// Columns `column`, column + kStep and column + 2 kStep of rows [first, last).
template <int kStep>
void ReflectThreeColumns(SquareView a, std::int64_t column, std::int64_t first, std::int64_t last,
                         const SmallReflection& reflection) {
  for (std::int64_t i = first; i < last; ++i) {
    double* row = a[i] + column;
    const double step =
        reflection.factor * (row[0] + reflection.second * row[kStep] + reflection.third * row[2 * kStep]);
    row[0] -= step;
    row[kStep] -= step * reflection.second;
    row[2 * kStep] -= step * reflection.third;
  }
}

/// Columns `column` and column + kStep of rows [first, last).
template <int kStep>
void ReflectTwoColumns(SquareView a, std::int64_t column, std::int64_t first, std::int64_t last,
                       const SmallReflection& reflection) {
  for (std::int64_t i = first; i < last; ++i) {
    double* row = a[i] + column;
    const double step = reflection.factor * (row[0] + reflection.second * row[kStep]);
    row[0] -= step;
    row[kStep] -= step * reflection.second;
  }
}

/// Elements [first, last) of two rows.
inline void RotateTwoRows(double* __restrict upper, double* __restrict lower, std::int64_t first,
                          std::int64_t last, PlaneRotation rotation) {
  for (std::int64_t j = first; j < last; ++j) {
    const double x = upper[j];
    upper[j] = rotation.c * x + rotation.s * lower[j];
    lower[j] = rotation.c * lower[j] - rotation.s * x;
  }
}

/// Columns `column` and column + 1 of rows [first, last). Not inline in a kernel: g++ 12 fuses this pattern
/// where the instruction set has fused sums and differences, although it is told not to.
MTH_NOINLINE inline void RotateTwoColumns(SquareView a, std::int64_t column, std::int64_t first,
                                          std::int64_t last, PlaneRotation rotation) {
  for (std::int64_t i = first; i < last; ++i) {
    double* row = a[i] + column;
    const double x = row[0];
    row[0] = rotation.c * x + rotation.s * row[1];
    row[1] = rotation.c * row[1] - rotation.s * x;
  }
}

/// Rows [first, size) of `a`, columns [firstColumn, columns), minus factor v vt times them.
inline void ReflectRowsBy(double* a, std::int64_t rows, std::int64_t columns, const double* v, double factor,
                          std::int64_t first, std::int64_t firstColumn, double* sums) {
  std::fill_n(sums, columns, 0.0);
  for (std::int64_t i = first; i < rows; ++i) {
    const double* __restrict row = a + i * columns;
    for (std::int64_t j = firstColumn; j < columns; ++j) sums[j] += v[i] * row[j];
  }
  for (std::int64_t i = first; i < rows; ++i) {
    double* __restrict row = a + i * columns;
    const double weight = factor * v[i];
    for (std::int64_t j = firstColumn; j < columns; ++j) row[j] -= weight * sums[j];
  }
}

}  // namespace mth_internal
