// Largest and smallest element, compiled per instruction set.

#include "mth/core/Mth_lanes_internal.h"

template <bool kLargest, class V>
MTH_INLINE V Better(V candidate, V best) {
  if constexpr (kLargest) {
    return candidate > best ? candidate : best;
  } else {
    return candidate < best ? candidate : best;
  }
}

// What a scan that replaces its value by strictly better ones ends with. All lanes start from the first
// element and a NaN is never better, so that the order of the others does not matter: the value is the same,
// up to the sign of a zero, which is that of the first one.
template <bool kLargest, class T>
double ScanForExtremum(const T* elements, std::int64_t count) {
  using Vector = VectorOf<T>;
  constexpr int kChains = 4;
  constexpr std::int64_t kStep = kChains * Vector::kCount;
  T best = elements[0];
  std::int64_t i = 0;
  if (count >= kStep) {
    T lanes[kChains][Vector::kCount];
    std::fill_n(lanes[0], kStep, best);
    typename Vector::Type bests[kChains];
    std::memcpy(bests, lanes, sizeof bests);
    for (; i + kStep <= count; i += kStep) {
#pragma GCC unroll 4
      for (int c = 0; c < kChains; ++c) {
        const auto next = At<typename Vector::Type>(elements + i + c * Vector::kCount);
        bests[c] = Better<kLargest>(next, bests[c]);
      }
    }
    std::memcpy(lanes, bests, sizeof lanes);
    for (const auto& chain : lanes) {
      for (const T lane : chain) best = Better<kLargest>(lane, best);
    }
  }
  for (; i < count; ++i) best = Better<kLargest>(elements[i], best);
  if (best == T{0}) best = *std::find(elements, elements + count, T{0});
  return static_cast<double>(best);
}
