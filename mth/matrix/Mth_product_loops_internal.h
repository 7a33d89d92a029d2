// Matrix product, compiled per instruction set.
//
// A tile of the result stays in registers while k runs, so that each entry is the plain sum over ascending k.
// A vector holds neighbouring columns. Tiles at the right edge overlap the ones before: an entry that is
// computed twice gets the same bits.

#include "mth/core/Mth_lanes_internal.h"

// 24 sums of the 32 registers that 64-byte vectors come with, or 12 of 16.
constexpr int kTileRows = MTH_VECTOR_BYTES == 64 ? 12 : 6;
constexpr int kTileVectors = 2;
constexpr std::int64_t kTileColumns = kTileVectors * kLanes;

// How a product joins a sum.
struct SeparateStep {
  template <class V>
  MTH_INLINE static V Add(V sum, V left, V right) {
    return sum + left * right;
  }
};

#if MTH_HAS_FUSED
template <class V>
MTH_INLINE V FusedVectors(V sum, V left, V right) {
  if constexpr (sizeof(V) == 16) {
    return V(_mm_fmadd_pd(__m128d(left), __m128d(right), __m128d(sum)));
  } else if constexpr (sizeof(V) == 32) {
    return V(_mm256_fmadd_pd(__m256d(left), __m256d(right), __m256d(sum)));
  } else {
#if MTH_VECTOR_BYTES == 64
    return V(_mm512_fmadd_pd(__m512d(left), __m512d(right), __m512d(sum)));
#endif
  }
}
#endif

// For float elements: their product is exact in double, so the fused operation gives the bits of the separate
// ones, at half the cost.
struct FusedStep {
  template <class V>
  MTH_INLINE static V Add(V sum, V left, V right) {
#if MTH_HAS_FUSED
    if constexpr (sizeof(V) == sizeof(double)) {
      return __builtin_fma(left, right, sum);
    } else {
      return FusedVectors(sum, left, right);
    }
#else
    return SeparateStep::Add(sum, left, right);
#endif
  }
};

// Where two NaN meet, which one goes on is up to the instruction and to the compiler's order of operands.
// This step decides it: the sum's, else the left factor's, else the right one's. x + x makes a NaN quiet, as
// any operation does.
struct NanStep {
  template <class V>
  MTH_INLINE static V Add(V sum, V left, V right) {
    const V next = sum + left * right;
    const V ofRight = right != right ? right + right : next;
    const V fresh = left != left ? left + left : ofRight;
    const V chosen = next != next ? fresh : next;
    return sum != sum ? sum : chosen;
  }
};

// Leaves the sum of the first kCount values in the first one.
template <int kCount, class V>
MTH_INLINE void AddHalves(V* values) {
  if constexpr (kCount > 1) {
    constexpr int kHalf = (kCount + 1) / 2;
#pragma GCC unroll 6
    for (int i = kHalf; i < kCount; ++i) values[i - kHalf] += values[i];
    AddHalves<kHalf>(values);
  }
}

// kRows x (kVectors vectors) entries of the result.
template <class V, int kRows, int kVectors>
struct Tile {
  static constexpr std::int64_t kWidth = sizeof(V) / sizeof(double);
  V sums[kRows][kVectors];

  MTH_INLINE void Clear() {
#pragma GCC unroll 12
    for (int i = 0; i < kRows; ++i) {
#pragma GCC unroll 2
      for (int v = 0; v < kVectors; ++v) sums[i][v] = V{};
    }
  }
  MTH_INLINE void LoadFrom(const double* source, std::int64_t stride) {
#pragma GCC unroll 12
    for (int i = 0; i < kRows; ++i) {
#pragma GCC unroll 2
      for (int v = 0; v < kVectors; ++v) sums[i][v] = Load<V>(source + i * stride + v * kWidth);
    }
  }
  template <class T>
  MTH_INLINE void StoreTo(T* target, std::int64_t stride) const {
#pragma GCC unroll 12
    for (int i = 0; i < kRows; ++i) {
#pragma GCC unroll 2
      for (int v = 0; v < kVectors; ++v) Store(target + i * stride + v * kWidth, sums[i][v]);
    }
  }
  // NaN when one of the sums is (also, harmlessly, when there are infinities of both signs). Sums in pairs: a
  // small product waits for it.
  MTH_INLINE double Probe() const {
    V totals[kRows];
#pragma GCC unroll 12
    for (int i = 0; i < kRows; ++i) totals[i] = sums[i][0] + sums[i][kVectors - 1];
    AddHalves<kRows>(totals);
    double lanes[kWidth];
    Store(lanes, totals[0]);
    AddHalves<kWidth>(lanes);
    return lanes[0];
  }
  // Adds `depth` products to each sum; both factors are row-major.
  template <class Step, class T>
  MTH_INLINE void Accumulate(const T* left, std::int64_t leftStride, const T* right, std::int64_t rightStride,
                             std::int64_t depth) {
    for (std::int64_t k = 0; k < depth; ++k, right += rightStride) {
      V factors[kVectors];
#pragma GCC unroll 2
      for (int v = 0; v < kVectors; ++v) factors[v] = Load<V>(right + v * kWidth);
#pragma GCC unroll 12
      for (int i = 0; i < kRows; ++i) {
        const V factor = Spread<V>(static_cast<double>(left[i * leftStride + k]));
#pragma GCC unroll 2
        for (int v = 0; v < kVectors; ++v) sums[i][v] = Step::template Add<V>(sums[i][v], factor, factors[v]);
      }
    }
  }
};

// Runs body(row, rows of the tile as a compile-time constant) over [first, last): whole tiles, then ever
// smaller ones. 16 rows are two tiles of 8: the sums of 12 and 4 rows would wait for each other.
template <int kRows, class Body>
MTH_INLINE void ForEachTileRow(std::int64_t first, std::int64_t last, Body body) {
  const auto isWhole = [&] { return first + kRows <= last && !(kRows == 12 && last - first == 16); };
  for (; isWhole(); first += kRows) body(first, std::integral_constant<int, kRows>{});
  constexpr int kFewer = kRows > 8 ? 8 : kRows > 4 ? 4 : kRows / 2;
  if constexpr (kFewer > 0) ForEachTileRow<kFewer>(first, last, body);
}

// Runs body(column, V{}, vectors of the tile as a compile-time constant) until all columns are covered; there
// is at least a vector of them.
template <class Body>
MTH_INLINE void ForEachTileColumn(std::int64_t columns, Body body) {
  constexpr std::integral_constant<int, 1> kOneVector;
  constexpr std::integral_constant<int, kTileVectors> kWholeTile;
  std::int64_t j = 0;
  for (; j + kTileColumns <= columns; j += kTileColumns) body(j, Lanes{}, kWholeTile);
  const std::int64_t rest = columns - j;
  if (rest > kLanes && columns >= kTileColumns) return body(columns - kTileColumns, Lanes{}, kWholeTile);
  if (rest > kLanes) body(j, Lanes{}, kOneVector);
  if (rest > 0) body(columns - kLanes, Lanes{}, kOneVector);
}

// The part of the product in place that one column of tiles is: kVectors vectors V of columns from column j
// on.
// @return  NaN when an entry is.
template <class Step, class V, int kVectors, int kRows, class T>
MTH_INLINE double MultiplyTile(const ProductTask<T>& task, std::int64_t i, std::int64_t j) {
  Tile<V, kRows, kVectors> tile;
  tile.Clear();
  tile.template Accumulate<Step>(task.left + i * task.inner, task.inner, task.right + j, task.columns,
                                 task.inner);
  tile.StoreTo(task.result + i * task.columns + j, task.columns);
  return tile.Probe();
}

// The product of so few columns that they are fewer than a vector has: by vectors of kWidth. A function of
// its own and lower tiles, because at this size the way into a large loop costs more than the loop.
template <class Step, int kWidth, class T>
MTH_NOINLINE bool MultiplyNarrow(const ProductTask<T>& task) {
  constexpr int kNarrower = kWidth / 2;
  if constexpr (kNarrower > 0) {
    if (task.columns < kWidth) return MultiplyNarrow<Step, kNarrower>(task);
  }
  using V = Doubles<kWidth>;
  double probe = 0.0;
  ForEachTileRow<4>(0, task.rows, [&](std::int64_t i, auto rows) {
    probe += MultiplyTile<Step, V, 1, rows()>(task, i, 0);
    if (task.columns > kWidth) probe += MultiplyTile<Step, V, 1, rows()>(task, i, task.columns - kWidth);
  });
  return probe == probe;
}

// The product with both factors where they lie: for small ones, and where there is no memory for scratch.
// @return  false when an entry may be NaN.
template <class Step, class T>
bool MultiplyInPlace(const ProductTask<T>& task) {
  if constexpr (kLanes > 1) {
    if (task.columns < kLanes) return MultiplyNarrow<Step, kLanes / 2>(task);
  }
  double probe = 0.0;
  ForEachTileRow<kTileRows>(0, task.rows, [&](std::int64_t i, auto rows) {
    ForEachTileColumn(task.columns, [&](std::int64_t j, auto lanes, auto vectors) {
      probe += MultiplyTile<Step, decltype(lanes), vectors(), rows()>(task, i, j);
    });
  });
  return probe == probe;
}

// The product of larger matrices, in blocks that stay in cache. Both factors are packed as doubles, the right
// one in the order in which the tiles read it; a strip of rows keeps its sums in double from one block of k
// to the next.
template <class Step, class T>
class PackedProduct {
 public:
  PackedProduct(const ProductTask<T>& task, const ProductScratch& scratch) : task_(task), scratch_(scratch) {}

  // @return  false when an entry may be NaN.
  bool Run() {
    for (std::int64_t j = 0; j < task_.columns; j += kSlabColumns) {
      firstColumn_ = j;
      // A last slab that is too narrow for a tile overlaps the one before.
      columns_ = std::min(kSlabColumns, task_.columns - j);
      if (columns_ < kTileColumns) {
        firstColumn_ = task_.columns - kTileColumns;
        columns_ = kTileColumns;
      }
      PackRight();
      for (std::int64_t i = 0; i < task_.rows; i += kStripRows) MultiplyStrip(i);
    }
    return probe_ == probe_;
  }

 private:
  // Panels of one tile's columns; those of all blocks of k, one block after the other.
  void PackRight() {
    double* block = scratch_.right;
    for (std::int64_t k = 0; k < task_.inner; k += kBlockDepth) {
      const std::int64_t depth = std::min(kBlockDepth, task_.inner - k);
      for (std::int64_t row = 0; row < depth; ++row) {
        const T* source = task_.right + (k + row) * task_.columns + firstColumn_;
        double* packed = block + row * kTileColumns;
        ForEachTileColumn(columns_, [&](std::int64_t j, auto lanes, auto vectors) {
          using V = decltype(lanes);
          for (int v = 0; v < vectors(); ++v) Store(packed + v * kLanes, Load<V>(source + j + v * kLanes));
          packed += depth * kTileColumns;
        });
      }
      block += depth * ((columns_ + kTileColumns - 1) / kTileColumns * kTileColumns);
    }
  }

  void PackLeft(std::int64_t first, std::int64_t rows, std::int64_t k, std::int64_t depth) {
    for (std::int64_t i = 0; i < rows; ++i) {
      const T* source = task_.left + (first + i) * task_.inner + k;
      double* packed = scratch_.left + i * PackedStride(task_.inner);
      ForEachLanes(0, depth, [&](std::int64_t column, auto lanes) {
        Store(packed + column, Load<decltype(lanes)>(source + column));
      });
    }
  }

  void MultiplyStrip(std::int64_t first) {
    const std::int64_t rows = std::min(kStripRows, task_.rows - first);
    const double* right = scratch_.right;
    for (std::int64_t k = 0; k < task_.inner; k += kBlockDepth) {
      const std::int64_t depth = std::min(kBlockDepth, task_.inner - k);
      const bool isFirst = k == 0;
      const bool isLast = k + depth == task_.inner;
      PackLeft(first, rows, k, depth);
      double* sums = scratch_.sums;
      ForEachTileColumn(columns_, [&](std::int64_t j, auto lanes, auto vectors) {
        T* result = task_.result + first * task_.columns + firstColumn_ + j;
        ForEachTileRow<kTileRows>(0, rows, [&](std::int64_t i, auto tileRows) {
          Tile<decltype(lanes), tileRows(), vectors()> tile;
          isFirst ? tile.Clear() : tile.LoadFrom(sums + i * kTileColumns, kTileColumns);
          const double* left = scratch_.left + i * PackedStride(task_.inner);
          tile.template Accumulate<Step>(left, PackedStride(task_.inner), right, kTileColumns, depth);
          if (!isLast) return tile.StoreTo(sums + i * kTileColumns, kTileColumns);
          tile.StoreTo(result + i * task_.columns, task_.columns);
          probe_ += tile.Probe();
        });
        right += depth * kTileColumns;
        sums += rows * kTileColumns;
      });
    }
  }

  ProductTask<T> task_;
  ProductScratch scratch_;
  std::int64_t firstColumn_ = 0;
  std::int64_t columns_ = 0;
  double probe_ = 0.0;
};

template <class Step, class T>
bool MultiplyBy(const ProductTask<T>& task, const ProductScratch& scratch) {
  if (scratch.right == nullptr) return MultiplyInPlace<Step>(task);
  return PackedProduct<Step, T>(task, scratch).Run();
}

template <class T>
void MultiplyMatrices(const ProductTask<T>& task, const ProductScratch& scratch) {
  using Step = std::conditional_t<std::is_same_v<T, float>, FusedStep, SeparateStep>;
  if (!MultiplyBy<Step>(task, scratch)) MultiplyBy<NanStep>(task, scratch);
}
