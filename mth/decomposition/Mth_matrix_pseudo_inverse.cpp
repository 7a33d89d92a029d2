#include <algorithm>
#include <cmath>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_message_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_pseudo_inverse_internal.h"
#include "mth/decomposition/Mth_svd_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"

// The pseudo-inverse and what is built on it: least squares and projectors.

using mth_internal::Elements;
using mth_internal::ElementsCount;
using mth_internal::IsUsable;
using mth_internal::MatrixPtr;
using mth_internal::NewFailure;
using mth_internal::NewResult;
using mth_internal::OnStorage;
using mth_internal::SVDFactors;
using mth_internal::SVDResult;
using mth_internal::WorkArray;

namespace {

constexpr double kRelativeTolerance = 1e-15;

// The product with a diagonal matrix of the same type. Adding the zeros of the product changes nothing but
// -0, as long as no inverse of a singular value is infinite.
MTH_MATRIX* TimesDiagonal(const MTH_MATRIX& matrix, const MTH_MATRIX& diagonal) {
  const std::int64_t rows = matrix.GetNbRows();
  const std::int64_t columns = matrix.GetNbCols();
  const WorkArray<double> factors(columns);
  if (!factors) return NewFailure(1);
  for (int j = 0; j < columns; ++j) {
    factors[j] = diagonal.Get(j, j);
    if (!std::isfinite(factors[j])) return matrix * diagonal;
  }
  MTH_MATRIX* result = NewResult(rows, columns, matrix.GetType());
  if (!IsUsable(result)) return result;
  OnStorage(matrix, [&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    T* target = Elements<T>(*result);
    for (std::int64_t i = 0; i < rows; ++i, elements += columns, target += columns) {
      for (std::int64_t j = 0; j < columns; ++j)
        target[j] = static_cast<T>(static_cast<double>(elements[j]) * factors[j] + 0.0);
    }
  });
  return result;
}

// (V W+) Ut with W+ the inverses of the singular values that are not negligible.
MTH_MATRIX* InverseOfFactors(const SVDFactors& factors, int* kept) {
  const int columns = factors.w->GetNbCols();
  const int rows = factors.u->GetNbRows();
  MTH_MATRIX inverses(columns, columns, factors.w->GetType());
  if (!inverses.IsAllocated()) return NewFailure(9);
  inverses.SetIdentity();
  // Relative to the first singular value, not to a search for the largest.
  const double first = columns > 0 ? factors.w->Get(0, 0) : 0.0;
  const double tolerance = first * kRelativeTolerance * std::max(rows, columns);
  *kept = 0;
  for (int j = 0; j < columns; ++j) {
    const double value = factors.w->Get(j, j);
    const bool isNegligible = std::abs(value) <= tolerance;
    inverses.Set(j, j, isNegligible ? 0.0 : 1.0 / value);
    *kept += isNegligible ? 0 : 1;
  }
  const MatrixPtr scaled(TimesDiagonal(*factors.v, inverses));
  const MatrixPtr transposed(factors.u->Transpose());
  if (!scaled || !transposed) return NewFailure(1);
  MatrixPtr result(*scaled * *transposed);
  if (!IsUsable(result.get())) return NewFailure(1);
  mth_internal::MatrixAccess::SetStatus(*result, *kept < columns ? 10 : 0);
  return result.release();
}

MTH_MATRIX* PseudoInverseOf(const MTH_MATRIX& a) {
  const SVDFactors factors = mth_internal::DecomposeSilently(a);
  int kept = 0;
  return factors.result == SVDResult::Done ? InverseOfFactors(factors, &kept) : NewFailure(9);
}

bool IsInverse(const MTH_MATRIX* inverse) {
  return IsUsable(inverse) && inverse->GetStatusError() != 9;
}

// The status of a step of a chain of operations; a step that is null had no memory for its object.
int StatusOf(const MatrixPtr& matrix) {
  return matrix ? matrix->GetStatusError() : 1;
}

}  // namespace

namespace mth_internal {

MTH_MATRIX* SolveBySVDSilently(const MTH_MATRIX& a, const MTH_MATRIX& b) {
  if (!a.IsAllocated()) return NewFailure(1);
  if (a.GetNbRows() != b.GetNbRows()) return NewFailure(4);
  const MatrixPtr inverse(PseudoInverseOf(a));
  return IsInverse(inverse.get()) ? *inverse * b : NewFailure(9);
}

}  // namespace mth_internal

MTH_MATRIX* MTH_MATRIX::PseudoInverse() const {
  return PseudoInverse(nullptr, nullptr, nullptr, nullptr);
}

MTH_MATRIX* MTH_MATRIX::PseudoInverse(MTH_MATRIX** u, MTH_MATRIX** w, MTH_MATRIX** v, int* rank) const {
  SVDFactors factors = mth_internal::Decompose(*this);
  int kept = 0;
  MatrixPtr inverse(factors.result == SVDResult::Done ? InverseOfFactors(factors, &kept) : NewFailure(9));
  if (u != nullptr) *u = factors.u.release();
  if (w != nullptr) *w = factors.w.release();
  if (v != nullptr) *v = factors.v.release();
  if (rank != nullptr) *rank = kept;
  return inverse.release();
}

MTH_MATRIX* MTH_MATRIX::SolveLinearSystemBySVD(const MTH_MATRIX& b) const {
  if (!allocated_) return NewFailure(1);
  if (rows_ != b.rows_) return NewFailure(4);
  const MatrixPtr inverse(PseudoInverse());
  if (!IsInverse(inverse.get())) {
    const bool isGivenUp = mth_internal::LongRun(rows_, columns_, std::max(rows_, columns_)).IsGivenUp();
    if (!isGivenUp) mth_internal::ShowInformation(mth_internal::kNotInvertible);
    return NewFailure(9);
  }
  if (inverse->status_ == 10) mth_internal::ShowInformation(mth_internal::kUnstableSolution);
  return *inverse * b;
}

MTH_MATRIX* MTH_MATRIX::Projection() const {
  const MatrixPtr transposed(Transpose());
  if (!IsUsable(transposed.get())) return NewFailure(StatusOf(transposed));
  const MatrixPtr square(*this * *transposed);
  if (!IsUsable(square.get())) return NewFailure(StatusOf(square));
  const MatrixPtr inverse(square->PseudoInverse());
  if (!IsUsable(inverse.get())) return NewFailure(StatusOf(inverse));
  const MatrixPtr left(*transposed * *inverse);
  if (!IsUsable(left.get())) return NewFailure(StatusOf(left));
  return *left * *this;
}

MTH_MATRIX* MTH_MATRIX::OrthogonalProjection() const {
  MTH_MATRIX* projector = Projection();
  if (!IsUsable(projector)) return projector;
  OnStorage(*projector, [&](auto* elements) {
    for (std::int64_t i = 0; i < ElementsCount(*projector); ++i) elements[i] = -elements[i];
    for (std::int64_t i = 0; i < columns_; ++i) elements[i * columns_ + i] += 1;
  });
  return projector;
}
