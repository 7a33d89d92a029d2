#include <cmath>
#include <memory>
#include <new>
#include <numeric>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_elimination_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"

#define MTH_KERNEL_FILE "mth/decomposition/Mth_elimination_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

// LU decomposition, linear systems, inverse and determinant.

using mth_internal::MatrixPtr;
using mth_internal::WorkArray;

namespace {

constexpr double kSingularSystem = 1e-30;  // product of the pivots, for a matrix that is factored here
constexpr double kSingularFactoredSystem = 1e-10;  // intended: not the same for a matrix given as factored
constexpr double kSmallestDeterminant = 1e-9;

// 1 / the largest magnitude of each row.
// @return  false when a row is all 0; a NaN is not 0.
template <class T>
bool FindRowScales(const T* elements, std::int64_t size, double* scales) {
  for (std::int64_t i = 0; i < size; ++i) {
    double largest = 0.0;
    for (std::int64_t j = 0; j < size; ++j) {
      const double magnitude = std::abs(static_cast<double>(elements[i * size + j]));
      if (magnitude > largest || std::isnan(magnitude)) largest = magnitude;
    }
    if (largest == 0.0) return false;
    scales[i] = 1.0 / largest;
  }
  return true;
}

// Rows of a system that is solved in double elements, whatever the type of its solution: those of the
// solution itself, or a work copy.
class SolutionRows {
 public:
  explicit SolutionRows(const MTH_MATRIX& solution)
      : count_(std::int64_t{solution.GetNbRows()} * solution.GetNbCols()),
        copy_(solution.GetType() == 0 ? 0 : count_),
        elements_(solution.GetType() == 0 ? solution.GetEDataAddress() : copy_.Get()) {}

  explicit operator bool() const { return static_cast<bool>(copy_); }
  double* Get() const { return elements_; }
  template <class T>
  void CopyFrom(const T* source) const {
    std::copy_n(source, count_, elements_);
  }
  template <class T>
  void CopyTo(T* target) const {
    std::transform(elements_, elements_ + count_, target, [](double x) { return static_cast<T>(x); });
  }

 private:
  std::int64_t count_;
  WorkArray<double> copy_;
  double* elements_;
};

}  // namespace

MTH_MATRIX* MTH_MATRIX::LU(int** permutation) const {
  if (permutation == nullptr) return NewFailure(3);
  *permutation = nullptr;
  if (!allocated_) return NewFailure(1);
  if (rows_ != columns_) return NewFailure(4);
  const std::int64_t size = rows_;
  std::unique_ptr<int[]> order(new (std::nothrow) int[static_cast<std::size_t>(size)]);
  const WorkArray<double> scales(size);
  if (!order || !scales) return NewFailure(1);
  std::iota(order.get(), order.get() + size, 0);
  if (!OnStorage([&](auto* elements) { return FindRowScales(elements, size, scales.Get()); })) {
    *permutation = order.release();
    return NewFailure(16);
  }
  MatrixPtr factors(new (std::nothrow) MTH_MATRIX(*this));
  if (!mth_internal::IsUsable(factors.get())) return factors.release();
  const SolutionRows work(*factors);
  const WorkArray<double> scratch(mth_internal::EliminationScratch(size));
  if (!work || !scratch) return NewFailure(1);
  OnStorage([&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    if constexpr (std::is_same_v<T, float>) work.CopyFrom(elements);
    MTH_SELECT(FactorInPlace<T>)(work.Get(), size, scales.Get(), order.get(), scratch.Get());
    if constexpr (std::is_same_v<T, float>) work.CopyTo(factors->Elements<T>());
  });
  *permutation = order.release();
  return factors.release();
}

// In double from 1, along the diagonal of a matrix that LU made.
double MTH_MATRIX::DiagonalProduct() const {
  double product = 1.0;
  for (int i = 0; i < rows_; ++i) product *= Get(i, i);
  return product;
}

MTH_MATRIX* MTH_MATRIX::PermuteRows(const int* permutation) const {
  const bool isFinite =
      OnStorage([&](auto* elements) { return mth_internal::AreFinite(elements, ElementsCount()); });
  MatrixPtr result(NewResult(rows_, columns_, type_));
  if (!mth_internal::IsUsable(result.get())) return result.release();
  result->SetZero();
  if (!isFinite) {
    // The zeros of the permutation matrix times an infinity are NaN: only the product itself will do.
    MTH_MATRIX matrix(rows_, rows_, type_);
    matrix.SetZero();
    for (int i = 0; i < rows_; ++i) matrix.Set(i, permutation[i], 1.0);
    return matrix * *this;
  }
  OnStorage([&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    T* target = result->Elements<T>();
    for (std::int64_t i = 0; i < rows_; ++i, target += columns_) {
      if (permutation[i] < 0 || permutation[i] >= rows_) continue;
      const T* row = elements + std::int64_t{permutation[i]} * columns_;
      for (std::int64_t j = 0; j < columns_; ++j) target[j] = row[j] + T{0};  // the sum has no -0
    }
  });
  return result.release();
}

// Column i becomes column permutation[i], row by row. False without memory.
bool MTH_MATRIX::ScatterColumns(const int* permutation) {
  return OnStorage([&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    const WorkArray<T> row(columns_);
    if (!row) return false;
    for (std::int64_t i = 0; i < rows_; ++i, elements += columns_) {
      for (int j = 0; j < columns_; ++j) row[permutation[j]] = elements[j];
      std::copy_n(row.Get(), columns_, elements);
    }
    return true;
  });
}

MTH_MATRIX* MTH_MATRIX::SolveFactored(const MTH_MATRIX* b, const int* permutation, double singular) const {
  if (std::abs(DiagonalProduct()) < singular) return NewFailure(6);
  // The columns of the permuted identity are solved in the order in which they are those of the identity.
  MatrixPtr result(b != nullptr ? b->PermuteRows(permutation) : NewResult(rows_, rows_, type_));
  if (!mth_internal::IsUsable(result.get())) return result.release();
  if (b == nullptr) result->SetIdentity();
  const SolutionRows work(*result);
  const WorkArray<double> scratch(mth_internal::EliminationScratch(rows_));
  if (!work || !scratch) return NewFailure(1);
  OnStorage([&](auto* factors) {
    using T = std::remove_pointer_t<decltype(factors)>;
    if constexpr (std::is_same_v<T, float>) work.CopyFrom(result->Elements<T>());
    MTH_SELECT(SolveInPlace<T>)(factors, rows_, work.Get(), result->columns_, b == nullptr, scratch.Get());
    if constexpr (std::is_same_v<T, float>) work.CopyTo(result->Elements<T>());
  });
  return result.release();
}

MTH_MATRIX* MTH_MATRIX::SolveLinearSystemByLU(const MTH_MATRIX& b) const {
  if (const int refusal = CheckOperands(*this, b)) return NewFailure(refusal);
  if (rows_ != columns_ || rows_ != b.rows_) return NewFailure(4);
  int* order = nullptr;
  const MatrixPtr factors(LU(&order));
  const std::unique_ptr<int[]> permutation(order);
  if (!mth_internal::IsUsable(factors.get()) || !permutation) return NewFailure(5);
  return factors->SolveFactored(&b, order, kSingularSystem);
}

MTH_MATRIX* MTH_MATRIX::SolveLinearSystemByLU(const MTH_MATRIX& b, const int* permutation) const {
  if (const int refusal = CheckOperands(*this, b)) return NewFailure(refusal);
  if (rows_ != columns_ || rows_ != b.rows_) return NewFailure(4);
  if (permutation == nullptr) return NewFailure(3);
  return SolveFactored(&b, permutation, kSingularFactoredSystem);
}

MTH_MATRIX* MTH_MATRIX::Inverse() const {
  if (!allocated_ || rows_ != columns_) return NewFailure(1);
  int* order = nullptr;
  const MatrixPtr factors(LU(&order));
  const std::unique_ptr<int[]> permutation(order);
  if (!mth_internal::IsUsable(factors.get()) || !permutation) return NewFailure(5);
  const bool isFinite =
      factors->OnStorage([&](auto* elements) { return mth_internal::AreFinite(elements, ElementsCount()); });
  if (!isFinite) {
    MTH_MATRIX identity(rows_, rows_, type_);
    identity.SetIdentity();
    return factors->SolveFactored(&identity, order, kSingularSystem);
  }
  MatrixPtr inverse(factors->SolveFactored(nullptr, order, kSingularSystem));
  if (mth_internal::IsUsable(inverse.get()) && !inverse->ScatterColumns(order)) return NewFailure(1);
  return inverse.release();
}

double MTH_MATRIX::Det() const {
  if (!allocated_ || rows_ != columns_) {
    status_ = 7;
    return 0.0;
  }
  int* order = nullptr;
  const MatrixPtr factors(LU(&order));
  const std::unique_ptr<int[]> permutation(order);
  if (!mth_internal::IsUsable(factors.get())) {
    if (factors == nullptr || factors->status_ != 16) status_ = 7;
    return 0.0;
  }
  const double determinant = factors->DiagonalProduct();
  return std::abs(determinant) < kSmallestDeterminant ? 0.0 : determinant;
}
