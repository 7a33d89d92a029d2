#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/decomposition/Mth_qz_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"

// Pairs of rows of the generalised Schur form, and its eigenvalues.

namespace mth_internal {
namespace {

// Columns and then rows k and k + 1 are rotated so that b is diagonal there: its columns become orthogonal,
// and the first, which is the longer one, points along its axis.
void DiagonaliseB(const Pencil& p, std::int64_t k) {
  const double upper = p.b[k][k];
  const double beside = p.b[k][k + 1];
  const double lower = p.b[k + 1][k + 1];
  if (beside != 0.0) {
    const double scale = PowerToUnit(std::max({std::abs(upper), std::abs(beside), std::abs(lower)}));
    const double f = upper * scale;
    const double g = beside * scale;
    const double h = lower * scale;
    // Half the angle of (f f - g g - h h, 2 f g).
    const double across = 2.0 * f * g;
    const double along = f * f - g * g - h * h;
    const PlaneRotation half =
        RotationOf(std::abs(along) + std::sqrt(along * along + across * across), across);
    RotateColumns(p, k, k + 2, k + 2, along >= 0.0 ? half : PlaneRotation{half.s, half.c});
    RotateRows(p, k, k, k, RotationOf(p.b[k][k], p.b[k + 1][k]));
  }
  p.b[k][k + 1] = 0.0;
  p.b[k + 1][k] = 0.0;
  MakePositive(p, k);
  MakePositive(p, k + 1);
}

}  // namespace

void MakePositive(const Pencil& p, std::int64_t k) {
  const std::int64_t n = p.a.size;
  if (!std::signbit(p.b[k][k])) return;
  if (p.b[k][k] != 0.0) {
    // The row of a block with a complex pair begins one column further to the left.
    for (std::int64_t j = std::max<std::int64_t>(k - 1, 0); j < n; ++j) p.a[k][j] = 0.0 - p.a[k][j];
    for (std::int64_t j = k + 1; j < n; ++j) p.b[k][j] = 0.0 - p.b[k][j];
    for (std::int64_t j = 0; j < p.qt.size; ++j) p.qt[k][j] = 0.0 - p.qt[k][j];
  }
  p.b[k][k] = std::abs(p.b[k][k]);
}

void StandardisePair(const Pencil& p, std::int64_t k) {
  DiagonaliseB(p, k);
  const double b1 = p.b[k][k];
  const double b2 = p.b[k + 1][k + 1];
  // The eigenvalues are w / (b1 b2); w = a22 b1 + half + or - the root of the discriminant.
  const double scale = PowerToUnit(std::max(
      {std::abs(p.a[k][k]), std::abs(p.a[k][k + 1]), std::abs(p.a[k + 1][k]), std::abs(p.a[k + 1][k + 1])}));
  const double below = p.a[k + 1][k] * scale;
  if (below == 0.0) {
    p.a[k + 1][k] = 0.0;
    return;
  }
  const double half = 0.5 * (p.a[k][k] * scale * b2 - p.a[k + 1][k + 1] * scale * b1);
  const double discriminant = half * half + p.a[k][k + 1] * scale * b2 * (below * b1);
  if (discriminant < 0.0) return;
  const double root = std::sqrt(discriminant);
  const double z = half + (half < 0.0 ? -root : root);
  // The eigenvector of that eigenvalue becomes the first axis, and so does what both matrices send it to: as
  // the matrix says for which that is larger beside its block, whatever units the two are in.
  RotateColumns(p, k, k + 2, k + 2, RotationOf(z, below * b1));
  const double image = std::max(std::abs(p.b[k][k]), std::abs(p.b[k + 1][k]));
  const double other = std::max(std::abs(p.a[k][k]), std::abs(p.a[k + 1][k])) * scale;
  const bool isOfB = image > 0.0 && image >= other * std::max(b1, b2);
  RotateRows(p, k, k, k, isOfB ? RotationOf(p.b[k][k], p.b[k + 1][k]) : RotationOf(p.a[k][k], p.a[k + 1][k]));
  p.a[k + 1][k] = 0.0;
  p.b[k + 1][k] = 0.0;
  MakePositive(p, k);
  MakePositive(p, k + 1);
}

void GeneralisedValues(SquareView a, SquareView b, Complex* alphas, double* betas) {
  for (std::int64_t k = 0; k < a.size; ++k) {
    alphas[k] = a[k][k];
    betas[k] = b[k][k];
    if (!IsPair(a, k)) continue;
    const double b1 = b[k][k];
    const double b2 = b[k + 1][k + 1];
    // Over the mean of b1 and b2, which is their size.
    const double beta = std::sqrt(b1) * std::sqrt(b2);
    const double ratio = std::sqrt(b1) / std::sqrt(b2);
    const double half = 0.5 * (a[k][k] / ratio - a[k + 1][k + 1] * ratio);
    const double discriminant = half * half + a[k][k + 1] * a[k + 1][k];
    const double imaginary = std::sqrt(std::max(-discriminant, 0.0));
    alphas[k] = {a[k + 1][k + 1] * ratio + half, std::max(imaginary, std::numeric_limits<double>::min())};
    alphas[k + 1] = Conjugate(alphas[k]);
    betas[k] = betas[k + 1] = beta;
    ++k;
  }
}

}  // namespace mth_internal
