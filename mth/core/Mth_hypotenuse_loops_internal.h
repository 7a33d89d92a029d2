// The hypotenuse, of Mth_elementary_loops_internal.h: a square root and its correction (Borges, ACM Trans.
// Math. Softw. 46, 2020).

// The root of a sum of squares and the sum's rest.
template <class V>
MTH_INLINE ValueAndRest<V> LongRoot(V sum, V rest) {
  const V root = SquareRoots<V>(sum);
  const V product = root * root;
  const V missing = ((sum - product) - ProductRest(root, root, product)) + rest;
  return {root, missing / (root + root)};
}

template <class V>
MTH_INLINE ValueAndRest<V> AddSquare(const ValueAndRest<V>& sum, V smaller) {
  const V square = smaller * smaller;
  const V total = sum.value + square;
  return {total, ((sum.value - total) + square) + (sum.rest + ProductRest(smaller, smaller, square))};
}

template <class V>
MTH_INLINE V Hypotenuse(V x, V y) {
  constexpr double kLargest = 0x1p510;
  constexpr double kSmallest = 0x1p-450;
  const V xSize = Magnitude(x);
  const V ySize = Magnitude(y);
  const V longer = xSize > ySize ? xSize : ySize;
  const V shorter = xSize > ySize ? ySize : xSize;
  const V square = longer * longer;
  const ValueAndRest<V> sum = AddSquare<V>({square, ProductRest(longer, longer, square)}, shorter);
  const ValueAndRest<V> root = LongRoot(sum.value, sum.rest);
  const auto isCommon = (longer < kLargest) & (longer > kSmallest) & (shorter < kLargest);
  return ReplaceWhere<V>(isCommon == 0, root.value + root.rest,
                         [=](int lane) { return SpecialHypotenuse(LaneOf(x, lane), LaneOf(y, lane)); });
}
