// Gaussian elimination on row-major double work copies, compiled per instruction set.
//
// Every element is a running difference over ascending k (descending in back substitution). That is what the
// plain column-by-column loop of Crout computes, so blocks and panels give its bits.

#include "mth/decomposition/Mth_subtract_product_loops_internal.h"
#include "mth/matrix/Mth_transpose_area_loops_internal.h"

// Runs body(position, V{}, number of vectors V as a compile-time constant) over [first, last): by so many
// vectors, then by one, then by one double.
template <int kVectors, class Body>
MTH_INLINE void ForEachVectors(std::int64_t first, std::int64_t last, Body body) {
  std::int64_t i = first;
  const auto cover = [&](auto lanes, auto vectors) {
    constexpr std::int64_t kWidth = vectors() * sizeof(lanes) / sizeof(double);
    for (; i + kWidth <= last; i += kWidth) body(i, lanes, vectors);
  };
  cover(Lanes{}, std::integral_constant<int, kVectors>{});
  cover(Lanes{}, std::integral_constant<int, 1>{});
  cover(double{}, std::integral_constant<int, 1>{});
}

// Rows that stay in registers together while products join them, and the vectors of each.
constexpr int kGroup = 4;
constexpr int kGroupVectors = kTileRows * kTileVectors / kGroup;

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

template <class V>
MTH_INLINE V Magnitudes(V values) {
  return values < V{} ? -values : values;
}

inline double LargestOf(Lanes values, double largest) {
  double numbers[kLanes];
  Store(numbers, values);
  for (const double number : numbers) largest = number > largest ? number : largest;
  return largest;
}

// Copies a square matrix and finds 1 / the largest magnitude of each row, of which a NaN is none.
// @return  false when the largest of a row is 0.
template <class T>
bool CopyLongRows(const T* elements, std::int64_t size, double* copy, double* scales) {
  constexpr std::int64_t kVectors = 4;  // each maximum waits for the one before
  for (std::int64_t i = 0; i < size; ++i, elements += size, copy += size) {
    Lanes bests[kVectors] = {};
    std::int64_t j = 0;
    for (; j + kVectors * kLanes <= size; j += kVectors * kLanes) {
#pragma GCC unroll 4
      for (std::int64_t v = 0; v < kVectors; ++v) {
        const Lanes values = Load<Lanes>(elements + j + v * kLanes);
        const Lanes candidate = Magnitudes(values);
        bests[v] = candidate > bests[v] ? candidate : bests[v];
        Store(copy + j + v * kLanes, values);
      }
    }
    double best = 0.0;
    for (; j < size; ++j) {
      copy[j] = static_cast<double>(elements[j]);
      const double candidate = Magnitudes(copy[j]);
      best = candidate > best ? candidate : best;
    }
    for (const Lanes& some : bests) best = LargestOf(some, best);
    if (best == 0.0) return false;
    scales[i] = 1.0 / best;
  }
  return true;
}

// The scales alone, of rows that are not worth vectors.
inline bool FindRowScales(const double* elements, std::int64_t size, double* scales) {
  for (std::int64_t i = 0; i < size; ++i, elements += size) {
    double largest = 0.0;
    for (std::int64_t j = 0; j < size; ++j) {
      const double magnitude = std::abs(elements[j]);
      if (magnitude > largest) largest = magnitude;
    }
    if (largest == 0.0) return false;
    scales[i] = 1.0 / largest;
  }
  return true;
}

// ---- a panel, which is stored by columns ----

// Elements [first, column) of a column, a part of U, lose the products of the panel's columns since `first`:
// each waits for the ones before.
template <class T>
void FinishUpperPart(const double* panel, std::int64_t stride, std::int64_t first, std::int64_t last,
                     double* column) {
  for (std::int64_t i = first; i < last; ++i) {
    double sum = column[i];
    for (std::int64_t k = first; k < i; ++k) sum -= panel[k * stride + i] * column[k];
    column[i] = RoundedTo<T>(sum);
  }
}

// So many columns from `first` on lose the products of all before, of which each element is loaded once.
template <class T, int kColumns>
void UpdatePanelColumns(double* panel, std::int64_t stride, std::int64_t first, std::int64_t rows) {
  double* columns = panel + first * stride;
  for (int c = 0; c < kColumns; ++c) FinishUpperPart<T>(panel, stride, 0, first, columns + c * stride);
  ForEachVectors<kGroupVectors>(first, rows, [&](std::int64_t i, auto lanes, auto vectors) {
    Tile<decltype(lanes), kColumns, vectors()> tile;
    tile.LoadFrom(columns + i, stride);
    tile.template Accumulate<SubtractStep>(LeftFactor<double>{columns, stride, 1}, panel + i, stride, first);
    tile.StoreTo(columns + i, stride);
  });
}

// The part of a column from the diagonal down, final once it has lost the products of so many columns before.
// @return  its largest |element| x scale; a NaN is none, and neither is an element alone.
template <class T, int kCount>
double FinishLowerPart(double* panel, std::int64_t stride, std::int64_t column, std::int64_t rows,
                       const double* scales) {
  double* target = panel + column * stride;
  const double* earlier = target - kCount * stride;
  Lanes bests{};
  double best = 0.0;
  ForEachLanes(column, rows, [&](std::int64_t i, auto lanes) {
    using V = decltype(lanes);
    V sum = Load<V>(target + i);
#pragma GCC unroll 4
    for (int k = 0; k < kCount; ++k)
      sum -= Load<V>(earlier + k * stride + i) * Spread<V>(target[column - kCount + k]);
    sum = RoundedTo<T>(sum);
    Store(target + i, sum);
    if (column + 1 == rows) return;  // not even an infinite one is multiplied by its scale, 0
    const V candidate = Magnitudes(sum) * Load<V>(scales + i);
    if constexpr (sizeof(V) == sizeof(double)) {
      best = candidate > best ? candidate : best;
    } else {
      bests = candidate > bests ? candidate : bests;
    }
  });
  return LargestOf(bests, best);
}

// The last row in [first, rows) whose |element| x scale is the largest, the first where there is none.
inline std::int64_t FindLast(const double* column, std::int64_t first, std::int64_t rows,
                             const double* scales, double largest) {
  const auto isLargest = [&](std::int64_t i, auto lanes) {
    using V = decltype(lanes);
    return Magnitudes(Load<V>(column + i)) * Load<V>(scales + i) == Spread<V>(largest);
  };
  std::int64_t row = rows - 1;
  while (row - kLanes >= first && !HasAny(isLargest(row - kLanes + 1, Lanes{}))) row -= kLanes;
  while (row > first && !isLargest(row, double{})) --row;
  return row;
}

// Elements [first, last) of a column, times a factor.
template <class T>
void ScaleColumn(double* column, std::int64_t first, std::int64_t last, double factor) {
  ForEachLanes(first, last, [&](std::int64_t i, auto lanes) {
    using V = decltype(lanes);
    Store(column + i, RoundedTo<T>(Load<V>(column + i) * Spread<V>(factor)));
  });
}

template <class T>
class PanelFactorization {
 public:
  PanelFactorization(double* elements, std::int64_t size, double* scales, int* permutation, double* panel)
      : elements_(elements), size_(size), scales_(scales), permutation_(permutation), panel_(panel) {}

  // Factors columns [first, first + width) of the rows from `first` on, exchanging whole rows.
  void Factor(std::int64_t first, std::int64_t width) {
    first_ = first;
    width_ = width;
    rows_ = size_ - first;
    double* corner = elements_ + first * (size_ + 1);
    TransposeArea(corner, size_, rows_, width, panel_, rows_);
    std::int64_t j = 0;
    for (; j + kGroup <= width; j += kGroup) {
      UpdatePanelColumns<T, kGroup>(panel_, rows_, j, rows_);
      FinishColumn<0>(j);
      FinishColumn<1>(j + 1);
      FinishColumn<2>(j + 2);
      FinishColumn<3>(j + 3);
    }
    for (; j < width; ++j) {
      UpdatePanelColumns<T, 1>(panel_, rows_, j, rows_);
      FinishColumn<0>(j);
    }
    TransposeArea(panel_, rows_, width, rows_, corner, size_);
  }

 private:
  // Column j, which has lost the products of all columns but the last kCount before it.
  template <int kCount>
  void FinishColumn(std::int64_t j) {
    const double* scales = scales_ + first_;
    double* column = panel_ + j * rows_;
    FinishUpperPart<T>(panel_, rows_, j - kCount, j, column);
    const double largest = FinishLowerPart<T, kCount>(panel_, rows_, j, rows_, scales);
    const std::int64_t pivot = FindLast(column, j, rows_, scales, largest);
    if (pivot != j) Exchange(j, pivot);
    if (column[j] == 0.0) column[j] = static_cast<double>(static_cast<T>(kTinyPivot));
    if (j + 1 < rows_) ScaleColumn<T>(column, j + 1, rows_, 1.0 / column[j]);
  }

  // The scale of the pivot's row takes that of row j, which is done.
  void Exchange(std::int64_t j, std::int64_t pivot) {
    for (std::int64_t k = 0; k < width_; ++k) std::swap(panel_[k * rows_ + j], panel_[k * rows_ + pivot]);
    double* row = elements_ + (first_ + j) * size_;
    double* pivotRow = elements_ + (first_ + pivot) * size_;
    std::swap_ranges(row, row + first_, pivotRow);
    std::swap_ranges(row + first_ + width_, row + size_, pivotRow + first_ + width_);
    std::swap(permutation_[first_ + j], permutation_[first_ + pivot]);
    scales_[first_ + pivot] = scales_[first_ + j];
  }

  double* elements_;
  std::int64_t size_;
  double* scales_;
  int* permutation_;
  double* panel_;
  std::int64_t first_ = 0;
  std::int64_t width_ = 0;
  std::int64_t rows_ = 0;
};

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

// Factors columns [first, first + width) of the rows from `first` on, by halves: the first is factored and
// eliminated from the second at once.
// @return  false when the host gives the run up.
template <class T>
bool FactorByHalves(const LongRun& run, PanelFactorization<T>& panels, double* a, std::int64_t size,
                    std::int64_t first, std::int64_t width, double* scratch) {
  if (width <= kPanelColumns) {
    panels.Factor(first, width);
    return true;
  }
  if (run.IsGivenUp()) return false;
  const std::int64_t half = HalfOf(width);
  double* corner = a + first * (size + 1);
  if (!FactorByHalves(run, panels, a, size, first, half, scratch)) return false;
  EliminateRows<T, double, true>({corner, size, 1}, corner + half, size, half, size - first - half,
                                 width - half, scratch);
  return FactorByHalves(run, panels, a, size, first + half, width - half, scratch);
}

// LU of a square work copy in place: U on and above the diagonal, the multipliers below. T is the type that
// each element is rounded to when it is final.
// @return  false when the host gives up.
template <class T>
bool FactorInPlace(double* a, std::int64_t size, double* scales, int* permutation, double* scratch) {
  PanelFactorization<T> panels(a, size, scales, permutation, scratch);
  const LongRun run(size, size, size);
  for (std::int64_t j = 0; j < size; j += kBlockDepth) {
    const std::int64_t width = std::min(kBlockDepth, size - j);
    const std::int64_t rest = size - j - width;
    double* corner = a + j * (size + 1);
    if (!FactorByHalves(run, panels, a, size, j, width, scratch) ||
        !EliminateSlices<T, double, true>(run, {corner, size, 1}, corner + width, size, width, rest, rest,
                                          scratch))
      return false;
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

// Step k of the LU of a few rows, without panels: the same running differences. Both numbers may be known
// when this is compiled.
template <class T, class Size, class Index>
MTH_INLINE void FactorStep(double* a, Size size, Index k, double* scales, int* permutation) {
  std::int64_t pivot = k;
  double best = 0.0;
  for (std::int64_t i = k; i < size; ++i) {
    double& element = a[i * size + k];
    element = RoundedTo<T>(element);
    const double candidate = Magnitudes(element) * scales[i];
    if (candidate >= best) {
      best = candidate;
      pivot = i;
    }
  }
  double* row = a + k * size;
  if (pivot != k) {
    std::swap_ranges(row, row + size, a + pivot * size);
    std::swap(permutation[k], permutation[pivot]);
    scales[pivot] = scales[k];
  }
  if (row[k] == 0.0) row[k] = static_cast<double>(static_cast<T>(kTinyPivot));
  for (std::int64_t j = k + 1; j < size; ++j) row[j] = RoundedTo<T>(row[j]);
  const double inverse = 1.0 / row[k];
  for (std::int64_t i = k + 1; i < size; ++i) {
    double* __restrict below = a + i * size;
    below[k] = RoundedTo<T>(below[k] * inverse);
    for (std::int64_t j = k + 1; j < size; ++j) below[j] -= below[k] * row[j];
  }
}

template <std::int64_t kCount>
using Steps = std::make_integer_sequence<std::int64_t, kCount>;

// The first steps, of so many rows.
// @return  their number.
template <class T, std::int64_t kSize, std::int64_t... k>
std::int64_t FactorUnrolled(double* a, double* scales, int* permutation,
                            std::integer_sequence<std::int64_t, k...>) {
  constexpr std::integral_constant<std::int64_t, kSize> size{};
  (FactorStep<T>(a, size, std::integral_constant<std::int64_t, k>{}, scales, permutation), ...);
  return sizeof...(k);
}

// @return  as FindRowScales.
template <class T>
bool FactorSmall(double* a, std::int64_t size, int* permutation) {
  double scales[kSmallSystem];
  if (!FindRowScales(a, size, scales)) return false;
  std::int64_t done = 0;
  // Not for float, whose unrolled steps raise floating-point flags that the loop does not: hosts may trap
  // them. The last of three is left to the loop for what its scale and its reciprocal raise, though nothing
  // is done with them.
  if constexpr (std::is_same_v<T, double>) {
    if (size == 3) done = FactorUnrolled<T, 3>(a, scales, permutation, Steps<2>{});
    if (size == 4) done = FactorUnrolled<T, 4>(a, scales, permutation, Steps<4>{});
    if (size == 8) done = FactorUnrolled<T, 8>(a, scales, permutation, Steps<8>{});
  }
  for (std::int64_t k = done; k < size; ++k) FactorStep<T>(a, size, k, scales, permutation);
  return true;
}
