// Matrix product, compiled per instruction set.
//
// A tile of the result stays in registers while k runs, so that each entry is the plain sum over ascending k.
// A vector holds neighbouring columns. Tiles at the right edge overlap the ones before: an entry that is
// computed twice gets the same bits.

#include "mth/matrix/Mth_register_tile_loops_internal.h"

// Rows of a tile of so many vectors: as many sums as the whole tile has, but no more than are unrolled.
constexpr int RowsOfTile(int vectors) {
  return std::min(12, kTileRows * kTileVectors / vectors);
}

// Runs body(column, V{}, vectors of the tile as a compile-time constant) until all columns are covered; there
// is at least a vector of them.
template <class Body>
MTH_INLINE void ForEachTileColumn(std::int64_t columns, Body body) {
  constexpr std::integral_constant<int, 1> kOneVector;
  constexpr std::integral_constant<int, 2> kTwoVectors;
  constexpr std::integral_constant<int, kTileVectors> kWholeTile;
  std::int64_t j = 0;
  const auto cover = [&](auto vectors) {
    for (; j + vectors() * kLanes <= columns; j += vectors() * kLanes) body(j, Lanes{}, vectors);
  };
  cover(kWholeTile);
  if (columns - j > 2 * kLanes && columns >= kTileColumns) {
    return body(columns - kTileColumns, Lanes{}, kWholeTile);
  }
  cover(kTwoVectors);
  if (columns - j > kLanes && columns >= 2 * kLanes) return body(columns - 2 * kLanes, Lanes{}, kTwoVectors);
  cover(kOneVector);
  if (j < columns) body(columns - kLanes, Lanes{}, kOneVector);
}

// The part of the product in place that one column of tiles is: kVectors vectors V of columns from column j
// on.
template <class Step, class V, int kVectors, int kRows, class T>
MTH_INLINE void MultiplyTile(const ProductTask<T>& task, std::int64_t i, std::int64_t j) {
  Tile<V, kRows, kVectors> tile;
  tile.Clear();
  tile.template Accumulate<Step>(LeftFactor<T>{task.left + i * task.inner, task.inner, 1}, task.right + j,
                                 task.columns, task.inner);
  tile.MakeNaNsPlain();
  tile.StoreTo(task.result + i * task.columns + j, task.columns);
}

// The product of so few columns that they are fewer than a vector has: by vectors of kWidth. A function of
// its own and lower tiles, because at this size the way into a large loop costs more than the loop.
template <class Step, int kWidth, class T>
MTH_NOINLINE void MultiplyNarrow(const ProductTask<T>& task) {
  constexpr int kNarrower = kWidth / 2;
  if constexpr (kNarrower > 0) {
    if (task.columns < kWidth) return MultiplyNarrow<Step, kNarrower>(task);
  }
  using V = Doubles<kWidth>;
  ForEachTileRow<4>(0, task.rows, [&](std::int64_t i, auto rows) {
    MultiplyTile<Step, V, 1, rows()>(task, i, 0);
    if (task.columns > kWidth) MultiplyTile<Step, V, 1, rows()>(task, i, task.columns - kWidth);
  });
}

// The product with both factors where they lie: for small ones, and where there is no memory for scratch.
template <class Step, class T>
void MultiplyInPlace(const ProductTask<T>& task) {
  if constexpr (kLanes > 1) {
    if (task.columns < kLanes) return MultiplyNarrow<Step, kLanes / 2>(task);
  }
  for (std::int64_t first = 0; first < task.rows; first += kRowsTogether) {
    const std::int64_t last = std::min(first + kRowsTogether, task.rows);
    ForEachTileColumn(task.columns, [&](std::int64_t j, auto lanes, auto vectors) {
      ForEachTileRow<RowsOfTile(vectors())>(first, last, [&](std::int64_t i, auto rows) {
        MultiplyTile<Step, decltype(lanes), vectors(), rows()>(task, i, j);
      });
    });
  }
}

// Rows of a strip, whole tiles of every height, where the right factor is far. Its packed block and its sums
// stay in the second cache, which processors with 64-byte vectors have larger; they also use the right factor
// up faster.
constexpr std::int64_t kStripRows = kLanes == 8 ? kMostStripRows : kMostStripRows / 2;

// Whether the right factor is used up faster than processors fetch it of themselves, page by page.
template <class Step>
constexpr bool kIsFast = kLanes == 8 || (kLanes == 4 && std::is_same_v<Step, FusedStep>);

// The product of larger matrices, in blocks that stay in cache. The right factor is packed as doubles in the
// order in which the tiles read it: a small one by the first tile that needs it, which hides much of the time
// that takes, a larger one beforehand, row by row as it lies in memory. The left one is packed where it
// must be; a strip of rows keeps its sums in double from one block of k to the next.
template <class Step, class T>
class PackedProduct {
 public:
  PackedProduct(const ProductTask<T>& task, const ProductScratch& scratch)
      : task_(task), scratch_(scratch), isSmall_(task.inner * task.columns <= kSmallElements) {}

  // False when the host gives the run up.
  bool Run(const LongRun& run) {
    const std::int64_t slab = SlabColumns(task_.columns);
    for (std::int64_t j = 0; j < task_.columns; j += slab) {
      firstColumn_ = j;
      // A last slab that is too narrow for a tile overlaps the one before.
      columns_ = std::min(slab, task_.columns - j);
      if (columns_ < kTileColumns && j > 0) {
        firstColumn_ = task_.columns - kTileColumns;
        columns_ = kTileColumns;
      }
      isFar_ = task_.inner * columns_ > kNearElements;
      if (!isSmall_) PackRight();
      const std::int64_t rows = isFar_ ? kStripRows : kRowsTogether;
      for (std::int64_t i = 0; i < task_.rows; i += rows) {
        if (!MultiplyStrip(i, std::min(rows, task_.rows - i), run)) return false;
      }
    }
    return true;
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

  // A block of the left factor as doubles, where it lies unless there is scratch to pack it.
  LeftFactor<double> LeftBlock(std::int64_t first, std::int64_t rows, std::int64_t k, std::int64_t depth) {
    const T* block = task_.left + first * task_.inner + k;
    if constexpr (std::is_same_v<T, double>) {
      if (scratch_.left == nullptr) return {block, task_.inner, 1};
    }
    PackLeft(block, rows, depth);
    return {scratch_.left, PackedStride(task_.inner), 1};
  }

  void PackLeft(const T* block, std::int64_t rows, std::int64_t depth) {
    for (std::int64_t i = 0; i < rows; ++i) {
      const T* source = block + i * task_.inner;
      double* packed = scratch_.left + i * PackedStride(task_.inner);
      ForEachLanes(0, depth, [&](std::int64_t column, auto lanes) {
        Store(packed + column, Load<decltype(lanes)>(source + column));
      });
    }
  }

  // False when the host gives the run up.
  bool MultiplyStrip(std::int64_t first, std::int64_t rows, const LongRun& run) {
    double* right = scratch_.right;
    for (std::int64_t k = 0; k < task_.inner; k += kBlockDepth) {
      if (first % kStripRows == 0 && run.IsGivenUp()) return false;  // of low strips not each
      const std::int64_t depth = std::min(kBlockDepth, task_.inner - k);
      const bool isFirst = k == 0;
      const bool isLast = k + depth == task_.inner;
      const LeftFactor<double> left = LeftBlock(first, rows, k, depth);
      double* sums = scratch_.sums;
      ForEachTileColumn(columns_, [&](std::int64_t j, auto lanes, auto vectors) {
        T* result = task_.result + first * task_.columns + firstColumn_ + j;
        ForEachTileRow<RowsOfTile(vectors())>(0, rows, [&](std::int64_t i, auto tileRows) {
          Tile<decltype(lanes), tileRows(), vectors()> tile;
          if (isFirst) {
            tile.Clear();
          } else {
            tile.LoadFrom(sums + i * kTileColumns, kTileColumns);
          }
          constexpr bool kIsWhole = vectors() == kTileVectors && tileRows() == kTileRows;
          const LeftFactor<double> leftRows{left.elements + i * left.rowStride, left.rowStride, 1};
          if (isSmall_ && first == 0 && i == 0) {
            const T* source = task_.right + k * task_.columns + firstColumn_ + j;
            tile.template Accumulate<Step>(leftRows, source, task_.columns, depth, Pack{right});
          } else if (kIsFast<Step> && kIsWhole && isFar_) {
            tile.template Accumulate<Step>(leftRows, right, kTileColumns, depth, Ahead(right, depth, i));
          } else {
            tile.template Accumulate<Step>(leftRows, right, kTileColumns, depth);
          }
          if (!isLast) return tile.StoreTo(sums + i * kTileColumns, kTileColumns);
          tile.MakeNaNsPlain();
          tile.StoreTo(result + i * task_.columns, task_.columns);
        });
        right += depth * kTileColumns;
        sums += rows * kTileColumns;
      });
    }
    return true;
  }

  // The share of the tile at row i of a strip in the panel after this one: the tiles of a full strip together
  // ask for all of it. After the last panel there is nothing of use, and nothing is harmed.
  static AskAhead Ahead(const double* right, std::int64_t depth, std::int64_t i) {
    constexpr std::int64_t kBytes = kTileColumns * sizeof(double) * kTileRows / kStripRows;
    const std::uintptr_t next = reinterpret_cast<std::uintptr_t>(right + depth * kTileColumns);
    return {next + static_cast<std::uintptr_t>(i / kTileRows * depth * kBytes), kBytes};
  }

  ProductTask<T> task_;
  ProductScratch scratch_;
  bool isSmall_;  // the right factor
  std::int64_t firstColumn_ = 0;
  std::int64_t columns_ = 0;
  bool isFar_ = false;  // whether a slab of the right factor leaves the caches that are near
};

// @return  false when the host gives the run up.
template <class T>
bool MultiplyMatrices(const ProductTask<T>& task, const ProductScratch& scratch, const LongRun& run) {
  using Step = std::conditional_t<std::is_same_v<T, float>, FusedStep, SeparateStep>;
  if (scratch.right != nullptr) return PackedProduct<Step, T>(task, scratch).Run(run);
  ProductTask<T> rest = task;
  for (; rest.rows > kRowsPerQuestion; rest.rows -= kRowsPerQuestion) {
    if (run.IsGivenUp()) return false;
    ProductTask<T> part = rest;
    part.rows = kRowsPerQuestion;
    MultiplyInPlace<Step>(part);
    rest.left += kRowsPerQuestion * task.inner;
    rest.result += kRowsPerQuestion * task.columns;
  }
  MultiplyInPlace<Step>(rest);
  return true;
}
