// Powers, of Mth_elementary_loops_internal.h: x^y = e^(y ln x), with the logarithm to some 68 bits.

template <class V>
struct LongNumber {
  V head;  // 26 bits
  V rest;
  V near;  // nearly all of it, known earlier
};

// The logarithm of a positive normal number x, times 2^more unless that is 0 for all. The table leaves
// |r| < 0.0043 and is 1 around 1.
template <class V, class... More>
MTH_INLINE LongNumber<V> LongLogarithm(V x, More... more) {
  constexpr std::uint64_t kBitsOfLeast = 0x3FE6900000000000ULL;  // 1 is in the middle of its place
  constexpr double kSeries[] = {
      -0x1.00016ed9ade54p-3, 0x1.2493e0c112513p-3, -0x1.55555554b10dep-3, 0x1.99999998e3115p-3, -0x1p-2,
      0x1.5555555555556p-2};
  const ScaledNumber<V> scaled = TakeExponent<V>(x, kBitsOfLeast);
  const V exponent = (scaled.exponent + ... + more);
  const TableRow<V> row = LookupRow<V>(kPowerRows, scaled.place >> 45);

  constexpr std::uint64_t kTail = 0x1FFFFFFFULL;
  const V zHead = FromBits<V>((ToBits(scaled.z) + (kTail / 2 + 1)) & ~kTail);  // the nearest of 24 bits
  const V rHead = zHead * row.first - 1.0;                                     // exact, 26 bits
  const V rTail = (scaled.z - zHead) * row.first;                              // exact, at most 2^-24
  const V r = rHead + rTail;

  // Exact but for the difference: the table, the head, and half the head's square.
  const V halfSquare = (0.5 * rHead) * rHead;
  const V linear = (exponent * kLn2 + row.second) + rHead;
  const V large = linear - halfSquare;
  const V largeRest = (linear - large) - halfSquare;
  const V tableRest = exponent * kLn2Rest + row.third;
  const V square = r * r;
  const V bent = (square * r) * TwoChains<V>(r, square, kSeries) - rTail * (rHead + 0.5 * rTail);
  const V small = (largeRest + tableRest) + bent;
  const V near = large + rTail;
  const V head = Head(near + small);
  return {head, ((large - head) + rTail) + small, near};
}

// y times a long logarithm. The head is exact.
template <class V>
MTH_INLINE LongNumber<V> TimesLong(V y, const LongNumber<V>& logarithm) {
  const V yHead = Head(y);
  return {yHead * logarithm.head, (y - yHead) * logarithm.head + y * logarithm.rest, y * logarithm.near};
}

// x to the power y of a positive normal number x, where the result is a normal number far from the largest.
template <class V>
MTH_INLINE V PowerOfNormal(V x, V y) {
  const LongNumber<V> product = TimesLong<V>(y, LongLogarithm<V>(x));
  return ComposeNormal(TakeExponential<V>(product.head, product.rest, product.near));
}

// x to the power y.
template <class V>
MTH_INLINE V Power(V x, V y) {
  LongNumber<V> product = TimesLong<V>(y, LongLogarithm<V>(x));
  const auto isCommon =
      (x >= kSmallestNormal) & (x <= kLargestDouble) & (Magnitude(product.head) < kLargestNormalExponent);
  if (HasAny(isCommon == 0)) [[unlikely]] {  // so that what is replaced raises no exception
    product.head = isCommon ? product.head : V{};
    product.rest = isCommon ? product.rest : V{};
    product.near = isCommon ? product.near : V{};
  }
  const V result = ComposeNormal(TakeExponential<V>(product.head, product.rest, product.near));
  return ReplaceWhere<V>(isCommon == 0, result,
                         [=](int lane) { return SpecialPower(LaneOf(x, lane), LaneOf(y, lane)); });
}
