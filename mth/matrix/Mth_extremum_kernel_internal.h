// Largest and smallest element, compiled per instruction set.

#include "mth/Mth_lanes_kernel_internal.h"

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
  constexpr int kChains = 4;
  constexpr std::int64_t kStep = kChains * kLanes;
  const double first = static_cast<double>(elements[0]);
  double best = first;
  std::int64_t i = 0;
  if (count >= kStep) {
    Lanes bests[kChains];
    for (Lanes& chain : bests) chain = Spread<Lanes>(first);
    for (; i + kStep <= count; i += kStep) {
#pragma GCC unroll 4
      for (int c = 0; c < kChains; ++c)
        bests[c] = Better<kLargest>(Load<Lanes>(elements + i + c * kLanes), bests[c]);
    }
    for (const Lanes& chain : bests) {
      double lanes[kLanes];
      Store(lanes, chain);
      for (const double lane : lanes) best = Better<kLargest>(lane, best);
    }
  }
  for (; i < count; ++i) best = Better<kLargest>(static_cast<double>(elements[i]), best);
  if (best == 0.0) return static_cast<double>(*std::find(elements, elements + count, T{0}));
  return best;
}
