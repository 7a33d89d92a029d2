// Exponential and logarithm in vector lanes, for kernel files; brings the lanes. Every step is one rounded
// operation, so that every instruction set and every machine gives the same bits, which the C library's need
// not. V is Lanes or double. Errors stay below one unit in the last place.

#include "mth/core/Mth_lanes_internal.h"

template <class V>
struct BitsOf : PackOf<std::uint64_t, sizeof(V)> {};
template <>
struct BitsOf<double> {
  using Type = std::uint64_t;
};

template <class V>
MTH_INLINE typename BitsOf<V>::Type ToBits(V value) {
  if constexpr (sizeof(V) == sizeof(double)) {
    return std::bit_cast<std::uint64_t>(value);
  } else {
    return (typename BitsOf<V>::Type)value;  // a cast between vectors keeps the bits
  }
}

template <class V>
MTH_INLINE V FromBits(typename BitsOf<V>::Type bits) {
  if constexpr (sizeof(V) == sizeof(double)) {
    return std::bit_cast<double>(bits);
  } else {
    return (V)bits;
  }
}

// ln 2 in two parts: whole numbers up to 2^11 times the first one are exact.
inline constexpr double kLn2High = 0x1.62e42fefa38p-1;
inline constexpr double kLn2Low = 0x1.ef35793c7673p-45;
inline constexpr double kRoundToWhole = 0x1.8p52;  // adding it leaves no bits for a fraction

// 2 to the power of a whole number from -1022 to 1023.
template <class V>
MTH_INLINE V PowerOfTwo(V whole) {
  constexpr double kExponentBias = 1023.0;
  return FromBits<V>(ToBits<V>(whole + (kRoundToWhole + kExponentBias)) << 52);
}

// The polynomial whose coefficients are given from the highest power down.
template <class V, int kCount>
MTH_INLINE V Polynomial(V x, const double (&coefficients)[kCount]) {
  V sum = coefficients[0] + V{};
#pragma GCC unroll 16
  for (int i = 1; i < kCount; ++i) sum = sum * x + coefficients[i];
  return sum;
}

// e to the power x; infinities, NaN and what underflows included.
template <class V>
MTH_INLINE V Exponential(V x) {
  constexpr double kBeyondRange = 1000.0;  // the result is 0 or infinite long before
  constexpr double kLog2E = 0x1.71547652b82fep0;
  x = x > kBeyondRange ? Spread<V>(kBeyondRange) : x;
  x = x < -kBeyondRange ? Spread<V>(-kBeyondRange) : x;
  const V whole = (x * kLog2E + kRoundToWhole) - kRoundToWhole;
  const V rest = (x - whole * kLn2High) - whole * kLn2Low;  // at most ln(2) / 2

  // (e^r - 1 - r) / r^2 = sum of r^n / (n + 2)!, even and odd powers apart.
  constexpr double kEven[] = {1.0 / 87178291200.0, 1.0 / 479001600.0, 1.0 / 3628800.0, 1.0 / 40320.0,
                              1.0 / 720.0,         1.0 / 24.0,        1.0 / 2.0};
  constexpr double kOdd[] = {1.0 / 6227020800.0, 1.0 / 39916800.0, 1.0 / 362880.0,
                             1.0 / 5040.0,       1.0 / 120.0,      1.0 / 6.0};
  const V square = rest * rest;
  const V even = Polynomial<V>(square, kEven);
  const V odd = Polynomial<V>(square, kOdd);
  const V fraction = 1.0 + (rest + square * (even + odd * rest));
  // In two factors, since 2 to `whole` need not be a normal number when the result is one, or nearly.
  const V half = (whole * 0.5 + kRoundToWhole) - kRoundToWhole;
  return (fraction * PowerOfTwo<V>(half)) * PowerOfTwo<V>(whole - half);
}

// ln x of a number that is not negative; -infinity of 0, infinity and NaN included.
template <class V>
MTH_INLINE V Logarithm(V x) {
  constexpr double kSmallestNormal = 0x1p-1022;
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr std::uint64_t kFractionBits = 0xFFFFFFFFFFFFFULL;
  constexpr std::uint64_t kExponentOfOne = 0x3FF0000000000000ULL;
  constexpr std::uint64_t kExponentOfWhole = 0x4330000000000000ULL;  // of 2^52: low bits count units
  const V scaled = x < kSmallestNormal ? x * 0x1p54 : x;
  const auto bits = ToBits<V>(scaled);
  V exponent = FromBits<V>((bits >> 52) | kExponentOfWhole) - (0x1p52 + 1023.0);
  exponent = x < kSmallestNormal ? exponent - 54.0 : exponent;
  V fraction = FromBits<V>((bits & kFractionBits) | kExponentOfOne);
  exponent = fraction > std::numbers::sqrt2 ? exponent + 1.0 : exponent;
  fraction = fraction > std::numbers::sqrt2 ? fraction * 0.5 : fraction;

  // With f = fraction - 1 and s = f / (2 + f): ln(1 + f) = 2 s + s R = f - s (f - R), R = 2 s^2 / 3 + 2 s^4 /
  // 5 ... and 2 s = f - f^2 / 2 + s f^2 / 2, which keeps f, the large term, exact.
  const V f = fraction - 1.0;
  const V s = f / (2.0 + f);
  const V z = s * s;
  // The series from 2 / 3 on, economised by Chebyshev's polynomials over all z: to 1 / 20 of a rounding
  // error.
  constexpr double kSeries[] = {0x1.2b584aae78a57p-3, 0x1.39fe606542ddep-3, 0x1.7462b4ab2ef6bp-3,
                                0x1.c71c62e5800a1p-3, 0x1.2492492df148dp-2, 0x1.99999999952e2p-2,
                                0x1.5555555555558p-1};
  const V series = z * Polynomial<V>(z, kSeries);
  const V halfSquare = 0.5 * f * f;
  const V small = s * (halfSquare + series) + exponent * kLn2Low;
  const V result = exponent * kLn2High - ((halfSquare - small) - f);
  const V positive = x > 0.0 ? result : Spread<V>(-kInfinity);
  return x < kInfinity ? positive : x;  // infinity and NaN stay what they are
}
