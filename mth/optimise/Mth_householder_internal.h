#pragma once

#include <cmath>
#include <cstddef>

namespace mth_internal {

/// Sum of a[i] b[i], as four sums of every fourth term: the same on every machine.
inline double Dot(const double* a, const double* b, std::ptrdiff_t count) {
  double sums[4] = {};
  std::ptrdiff_t i = 0;
  for (; i + 4 <= count; i += 4) {
    for (int lane = 0; lane < 4; ++lane) sums[lane] += a[i + lane] * b[i + lane];
  }
  for (; i < count; ++i) sums[0] += a[i] * b[i];
  return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

/// Turns the columns of a rows x n matrix, column-major and rows >= n, into the upper triangle R of A = Q R,
/// by Householder reflections, and the right-hand side b into Q^T b. What is below the triangle is left as
/// scratch.
/// @see  Golub & Van Loan, Matrix Computations, section 5.2.
inline void Triangularise(double* a, std::ptrdiff_t rows, int n, double* b) {
  for (int k = 0; k < n; ++k) {
    double* const reflector = a + k * rows + k;
    const std::ptrdiff_t length = rows - k;
    const double norm = std::sqrt(Dot(reflector, reflector, length));
    if (norm == 0.0) continue;
    const double pivot = reflector[0] > 0.0 ? -norm : norm;  // of the other sign: nothing cancels
    reflector[0] -= pivot;
    const double halfSquare = -pivot * reflector[0];  // of the reflector's norm
    const auto reflect = [&](double* column) {
      const double factor = Dot(reflector, column, length) / halfSquare;
      for (std::ptrdiff_t i = 0; i < length; ++i) column[i] -= factor * reflector[i];
    };
    for (int j = k + 1; j < n; ++j) reflect(a + j * rows + k);
    reflect(b + k);
    reflector[0] = pivot;
  }
}

/// Solves R x = b for the upper triangle of Triangularise; an unknown whose pivot is 0 is 0.
inline void SolveTriangle(const double* r, std::ptrdiff_t rows, int n, const double* b, double* x) {
  for (int i = n - 1; i >= 0; --i) {
    double rest = b[i];
    for (int j = i + 1; j < n; ++j) rest -= r[j * rows + i] * x[j];
    const double pivot = r[i * rows + i];
    x[i] = pivot == 0.0 ? 0.0 : rest / pivot;
  }
}

}  // namespace mth_internal
