#include <algorithm>
#include <cmath>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_control_internal.h"
#include "mth/decomposition/Mth_lyapunov_internal.h"
#include "mth/decomposition/Mth_riccati_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"

// The Riccati equations of matrices of either type.

using mth_internal::NewFailure;
using mth_internal::RiccatiSystem;
using mth_internal::ScaledMatrix;
using mth_internal::SquareView;
using mth_internal::WorkArray;

namespace {

ScaledMatrix CopyScaled(const MTH_MATRIX& matrix, double* target, bool isSymmetric) {
  ScaledMatrix scaled{target, matrix.GetNbRows(), matrix.GetNbCols(), 0, true};
  const std::int64_t count = scaled.rows * scaled.columns;
  mth_internal::CopyElements(matrix, target);
  if (isSymmetric) mth_internal::Symmetrise({target, scaled.rows});
  const double largest = mth_internal::LargestMagnitude(target, count);
  if (largest == 0.0) return scaled;
  scaled.isZero = false;
  scaled.exponent = -std::ilogb(largest);
  std::transform(target, target + count, target, [&](double x) { return std::ldexp(x, scaled.exponent); });
  return scaled;
}

template <class Solver>
MTH_MATRIX* Solve(const MTH_MATRIX& a, const MTH_MATRIX& b, const MTH_MATRIX& q, const MTH_MATRIX& r,
                  Solver solver) {
  const int n = a.GetNbRows();
  const int m = b.GetNbCols();
  if (const int refusal = mth_internal::CheckSystem({{a, n, n}, {b, n, m}, {q, n, n}, {r, m, m}}))
    return NewFailure(refusal);
  const std::int64_t area = std::int64_t{n} * n;
  const std::int64_t inputs = std::int64_t{n} * m;
  const WorkArray<double> memory(3 * area + inputs + std::int64_t{m} * m);
  if (!memory) return NewFailure(1);
  double* elements = memory.Get();
  const RiccatiSystem system{CopyScaled(a, elements, false), CopyScaled(b, elements + 2 * area, false),
                             CopyScaled(q, elements + area, true),
                             CopyScaled(r, elements + 2 * area + inputs, true)};
  const SquareView x{elements + 2 * area + inputs + std::int64_t{m} * m, n};
  int exponent = 0;
  const int status = solver(system, x, &exponent);
  if (status != 0 && status != 10) return NewFailure(status);
  MTH_MATRIX* result = mth_internal::NewRounded(x.elements, n, n, a.GetType(), exponent);
  if (mth_internal::IsUsable(result)) mth_internal::MatrixAccess::SetStatus(*result, status);
  return result;
}

}  // namespace

MTH_MATRIX* MTH_MATRIX::SolveRiccati(const MTH_MATRIX& b, const MTH_MATRIX& q, const MTH_MATRIX& r) const {
  return Solve(*this, b, q, r, mth_internal::SolveContinuousRiccati);
}

MTH_MATRIX* MTH_MATRIX::SolveDiscreteRiccati(const MTH_MATRIX& b, const MTH_MATRIX& q,
                                             const MTH_MATRIX& r) const {
  return Solve(*this, b, q, r, mth_internal::SolveDiscreteRiccati);
}
