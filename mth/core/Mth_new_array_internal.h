#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace mth_internal {

/// A work array of `count` zeros; null when the count is negative or there is no memory.
template <class T>
std::unique_ptr<T[]> NewArray(std::ptrdiff_t count) {
  if (count < 0) return nullptr;
  return std::unique_ptr<T[]>(new (std::nothrow) T[static_cast<std::size_t>(count)]());
}

/// Whether the machine grants memory for `count` blocks of so many bytes, asked for all at once: granted one
/// by one, they may be more than there is, and the machine then ends the host instead of refusing. Half a
/// terabyte is always refused; what is small is not asked for.
inline bool HasMemoryForBlocks(std::int64_t count, std::int64_t bytesEach) {
  constexpr std::int64_t kSmall = std::int64_t{1} << 26;
  constexpr std::int64_t kLargest = std::int64_t{1} << 39;
  if (count <= 0 || bytesEach <= kSmall / count) return true;
  if (bytesEach > kLargest / count) return false;
  void* const all = ::operator new(static_cast<std::size_t>(count * bytesEach), std::nothrow);
  ::operator delete(all);
  return all != nullptr;
}

}  // namespace mth_internal
