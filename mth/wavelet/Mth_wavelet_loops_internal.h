// Hot loops of the wavelet transform, compiled per instruction set. Lanes are neighbouring samples of a line.

#include "mth/core/Mth_lanes_internal.h"

// Taps and lines are copied first, so that no store of a result can be taken to change them.

// out[i] = 0 + taps[0] lines[0][i] + taps[1] lines[1][i] + ..., in this order. The 0 in front keeps a sum of
// negative zeros positive.
template <int kCount>
MTH_INLINE void CombineLinesOf(const double* const* lines, const double* taps, std::int64_t length,
                               double* out) {
  const double* line[kCount];
  double tap[kCount];
#pragma GCC unroll 8
  for (int k = 0; k < kCount; ++k) {
    line[k] = lines[k];
    tap[k] = taps[k];
  }
  ForEachLanes(0, length, [=]<class V>(std::int64_t i, V sum) {
#pragma GCC unroll 8
    for (int k = 0; k < kCount; ++k) sum = sum + Spread<V>(tap[k]) * Load<V>(line[k] + i);
    Store(out + i, sum);
  });
}

inline void CombineFourLines(const double* const* lines, const double* taps, std::int64_t length,
                             double* out) {
  CombineLinesOf<4>(lines, taps, length, out);
}

inline void CombineSixLines(const double* const* lines, const double* taps, std::int64_t length,
                            double* out) {
  CombineLinesOf<6>(lines, taps, length, out);
}

// Both filters of the analysis at once: low[i] from all four lines, high[i] from the middle two.
inline void SplitLowAndHigh(const double* const* lines, const double* lowTaps, const double* highTaps,
                            std::int64_t length, double* low, double* high) {
  const double* const line[4] = {lines[0], lines[1], lines[2], lines[3]};
  const double lowTap[4] = {lowTaps[0], lowTaps[1], lowTaps[2], lowTaps[3]};
  const double highTap[2] = {highTaps[0], highTaps[1]};
  ForEachLanes(0, length, [=]<class V>(std::int64_t i, V zero) {
    PrefetchForWriting(low + i + length);  // the next row: often a page on, beyond which no hardware looks
    PrefetchForWriting(high + i + length);
    const V second = Load<V>(line[1] + i);
    const V third = Load<V>(line[2] + i);
    Store(low + i, zero + Spread<V>(lowTap[0]) * Load<V>(line[0] + i) + Spread<V>(lowTap[1]) * second +
                       Spread<V>(lowTap[2]) * third + Spread<V>(lowTap[3]) * Load<V>(line[3] + i));
    Store(high + i, zero + Spread<V>(highTap[0]) * second + Spread<V>(highTap[1]) * third);
  });
}

// target[i] = ((a[i] + b[i]) + c[i]) + d[i]
template <class T>
void AddFour(const double* a, const double* b, const double* c, const double* d, std::int64_t length,
             T* target) {
  ForEachLanes(0, length, [&]<class V>(std::int64_t i, V) {
    Store(target + i, Load<V>(a + i) + Load<V>(b + i) + Load<V>(c + i) + Load<V>(d + i));
  });
}

// sums[i] += scale values[i]
inline void AddScaledLine(const double* values, double scale, std::int64_t length, double* sums) {
  ForEachLanes(0, length, [&]<class V>(std::int64_t i, V) {
    Store(sums + i, Load<V>(sums + i) + Spread<V>(scale) * Load<V>(values + i));
  });
}

// sums[i] += weight (scale values[i])^2
inline void AddScaledSquaresOfLine(const double* values, double scale, double weight, std::int64_t length,
                                   double* sums) {
  ForEachLanes(0, length, [&]<class V>(std::int64_t i, V) {
    const V value = Spread<V>(scale) * Load<V>(values + i);
    Store(sums + i, Load<V>(sums + i) + Spread<V>(weight) * (value * value));
  });
}

// Calls visit(i, values as V) over a line; whether all are finite and below 2^1020 in magnitude.
template <class T, class Visit>
MTH_INLINE bool VisitAndCheck(const T* values, std::int64_t length, Visit visit) {
  constexpr double kFromLimitToInfinity = 16.0;
  Lanes sums{};
  double rest = 0.0;
  ForEachLanes(0, length, [&]<class V>(std::int64_t i, V) {
    const V value = Load<V>(values + i);
    visit(i, value);
    const V scaled = Spread<V>(kFromLimitToInfinity) * value;
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

inline bool Check(const double* values, std::int64_t length) {
  return VisitAndCheck(values, length, [](std::int64_t, auto) {});
}

template <class T>
bool CopyAndCheck(const T* values, std::int64_t length, double* target) {
  return VisitAndCheck(values, length, [=](std::int64_t i, auto value) {
    Prefetch(values + i + length);
    Store(target + i, value);
  });
}

// The lanes of a comparison's result, the first one lowest.
MTH_INLINE std::uint64_t BitsOf(bool isTrue) {
  return isTrue ? 1 : 0;
}
#if MTH_HAS_VECTORS
MTH_INLINE std::uint64_t BitsOf(LaneIndices mask) {
#if MTH_VECTOR_BYTES == 64
  return _mm512_movepi64_mask(__m512i(mask));
#elif MTH_VECTOR_BYTES == 32
  return static_cast<std::uint64_t>(_mm256_movemask_pd(__m256d(mask)));
#else
  return (mask[0] & 1) | (mask[1] & 2);
#endif
}
#endif

inline bool SetMarks(const double* values, std::int64_t length, std::uint64_t* marks) {
  constexpr std::int64_t kWord = 64;
  std::uint64_t all = 0;
  for (std::int64_t first = 0; first < length; first += kWord) {
    std::uint64_t word = 0;
    ForEachLanes(first, std::min(first + kWord, length), [&]<class V>(std::int64_t i, V zero) {
      const V value = Load<V>(values + i);
      word |= BitsOf(value - value != zero) << (i - first);
    });
    marks[first / kWord] = word;
    all |= word;
  }
  return all != 0;
}
