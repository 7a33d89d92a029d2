// Elementary functions in vector lanes, for kernel files; brings the lanes. V is Lanes or double. Every step
// is one rounded operation, so that every instruction set and every machine gives the same bits. Where a sum
// or a product must be better than a double, it is carried as a value and its rest (Dekker, Numerische
// Mathematik 18, 1971).

#include "mth/core/Mth_lanes_internal.h"

template <class V>
struct BitsOf : PackOf<std::uint64_t, sizeof(V)> {};
template <>
struct BitsOf<double> {
  using Type = std::uint64_t;
};

template <class V>
MTH_INLINE typename BitsOf<V>::Type ToBits(V value) {
  typename BitsOf<V>::Type bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}
template <class V>
MTH_INLINE V FromBits(typename BitsOf<V>::Type bits) {
  V value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

inline constexpr std::uint64_t kSignBit = 0x8000000000000000ULL;
inline constexpr std::uint64_t kBitsOfOne = 0x3FF0000000000000ULL;

// The bits of x that a mask has. A single number stays in its vector register, too.
template <class V>
MTH_INLINE V Masked(V x, std::uint64_t mask) {
#if MTH_MULTIVERSION
  if constexpr (sizeof(V) == sizeof(double)) {
    const auto bits = static_cast<long long>(mask);
    return _mm_cvtsd_f64(_mm_and_pd(_mm_set_sd(x), _mm_castsi128_pd(_mm_set_epi64x(bits, bits))));
  }
#endif
  return FromBits<V>(ToBits(x) & mask);
}

// The first 26 bits: products of two such heads are exact, and so is the difference from the value.
template <class V>
MTH_INLINE V Head(V x) {
  return Masked(x, 0xFFFFFFFFF8000000ULL);
}

template <class V>
MTH_INLINE V Magnitude(V x) {
  return Masked(x, ~kSignBit);
}

template <class V>
MTH_INLINE V WithSignOf(V magnitude, V signed_) {
  if constexpr (sizeof(V) == sizeof(double)) {
    return std::copysign(magnitude, signed_);
  } else {
    return FromBits<V>(ToBits(magnitude) | (ToBits(signed_) & kSignBit));
  }
}

// A number as a value and what it lacks.
template <class V>
struct ValueAndRest {
  V value;
  V rest;
};

// x y - product, where product is x y rounded.
template <class V>
MTH_INLINE V ProductRest(V x, V y, V product) {
  const V xHead = Head(x);
  const V yHead = Head(y);
  const V xTail = x - xHead;
  const V yTail = y - yHead;
  return ((xHead * yHead - product) + (xHead * yTail + xTail * yHead)) + xTail * yTail;
}

// 2 to the power of a whole number from -1022 to 1023.
template <class V>
MTH_INLINE V PowerOfTwo(V whole) {
  return FromBits<V>(ToBits(whole + (0x1.8p52 + 1023.0)) << 52);
}

// The nearest whole number below 2^19, found without regard to the rounding mode: its value, and its bits
// from bit 16 on.
template <class V>
struct Whole {
  V value;
  typename BitsOf<V>::Type bits;
};
template <class V>
MTH_INLINE Whole<V> NearestWhole(V x, double offset = 0.0) {  // of x + offset
  constexpr double kUnitAtBit16 = 0x1.8p36;
  const auto bits = ToBits(x + (kUnitAtBit16 + 0.5 + offset)) & ~0xFFFFULL;
  return {FromBits<V>(bits) - kUnitAtBit16, bits};
}

// The polynomial whose coefficients are given from the highest power down.
template <class V, int kCount>
MTH_INLINE V Polynomial(V x, const double (&coefficients)[kCount]) {
  V sum = coefficients[0] + V{};
#pragma GCC unroll 16
  for (int i = 1; i < kCount; ++i) sum = sum * x + coefficients[i];
  return sum;
}

// The same as two chains that do not wait for each other, even and odd powers apart.
template <class V, int kCount>
MTH_INLINE V TwoChains(V x, V square, const double (&coefficients)[kCount]) {
  V first = coefficients[0] + V{};
  V second = coefficients[1] + V{};
#pragma GCC unroll 16
  for (int i = 2; i < kCount; i += 2) first = first * square + coefficients[i];
#pragma GCC unroll 16
  for (int i = 3; i < kCount; i += 2) second = second * square + coefficients[i];
  return kCount % 2 == 0 ? first * x + second : second * x + first;
}

// ---- tables ----

// What the lookups in one place of several tables share: indices 0 to 15, other bits of the index not
// counting.
template <class V>
struct Place {
#if MTH_VECTOR_BYTES == 32
  __m256i pairs;  // 2 i and 2 i + 1, for tables taken as floats
  __m256d isOddQuarter;
  __m256d isUpper;
#else
  typename BitsOf<V>::Type index;
#endif
};
template <>
struct Place<double> {
  std::uint64_t index;
};

template <class V>
MTH_INLINE Place<V> PlaceAt(typename BitsOf<V>::Type index) {
#if MTH_VECTOR_BYTES == 32
  if constexpr (sizeof(V) == 32) {
    const __m256i doubled = _mm256_slli_epi64(__m256i(index), 1);
    const __m256i both = _mm256_shuffle_epi32(doubled, 0xA0);  // the lower half in both
    return {_mm256_or_si256(both, _mm256_set1_epi64x(std::int64_t{1} << 32)),
            _mm256_castsi256_pd(_mm256_slli_epi64(__m256i(index), 61)),
            _mm256_castsi256_pd(_mm256_slli_epi64(__m256i(index), 60))};
  } else {
    return {index & 15};
  }
#else
  return {index & 15};
#endif
}

// kCount is 8 or 16; the tables begin on a cache line.
template <class V, int kCount>
MTH_INLINE V Lookup(const double (&table)[kCount], const Place<V>& place) {
  constexpr std::uint64_t kMask = kCount - 1;
  if constexpr (sizeof(V) == sizeof(double)) {
    return table[place.index & kMask];
  } else {
#if MTH_VECTOR_BYTES == 64
    const __m512d lower = _mm512_load_pd(table);
    if constexpr (kCount == 8) return V(_mm512_maskz_permutexvar_pd(0xFF, __m512i(place.index), lower));
    if constexpr (kCount == 16)
      return V(_mm512_permutex2var_pd(lower, __m512i(place.index), _mm512_load_pd(table + kCount - 8)));
#elif MTH_VECTOR_BYTES == 32
    const auto quarter = [&](int first) {
      const __m256 floats = _mm256_castpd_ps(_mm256_load_pd(table + first));
      return _mm256_castps_pd(_mm256_permutevar8x32_ps(floats, place.pairs));
    };
    const __m256d lower = _mm256_blendv_pd(quarter(0), quarter(4), place.isOddQuarter);
    if constexpr (kCount == 8) return V(lower);
    if constexpr (kCount == 16)
      return V(_mm256_blendv_pd(
          lower, _mm256_blendv_pd(quarter(kCount - 8), quarter(kCount - 4), place.isOddQuarter),
          place.isUpper));
#else
    V values = {};
    for (int lane = 0; lane < static_cast<int>(kLanes); ++lane)
      values[lane] = table[place.index[lane] & kMask];
    return values;
#endif
  }
}

// ---- arguments that lanes do not take ----

// The values, but function(lane) in those lanes where a comparison says so.
template <class V, class Mask, class Function>
MTH_INLINE V ReplaceWhere(Mask where, V values, Function function) {
  if constexpr (sizeof(V) == sizeof(double)) {
    return where ? function(0) : values;
  } else {
    if (!HasAny(where)) return values;
    for (int lane = 0; lane < static_cast<int>(kLanes); ++lane) {
      if (where[lane] != 0) values[lane] = function(lane);
    }
    return values;
  }
}

template <class V>
MTH_INLINE double LaneOf(const V& values, int lane) {
  if constexpr (sizeof(V) == sizeof(double)) {
    return values;
  } else {
    return values[lane];
  }
}

#include "mth/core/Mth_arctangent_loops_internal.h"
#include "mth/core/Mth_exponential_loops_internal.h"
#include "mth/core/Mth_hypotenuse_loops_internal.h"
#include "mth/core/Mth_logarithm_loops_internal.h"
#include "mth/core/Mth_power_loops_internal.h"
#include "mth/core/Mth_sine_loops_internal.h"
