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

// The bits of x that a mask has. A single number stays in its vector register, too: compilers would take it
// to a general one and back.
template <class V>
MTH_INLINE V Masked(V x, std::uint64_t mask) {
#if MTH_MULTIVERSION
  if constexpr (sizeof(V) == sizeof(double)) {
#if MTH_VECTOR_BYTES == 16
    asm("andpd %1, %0" : "+x"(x) : "x"(FromBits<double>(mask)));
#else
    asm("vandpd %1, %0, %0" : "+x"(x) : "x"(FromBits<double>(mask)));
#endif
    return x;
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
  const V whole = Masked<V>(x + (kUnitAtBit16 + 0.5 + offset), ~0xFFFFULL);
  return {whole - kUnitAtBit16, ToBits(whole)};
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

// Three columns of one row of a table.
template <class V>
struct TableRow {
  V first;
  V second;
  V third;
};

// kRows is a power of 2; other bits of the index do not count.
template <class V, int kRows>
MTH_INLINE TableRow<V> LookupRow(const double (&rows)[kRows][4], typename BitsOf<V>::Type index) {
  constexpr std::uint64_t kMask = kRows - 1;
  const auto rowOf = [&](int lane) {
    if constexpr (sizeof(V) == sizeof(double)) {
      return rows[index & kMask];
    } else {
      return rows[index[lane] & kMask];
    }
  };
  if constexpr (sizeof(V) == sizeof(double)) {
    const double* row = rowOf(0);
    return {row[0], row[1], row[2]};
#if MTH_VECTOR_BYTES == 64
  } else {
    using Row = Doubles<4>;
    const auto pair = [&](int lane) {
      return __builtin_shufflevector(At<Row>(rowOf(lane)), At<Row>(rowOf(lane + 2)), 0, 1, 2, 3, 4, 5, 6, 7);
    };
    const V a = pair(0), b = pair(1), c = pair(4), d = pair(5);
    const V evenAb = __builtin_shufflevector(a, b, 0, 8, 2, 10, 4, 12, 6, 14);
    const V evenCd = __builtin_shufflevector(c, d, 0, 8, 2, 10, 4, 12, 6, 14);
    const V oddAb = __builtin_shufflevector(a, b, 1, 9, 3, 11, 5, 13, 7, 15);
    const V oddCd = __builtin_shufflevector(c, d, 1, 9, 3, 11, 5, 13, 7, 15);
    return {__builtin_shufflevector(evenAb, evenCd, 0, 1, 4, 5, 8, 9, 12, 13),
            __builtin_shufflevector(oddAb, oddCd, 0, 1, 4, 5, 8, 9, 12, 13),
            __builtin_shufflevector(evenAb, evenCd, 2, 3, 6, 7, 10, 11, 14, 15)};
#elif MTH_VECTOR_BYTES == 32
  } else {
    const V a = At<V>(rowOf(0)), b = At<V>(rowOf(1)), c = At<V>(rowOf(2)), d = At<V>(rowOf(3));
    const V evenAb = __builtin_shufflevector(a, b, 0, 4, 2, 6);
    const V evenCd = __builtin_shufflevector(c, d, 0, 4, 2, 6);
    const V oddAb = __builtin_shufflevector(a, b, 1, 5, 3, 7);
    const V oddCd = __builtin_shufflevector(c, d, 1, 5, 3, 7);
    return {__builtin_shufflevector(evenAb, evenCd, 0, 1, 4, 5),
            __builtin_shufflevector(oddAb, oddCd, 0, 1, 4, 5),
            __builtin_shufflevector(evenAb, evenCd, 2, 3, 6, 7)};
#else
  } else {
    TableRow<V> values{};
    for (int lane = 0; lane < static_cast<int>(kLanes); ++lane) {
      const double* row = rowOf(lane);
      values.first[lane] = row[0];
      values.second[lane] = row[1];
      values.third[lane] = row[2];
    }
    return values;
#endif
  }
}

// ---- arguments that lanes do not take ----

// function(lane) in those lanes where a comparison says so. Apart, so that the common lanes keep their
// registers.
template <class V, class Mask, class Function>
MTH_NOINLINE V ReplaceLanes(Mask where, V values, Function function) {
  for (int lane = 0; lane < static_cast<int>(kLanes); ++lane) {
    if (where[lane] != 0) values[lane] = function(lane);
  }
  return values;
}

// The values, but function(lane) in those lanes where a comparison says so; it holds what it needs by value.
template <class V, class Mask, class Function>
MTH_INLINE V ReplaceWhere(Mask where, V values, Function function) {
  if constexpr (sizeof(V) == sizeof(double)) {
    return where ? function(0) : values;
  } else {
    if (!HasAny(where)) [[likely]]
      return values;
    return ReplaceLanes<V>(where, values, function);
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
