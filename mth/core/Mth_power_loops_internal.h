// Powers, of Mth_elementary_loops_internal.h: x^y = e^(y ln x), with the logarithm to some 68 bits.

// The logarithm of a positive normal number x, times 2^more unless that is 0 for all. Two tables in turn
// leave |r| < 0.0027.
template <class V, class... More>
MTH_INLINE ValueAndRest<V> LongLogarithm(V x, More... more) {
  constexpr double kSeries[] = {
      -0x1.000073f6f9691p-3, 0x1.2492c9fe185b7p-3, -0x1.5555555544eaep-3, 0x1.99999999875c4p-3, -0x1p-2,
      0x1.5555555555555p-2};
  constexpr double kFineSteps = 208.0;
  const ScaledNumber<V> scaled = TakeExponent<V>(x);
  const V exponent = (scaled.exponent + ... + more);
  const Place<V> place = PlaceAt<V>(scaled.sixteenth);
  const V coarse = Lookup(kReciprocals, place);
  const Whole<V> fine = NearestWhole<V>((scaled.z * kFineSteps) * coarse, 8.0 - kFineSteps);
  const Place<V> finePlace = PlaceAt<V>(fine.bits >> 16);
  const V reciprocal = coarse * Lookup(kFineReciprocals, finePlace);  // exact

  const V zHead = Head(scaled.z);
  const V largeR = zHead * reciprocal - 1.0;         // exact
  const V smallR = (scaled.z - zHead) * reciprocal;  // exact
  const V r = largeR + smallR;
  const V rHead = Head(r);
  const V rTail = (r - rHead) + ((largeR - r) + smallR);

  // ln c is exact, and so is the half of the head's square: the sum takes them in turn, each smaller.
  const V table = exponent * kLn2 + (Lookup(kLogs, place) + Lookup(kFineLogs, finePlace));
  const V tableRest = exponent * kLn2Rest + (Lookup(kLogRests, place) + Lookup(kFineLogRests, finePlace));
  const V halfSquare = (0.5 * rHead) * rHead;
  const V first = table + rHead;
  const V firstRest = (table - first) + rHead;
  const V second = first - halfSquare;
  const V secondRest = (first - second) - halfSquare;
  const V square = r * r;
  const V small = (rTail - rTail * (rHead + 0.5 * rTail)) + square * (r * TwoChains<V>(r, square, kSeries));
  const V rest = ((firstRest + secondRest) + tableRest) + small;
  const V value = second + rest;
  return {value, (second - value) + rest};
}

// y times a long logarithm; |y| < 2^67.
template <class V>
MTH_INLINE ValueAndRest<V> TimesLong(V y, const ValueAndRest<V>& logarithm) {
  const V yHead = Head(y);
  const V head = Head(logarithm.value);
  const V tail = (logarithm.value - head) + logarithm.rest;
  return {yHead * head, (y - yHead) * head + y * tail};  // the first is exact
}

// x to the power y.
template <class V>
MTH_INLINE V Power(V x, V y) {
  constexpr double kLargestExponent = 0x1p66;
  const ValueAndRest<V> product = TimesLong<V>(y, LongLogarithm<V>(x));
  const V result = ComposeNormal(TakeExponential<V>(product.value, product.rest));
  const auto isCommon = (x >= kSmallestNormal) & (x <= kLargestDouble) & (Magnitude(y) < kLargestExponent) &
                        (Magnitude(product.value) < kLargestNormalExponent);
  return ReplaceWhere<V>(isCommon == 0, result,
                         [&](int lane) { return SpecialPower(LaneOf(x, lane), LaneOf(y, lane)); });
}
