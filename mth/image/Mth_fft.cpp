#include "mth/image/Mth_fft.h"

#include <algorithm>
#include <cstdint>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/image/Mth_fft_kernel_internal.h"

namespace mth_internal {
namespace {

constexpr int kLargest = 40;  // logarithm of a length beyond any memory

// Lines along the second index, each of which lies together in memory.
bool TransformRows(MTH_COMPLEX** c, int rows, int length, int dir) {
  int m = 0;
  if (!Mth_Powerof2(length, &m, nullptr)) return false;
  const WorkArray<double> work(2 * std::int64_t{length});
  if (!work) return false;
  double* const re = work.Get();
  double* const im = re + length;
  for (int i = 0; i < rows; ++i) {
    SplitComplex(c[i], length, re, im);
    TransformLine(dir, m, re, im);
    JoinComplex(re, im, length, c[i]);
  }
  return true;
}

// Lines along the first index that are too long for a panel, one by one.
bool TransformLongColumns(MTH_COMPLEX** c, int columns, int length, int m, int dir) {
  const WorkArray<double> work(2 * std::int64_t{length});
  if (!work) return false;
  double* const re = work.Get();
  double* const im = re + length;
  for (int j = 0; j < columns; ++j) {
    for (int i = 0; i < length; ++i) {
      re[i] = c[i][j].getReal();
      im[i] = c[i][j].getImag();
    }
    TransformLine(dir, m, re, im);
    for (int i = 0; i < length; ++i) c[i][j] = MTH_COMPLEX(re[i], im[i]);
  }
  return true;
}

bool TransformColumns(MTH_COMPLEX** c, int columns, int length, int dir) {
  int m = 0;
  if (!Mth_Powerof2(length, &m, nullptr)) return false;
  if (m > kLongestPanel) return TransformLongColumns(c, columns, length, m, dir);
  const WorkArray<double> work(2 * kPanelColumns * std::int64_t{length});
  if (!work) return false;
  for (std::int64_t j = 0; j < columns; j += kPanelColumns) {
    TransformPanel(dir, m, c, j, static_cast<int>(std::min<std::int64_t>(kPanelColumns, columns - j)),
                   work.Get());
  }
  return true;
}

bool HasAllRows(MTH_COMPLEX** c, int rows) {
  if (c == nullptr) return false;
  return std::find(c, c + std::max(rows, 0), nullptr) == c + std::max(rows, 0);
}

}  // namespace
}  // namespace mth_internal

bool Mth_FFT(int dir, int m, double* re, double* im) {
  if (re == nullptr || im == nullptr || m < 1 || m > mth_internal::kLargest) return true;
  mth_internal::TransformLine(dir, m, re, im);
  return true;
}

bool Mth_Powerof2(int n, int* m, int* twopm) {
  int logarithm = 0;
  std::int64_t power = 1;
  if (n >= 2) {
    logarithm = 1;
    power = 2;
    // Intended: at least one doubling, so that 2 is not found.
    do {
      ++logarithm;
      power *= 2;
    } while (2 * power <= n);
  }
  if (m != nullptr) *m = logarithm;
  if (twopm != nullptr) *twopm = static_cast<int>(power);
  return n >= 2 && power == n;
}

bool Mth_FFT2D(MTH_COMPLEX** c, int nx, int ny, int dir) {
  using namespace mth_internal;
  return HasAllRows(c, nx) && TransformColumns(c, ny, nx, dir) && TransformRows(c, nx, ny, dir);
}
