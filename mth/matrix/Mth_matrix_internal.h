#pragma once

#include <cstddef>
#include <cstdint>
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

}  // namespace mth_internal

template <class T>
T* MTH_MATRIX::Elements() const {
  if constexpr (std::is_same_v<T, double>) {
    return doubles_;
  } else {
    return floats_;
  }
}
