#pragma once

#include <cstddef>
#include <memory>
#include <new>

namespace mth_internal {

/// A work array of `count` zeros; null when the count is negative or there is no memory.
template <class T>
std::unique_ptr<T[]> NewArray(std::ptrdiff_t count) {
  if (count < 0) return nullptr;
  return std::unique_ptr<T[]>(new (std::nothrow) T[static_cast<std::size_t>(count)]());
}

}  // namespace mth_internal
