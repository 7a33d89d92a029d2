#include <algorithm>

#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"
#include "mth/matrix/Mth_product_kernel_internal.h"
#include "mth/matrix/Mth_transpose_kernel_internal.h"

#define MTH_KERNEL_FILE "mth/matrix/Mth_elementwise_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

// Element-wise operations, transposition and the matrix product.

using mth_internal::CheckOperands;
using mth_internal::Elements;
using mth_internal::ElementsCount;
using mth_internal::MatrixPtr;
using mth_internal::NewFailure;
using mth_internal::NewResult;
using mth_internal::OnStorage;

namespace {

// Whether a result and its operands are too large for the first cache, and not for the second.
template <class T>
bool IsInSecondCache(std::int64_t count) {
  constexpr std::int64_t kSmallest = std::int64_t{24} << 10;  // bytes of the result
  constexpr std::int64_t kLargest = std::int64_t{1} << 20;
  const std::int64_t bytes = count * std::int64_t{sizeof(T)};
  return bytes >= kSmallest && bytes <= kLargest;
}

// One element-wise operation of two operands, written once for both storages.
template <class Operation>
MTH_MATRIX* Combine(const MTH_MATRIX& a, const MTH_MATRIX& b, Operation operation) {
  if (const int refusal = CheckOperands(a, b)) return NewFailure(refusal);
  if (a.GetNbRows() != b.GetNbRows() || a.GetNbCols() != b.GetNbCols()) return NewFailure(4);
  MTH_MATRIX* result = NewResult(a.GetNbRows(), a.GetNbCols(), a.GetType());
  if (!mth_internal::IsUsable(result)) return result;
  OnStorage(a, [&](auto* left) {
    using T = std::remove_pointer_t<decltype(left)>;
    const auto combine = IsInSecondCache<T>(ElementsCount(a))
                             ? MTH_SELECT_NARROW(CombineElements<T, Operation>)
                             : MTH_SELECT(CombineElements<T, Operation>);
    combine(left, Elements<T>(b), Elements<T>(*result), ElementsCount(a), operation);
  });
  return result;
}

// One element-wise operation of one matrix.
template <class Operation>
MTH_MATRIX* Map(const MTH_MATRIX& a, Operation operation) {
  if (!a.IsAllocated()) return NewFailure(1);
  MTH_MATRIX* result = NewResult(a.GetNbRows(), a.GetNbCols(), a.GetType());
  if (!mth_internal::IsUsable(result)) return result;
  OnStorage(a, [&](auto* source) {
    using T = std::remove_pointer_t<decltype(source)>;
    const auto map = IsInSecondCache<T>(ElementsCount(a)) ? MTH_SELECT_NARROW(MapElements<T, Operation>)
                                                          : MTH_SELECT(MapElements<T, Operation>);
    map(source, Elements<T>(*result), ElementsCount(a), operation);
  });
  return result;
}

}  // namespace

MTH_MATRIX* MTH_MATRIX::operator+(const MTH_MATRIX& other) const {
  return Combine(*this, other, [](auto a, auto b) { return a + b; });
}

MTH_MATRIX* MTH_MATRIX::operator-(const MTH_MATRIX& other) const {
  return Combine(*this, other, [](auto a, auto b) { return a - b; });
}

MTH_MATRIX* MTH_MATRIX::operator/(const MTH_MATRIX& other) const {
  return Combine(*this, other, [](auto a, auto b) { return a / b; });
}

MTH_MATRIX* MTH_MATRIX::operator*(const double factor) const {
  return Map(*this, [factor](auto a) { return a * static_cast<decltype(a)>(factor); });
}

MTH_MATRIX* MTH_MATRIX::GetThresholding(double threshold) const {
  return Map(*this, [threshold](auto a) {
    using T = decltype(a);
    return a < static_cast<T>(threshold) ? T{0} : T{1};
  });
}

MTH_MATRIX* MTH_MATRIX::Transpose() const {
  if (!allocated_) return NewFailure(1);
  MTH_MATRIX* result = NewResult(columns_, rows_, type_);
  if (!mth_internal::HasElements(result)) return result;
  OnStorage(*this, [&](auto* source) {
    using T = std::remove_pointer_t<decltype(source)>;
    mth_internal::Transpose<T>(source, rows_, columns_, Elements<T>(*result));
  });
  return result;
}

MTH_MATRIX* MTH_MATRIX::operator*(const MTH_MATRIX& other) const {
  if (const int refusal = CheckOperands(*this, other)) return NewFailure(refusal);
  if (columns_ != other.rows_) return NewFailure(4);
  MatrixPtr result(NewResult(rows_, other.columns_, type_));
  if (!mth_internal::HasElements(result.get())) return result.release();
  const bool isDone = OnStorage(*this, [&](auto* left) {
    using T = std::remove_pointer_t<decltype(left)>;
    const T* right = Elements<T>(other);
    return mth_internal::MultiplyUnlessGivenUp<T>(
        {left, right, Elements<T>(*result), rows_, columns_, other.columns_});
  });
  return isDone ? result.release() : NewFailure(1);
}
