#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "mth/Mth_work_array_internal.h"
#include "mth/matrix/Mth_kernels_internal.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace mth_internal {
namespace {

// Blocks of k: a packed tile of each factor then stays in the first cache.
constexpr std::int64_t kBlockDepth = 256;
// Rows of a strip, a multiple of every tile's: its packed block fills half of the second cache.
constexpr std::int64_t kStripRows = 240;
// Columns that are packed at once; bounds the scratch memory.
constexpr std::int64_t kSlabColumns = 1024;
constexpr std::int64_t kWidestTile = 16;

// Where the packed product works; null for the product in place.
struct ProductScratch {
  double* right = nullptr;
  double* left = nullptr;
  double* sums = nullptr;
};

}  // namespace
}  // namespace mth_internal

#define MTH_KERNEL_FILE "mth/matrix/Mth_product_kernel_internal.h"
#include "mth/Mth_for_each_instruction_set_internal.h"

namespace mth_internal {
namespace {

// Whether the factors are so large that packing them pays.
template <class T>
bool IsWorthPacking(const ProductTask<T>& task) {
  constexpr std::int64_t kSmall = 128 * 128;
  return task.rows >= 32 && task.columns >= kWidestTile && task.inner * task.columns > kSmall;
}

}  // namespace

template <class T>
void Multiply(const ProductTask<T>& task) {
  const auto multiply = MTH_SELECT(MultiplyMatrices<T>);
  if (!IsWorthPacking(task)) return multiply(task, {});

  const std::int64_t slab = std::min(kSlabColumns, task.columns + kWidestTile);
  const std::int64_t leftCount = kStripRows * kBlockDepth;
  const std::int64_t sumsCount = kStripRows * slab;
  const WorkArray<double> scratch(leftCount + sumsCount + task.inner * slab);
  if (!scratch) return multiply(task, {});
  multiply(task, {scratch.Get() + leftCount + sumsCount, scratch.Get(), scratch.Get() + leftCount});
}

template void Multiply(const ProductTask<double>&);
template void Multiply(const ProductTask<float>&);

}  // namespace mth_internal
