#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "mth/matrix/Mth_matrix.h"

namespace mth_internal {

/// What the operations of this library may do with a matrix beyond what its users may.
class MatrixAccess {
 public:
  /// Results carry their status, and so do the operands of some operations, which are const.
  static void SetStatus(const MTH_MATRIX& matrix, int status) { matrix.status_ = status; }

 private:
  friend class BorrowedMatrix;

  // Lays an unallocated matrix over elements that it does not own; `elements` null: forgets them.
  template <class T>
  static void Lay(MTH_MATRIX& matrix, T* elements, int rows, int columns) {
    const bool isLaid = elements != nullptr;
    if constexpr (std::is_same_v<T, double>) {
      matrix.doubles_ = elements;
    } else {
      matrix.floats_ = elements;
    }
    matrix.rows_ = isLaid ? rows : -1;
    matrix.columns_ = isLaid ? columns : -1;
    matrix.type_ = std::is_same_v<T, double> ? 0 : 1;
    matrix.allocated_ = isLaid;
  }
};

/// A caller's array, row-major, as an operand of const operations, without a copy: the elements are borrowed
/// for the life of this object and never written.
class BorrowedMatrix {
 public:
  /// @param elements  rows x columns of them, not null; their number is at most 2^31 - 1.
  template <class T>
  BorrowedMatrix(const T* elements, int rows, int columns) {
    MatrixAccess::Lay(matrix_, const_cast<T*>(elements), rows, columns);
  }
  BorrowedMatrix(const BorrowedMatrix&) = delete;
  BorrowedMatrix& operator=(const BorrowedMatrix&) = delete;
  ~BorrowedMatrix() {
    MatrixAccess::Lay<double>(matrix_, nullptr, 0, 0);
    MatrixAccess::Lay<float>(matrix_, nullptr, 0, 0);
  }

  const MTH_MATRIX& operator*() const { return matrix_; }
  const MTH_MATRIX* operator->() const { return &matrix_; }
  /// For operations that take a pointer without const and only read.
  MTH_MATRIX* Get() { return &matrix_; }

 private:
  MTH_MATRIX matrix_;
};

/// Bytes of `count` elements of that valid element type.
inline std::size_t StorageBytes(std::int64_t count, int type) {
  return static_cast<std::size_t>(count) * (type == 0 ? sizeof(double) : sizeof(float));
}

/// Number of elements of an allocated matrix.
inline std::int64_t ElementsCount(const MTH_MATRIX& matrix) {
  return std::int64_t{matrix.GetNbRows()} * matrix.GetNbCols();
}

/// The storage of an allocated matrix as the element type T; null for the other one.
template <class T>
T* Elements(const MTH_MATRIX& matrix) {
  if constexpr (std::is_same_v<T, double>) {
    return matrix.GetEDataAddress();
  } else {
    return matrix.GetFDataAddress();
  }
}

/// Runs `operation` on the elements as T*, T being the element type of this allocated matrix.
template <class Operation>
auto OnStorage(const MTH_MATRIX& matrix, Operation operation) {
  return matrix.GetEDataAddress() != nullptr ? operation(matrix.GetEDataAddress())
                                             : operation(matrix.GetFDataAddress());
}

/// A new unallocated matrix that carries the status; null without memory.
MTH_MATRIX* NewFailure(int status);

/// A new matrix for a result, unallocated with status 1 when its size is refused or there is no memory; null
/// without memory for the object.
MTH_MATRIX* NewResult(std::int64_t rows, std::int64_t columns, int type);

/// Why a binary operation on two operands of fitting shapes is refused; 0 when it is not.
int CheckOperands(const MTH_MATRIX& left, const MTH_MATRIX& right);

/// Whether a result can be written to: there is an object and it has its elements.
inline bool IsUsable(const MTH_MATRIX* matrix) {
  return matrix != nullptr && matrix->IsAllocated();
}

/// Whether there is anything to compute: a result of no rows or no columns is ready as it is, and its other
/// count may be too large to loop over.
inline bool HasElements(const MTH_MATRIX* matrix) {
  return IsUsable(matrix) && matrix->GetNbRows() > 0 && matrix->GetNbCols() > 0;
}

using MatrixPtr = std::unique_ptr<MTH_MATRIX>;

/// A new matrix with its elements, not initialised; null without memory for them.
inline MatrixPtr NewMatrix(int rows, int columns, int type) {
  MatrixPtr matrix(new (std::nothrow) MTH_MATRIX(rows, columns, type));
  return IsUsable(matrix.get()) ? std::move(matrix) : nullptr;
}

/// Whether all elements are finite.
template <class T>
bool AreFinite(const T* elements, std::int64_t count) {
  constexpr std::int64_t kSums = 16;  // that do not wait for one another
  T sums[kSums] = {};                 // x - x is 0, or NaN for what is not finite
  std::int64_t i = 0;
  for (; i + kSums <= count; i += kSums) {
    for (std::int64_t j = 0; j < kSums; ++j) sums[j] += elements[i + j] - elements[i + j];
  }
  for (; i < count; ++i) sums[0] += elements[i] - elements[i];
  return std::all_of(sums, sums + kSums, [](T sum) { return sum == 0; });
}
inline bool AreFinite(const MTH_MATRIX& matrix) {
  return OnStorage(matrix, [&](auto* elements) { return AreFinite(elements, ElementsCount(matrix)); });
}

}  // namespace mth_internal
