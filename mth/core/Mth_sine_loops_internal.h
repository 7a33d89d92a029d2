// Sine and cosine, of Mth_elementary_loops_internal.h: of i pi / 16 + r by the addition theorem, |r| <= pi
// / 32.

// An angle of (sixteenths pi / 16) + r + rest; only the last five bits of `sixteenths` count.
template <class V>
struct ReducedAngle {
  typename BitsOf<V>::Type sixteenths;
  V r;
  V rest;
};

// Of |x| < 2^17. Three parts of pi / 16: the first two give exact products, the third one ends 2^-103 below
// the point.
template <class V>
MTH_INLINE ReducedAngle<V> ReduceAngle(V x) {
  const Whole<V> sixteenths = NearestWhole<V>(x * kSixteenOverPi);
  const V first = x - sixteenths.value * kPiSixteenth[0];  // exact
  const V product = sixteenths.value * kPiSixteenth[1];
  const V second = first - product;
  const V small = ((first - second) - product) - sixteenths.value * kPiSixteenth[2];
  const V r = second + small;
  return {sixteenths.bits >> 16, r, (second - r) + small};
}

template <class V>
MTH_INLINE V SineOfReduced(const ReducedAngle<V>& angle) {
  // (r - sin r) / r^3 and (1 - cos r) / r^2, in r^2.
  constexpr double kSineSeries[] = {-0x1.71cda13281f58p-19, 0x1.a01a0139ad667p-13, -0x1.111111111046dp-7,
                                    0x1.5555555555555p-3};
  constexpr double kCosineSeries[] = {0x1.27d726861c068p-22, -0x1.a01a01289b5e6p-16, 0x1.6c16c16c151c1p-10,
                                      -0x1.5555555555555p-5, 0x1p-1};
  const Place<V> place = PlaceAt<V>(angle.sixteenths);
  const V sine = Lookup(kSines, place);
  const V cosine = Lookup(kCosineHeads, place);
  const V rHead = Head(angle.r);
  const V rTail = (angle.r - rHead) + angle.rest;
  const V product = cosine * rHead;  // exact
  const V large = sine + product;
  const V square = angle.r * angle.r;
  const V cosineRest = Lookup(kCosineRests, place);
  const V bent = sine * (square * Polynomial<V>(square, kCosineSeries)) +
                 (cosine + cosineRest) * (angle.r * (square * Polynomial<V>(square, kSineSeries)));
  const V linear = Lookup(kSineRests, place) + (cosine * rTail + cosineRest * angle.r);
  const V result = large + (((sine - large) + product) + (linear - bent));
  return FromBits<V>(ToBits(result) ^ ((angle.sixteenths & 16) << 59));  // half a turn further
}

// The sine (cosine: kTurn = 8 sixteenths) of what the common steps hold for, and the rest one by one.
template <int kTurn, class V>
MTH_INLINE V SineOrCosine(V x) {
  constexpr double kFar = 0x1p17;
  constexpr double kNearMultiple = 0x1p-30;  // a smaller r has too few bits
  ReducedAngle<V> angle = ReduceAngle<V>(x);
  const V r = Magnitude(angle.r);
  const V size = Magnitude(x);
  angle.sixteenths += kTurn;
  const V result = SineOfReduced<V>(angle);
  const auto isCommon = (size < kFar) & ((r > kNearMultiple) | (size < 0.125));
  return ReplaceWhere<V>(isCommon == 0, result, [=](int lane) {
    return kTurn == 0 ? SineOfFar(LaneOf(x, lane)) : CosineOfFar(LaneOf(x, lane));
  });
}

template <class V>
MTH_INLINE V Sine(V x) {
  constexpr double kTiny = 0x1p-26;  // sin x rounds to x, and keeps the sign of 0
  return Magnitude(x) < kTiny ? x : SineOrCosine<0, V>(x);
}

template <class V>
MTH_INLINE V Cosine(V x) {
  return SineOrCosine<8, V>(x);
}
