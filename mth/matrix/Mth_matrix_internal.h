#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>

#include "mth/matrix/Mth_matrix.h"

namespace mth_internal {

/// What the operations of this library may do with a matrix beyond what its users may.
class MatrixAccess {
 public:
  /// Results carry their status, and so do the operands of some operations, which are const.
  static void SetStatus(const MTH_MATRIX& matrix, int status) { matrix.status_ = status; }
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

/// Whether all elements are finite.
template <class T>
bool AreFinite(const T* elements, std::int64_t count) {
  T sum = 0;  // x - x is 0, or NaN for what is not finite
  for (std::int64_t i = 0; i < count; ++i) sum += elements[i] - elements[i];
  return sum == 0;
}
inline bool AreFinite(const MTH_MATRIX& matrix) {
  return OnStorage(matrix, [&](auto* elements) { return AreFinite(elements, ElementsCount(matrix)); });
}

}  // namespace mth_internal
