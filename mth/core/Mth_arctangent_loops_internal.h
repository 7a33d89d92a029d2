// Arctangent, arcsine and arccosine, of Mth_elementary_loops_internal.h.

// An angle to count from and the direction to go: base + sign angle.
template <class V>
struct Bearing {
  V base;  // to 42 places
  V baseRest;
  V sign;
};

// base + sign arctan(n / d) for 0 <= n <= d, by a tabled angle near it:
// arctan(n / d) = arctan c + arctan((n - c d) / (d + c n)).
template <class V>
MTH_INLINE V AddAngle(const Bearing<V>& bearing, V n, V d) {
  constexpr double kTableStep = 37.0 / 256.0;
  constexpr double kSeries[] = {-0x1.36b0cf7f7aec4p-4, 0x1.74564947c799fp-4,  -0x1.c71c6ce79efdp-4,
                                0x1.24924923c8405p-3,  -0x1.999999999981bp-3, 0x1.5555555555555p-2};
  // 1 + i / 8 for the nearest c = 37 i / 256: the three bits behind its point are i in every rounding mode.
  const V nearest =
      Masked<V>((n / d) * (1.0 / (8.0 * kTableStep)) + (1.0 + 1.0 / 16.0), 0xFFFE000000000000ULL);
  const V c = (nearest - 1.0) * (8.0 * kTableStep);
  const Place<V> place = PlaceAt<V>(ToBits(nearest) >> 49);

  // The quotient and its rest, with the sign of the direction.
  const V sign = bearing.sign;
  const V signedC = sign * c;
  const V dHead = Head(d);
  const V large = sign * n - signedC * dHead;  // exact
  const V small = signedC * (d - dHead);       // exact
  const V top = large - small;
  const V topRest = (large - top) - small;
  const V bottom = d + c * n;
  const V nHead = Head(n);
  const V bottomRest = (c * nHead - (bottom - d)) + c * (n - nHead);
  const V reciprocal = 1.0 / bottom;
  const V t = top * reciprocal;
  const V tHead = Head(t);
  const V bottomHead = Head(bottom);
  const V missing = (top - tHead * bottomHead) - (tHead * (bottom - bottomHead) + (t - tHead) * bottom);
  const V tRest = (missing + (topRest - t * bottomRest)) * reciprocal;

  const V square = t * t;
  const V base = bearing.base + sign * Lookup(kArctangents, place);  // exact
  const V baseRest = bearing.baseRest + sign * Lookup(kArctangentRests, place);
  const V sum = base + t;
  const V bent = (t * square) * TwoChains<V>(square, square * square, kSeries);
  return sum + (((base - sum) + t) + (baseRest + (tRest - bent)));
}

template <class V>
MTH_INLINE V Arctangent(V x) {
  constexpr double kLargest = 0x1p100;  // its arctangent is pi / 2 as those of all larger ones
  const V whole = Magnitude(x);
  const V size = whole > kLargest ? Spread<V>(kLargest) : whole;
  const auto isSteep = size > 1.0;
  const V one = Spread<V>(1.0);
  const Bearing<V> bearing{isSteep ? Spread<V>(kHalfPi) : V{}, isSteep ? Spread<V>(kHalfPiRest) : V{},
                           isSteep ? -one : one};
  return WithSignOf<V>(AddAngle(bearing, isSteep ? one : size, isSteep ? size : one), x);
}

// The arcsine is s + s^3 P(s^2) of s = |x| up to 1/2; beyond, pi / 2 - 2 arcsin s of s = sqrt((1 - |x|) / 2).
template <class V>
struct ArcsineParts {
  V s;
  V cube;  // most of arcsin s - s, exact
  V rest;  // what is left of both
};

// The first 24 bits.
template <class V>
MTH_INLINE V ShortHead(V x) {
  return Masked(x, 0xFFFFFFFFE0000000ULL);
}

// `factor` times arcsin s; the factor is 1, 2 or minus those.
template <class V, class Mask>
MTH_INLINE ArcsineParts<V> TakeArcsine(V size, Mask isLarge, V factor) {
  constexpr double kMeanSeries = 11.0 / 64.0;  // P between 0 and 1/4, of few bits
  constexpr double kSeries[] = {0x1.d78189767524ep-6,
                                -0x1.e7a24f548c99fp-7,
                                0x1.1d661531b222ep-6,
                                0x1.653a8f8cfd43cp-8,
                                0x1.524ea8b3aad31p-7,
                                0x1.78246f32d075cp-7,
                                0x1.c9cf3759fd8ffp-7,
                                0x1.1c4d343fa57f6p-6,
                                0x1.6e8bb1d89492bp-6,
                                0x1.f1c71c1d4aa0dp-6,
                                0x1.6db6db6e3292ep-5,
                                0x1.3333333332ec4p-4,
                                0x1.5555555555556p-3 - kMeanSeries};
  const V square = isLarge ? (1.0 - size) * 0.5 : size * size;
  V s = factor * size;
  V rootRest{};
  if (sizeof(V) > sizeof(double) || HasAny(isLarge)) {  // a single number goes without the root where it can
    const V root = SquareRoots<V>(square);
    const V rootHead = ShortHead(root);
    const V rootTail = root - rootHead;
    const V missing = ((square - rootHead * rootHead) - 2.0 * rootHead * rootTail) - rootTail * rootTail;
    s = isLarge ? factor * root : s;
    rootRest = isLarge ? (factor * missing) / (root + (root + 0x1p-1000)) : rootRest;  // 0 of a root of 0
  }
  const V sHead = ShortHead(s);
  const V squareHead = ShortHead(square);
  const V cubeRest = sHead * (square - squareHead) + (s - sHead) * square;
  const V variation = (s * square) * TwoChains<V>(square, square * square, kSeries);
  return {s, kMeanSeries * (sHead * squareHead), (kMeanSeries * cubeRest + variation) + rootRest};
}

// base + the parts; each step of the sum is smaller.
template <class V>
MTH_INLINE V AddArcsine(V base, V baseRest, const ArcsineParts<V>& parts) {
  const V first = base + parts.s;
  const V firstRest = (base - first) + parts.s;
  const V second = first + parts.cube;
  const V secondRest = (first - second) + parts.cube;
  return second + ((firstRest + secondRest) + (baseRest + parts.rest));
}

template <class V>
MTH_INLINE V Arcsine(V x) {
  const V size = Magnitude(x);
  const auto isLarge = size > 0.5;
  const V factor = isLarge ? Spread<V>(-2.0) : Spread<V>(1.0);
  const V base = isLarge ? Spread<V>(kHalfPi) : V{};
  const V baseRest = isLarge ? Spread<V>(kHalfPiRest) : V{};
  return WithSignOf<V>(AddArcsine(base, baseRest, TakeArcsine<V>(size, isLarge, factor)), x);
}

// pi / 2 - arcsin x; beyond 1/2, 2 arcsin s, and below -1/2 what that misses from pi.
template <class V>
MTH_INLINE V Arccosine(V x) {
  const V size = Magnitude(x);
  const auto isLarge = size > 0.5;
  const V sign = x < 0.0 ? Spread<V>(1.0) : Spread<V>(-1.0);
  const V factor = isLarge ? -2.0 * sign : sign;
  const auto isNearOne = isLarge & (x > 0.0);
  const auto isNearMinusOne = isLarge & (x < 0.0);
  const V base = isNearOne ? V{} : isNearMinusOne ? Spread<V>(2.0 * kHalfPi) : Spread<V>(kHalfPi);
  const V baseRest = isNearOne ? V{} : isNearMinusOne ? Spread<V>(2.0 * kHalfPiRest) : Spread<V>(kHalfPiRest);
  return AddArcsine(base, baseRest, TakeArcsine<V>(size, isLarge, factor));
}
