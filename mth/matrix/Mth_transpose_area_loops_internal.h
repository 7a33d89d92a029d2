// Transpose of a rectangle of a row-major array into one of another, compiled per instruction set. The vector
// layer comes before this, once for all kernels of a source.

// One element at a time.
template <class T>
void TransposePlainly(const T* source, std::int64_t sourceStride, std::int64_t rows, std::int64_t columns,
                      T* target, std::int64_t targetStride) {
  for (std::int64_t i = 0; i < rows; ++i) {
    for (std::int64_t j = 0; j < columns; ++j) target[j * targetStride + i] = source[i * sourceStride + j];
  }
}

#if MTH_HAS_VECTORS

// Exchanges the lanes of two rows that are kDistance apart with those across the diagonal.
template <int kDistance, class V, int... kLane>
MTH_INLINE void ExchangeLanes(V& upper, V& lower, std::integer_sequence<int, kLane...>) {
  constexpr int kCount = sizeof...(kLane);
  const V former = upper;
  upper = __builtin_shufflevector(former, lower,
                                  ((kLane & kDistance) == 0 ? kLane : kLane - kDistance + kCount)...);
  lower = __builtin_shufflevector(former, lower,
                                  ((kLane & kDistance) == 0 ? kLane + kDistance : kLane + kCount)...);
}

// Transposes a square that lies in registers: its quarters, then the quarters of each, and so on.
template <int kDistance, class V, int kCount>
MTH_INLINE void TransposeSquare(V (&rows)[kCount]) {
#pragma GCC unroll 16
  for (int i = 0; i < kCount; ++i) {
    if ((i & kDistance) == 0)
      ExchangeLanes<kDistance>(rows[i], rows[i + kDistance], std::make_integer_sequence<int, kCount>{});
  }
  if constexpr (kDistance > 1) TransposeSquare<kDistance / 2>(rows);
}

template <class T>
MTH_INLINE void TransposeBlock(const T* source, std::int64_t sourceStride, T* target,
                               std::int64_t targetStride) {
  using Vector = VectorOf<T>;
  typename Vector::Type rows[Vector::kCount];
#pragma GCC unroll 16
  for (int i = 0; i < Vector::kCount; ++i) rows[i] = At<typename Vector::Type>(source + i * sourceStride);
  TransposeSquare<Vector::kCount / 2>(rows);
#pragma GCC unroll 16
  for (int i = 0; i < Vector::kCount; ++i) SetAt(target + i * targetStride, rows[i]);
}

// In tiles, so that the cache lines of the target are written whole. Those of a narrow source or target are
// low: rows that lie a power of two apart compete for the same few places of the cache, where no line waits
// long for its second half. Blocks at the right and lower edges overlap the ones before.
template <class T>
void TransposeArea(const T* source, std::int64_t sourceStride, std::int64_t rows, std::int64_t columns,
                   T* target, std::int64_t targetStride) {
  constexpr std::int64_t kTile = 64;
  constexpr std::int64_t kNarrow = 16;
  constexpr std::int64_t kLine = 64 / sizeof(T);
  constexpr std::int64_t kSide = VectorOf<T>::kCount;
  if (rows < kSide || columns < kSide)
    return TransposePlainly(source, sourceStride, rows, columns, target, targetStride);
  const std::int64_t height = std::min(rows, columns) <= kNarrow ? kLine : kTile;
  for (std::int64_t top = 0; top < rows; top += height) {
    const std::int64_t bottom = std::min(top + height, rows);
    for (std::int64_t column = 0; column < columns; column += kSide) {
      const std::int64_t j = std::min(column, columns - kSide);
      for (std::int64_t row = top; row < bottom; row += kSide) {
        const std::int64_t i = std::min(row, rows - kSide);
        TransposeBlock(source + i * sourceStride + j, sourceStride, target + j * targetStride + i,
                       targetStride);
      }
    }
  }
}

#else

template <int, class V>
MTH_INLINE void TransposeSquare(V (&)[1]) {}

template <class T>
void TransposeArea(const T* source, std::int64_t sourceStride, std::int64_t rows, std::int64_t columns,
                   T* target, std::int64_t targetStride) {
  TransposePlainly(source, sourceStride, rows, columns, target, targetStride);
}

#endif
