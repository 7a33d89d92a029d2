#include <algorithm>
#include <cstdint>
#include <numeric>
#include <type_traits>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_instruction_set_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/matrix/Mth_product_kernel_internal.h"
#include "mth/matrix/Mth_register_tile_internal.h"

namespace mth_internal {
namespace {

// Terms of a sum that are added at once. Beyond, a sum is stored and loaded again.
constexpr std::int64_t kBlockDepth = 512;
// Rows that use a packed tile of the right factor in turn, at most: its slab comes from the third cache for
// each such strip.
constexpr std::int64_t kMostStripRows = 96;
// Rows that use a tile of the right factor in turn where that is near or lies where it is: they stay in the
// first cache.
constexpr std::int64_t kRowsTogether = 24;
// Rows that the product in place computes at once: whole tiles of every height.
constexpr std::int64_t kRowsPerQuestion = 1536;
// Columns that are packed at once, at most: whole tiles of every width; bounds the scratch memory.
constexpr std::int64_t kSlabColumns = 480;
// Packed elements of the right factor, at most, that are near: in the first or the second cache.
constexpr std::int64_t kNearElements = 200 * 200;
// Elements of a small right factor, at most: floats are packed while they are first used, doubles read where
// they lie.
constexpr std::int64_t kSmallElements = 384 * 384;
// Elements of a tiny one, at most: floats too are read where they lie.
constexpr std::int64_t kTinyElements = 24 * 24;
// Fewer rows are multiplied where they lie: of a small right factor, and of a larger one.
constexpr std::int64_t kFewestRowsOfSmall = 8;
constexpr std::int64_t kFewestRowsOfLarge = 16;

// Doubles from one packed row of the left factor to the next: an odd number of cache lines, or the rows of a
// tile could compete for the same places of the cache.
constexpr std::int64_t PackedStride(std::int64_t inner) {
  return ((std::min(kBlockDepth, inner) + 7) / 8 | 1) * 8;
}

// Columns of each slab but the last. All are about equally wide: the left factor is read, and packed where it
// must be, for each of them.
constexpr std::int64_t SlabColumns(std::int64_t columns) {
  const std::int64_t slabs = (columns + kSlabColumns - 1) / kSlabColumns;
  const std::int64_t width = (columns + slabs - 1) / slabs;
  return (width + kWidestTile - 1) / kWidestTile * kWidestTile;
}

// Whether the left factor is packed: floats, which that widens, and doubles whose rows lie so far apart that
// those of a strip would compete for the same places of the second cache.
template <class T>
constexpr bool NeedsPackedLeft(std::int64_t inner) {
  constexpr std::int64_t kWorstStride = 16 * 1024 / sizeof(double);
  return std::is_same_v<T, float> || inner % kWorstStride == 0;
}

// Where the packed product works; null for the product in place.
struct ProductScratch {
  double* right = nullptr;
  double* left = nullptr;  // null where the left factor is not packed
  double* sums = nullptr;
};

}  // namespace
}  // namespace mth_internal

#define MTH_KERNEL_FILE "mth/matrix/Mth_product_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

namespace mth_internal {
namespace {

// Whether packing the factors pays: doubles when the right one leaves the second cache, floats, which packing
// widens, much earlier.
template <class T>
bool IsWorthPacking(const ProductTask<T>& task) {
  const std::int64_t elements = task.inner * task.columns;
  if (elements > kSmallElements) return task.rows >= kFewestRowsOfLarge && task.columns >= kWidestTile;
  return std::is_same_v<T, float> && elements > kTinyElements && task.rows >= kFewestRowsOfSmall &&
         task.columns >= kWidestVector;
}

template <class T>
bool MultiplyIn(const LongRun& run, const ProductTask<T>& task) {
  const auto multiply = MTH_SELECT(MultiplyMatrices<T>);
  if (!IsWorthPacking(task)) return multiply(task, {}, run);

  // The last tile overlaps the one before, or is not full; fewer columns than a tile has may take two.
  const std::int64_t slab =
      std::max(std::min(SlabColumns(task.columns), task.columns), kWidestTile) + kWidestTile;
  const std::int64_t rightCount = task.inner * slab;
  const std::int64_t rows = std::min(kMostStripRows, task.rows);
  const std::int64_t leftCount = NeedsPackedLeft<T>(task.inner) ? rows * PackedStride(task.inner) : 0;
  const std::int64_t sumsCount = task.inner > kBlockDepth ? rows * slab : 0;
  const WorkArray<double> scratch(rightCount + leftCount + sumsCount);
  if (!scratch) return multiply(task, {}, run);
  double* right = scratch.Get();
  double* left = leftCount == 0 ? nullptr : right + rightCount;
  return multiply(task, {right, left, right + rightCount + leftCount}, run);
}

}  // namespace

template <class T>
void Multiply(const ProductTask<T>& task) {
  MultiplyIn(LongRun(0, 0, 0), task);
}

template <class T>
bool MultiplyUnlessGivenUp(const ProductTask<T>& task) {
  return MultiplyIn(LongRun(task.rows, task.inner, task.columns), task);
}

template void Multiply(const ProductTask<double>&);
template void Multiply(const ProductTask<float>&);
template bool MultiplyUnlessGivenUp(const ProductTask<double>&);
template bool MultiplyUnlessGivenUp(const ProductTask<float>&);

}  // namespace mth_internal
