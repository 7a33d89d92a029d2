#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "mth/decomposition/Mth_scaling_internal.h"

// What every reflection of the decompositions is made with.

namespace mth_internal {

/// The reflection I - factor v vt that sends (alpha, rest) to (image, 0): v is the vector with `head` in the
/// place of alpha.
struct Reflection {
  double image;
  double head;
  double h;       // half the squared norm of v
  double factor;  // 1 / h; 0 when there is nothing to reflect
};

/// @param squares  the squared norm of the whole vector. One so small that its reciprocal overflows belongs
///                 to a vector that is nothing beside elements of about 1: it is left as it is.
inline Reflection ReflectionOf(double alpha, double squares) {
  if (squares > 0.0 && squares < kSmallestSquares) return {alpha, alpha, 0.0, 0.0};
  const double norm = std::sqrt(squares);
  const double image = alpha >= 0.0 ? -norm : norm;
  const double h = squares - alpha * image;
  return {image, alpha - image, h, h == 0.0 ? 0.0 : 1.0 / h};
}

/// Multiplies the vector v by a power of two when its squares are far from 1: a reflection does not depend on
/// the length of its vector, so that this changes no bit of what can be computed without it, and whatever is
/// reflected can be multiplied by v.
/// @param squares  their sum; becomes that of the new vector.
/// @return         the power.
inline double BringSquaresNearOne(double* v, std::int64_t count, double& squares) {
  constexpr double kFar = 0x1p40;
  if (squares < kFar && squares > 1.0 / kFar) return 1.0;
  const double largest = LargestMagnitude(v, count);
  if (largest == 0.0 || !std::isfinite(largest)) return 1.0;
  double scale = PowerToUnit(largest);
  for (std::int64_t i = 0; i < count; ++i) v[i] *= scale;
  squares = 0.0;
  for (std::int64_t i = 0; i < count; ++i) squares += v[i] * v[i];
  return scale;
}

/// Columns are carried through the reflections in panels of at most this many, padded to whole vectors.
constexpr std::int64_t kWidestPanel = 32;

/// Doubles of scratch memory for the QR decomposition of a rows x columns matrix.
constexpr std::int64_t QRScratch(std::int64_t rows, std::int64_t columns) {
  const std::int64_t count = std::min(rows, columns);
  return rows * (count + columns + 3 * kWidestPanel) + count;
}

}  // namespace mth_internal
