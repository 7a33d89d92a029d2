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
/// rounded one by one, and rounded to T once. An entry that is NaN is the first NaN that its sum meets, the
/// left factor's before the right one's.
///
/// It needs scratch memory for speed alone: without, it computes the same more slowly.
template <class T>
void Multiply(const ProductTask<T>& task);

/// Writes the transpose of a row-major rows x columns array to `target`.
template <class T>
void Transpose(const T* source, std::int64_t rows, std::int64_t columns, T* target);

/// What a scan of `count` > 0 elements ends with that starts from the first one and goes over to each that is
/// strictly larger (smaller): a NaN is passed over unless it is the first, and of zeros of both signs the
/// first counts.
template <bool kLargest, class T>
double FindExtremum(const T* elements, std::int64_t count);

}  // namespace mth_internal
