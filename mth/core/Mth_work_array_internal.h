#pragma once

#include <cstddef>
#include <cstdint>

#include "mth/core/Mth_storage_internal.h"

namespace mth_internal {

/// Scratch elements of one call, aligned for vectors and not initialised. Nothing is thrown: without memory
/// the array is not usable, and the operation gives its failure.
template <class T>
class WorkArray {
 public:
  explicit WorkArray(std::int64_t count)
      : bytes_(static_cast<std::size_t>(count) * sizeof(T)),
        elements_(bytes_ == 0 ? nullptr : static_cast<T*>(AllocateStorage(bytes_))) {}
  ~WorkArray() { FreeStorage(elements_, bytes_); }
  WorkArray(const WorkArray&) = delete;
  WorkArray& operator=(const WorkArray&) = delete;

  /// Whether the elements are there; none are always there.
  explicit operator bool() const { return bytes_ == 0 || elements_ != nullptr; }
  T* Get() const { return elements_; }
  T& operator[](std::int64_t index) const { return elements_[index]; }

 private:
  std::size_t bytes_;
  T* elements_;
};

}  // namespace mth_internal
