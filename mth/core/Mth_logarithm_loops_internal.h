// The natural logarithm, of Mth_elementary_loops_internal.h: ln x = e ln 2 - ln c + ln(1 + r), where x = 2^e
// z and r = z c - 1 for a tabled c near 1 / z (Tang, ACM Trans. Math. Softw. 16, 1990). c is 1 around z = 1.

inline constexpr double kSmallestNormal = 0x1p-1022;
inline constexpr double kLargestDouble = 0x1.fffffffffffffp1023;

// x = 2^exponent z of a positive normal number, z in [least, 2 least).
template <class V>
struct ScaledNumber {
  V exponent;
  V z;
  typename BitsOf<V>::Type place;  // of z in its range, as the highest bits below the twelfth
};
template <class V>
MTH_INLINE ScaledNumber<V> TakeExponent(V x, std::uint64_t bitsOfLeast) {
  constexpr std::uint64_t kExponentOf2To52 = 0x4330000000000000ULL;  // low bits count units
  const auto bits = ToBits(x);
  const auto raised = bits + (kBitsOfOne - bitsOfLeast);  // z goes from 1 to 2 in these
  const V exponent = FromBits<V>((raised >> 52) | kExponentOf2To52) - (0x1p52 + 1023.0);
  return {exponent, FromBits<V>(bits - (raised & 0xFFF0000000000000ULL) + kBitsOfOne), raised};
}

// (ln(1 + r) - r + r^2 / 2) / r^3 for |r| < 0.0333.
template <class V>
MTH_INLINE V LogarithmSeries(V r, V square) {
  constexpr double kSeries[] = {-0x1.9a526c510a1bep-4, 0x1.c7e6110205134p-4,  -0x1.ffffe0c0bc2efp-4,
                                0x1.249238196d5ecp-3,  -0x1.555555562daaap-3, 0x1.9999999a85983p-3,
                                -0x1.fffffffffffe3p-3, 0x1.5555555555545p-2};
  return TwoChains<V>(r, square, kSeries);
}

// Of a positive normal number x, times 2^more unless that is 0 for all.
template <class V, class... More>
MTH_INLINE V LogarithmOfNormal(V x, More... more) {
  constexpr std::uint64_t kBitsOfLeast = 0x3FE6800000000000ULL;  // 0.703125
  const ScaledNumber<V> scaled = TakeExponent<V>(x, kBitsOfLeast);
  const V exponent = (scaled.exponent + ... + more);
  const Place<V> place = PlaceAt<V>(scaled.place >> 48);
  const V reciprocal = Lookup(kReciprocals, place);
  const V zHead = Head(scaled.z);
  const V rHead = zHead * reciprocal - 1.0;         // exact
  const V rTail = (scaled.z - zHead) * reciprocal;  // exact
  const V r = rHead + rTail;
  const V square = r * r;
  const V table = exponent * kLn2 + Lookup(kLogs, place);  // exact
  const V large = table + r;
  const V rest = ((table - large) + r) + ((rHead - r) + rTail);
  const V tableRest = exponent * kLn2Rest + Lookup(kLogRests, place);
  return large + (rest + (tableRest + (square * (r * LogarithmSeries<V>(r, square)) - 0.5 * square)));
}

// The natural logarithm of x.
template <class V>
MTH_INLINE V Logarithm(V x) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  if (!HasAny(((x >= kSmallestNormal) & (x <= kLargestDouble)) == 0)) [[likely]]
    return LogarithmOfNormal<V>(x);
  const auto isTiny = x < kSmallestNormal;
  const V result = LogarithmOfNormal<V>(isTiny ? x * 0x1p54 : x, isTiny ? Spread<V>(-54.0) : V{});
  const V ofZero = x == 0.0 ? Spread<V>(-kInfinity) : result;
  const V ofNegative = x < 0.0 ? Spread<V>(kNaN) : ofZero;
  return x <= kLargestDouble ? ofNegative : x;  // infinity and NaN stay what they are
}
