#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "mth/matrix/Mth_storage_internal.h"

namespace mth_internal {

/// Scratch elements of one call, aligned for vectors and not initialised. Nothing is thrown: without memory
/// the array is not usable, and the operation gives its failure.
template <class T>
class WorkArray {
 public:
  explicit WorkArray(std::int64_t count)
      : bytes_(static_cast<std::size_t>(std::max<std::int64_t>(count, 1)) * sizeof(T)),
        elements_(static_cast<T*>(AllocateStorage(bytes_))) {}
  ~WorkArray() { FreeStorage(elements_, bytes_); }
  WorkArray(const WorkArray&) = delete;
  WorkArray& operator=(const WorkArray&) = delete;

  explicit operator bool() const { return elements_ != nullptr; }
  T* Get() const { return elements_; }
  T& operator[](std::int64_t index) const { return elements_[index]; }

 private:
  std::size_t bytes_;
  T* elements_;
};

}  // namespace mth_internal
