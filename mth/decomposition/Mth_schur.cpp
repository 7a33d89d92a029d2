#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/decomposition/Mth_eigenproblem_internal.h"
#include "mth/decomposition/Mth_reflections_internal.h"
#include "mth/decomposition/Mth_small_reflections_internal.h"

#define MTH_KERNEL_FILE "mth/decomposition/Mth_schur_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

// Real Schur form: balancing, Hessenberg form and the double-shift QR steps of Francis.

namespace mth_internal {
namespace {

constexpr int kBalancingPasses = 50;

constexpr double kNoGap = 1e-200;  // squared, beside elements of 1: no rotation could tell it from none

// Makes the diagonal elements of a block with a complex pair equal. The difference of the off-diagonal
// elements does not change, and neither does the discriminant, which becomes their product.
// @param scale  the power of two that brings the block to about 1, which the discriminant refers to.
void EqualiseDiagonal(SquareView t, SquareView qt, std::int64_t k, double scale, double discriminant) {
  const double sum = t[k][k + 1] * scale + t[k + 1][k] * scale;
  const double difference = t[k][k + 1] * scale - t[k + 1][k] * scale;
  const double gap = t[k][k] * scale - t[k + 1][k + 1] * scale;
  const double middle = t[k + 1][k + 1] * scale + 0.5 * gap;
  const double squares = sum * sum + gap * gap;
  if (squares < kNoGap) {
    t[k][k] = t[k + 1][k + 1] = middle / scale;
    return;
  }
  const double radius = std::sqrt(squares);
  const double sign = sum < 0.0 ? -1.0 : 1.0;
  const double cosine = std::sqrt(0.5 * (1.0 + std::abs(sum) / radius));
  RotateSchur(t, qt, k, {cosine, 0.5 * -gap * sign / radius / cosine});
  t[k][k] = t[k + 1][k + 1] = middle / scale;
  const bool isUpperLarger = sign * difference >= 0.0;
  const double larger = 0.5 * (sign * radius + (isUpperLarger ? difference : -difference));
  const double smaller =
      -std::copysign(std::max(std::abs(discriminant / larger), std::numeric_limits<double>::min()), larger);
  t[k][k + 1] = (isUpperLarger ? larger : smaller) / scale;
  t[k + 1][k] = (isUpperLarger ? smaller : larger) / scale;
}

}  // namespace

PlaneRotation RotationOf(double x, double y, double* r) {
  double squares = x * x + y * y;
  double scale = 1.0;
  if (!AreSquaresSafe(squares)) {
    scale = PowerToUnit(std::max(std::abs(x), std::abs(y)));
    x *= scale;
    y *= scale;
    squares = x * x + y * y;
  }
  const double root = std::sqrt(squares);
  if (r != nullptr) *r = root / scale;
  if (root == 0.0) return {1.0, 0.0};
  return {x / root, y / root};
}

void RotateSchur(SquareView t, SquareView qt, std::int64_t k, PlaneRotation rotation) {
  RotateTwoRows(t[k], t[k + 1], k, t.size, rotation);
  RotateTwoColumns(t, k, 0, k + 2, rotation);
  RotateTwoRows(qt[k], qt[k + 1], 0, t.size, rotation);
}

void StandardiseBlock(SquareView t, SquareView qt, std::int64_t k) {
  // In units of the largest element, so that no square vanishes.
  const double scale = PowerToUnit(
      std::max({std::abs(t[k][k]), std::abs(t[k][k + 1]), std::abs(t[k + 1][k]), std::abs(t[k + 1][k + 1])}));
  const double below = t[k + 1][k] * scale;
  if (below == 0.0) {
    t[k + 1][k] = 0.0;
    return;
  }
  const double half = 0.5 * (t[k][k] * scale - t[k + 1][k + 1] * scale);
  const double discriminant = half * half + t[k][k + 1] * scale * below;
  if (discriminant < 0.0) {
    if (half != 0.0) EqualiseDiagonal(t, qt, k, scale, discriminant);
    return;
  }
  const double root = std::sqrt(discriminant);
  RotateSchur(t, qt, k, RotationOf(half + (half < 0.0 ? -root : root), below));
  t[k + 1][k] = 0.0;
}

void Balance(SquareView a, double* scales) {
  const std::int64_t n = a.size;
  std::fill_n(scales, n, 1.0);
  bool hasChanged = true;
  for (int pass = 0; hasChanged && pass < kBalancingPasses; ++pass) {
    hasChanged = false;
    for (std::int64_t i = 0; i < n; ++i) {
      double row = 0.0;
      double column = 0.0;
      for (std::int64_t j = 0; j < n; ++j) {
        if (j == i) continue;
        row += std::abs(a[i][j]);
        column += std::abs(a[j][i]);
      }
      if (row == 0.0 || column == 0.0) continue;
      // The power of two that makes them most alike, when that is worth it.
      const int exponent = std::clamp((std::ilogb(row) - std::ilogb(column)) / 2, -200, 200);
      const double factor = std::ldexp(1.0, exponent);
      if (exponent == 0 || column * factor + row / factor >= 0.95 * (column + row)) continue;
      hasChanged = true;
      scales[i] *= factor;
      for (std::int64_t j = 0; j < n; ++j) a[i][j] /= factor;
      for (std::int64_t j = 0; j < n; ++j) a[j][i] *= factor;
    }
  }
}

bool ReduceToHessenberg(SquareView a, SquareView qt, double* work) {
  const auto form = MTH_SELECT(FormHessenberg);
  return form(a, qt, work);
}

bool ReduceToSchur(SquareView h, SquareView qt) {
  const auto reduce = MTH_SELECT(RunSchurReduction);
  return reduce(h, qt);
}

void SchurValues(SquareView t, Complex* values) {
  for (std::int64_t k = 0; k < t.size; ++k) {
    values[k] = t[k][k];
    if (k + 1 == t.size || t[k + 1][k] == 0.0) continue;
    const double imaginary = std::sqrt(std::abs(t[k][k + 1])) * std::sqrt(std::abs(t[k + 1][k]));
    values[k] = {t[k][k], imaginary};
    values[k + 1] = Conjugate(values[k]);
    ++k;
  }
}

}  // namespace mth_internal
