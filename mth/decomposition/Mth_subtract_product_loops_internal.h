// C -= A B as running differences, compiled per instruction set.
//
// Each element of C loses its products one by one, in the order of A's columns, with one rounding per product
// and one per difference. Splitting the terms over several calls therefore changes no bit, and neither does
// it matter how many elements are carried at once.

#include "mth/matrix/Mth_register_tile_loops_internal.h"

// C -= A B for one tile of so many rows and vectors; A packed as rows x depth.
template <int kRows, int kVectors, class Beside = DoNothing>
MTH_INLINE void SubtractTile(double* c, std::int64_t stride, const double* a, const double* b,
                             std::int64_t bStride, std::int64_t depth, Beside beside = {}) {
  Tile<Lanes, kRows, kVectors> tile;
  tile.LoadFrom(c, stride);
  tile.template Accumulate<SubtractStep>(LeftFactor<double>{a, depth, 1}, b, bStride, depth, beside);
  tile.StoreTo(c, stride);
}

// The same with as many vectors as are asked for, and B packed.
template <int kRows, int kVectors = kTileVectors>
MTH_INLINE void SubtractNarrowTile(double* c, std::int64_t stride, const double* a, const double* b,
                                   std::int64_t depth, std::int64_t vectors) {
  if constexpr (kVectors > 1) {
    if (vectors < kVectors) return SubtractNarrowTile<kRows, kVectors - 1>(c, stride, a, b, depth, vectors);
  }
  SubtractTile<kRows, kVectors>(c, stride, a, b, kTileColumns, depth);
}

// The same where the tile reaches beyond the last column of C.
template <int kRows>
void SubtractEdgeTile(double* c, std::int64_t stride, const double* a, const double* b, std::int64_t depth,
                      std::int64_t columns) {
  const std::int64_t vectors = (columns + kLanes - 1) / kLanes;
  if (columns == vectors * kLanes) return SubtractNarrowTile<kRows>(c, stride, a, b, depth, vectors);
  double tile[kRows * kTileColumns] = {};
  for (std::int64_t i = 0; i < kRows; ++i) std::copy_n(c + i * stride, columns, tile + i * kTileColumns);
  SubtractNarrowTile<kRows>(tile, kTileColumns, a, b, depth, vectors);
  for (std::int64_t i = 0; i < kRows; ++i) std::copy_n(tile + i * kTileColumns, columns, c + i * stride);
}

// Asks for a tile that comes next: its rows are too far apart for the processor to guess.
inline void PrefetchTile(const double* c, std::int64_t stride, std::int64_t rows) {
  constexpr std::int64_t kLine = 8;  // doubles
  for (std::int64_t i = 0; i < rows; ++i) {
    for (std::int64_t j = 0; j < kTileColumns; j += kLine) PrefetchForWriting(c + i * stride + j);
  }
}

// Rows of A, whose columns may run backwards, one after the other.
template <class T>
void PackLeft(const Block<const T>& a, std::int64_t rows, std::int64_t depth, double* packed) {
  for (std::int64_t i = 0; i < rows; ++i, packed += depth) {
    const T* row = a.elements + i * a.rowStride;
    ForEachLanes(0, depth, [&](std::int64_t k, auto lanes) {
      using V = decltype(lanes);
      constexpr std::int64_t kLast = sizeof(V) / sizeof(double) - 1;
      Store(packed + k, a.columnStride == 1 ? Load<V>(row + k) : Reversed(Load<V>(row - k - kLast)));
    });
  }
}

// The last columns of B, which are fewer than a tile has, filled up with 0.
inline void PackEdge(const double* b, std::int64_t stride, std::int64_t depth, std::int64_t columns,
                     double* packed) {
  for (std::int64_t k = 0; k < depth; ++k, b += stride, packed += kTileColumns) {
    std::copy_n(b, columns, packed);
    std::fill_n(packed + columns, kTileColumns - columns, 0.0);
  }
}

// Columns of C that the rows of A, which come from the second cache, pass at once. The columns of B that
// belong to them stay in the first one.
constexpr std::int64_t kColumnsTogether = std::max<std::int64_t>(kTileColumns, 16);

// The columns of B where they lie and where they are packed, those of one tile after those of another.
struct RightFactor {
  const double* elements;
  std::int64_t stride;
  double* packed;
};

// So many rows of C lose their products with the columns [0, columns) of B, which the first rows pack.
template <int kRows>
void SubtractRows(double* c, std::int64_t stride, const double* left, const RightFactor& right,
                  std::int64_t depth, std::int64_t columns, bool isFirst, std::int64_t nextRows) {
  for (std::int64_t j = 0; j < columns; j += kTileColumns) {
    if (nextRows > 0) PrefetchTile(c + kRows * stride + j, stride, nextRows);
    double* packed = right.packed + j * depth;
    if (columns - j < kTileColumns) {
      if (isFirst) PackEdge(right.elements + j, right.stride, depth, columns - j, packed);
      SubtractEdgeTile<kRows>(c + j, stride, left, packed, depth, columns - j);
    } else if (isFirst) {
      SubtractTile<kRows, kTileVectors>(c + j, stride, left, right.elements + j, right.stride, depth,
                                        Pack{packed});
    } else {
      SubtractTile<kRows, kTileVectors>(c + j, stride, left, packed, kTileColumns, depth);
    }
  }
}

// C -= A B with `depth` terms a sum, in the order of A's columns and B's rows. Scratch is what
// EliminationScratch says for rows and depth.
template <class T>
void SubtractProduct(double* c, std::int64_t cStride, Block<const T> a, const double* b, std::int64_t bStride,
                     std::int64_t rows, std::int64_t depth, std::int64_t columns, double* scratch) {
  if (rows == 0) return;  // nothing is packed after the last block
  double* left = scratch + depth * kColumnsTogether;
  PackLeft(a, rows, depth, left);
  for (std::int64_t j = 0; j < columns; j += kColumnsTogether) {
    const std::int64_t width = std::min(kColumnsTogether, columns - j);
    const RightFactor right{b + j, bStride, scratch};
    ForEachTileRow<kTileRows>(0, rows, [&](std::int64_t i, auto tileRows) {
      const std::int64_t nextRows = std::min<std::int64_t>(kTileRows, rows - i - tileRows());
      SubtractRows<tileRows()>(c + i * cStride + j, cStride, left + i * depth, right, depth, width, i == 0,
                               nextRows);
    });
  }
}
