#include <algorithm>
#include <cmath>
#include <memory>

#include "mth/core/Mth_message_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"

// The pseudo-inverse and what is built on it: least squares and projectors.

using mth_internal::MatrixPtr;

namespace {

constexpr double kRelativeTolerance = 1e-15;

}  // namespace

MTH_MATRIX* MTH_MATRIX::PseudoInverse() const {
  return PseudoInverse(nullptr, nullptr, nullptr, nullptr);
}

MTH_MATRIX* MTH_MATRIX::PseudoInverse(MTH_MATRIX** u, MTH_MATRIX** w, MTH_MATRIX** v, int* rank) const {
  MTH_MATRIX* factors[3] = {};
  const bool isDone = SVD(&factors[0], &factors[1], &factors[2]);
  MatrixPtr left(factors[0]);
  MatrixPtr values(factors[1]);
  MatrixPtr right(factors[2]);
  int kept = 0;
  MatrixPtr inverse(isDone ? InverseOfFactors(*left, *values, *right, &kept) : NewFailure(9));
  if (u != nullptr) *u = left.release();
  if (w != nullptr) *w = values.release();
  if (v != nullptr) *v = right.release();
  if (rank != nullptr) *rank = kept;
  return inverse.release();
}

// (V W+) Ut with W+ the inverses of the singular values that are not negligible.
MTH_MATRIX* MTH_MATRIX::InverseOfFactors(const MTH_MATRIX& u, const MTH_MATRIX& w, const MTH_MATRIX& v,
                                         int* kept) const {
  MTH_MATRIX inverses(columns_, columns_, type_);
  if (!inverses.allocated_) return NewFailure(9);
  inverses.SetIdentity();
  // Relative to the first singular value, not to a search for the largest.
  const double first = columns_ > 0 ? w.Get(0, 0) : 0.0;
  const double tolerance = first * kRelativeTolerance * std::max(rows_, columns_);
  *kept = 0;
  for (int j = 0; j < columns_; ++j) {
    const double value = w.Get(j, j);
    const bool isNegligible = std::abs(value) <= tolerance;
    inverses.Set(j, j, isNegligible ? 0.0 : 1.0 / value);
    *kept += isNegligible ? 0 : 1;
  }
  const MatrixPtr scaled(v.TimesDiagonal(inverses));
  const MatrixPtr transposed(u.Transpose());
  if (!scaled || !transposed) return NewFailure(1);
  MatrixPtr result(*scaled * *transposed);
  if (!mth_internal::IsUsable(result.get())) return NewFailure(1);
  result->status_ = *kept < columns_ ? 10 : 0;
  return result.release();
}

// The product with a diagonal matrix of this type. Adding the zeros of the product changes nothing but -0, as
// long as no inverse of a singular value is infinite.
MTH_MATRIX* MTH_MATRIX::TimesDiagonal(const MTH_MATRIX& diagonal) const {
  for (int j = 0; j < columns_; ++j) {
    if (!std::isfinite(diagonal.Get(j, j))) return *this * diagonal;
  }
  MTH_MATRIX* result = NewResult(rows_, columns_, type_);
  if (!mth_internal::IsUsable(result)) return result;
  OnStorage([&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    const T* factors = diagonal.Elements<T>();
    T* target = result->Elements<T>();
    for (std::int64_t i = 0; i < rows_; ++i) {
      for (std::int64_t j = 0; j < columns_; ++j, ++elements, ++target) {
        const double product =
            static_cast<double>(*elements) * static_cast<double>(factors[j * (std::int64_t{columns_} + 1)]);
        *target = static_cast<T>(product + 0.0);
      }
    }
  });
  return result;
}

bool MTH_MATRIX::IsSafeInverse(const MTH_MATRIX* inverse) {
  if (inverse == nullptr || !inverse->allocated_ || inverse->status_ == 9) {
    mth_internal::ShowInformation("Matrice non inversible");
    return false;
  }
  if (inverse->status_ == 10) mth_internal::ShowInformation("Risque d'instabilité de la solution");
  return true;
}

MTH_MATRIX* MTH_MATRIX::SolveLinearSystemBySVD(const MTH_MATRIX& b) const {
  if (!allocated_) return NewFailure(1);
  if (rows_ != b.rows_) return NewFailure(4);
  const MatrixPtr inverse(PseudoInverse());
  if (!IsSafeInverse(inverse.get())) return NewFailure(9);
  return *inverse * b;
}

MTH_MATRIX* MTH_MATRIX::Projection() const {
  const auto statusOf = [](const MatrixPtr& matrix) { return matrix ? matrix->status_ : 1; };
  const MatrixPtr transposed(Transpose());
  if (!mth_internal::IsUsable(transposed.get())) return NewFailure(statusOf(transposed));
  const MatrixPtr square(*this * *transposed);
  if (!mth_internal::IsUsable(square.get())) return NewFailure(statusOf(square));
  const MatrixPtr inverse(square->PseudoInverse());
  if (!mth_internal::IsUsable(inverse.get())) return NewFailure(statusOf(inverse));
  const MatrixPtr left(*transposed * *inverse);
  if (!mth_internal::IsUsable(left.get())) return NewFailure(statusOf(left));
  return *left * *this;
}

MTH_MATRIX* MTH_MATRIX::OrthogonalProjection() const {
  MTH_MATRIX* projector = Projection();
  if (!mth_internal::IsUsable(projector)) return projector;
  projector->OnStorage([&](auto* elements) {
    for (std::int64_t i = 0; i < projector->ElementsCount(); ++i) elements[i] = -elements[i];
    for (std::int64_t i = 0; i < columns_; ++i) elements[i * columns_ + i] += 1;
  });
  return projector;
}
