// Element-wise operations, compiled per instruction set. The compiler makes the vectors: every element is an
// output of its own.

#include "mth/core/Mth_lanes_internal.h"

#if MTH_MULTIVERSION

// Sets the elements of a large result past the cache, as far as whole blocks go; returns how many. `target`
// begins on a cache line. A result that leaves no room for its operands in the last cache is worth it, unless
// its memory is fresh: the system has just cleared that in the cache. So it is, as a rule, from the size on
// at which C libraries map every block anew.
template <class T, class ElementAt>
MTH_INLINE std::int64_t StreamElements(T* target, std::int64_t count, ElementAt elementAt) {
  constexpr std::int64_t kSmallest = std::int64_t{12} << 20;  // bytes
  constexpr std::int64_t kFresh = std::int64_t{32} << 20;
  constexpr std::int64_t kBlock = 4096 / sizeof(T);
  using Vector = VectorOf<T>;
  const std::int64_t bytes = count * std::int64_t{sizeof(T)};
  if (bytes < kSmallest || bytes >= kFresh) return 0;
  alignas(64) T block[kBlock];
  std::int64_t first = 0;
  for (; first + kBlock <= count; first += kBlock) {
    for (std::int64_t i = 0; i < kBlock; ++i) block[i] = elementAt(first + i);
    for (std::int64_t i = 0; i < kBlock; i += Vector::kCount)
      StreamTo(target + first + i, At<typename Vector::Type>(block + i));
  }
  FinishStreaming();
  return first;
}

#else

template <class T, class ElementAt>
std::int64_t StreamElements(T*, std::int64_t, ElementAt) {
  return 0;
}

#endif

template <class T, class ElementAt>
MTH_INLINE void SetElements(T* __restrict target, std::int64_t count, ElementAt elementAt) {
  for (std::int64_t i = StreamElements(target, count, elementAt); i < count; ++i) target[i] = elementAt(i);
}

// The result's elements begin on a cache line when there are many.
template <class T, class Operation>
void CombineElements(const T* left, const T* right, T* target, std::int64_t count, Operation operation) {
  SetElements(target, count, [=](std::int64_t i) { return operation(left[i], right[i]); });
}

template <class T, class Operation>
void MapElements(const T* source, T* target, std::int64_t count, Operation operation) {
  SetElements(target, count, [=](std::int64_t i) { return operation(source[i]); });
}
