#include <algorithm>

#include "mth/matrix/Mth_kernels_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"

#define MTH_KERNEL_FILE "mth/matrix/Mth_elementwise_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

// Element-wise operations, transposition and the matrix product.

int MTH_MATRIX::CheckOperands(const MTH_MATRIX& left, const MTH_MATRIX& right) {
  if (!left.allocated_ || !right.allocated_) return 1;
  if (left.type_ != right.type_ || !left.HasValidType()) return 14;
  return 0;
}

// One element-wise operation of two operands, written once for both storages.
template <class Operation>
MTH_MATRIX* MTH_MATRIX::Combine(const MTH_MATRIX& other, Operation operation) const {
  if (const int refusal = CheckOperands(*this, other)) return NewFailure(refusal);
  if (rows_ != other.rows_ || columns_ != other.columns_) return NewFailure(4);
  MTH_MATRIX* result = NewResult(rows_, columns_, type_);
  if (!mth_internal::IsUsable(result)) return result;
  OnStorage([&](auto* left) {
    using T = std::remove_pointer_t<decltype(left)>;
    const auto combine = MTH_SELECT(CombineElements<T, Operation>);
    combine(left, other.Elements<T>(), result->Elements<T>(), ElementsCount(), operation);
  });
  return result;
}

// One element-wise operation of this matrix.
template <class Operation>
MTH_MATRIX* MTH_MATRIX::Map(Operation operation) const {
  if (!allocated_) return NewFailure(1);
  MTH_MATRIX* result = NewResult(rows_, columns_, type_);
  if (!mth_internal::IsUsable(result)) return result;
  OnStorage([&](auto* source) {
    using T = std::remove_pointer_t<decltype(source)>;
    const auto map = MTH_SELECT(MapElements<T, Operation>);
    map(source, result->Elements<T>(), ElementsCount(), operation);
  });
  return result;
}

MTH_MATRIX* MTH_MATRIX::operator+(const MTH_MATRIX& other) const {
  return Combine(other, [](auto a, auto b) { return a + b; });
}

MTH_MATRIX* MTH_MATRIX::operator-(const MTH_MATRIX& other) const {
  return Combine(other, [](auto a, auto b) { return a - b; });
}

MTH_MATRIX* MTH_MATRIX::operator/(const MTH_MATRIX& other) const {
  return Combine(other, [](auto a, auto b) { return a / b; });
}

MTH_MATRIX* MTH_MATRIX::operator*(const double factor) const {
  return Map([factor](auto a) { return a * static_cast<decltype(a)>(factor); });
}

MTH_MATRIX* MTH_MATRIX::GetThresholding(double threshold) const {
  return Map([threshold](auto a) {
    using T = decltype(a);
    return a < static_cast<T>(threshold) ? T{0} : T{1};
  });
}

MTH_MATRIX* MTH_MATRIX::Transpose() const {
  if (!allocated_) return NewFailure(1);
  MTH_MATRIX* result = NewResult(columns_, rows_, type_);
  if (!mth_internal::HasElements(result)) return result;
  OnStorage([&](auto* source) {
    using T = std::remove_pointer_t<decltype(source)>;
    mth_internal::Transpose<T>(source, rows_, columns_, result->Elements<T>());
  });
  return result;
}

MTH_MATRIX* MTH_MATRIX::operator*(const MTH_MATRIX& other) const {
  if (const int refusal = CheckOperands(*this, other)) return NewFailure(refusal);
  if (columns_ != other.rows_) return NewFailure(4);
  MTH_MATRIX* result = NewResult(rows_, other.columns_, type_);
  if (!mth_internal::HasElements(result)) return result;
  OnStorage([&](auto* left) {
    using T = std::remove_pointer_t<decltype(left)>;
    const T* right = other.Elements<T>();
    mth_internal::Multiply<T>({left, right, result->Elements<T>(), rows_, columns_, other.columns_});
  });
  return result;
}
