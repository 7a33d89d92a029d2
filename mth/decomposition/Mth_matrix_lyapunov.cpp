#include <algorithm>
#include <cmath>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_control_internal.h"
#include "mth/decomposition/Mth_lyapunov_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"
#include "mth/decomposition/Mth_schur_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"

// The Lyapunov equations of matrices of either type.

using mth_internal::LyapunovKind;
using mth_internal::NewFailure;
using mth_internal::SquareView;
using mth_internal::WorkArray;

namespace {

// Multiplies by a power of two, which is exact.
void Scale(SquareView a, int exponent) {
  if (exponent == 0) return;
  for (std::int64_t i = 0; i < a.size * a.size; ++i) a.elements[i] = std::ldexp(a.elements[i], exponent);
}

int ExponentOf(SquareView a) {
  const double largest = mth_internal::LargestMagnitude(a.elements, a.size * a.size);
  return largest == 0.0 ? 0 : std::ilogb(largest);
}

// Brings A to a size whose squares are in range; a triangular A keeps all its elements, but for those that
// vanish beside others near the largest number.
// @return  the exponent by which it was multiplied.
int ScaleSystem(SquareView a, bool isDiscrete) {
  constexpr int kFar = 400;
  constexpr int kFarthest = 530;  // the square of its power of two is no smaller than the smallest number
  constexpr int kFarthestTriangular = 1000;  // sums of eigenvalues and their reciprocals do not overflow
  const int exponent = ExponentOf(a);
  int shift = 0;
  if (isDiscrete) {
    shift = -std::clamp(exponent, 0, kFarthest);
  } else if (mth_internal::IsUpperTriangular(a)) {
    shift = std::clamp(exponent, -kFarthestTriangular, kFarthestTriangular) - exponent;
  } else if (std::abs(exponent) > kFar) {
    shift = -exponent;
  }
  Scale(a, shift);
  return shift;
}

MTH_MATRIX* Solve(const MTH_MATRIX& a, const MTH_MATRIX& q, bool isDiscrete) {
  const int rows = a.GetNbRows();
  if (const int refusal = mth_internal::CheckSystem({{a, rows, rows}, {q, rows, rows}}))
    return NewFailure(refusal);
  const std::int64_t n = rows;
  const WorkArray<double> memory(2 * n * n);
  if (!memory) return NewFailure(1);
  const SquareView system{memory.Get(), n};
  const SquareView x{memory.Get() + n * n, n};
  mth_internal::CopyElements(a, system.elements);
  mth_internal::CopyElements(q, x.elements);
  const int shiftOfA = ScaleSystem(system, isDiscrete);
  // Where A is far from 1, so is the reciprocal of what is left of the identity.
  const int shiftOfQ = -ExponentOf(x) + (isDiscrete ? shiftOfA / 8 : 0);
  Scale(x, shiftOfQ);
  const LyapunovKind kind{isDiscrete, isDiscrete ? std::ldexp(1.0, 2 * shiftOfA) : 0.0};
  const bool isSymmetric = mth_internal::IsSymmetric(x);
  const int status = mth_internal::SolveLyapunovEquation(system, x, isSymmetric, kind);
  if (status != 0 && status != 10) return NewFailure(status);
  const int exponent = (isDiscrete ? 2 * shiftOfA : shiftOfA) - shiftOfQ;
  MTH_MATRIX* result = mth_internal::NewRounded(x.elements, rows, rows, a.GetType(), exponent);
  if (mth_internal::IsUsable(result)) mth_internal::MatrixAccess::SetStatus(*result, status);
  return result;
}

}  // namespace

MTH_MATRIX* MTH_MATRIX::SolveLyapunov(const MTH_MATRIX& q) const {
  return Solve(*this, q, false);
}

MTH_MATRIX* MTH_MATRIX::SolveDiscreteLyapunov(const MTH_MATRIX& q) const {
  return Solve(*this, q, true);
}
