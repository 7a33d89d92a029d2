#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>

#include "mth/matrix/Mth_matrix.h"

namespace mth_internal {

/// Bytes of `count` elements of that valid element type.
inline std::size_t StorageBytes(std::int64_t count, int type) {
  return static_cast<std::size_t>(count) * (type == 0 ? sizeof(double) : sizeof(float));
}

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

}  // namespace mth_internal

template <class T>
T* MTH_MATRIX::Elements() const {
  if constexpr (std::is_same_v<T, double>) {
    return doubles_;
  } else {
    return floats_;
  }
}
