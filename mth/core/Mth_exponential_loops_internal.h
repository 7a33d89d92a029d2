// The exponential function, of Mth_elementary_loops_internal.h: e^x = 2^e 2^(i/16) e^r with |r| <= ln 2 / 32
// (Tang, ACM Trans. Math. Softw. 15, 1989).

// The parts of an exponential: 2^exponent root (1 + power), root in [1, 2) and power small.
template <class V>
struct ExponentialParts {
  V root;
  V power;
  Whole<V> sixteenths;  // 16 exponent + index of the root
};

// Of x + rest, where the rest is small beside 1; |x| < 2^13. `near` is x to 0.004: a power knows it before x.
template <class V>
MTH_INLINE ExponentialParts<V> TakeExponential(V x, V rest, V near) {
  constexpr double kSeries[] = {0x1.a01c6ef6bbf0dp-13, 0x1.6c1789fabdbbdp-10, 0x1.111111109b8cap-7,
                                0x1.555555553d2aap-5,  0x1.5555555555555p-3,  0.5};
  const Whole<V> sixteenths = NearestWhole<V>(near * kSixteenOverLn2);
  const V large = x - sixteenths.value * kLn2Sixteenth;  // exact
  const V small = sixteenths.value * kLn2SixteenthRest - rest;
  const V r = large - small;
  const V rRest = (large - r) - small;
  const Place<V> place = PlaceAt<V>(sixteenths.bits >> 16);
  const V root = Lookup(kRoots, place);
  const V square = r * r;
  const V power = r + ((Lookup(kRootRests, place) + rRest) + square * TwoChains<V>(r, square, kSeries));
  return {root, power, sixteenths};
}

// The value of the parts wherever it lies: infinite, subnormal and rounded once, or 0.
template <class V>
MTH_INLINE V ComposeAnywhere(const ExponentialParts<V>& parts) {
  constexpr double kSmallestExponent = -1022.0;
  const V exponent = (FromBits<V>(parts.sixteenths.bits & ~0xFFFFFULL) - 0x1.8p36) * (1.0 / 16.0);
  const V missing = kSmallestExponent - exponent;
  // Adding so much leaves exactly the bits that a subnormal result has room for: also just below the normal
  // ones.
  const V beside = ((missing == 0.0) & (parts.root + parts.power < 1.0)) ? Spread<V>(0.5) : V{};
  const V large = missing > 0.0 ? PowerOfTwo<V>(missing) : beside;
  const V sum = large + parts.root;
  const V value = (sum + (((large - sum) + parts.root) + parts.root * parts.power)) - large;
  const V half = (exponent * 0.5 + 0x1.8p52) - 0x1.8p52;  // in two factors, each of which is a normal number
  return (value * PowerOfTwo<V>(half)) * PowerOfTwo<V>(exponent - half);
}

// The value of the parts where every step is a normal number, or too small to count: the same bits.
template <class V>
MTH_INLINE V ComposeNormal(const ExponentialParts<V>& parts) {
  const V root = FromBits<V>(ToBits(parts.root) + ((parts.sixteenths.bits & ~0xFFFFFULL) << 32));
  return root + root * parts.power;
}

inline constexpr double kLargestNormalExponent = 650.0;

// e to the power x.
template <class V>
MTH_INLINE V Exponential(V x) {
  constexpr double kBeyondRange = 1000.0;  // the result is 0 or infinite long before
  if (!HasAny((Magnitude(x) < kLargestNormalExponent) == 0)) [[likely]]
    return ComposeNormal(TakeExponential<V>(x, V{}, x));
  x = x > kBeyondRange ? Spread<V>(kBeyondRange) : x;
  x = x < -kBeyondRange ? Spread<V>(-kBeyondRange) : x;
  const ExponentialParts<V> parts = TakeExponential<V>(x, V{}, x);
  return ComposeAnywhere(parts);
}
