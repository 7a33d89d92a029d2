#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <new>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_lu_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"

// LU decomposition, linear systems, inverse and determinant.

using mth_internal::AreFinite;
using mth_internal::CheckOperands;
using mth_internal::Elements;
using mth_internal::ElementsCount;
using mth_internal::IsUsable;
using mth_internal::LUFactors;
using mth_internal::MatrixPtr;
using mth_internal::NewFailure;
using mth_internal::NewResult;
using mth_internal::OnStorage;
using mth_internal::WorkArray;

namespace {

constexpr double kSingularSystem = 1e-30;  // product of the pivots, for a matrix that is factored here
constexpr double kSingularFactoredSystem = 1e-10;  // intended: not the same for a matrix given as factored
constexpr double kSmallestDeterminant = 1e-9;

// In double from 1, along the diagonal of a matrix that LU made.
double DiagonalProduct(const MTH_MATRIX& factors) {
  double product = 1.0;
  for (int i = 0; i < factors.GetNbRows(); ++i)
    product = mth_internal::ProductOfPivots(product, factors.Get(i, i));
  return product;
}

// Row i of the result is row permutation[i] of B, a row of zeros where there is none, as the product with the
// permutation matrix makes it: its sums have no -0, and its zeros times what is not finite are NaN. With
// `strangers`, the number of such values in each column.
template <class T>
void PermuteElements(const T* elements, std::int64_t rows, std::int64_t columns, const int* permutation,
                     const int* strangers, T* target) {
  for (std::int64_t i = 0; i < rows; ++i, target += columns) {
    const bool isRow = permutation[i] >= 0 && permutation[i] < rows;
    const T* row = isRow ? elements + std::int64_t{permutation[i]} * columns : nullptr;
    for (std::int64_t j = 0; j < columns; ++j) target[j] = isRow ? row[j] + T{0} : T{0};
    for (std::int64_t j = 0; strangers != nullptr && j < columns; ++j) {
      const int own = std::isfinite(target[j]) ? 0 : 1;
      if (strangers[j] > own) target[j] = std::numeric_limits<T>::quiet_NaN();
    }
  }
}

MTH_MATRIX* PermuteRows(const MTH_MATRIX& b, const int* permutation) {
  const std::int64_t rows = b.GetNbRows();
  const std::int64_t columns = b.GetNbCols();
  const bool isFinite = AreFinite(b);
  const WorkArray<int> strangers(isFinite ? 0 : columns);
  MatrixPtr result(NewResult(rows, columns, b.GetType()));
  if (!strangers) return NewFailure(1);
  if (!IsUsable(result.get())) return result.release();
  OnStorage(b, [&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    if (!isFinite) std::fill_n(strangers.Get(), columns, 0);
    for (std::int64_t i = 0; !isFinite && i < rows * columns; ++i)
      strangers[i % columns] += std::isfinite(elements[i]) ? 0 : 1;
    PermuteElements<T>(elements, rows, columns, permutation, strangers.Get(), Elements<T>(*result));
  });
  return result.release();
}

// Column i becomes column order[i], row by row. False without memory.
template <class T>
bool ScatterColumns(T* elements, std::int64_t size, const int* order) {
  T small[mth_internal::kSmallSystem];
  const bool isSmall = size <= mth_internal::kSmallSystem;
  const WorkArray<T> heap(isSmall ? 0 : size);
  if (!heap) return false;
  T* row = isSmall ? small : heap.Get();
  for (std::int64_t i = 0; i < size; ++i, elements += size) {
    for (std::int64_t j = 0; j < size; ++j) row[order[j]] = elements[j];
    std::copy_n(row, size, elements);
  }
  return true;
}

// Solves in place, X holding the permuted right-hand sides; unknowns of a float solution are rounded one by
// one.
// @return  as SolveFactoredRows.
template <class Element>
int SolveInto(const Element* lu, const MTH_MATRIX& x, bool isIdentity) {
  const std::int64_t size = x.GetNbRows();
  const std::int64_t columns = x.GetNbCols();
  if (x.GetType() == 0) {
    if constexpr (std::is_same_v<Element, double>)
      return mth_internal::SolveFactoredRows<double>(lu, size, x.GetEDataAddress(), columns, isIdentity);
  }
  float* elements = x.GetFDataAddress();
  const WorkArray<double> work(size * columns);
  if (!work) return 1;
  std::copy_n(elements, size * columns, work.Get());
  const int status = mth_internal::SolveFactoredRows<float>(lu, size, work.Get(), columns, isIdentity);
  if (status != 0) return status;
  std::transform(work.Get(), work.Get() + size * columns, elements,
                 [](double value) { return static_cast<float>(value); });
  return 0;
}

template <class Element>
MTH_MATRIX* SolveFactored(const Element* lu, const int* permutation, const MTH_MATRIX& b) {
  MatrixPtr result(PermuteRows(b, permutation));
  if (!IsUsable(result.get())) return result.release();
  const int status = SolveInto(lu, *result, false);
  return status == 0 ? result.release() : NewFailure(status);
}

// Whether every unknown of a system whose right-hand side has no NaN is NaN all the same: one below the
// diagonal makes the last row so, and that, or one in the last pivot, all rows above.
bool SpreadNaN(const LUFactors& factors, std::int64_t size) {
  const double* row = factors.Elements();
  for (std::int64_t i = 0; i < size; ++i, row += size) {
    const std::int64_t end = i + 1 < size ? i : size;
    if (std::any_of(row, row + end, [](double x) { return std::isnan(x); })) return true;
  }
  return false;
}

// The inverse of factors that are not all finite: term by term, as zeros times an infinity are NaN.
MTH_MATRIX* InverseOfNonFinite(const LUFactors& factors, int size, int type) {
  if (!SpreadNaN(factors, size)) {
    MTH_MATRIX identity(size, size, type);
    if (!identity.IsAllocated()) return NewFailure(1);
    identity.SetIdentity();
    return SolveFactored(factors.Elements(), factors.Order(), identity);
  }
  MTH_MATRIX* result = NewResult(size, size, type);
  if (!IsUsable(result)) return result;
  OnStorage(*result, [&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    std::fill_n(elements, ElementsCount(*result), std::numeric_limits<T>::quiet_NaN());
  });
  return result;
}

}  // namespace

MTH_MATRIX* MTH_MATRIX::LU(int** permutation) const {
  if (permutation == nullptr) return NewFailure(3);
  *permutation = nullptr;
  if (!allocated_) return NewFailure(1);
  if (rows_ != columns_) return NewFailure(4);
  std::unique_ptr<int[]> order(new (std::nothrow) int[static_cast<std::size_t>(rows_)]);
  MatrixPtr factors(NewResult(rows_, columns_, type_));
  if (!order) return NewFailure(1);
  if (!IsUsable(factors.get())) return factors.release();
  const WorkArray<double> copy(type_ == 0 ? 0 : ElementsCount(*this));
  if (!copy) return NewFailure(1);
  const int status = OnStorage(*this, [&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    double* work = type_ == 0 ? factors->doubles_ : copy.Get();
    const int refusal = mth_internal::FactorMatrix<T>(elements, rows_, work, order.get());
    if (refusal != 0) return refusal;
    if constexpr (std::is_same_v<T, float>) {
      std::transform(work, work + ElementsCount(*this), factors->floats_,
                     [](double value) { return static_cast<float>(value); });
    }
    return 0;
  });
  if (status == 1 || status == 5) return NewFailure(status);
  *permutation = order.release();
  return status == 0 ? factors.release() : NewFailure(status);
}

MTH_MATRIX* MTH_MATRIX::SolveLinearSystemByLU(const MTH_MATRIX& b) const {
  if (const int refusal = CheckOperands(*this, b)) return NewFailure(refusal);
  if (rows_ != columns_ || rows_ != b.rows_) return NewFailure(4);
  const LUFactors factors(*this);
  if (factors.Status() != 0) return NewFailure(5);
  if (std::abs(factors.Determinant()) < kSingularSystem) return NewFailure(6);
  return SolveFactored(factors.Elements(), factors.Order(), b);
}

MTH_MATRIX* MTH_MATRIX::SolveLinearSystemByLU(const MTH_MATRIX& b, const int* permutation) const {
  if (const int refusal = CheckOperands(*this, b)) return NewFailure(refusal);
  if (rows_ != columns_ || rows_ != b.rows_) return NewFailure(4);
  if (permutation == nullptr) return NewFailure(3);
  if (std::abs(DiagonalProduct(*this)) < kSingularFactoredSystem) return NewFailure(6);
  return OnStorage(*this, [&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    return SolveFactored<T>(elements, permutation, b);
  });
}

MTH_MATRIX* MTH_MATRIX::Inverse() const {
  if (!allocated_ || rows_ != columns_) return NewFailure(1);
  const LUFactors factors(*this);
  if (factors.Status() != 0) return NewFailure(5);
  if (std::abs(factors.Determinant()) < kSingularSystem) return NewFailure(6);
  if (!AreFinite(factors.Elements(), ElementsCount(*this))) return InverseOfNonFinite(factors, rows_, type_);
  // The columns of the permuted identity are solved in the order in which they are those of the identity.
  MatrixPtr result(NewResult(rows_, rows_, type_));
  if (!IsUsable(result.get())) return result.release();
  result->SetIdentity();
  if (const int status = SolveInto(factors.Elements(), *result, true)) return NewFailure(status);
  const bool isDone =
      OnStorage(*result, [&](auto* elements) { return ScatterColumns(elements, rows_, factors.Order()); });
  return isDone ? result.release() : NewFailure(1);
}

double MTH_MATRIX::Det() const {
  if (!allocated_ || rows_ != columns_) {
    status_ = 7;
    return 0.0;
  }
  const LUFactors factors(*this);
  if (factors.Status() != 0) {
    if (factors.Status() != 16) status_ = 7;
    return 0.0;
  }
  const double determinant = factors.Determinant();
  return std::abs(determinant) < kSmallestDeterminant ? 0.0 : determinant;
}
