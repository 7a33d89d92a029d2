// C -= A B as running differences, compiled per instruction set.
//
// Each element of C loses its products one by one, in the order of A's columns, with one rounding per product
// and one per difference. Splitting the terms over several calls therefore changes no bit, and neither does
// it matter how many elements are carried at once.

#include "mth/matrix/Mth_register_tile_loops_internal.h"

// C -= A B for one tile of so many rows and vectors; A packed as rows x depth, B as depth x kTileColumns.
template <int kRows, int kVectors>
MTH_INLINE void SubtractTile(double* c, std::int64_t stride, const double* a, const double* b,
                             std::int64_t depth) {
  Tile<Lanes, kRows, kVectors> tile;
  tile.LoadFrom(c, stride);
  tile.template Accumulate<SubtractStep>(LeftFactor<double>{a, depth, 1}, b, kTileColumns, depth);
  tile.StoreTo(c, stride);
}

// The same with as many vectors as are asked for.
template <int kRows, int kVectors = kTileVectors>
MTH_INLINE void SubtractNarrowTile(double* c, std::int64_t stride, const double* a, const double* b,
                                   std::int64_t depth, std::int64_t vectors) {
  if constexpr (kVectors > 1) {
    if (vectors < kVectors) return SubtractNarrowTile<kRows, kVectors - 1>(c, stride, a, b, depth, vectors);
  }
  SubtractTile<kRows, kVectors>(c, stride, a, b, depth);
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

// Columns of B, those of one tile after those of another and the last filled up with 0.
inline void PackRight(const double* b, std::int64_t stride, std::int64_t depth, std::int64_t columns,
                      double* packed) {
  for (std::int64_t j = 0; j < columns; j += kTileColumns) {
    const std::int64_t width = std::min(kTileColumns, columns - j);
    const double* row = b + j;
    for (std::int64_t k = 0; k < depth; ++k, row += stride, packed += kTileColumns) {
      if (width == kTileColumns) {
        for (int v = 0; v < kTileVectors; ++v) Store(packed + v * kLanes, Load<Lanes>(row + v * kLanes));
      } else {
        std::copy_n(row, width, packed);
        std::fill_n(packed + width, kTileColumns - width, 0.0);
      }
    }
  }
}

// Columns of C that the rows of A, which come from the second cache, pass at once. The columns of B that
// belong to them stay in the first one.
constexpr std::int64_t kColumnsTogether = std::max<std::int64_t>(kTileColumns, 16);

// So many rows of C lose their products with the packed columns [0, columns).
template <int kRows>
void SubtractRows(double* c, std::int64_t stride, const double* left, const double* right, std::int64_t depth,
                  std::int64_t columns, std::int64_t nextRows) {
  for (std::int64_t j = 0; j < columns; j += kTileColumns) {
    if (nextRows > 0) PrefetchTile(c + kRows * stride + j, stride, nextRows);
    if (columns - j >= kTileColumns) {
      SubtractTile<kRows, kTileVectors>(c + j, stride, left, right + j * depth, depth);
    } else {
      SubtractEdgeTile<kRows>(c + j, stride, left, right + j * depth, depth, columns - j);
    }
  }
}

// C -= A B with `depth` terms a sum, in the order of A's columns and B's rows. Scratch is what
// EliminationScratch says for rows and depth.
template <class T>
void SubtractProduct(double* c, std::int64_t cStride, Block<const T> a, const double* b, std::int64_t bStride,
                     std::int64_t rows, std::int64_t depth, std::int64_t columns, double* scratch) {
  if (rows == 0) return;  // nothing is packed after the last block
  double* right = scratch;
  double* left = scratch + depth * kColumnsTogether;
  PackLeft(a, rows, depth, left);
  for (std::int64_t j = 0; j < columns; j += kColumnsTogether) {
    const std::int64_t width = std::min(kColumnsTogether, columns - j);
    PackRight(b + j, bStride, depth, width, right);
    ForEachTileRow<kTileRows>(0, rows, [&](std::int64_t i, auto tileRows) {
      const std::int64_t nextRows = std::min<std::int64_t>(kTileRows, rows - i - tileRows());
      SubtractRows<tileRows()>(c + i * cStride + j, cStride, left + i * depth, right, depth, width, nextRows);
    });
  }
}
