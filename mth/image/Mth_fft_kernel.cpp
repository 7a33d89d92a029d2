#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>

#include "mth/image/Mth_fft_factors_internal.h"
#include "mth/image/Mth_fft_kernel_internal.h"

namespace mth_internal {

constexpr int kRowLength = 8;
struct Tile {
  alignas(64) double re[kRowLength][kRowLength];
  alignas(64) double im[kRowLength][kRowLength];
};

}  // namespace mth_internal

#define MTH_KERNEL_FILE "mth/image/Mth_fft_grid_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

namespace mth_internal {
namespace {

// The real part in front of the imaginary one, and nothing else.
static_assert(sizeof(MTH_COMPLEX) == 2 * sizeof(double) && std::is_standard_layout_v<MTH_COMPLEX>);

void PermuteByBitReversal(std::int64_t n, double* re, double* im) {
  std::int64_t j = 0;
  for (std::int64_t i = 0; i < n - 1; ++i) {
    if (i < j) {
      std::swap(re[i], re[j]);
      std::swap(im[i], im[j]);
    }
    std::int64_t k = n / 2;
    for (; k <= j; k /= 2) j -= k;
    j += k;
  }
}

// The plain loops, for lengths shorter than one tile.
void TransformShort(int dir, int m, double* re, double* im) {
  const std::int64_t n = std::int64_t{1} << m;
  PermuteByBitReversal(n, re, im);
  for (int stage = 0; stage < m; ++stage) {
    const std::int64_t span = std::int64_t{1} << stage;
    StageRotation factor = RotationOfStage(dir, stage);
    for (std::int64_t j = 0; j < span; ++j, factor.Step()) {
      for (std::int64_t i = j; i < n; i += 2 * span) {
        const std::int64_t other = i + span;
        const double t1 = factor.u1 * re[other] - factor.u2 * im[other];
        const double t2 = factor.u1 * im[other] + factor.u2 * re[other];
        re[other] = re[i] - t1;
        im[other] = im[i] - t2;
        re[i] += t1;
        im[i] += t2;
      }
    }
  }
}

}  // namespace

void TransformLine(int dir, int m, double* re, double* im) {
  constexpr int kSmallestTiled = 6;  // logarithm of the length of one tile
  const std::int64_t n = std::int64_t{1} << m;
  if (m < kSmallestTiled) {
    TransformShort(dir, m, re, im);
  } else {
    MTH_SELECT(Transform)(TableFor(dir), dir, m, re, im);
  }
  if (dir != kInverse) return;
  // A power of two: the product is the quotient, to the last bit.
  MTH_SELECT(Scale)(1.0 / static_cast<double>(n), n, re);
  MTH_SELECT(Scale)(1.0 / static_cast<double>(n), n, im);
}

void TransformPanel(int dir, int m, MTH_COMPLEX** rows, std::int64_t firstColumn, int count, double* work) {
  if (count < kPanelColumns) std::fill_n(work, 2 * kPanelColumns * (std::int64_t{1} << m), 0.0);
  MTH_SELECT(TransformColumns)(TableFor(dir), dir, m, rows, firstColumn, count, work);
}

void SplitComplex(const MTH_COMPLEX* line, std::int64_t count, double* re, double* im) {
  MTH_SELECT(Split)(reinterpret_cast<const double*>(line), count, re, im);
}

void JoinComplex(const double* re, const double* im, std::int64_t count, MTH_COMPLEX* line) {
  MTH_SELECT(Join)(re, im, count, reinterpret_cast<double*>(line));
}

}  // namespace mth_internal
