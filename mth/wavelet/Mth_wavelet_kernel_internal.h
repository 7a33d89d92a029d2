// Hot loops of the wavelet transform, compiled per instruction set. Lanes are neighbouring samples of a line.

#include "mth/Mth_lanes_kernel_internal.h"

// out[i] = 0 + taps[0] lines[0][i] + taps[1] lines[1][i] + ..., in this order. The 0 in front keeps a sum of
// negative zeros positive.
template <int kCount>
MTH_INLINE void CombineLinesOf(const double* const* lines, const double* taps, std::int64_t length,
                               double* out) {
  ForEachLanes(0, length, [&]<class V>(std::int64_t i, V sum) {
#pragma GCC unroll 8
    for (int k = 0; k < kCount; ++k) sum = sum + Spread<V>(taps[k]) * Load<V>(lines[k] + i);
    Store(out + i, sum);
  });
}

inline void CombineTwoLines(const double* const* lines, const double* taps, std::int64_t length,
                            double* out) {
  CombineLinesOf<2>(lines, taps, length, out);
}

inline void CombineFourLines(const double* const* lines, const double* taps, std::int64_t length,
                             double* out) {
  CombineLinesOf<4>(lines, taps, length, out);
}

inline void CombineSixLines(const double* const* lines, const double* taps, std::int64_t length,
                            double* out) {
  CombineLinesOf<6>(lines, taps, length, out);
}

// target[i] = ((a[i] + b[i]) + c[i]) + d[i]
template <class T>
void AddFourLines(const double* a, const double* b, const double* c, const double* d, std::int64_t length,
                  T* target) {
  ForEachLanes(0, length, [&]<class V>(std::int64_t i, V) {
    Store(target + i, Load<V>(a + i) + Load<V>(b + i) + Load<V>(c + i) + Load<V>(d + i));
  });
}

// sums[i] += scale values[i]
inline void AddScaled(const double* values, double scale, std::int64_t length, double* sums) {
  ForEachLanes(0, length, [&]<class V>(std::int64_t i, V) {
    Store(sums + i, Load<V>(sums + i) + Spread<V>(scale) * Load<V>(values + i));
  });
}

// sums[i] += weight (scale values[i])^2
inline void AddScaledSquares(const double* values, double scale, double weight, std::int64_t length,
                             double* sums) {
  ForEachLanes(0, length, [&]<class V>(std::int64_t i, V) {
    const V value = Spread<V>(scale) * Load<V>(values + i);
    Store(sums + i, Load<V>(sums + i) + Spread<V>(weight) * (value * value));
  });
}

// Whether no value is a NaN or above 2^1020, so that no filter makes an infinity of them.
template <class T>
bool AreModest(const T* values, std::int64_t length) {
  Lanes sums{};
  double rest = 0.0;
  ForEachLanes(0, length, [&]<class V>(std::int64_t i, V) {
    const V scaled = Spread<V>(16.0) * Load<V>(values + i);
    if constexpr (sizeof(V) == sizeof(double)) {
      rest += scaled - scaled;  // 0, or NaN for an infinity
    } else {
      sums = sums + (scaled - scaled);
    }
  });
  double lanes[kLanes];
  Store<Lanes>(lanes, sums);
  for (std::int64_t lane = 0; lane < kLanes; ++lane) rest += lanes[lane];
  return rest == 0.0;
}
