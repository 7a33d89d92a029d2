// Triangular systems on row-major double work copies, compiled per instruction set.
//
// Every unknown is a running difference over ascending k (descending in back substitution), divided by the
// diagonal: rows and columns may be solved in any order that keeps to this.

// Rows [first, first + kRows) of a triangular system whose earlier rows are solved.
template <class T, class V, bool kHasUnitDiagonal, int kRows, int kVectors, class Element>
MTH_INLINE void SolveRows(Block<const Element> l, double* x, std::int64_t stride, std::int64_t first) {
  const Element* rows = l.elements + first * l.rowStride;
  Tile<V, kRows, kVectors> tile;
  tile.LoadFrom(x + first * stride, stride);
  tile.template Accumulate<SubtractStep>(LeftFactor<Element>{rows, l.rowStride, l.columnStride}, x, stride,
                                         first);
#pragma GCC unroll 4
  for (int i = 0; i < kRows; ++i) {
    const Element* row = rows + i * l.rowStride + first * l.columnStride;
#pragma GCC unroll 12
    for (int v = 0; v < kVectors; ++v) {
      V sum = tile.sums[i][v];
#pragma GCC unroll 4
      for (int k = 0; k < i; ++k)
        sum -= Spread<V>(static_cast<double>(row[k * l.columnStride])) * tile.sums[k][v];
      if constexpr (!kHasUnitDiagonal) sum /= Spread<V>(static_cast<double>(row[i * l.columnStride]));
      tile.sums[i][v] = RoundedTo<T>(sum);
    }
  }
  tile.StoreTo(x + first * stride, stride);
}

// Row i of the block becomes row i minus the rows solved before it times l(i, k), divided by the diagonal
// where there is one: a triangular system in the order of `l`'s rows.
template <class T, class Element, bool kHasUnitDiagonal>
void SolveTriangle(Block<const Element> l, double* x, std::int64_t stride, std::int64_t count,
                   std::int64_t columns) {
  ForEachVectors<kGroupVectors>(0, columns, [&](std::int64_t j, auto lanes, auto vectors) {
    using V = decltype(lanes);
    std::int64_t i = 0;
    for (; i + kGroup <= count; i += kGroup)
      SolveRows<T, V, kHasUnitDiagonal, kGroup, vectors()>(l, x + j, stride, i);
    for (; i < count; ++i) SolveRows<T, V, kHasUnitDiagonal, 1, vectors()>(l, x + j, stride, i);
  });
}

// The first half of so many rows or columns, whole panels.
constexpr std::int64_t HalfOf(std::int64_t count) {
  return (count / 2 + kPanelColumns - 1) / kPanelColumns * kPanelColumns;
}

// SolveTriangle by halves: the first is solved and eliminated from the second at once.
template <class T, class Element, bool kHasUnitDiagonal>
void SolveByHalves(Block<const Element> l, double* x, std::int64_t stride, std::int64_t count,
                   std::int64_t columns, double* scratch) {
  if (count <= kPanelColumns)
    return SolveTriangle<T, Element, kHasUnitDiagonal>(l, x, stride, count, columns);
  const std::int64_t half = HalfOf(count);
  const Block<const Element> below{l.elements + half * l.rowStride, l.rowStride, l.columnStride};
  const Block<const Element> corner{below.elements + half * l.columnStride, l.rowStride, l.columnStride};
  SolveByHalves<T, Element, kHasUnitDiagonal>(l, x, stride, half, columns, scratch);
  SubtractProduct(x + half * stride, stride, below, x, stride, count - half, half, columns, scratch);
  SolveByHalves<T, Element, kHasUnitDiagonal>(corner, x + half * stride, stride, count - half, columns,
                                              scratch);
}

// The first `depth` rows of X become the solution of their part of a triangular system, whose matrix is `l`
// in the order of solution, and are then eliminated from the `rest` rows that follow in that order.
template <class T, class Element, bool kHasUnitDiagonal>
void EliminateRows(Block<const Element> l, double* x, std::int64_t stride, std::int64_t depth,
                   std::int64_t rest, std::int64_t columns, double* scratch) {
  SolveByHalves<T, Element, kHasUnitDiagonal>(l, x, stride, depth, columns, scratch);
  const Block<const Element> below{l.elements + depth * l.rowStride, l.rowStride, l.columnStride};
  SubtractProduct(x + depth * stride, stride, below, x, stride, rest, depth, columns, scratch);
}

// The same on slices of the columns, one after the other.
// @return  false when the host gives the run up.
template <class T, class Element, bool kHasUnitDiagonal>
bool EliminateSlices(const LongRun& run, Block<const Element> l, double* x, std::int64_t stride,
                     std::int64_t depth, std::int64_t rest, std::int64_t columns, double* scratch) {
  for (std::int64_t j = 0; j < columns; j += kSliceColumns) {
    if (run.IsGivenUp()) return false;
    EliminateRows<T, Element, kHasUnitDiagonal>(l, x + j, stride, depth, rest,
                                                std::min(kSliceColumns, columns - j), scratch);
  }
  return true;
}

// Rows of X that are solved side by side when X has few columns: each waits for its own sum alone.
constexpr std::int64_t kRowsTogether = 8;

// Columns [k, k + kLanes) of as many rows, each in one vector; k counts in the direction of the columns.
template <class Element>
MTH_INLINE void LoadSquare(Block<const Element> l, std::int64_t k, Lanes (&columns)[kLanes]) {
#pragma GCC unroll 8
  for (std::int64_t r = 0; r < kLanes; ++r) {
    const Element* row = l.elements + r * l.rowStride;
    columns[r] = l.columnStride == 1 ? Load<Lanes>(row + k) : Reversed(Load<Lanes>(row - k - (kLanes - 1)));
  }
  TransposeSquare<kLanes / 2>(columns);
}

// So many rows lose their products with the first `known` unknowns, a vector of rows at a time.
template <class Element>
MTH_INLINE void SubtractKnown(Block<const Element> l, const double* x, std::int64_t stride,
                              std::int64_t known, double (&sums)[kRowsTogether]) {
  constexpr std::int64_t kVectors = kRowsTogether / kLanes;
  Lanes totals[kVectors];
  for (std::int64_t v = 0; v < kVectors; ++v) totals[v] = Load<Lanes>(sums + v * kLanes);
  for (std::int64_t k = 0; k < known; k += kLanes) {  // whole vectors: the rows before come in eights
#pragma GCC unroll 8
    for (std::int64_t v = 0; v < kVectors; ++v) {
      Lanes columns[kLanes];
      LoadSquare(Block<const Element>{l.elements + v * kLanes * l.rowStride, l.rowStride, l.columnStride}, k,
                 columns);
#pragma GCC unroll 8
      for (std::int64_t c = 0; c < kLanes; ++c) totals[v] -= columns[c] * Spread<Lanes>(x[(k + c) * stride]);
    }
  }
  for (std::int64_t v = 0; v < kVectors; ++v) Store(sums + v * kLanes, totals[v]);
}

// The unknown of row i, whose sum lacks the products with the ones since `first`.
template <class T, class Element, bool kHasUnitDiagonal>
MTH_INLINE void FinishUnknown(const Element* row, std::int64_t columnStride, double sum, std::int64_t first,
                              std::int64_t i, double* x, std::int64_t stride) {
  for (std::int64_t k = first; k < i; ++k) sum -= static_cast<double>(row[k * columnStride]) * x[k * stride];
  if constexpr (!kHasUnitDiagonal) sum /= static_cast<double>(row[i * columnStride]);
  x[i * stride] = RoundedTo<T>(sum);
}

// Solves one triangle of L U in place, in the order of `l`'s rows, for one column of X; the rows of both may
// run backwards.
template <class T, class Element, bool kHasUnitDiagonal>
void SolveColumn(Block<const Element> l, double* x, std::int64_t stride, std::int64_t count) {
  std::int64_t first = 0;
  const auto finish = [&](std::int64_t i, double sum, std::int64_t known) {
    FinishUnknown<T, Element, kHasUnitDiagonal>(l.elements + i * l.rowStride, l.columnStride, sum, known, i,
                                                x, stride);
  };
  for (; first + kRowsTogether <= count; first += kRowsTogether) {
    double sums[kRowsTogether];
    for (std::int64_t r = 0; r < kRowsTogether; ++r) sums[r] = x[(first + r) * stride];
    if (first > 0)
      SubtractKnown(Block<const Element>{l.elements + first * l.rowStride, l.rowStride, l.columnStride}, x,
                    stride, first, sums);
    for (std::int64_t r = 0; r < kRowsTogether; ++r) finish(first + r, sums[r], first);
  }
  for (; first < count; ++first) finish(first, x[first * stride], 0);
}

// Solves L U X = X in place, L and U in one row-major matrix, column by column of X.
template <class T, class Element>
void SolveColumns(const Element* lu, std::int64_t size, double* x, std::int64_t columns) {
  if (size == 0) return;
  const std::int64_t last = size - 1;
  for (std::int64_t j = 0; j < columns; ++j) {
    SolveColumn<T, Element, true>({lu, size, 1}, x + j, columns, size);
    SolveColumn<T, Element, false>({lu + last * size + last, -size, -1}, x + last * columns + j, -columns,
                                   size);
  }
}

// Solves L U X = X in place, L and U in one row-major matrix. With `isIdentity` X starts as the identity:
// row i then has nothing beyond column i until the back substitution.
// @return  false when the host gives up.
template <class T, class Element>
bool SolveInPlace(const Element* lu, std::int64_t size, double* x, std::int64_t columns, bool isIdentity,
                  double* scratch) {
  const LongRun run(size, size, columns);
  for (std::int64_t j = 0; j < size; j += kSolvedDepth) {
    const std::int64_t depth = std::min(kSolvedDepth, size - j);
    if (!EliminateSlices<T, Element, true>(run, {lu + j * size + j, size, 1}, x + j * columns, columns, depth,
                                           size - j - depth, isIdentity ? j + depth : columns, scratch))
      return false;
  }
  for (std::int64_t end = size; end > 0; end -= kSolvedDepth) {
    const std::int64_t last = end - 1;
    const std::int64_t depth = std::min(kSolvedDepth, end);
    if (!EliminateSlices<T, Element, false>(run, {lu + last * size + last, -size, -1}, x + last * columns,
                                            -columns, depth, end - depth, columns, scratch))
      return false;
  }
  return true;
}
