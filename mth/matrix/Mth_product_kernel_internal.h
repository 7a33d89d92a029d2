#pragma once

#include <cstdint>

namespace mth_internal {

/// Matrix product of row-major arrays, result = left x right: rows x inner times inner x columns.
template <class T>
struct ProductTask {
  const T* left;
  const T* right;
  T* result;
  std::int64_t rows;
  std::int64_t inner;
  std::int64_t columns;
};

/// Computes the product. Every entry is summed in double from 0 over ascending inner index, products and sums
/// rounded one by one, and rounded to T once. An entry that is NaN has no sign and no payload.
///
/// It needs scratch memory for speed alone: without, it computes the same more slowly.
template <class T>
void Multiply(const ProductTask<T>& task);

/// The same; a large one asks the host whether to go on.
/// @return  false when it is given up; the result is then incomplete.
template <class T>
[[nodiscard]] bool MultiplyUnlessGivenUp(const ProductTask<T>& task);

}  // namespace mth_internal
