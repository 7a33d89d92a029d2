// The columns of an LU that are factored one by one, with their pivots, compiled per instruction set. A panel
// is stored by columns.

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
