#include "mth/image/Mth_fft.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>

#include "mth/Mth_work_array_internal.h"

namespace mth_internal {
namespace {

// The factors of all stages: factor j of the stage of span l is number l + j, j < l.
struct Twiddles {
  const double* re;
  const double* im;
};

constexpr int kRowLength = 8;
struct Tile {
  alignas(64) double re[kRowLength][kRowLength];
  alignas(64) double im[kRowLength][kRowLength];
};

}  // namespace
}  // namespace mth_internal

#define MTH_KERNEL_FILE "mth/image/Mth_fft_kernel_internal.h"
#include "mth/Mth_for_each_instruction_set_internal.h"

namespace mth_internal {
namespace {

constexpr int kForward = 1;
constexpr int kInverse = -1;
constexpr int kSmallestTiled = 6;  // logarithm of the length of one tile
constexpr int kLargest = 40;       // beyond any memory

// A unit complex number that turns by a fixed angle at each step.
struct Rotation {
  double c1;
  double c2;
  double u1 = 1.0;
  double u2 = 0.0;

  void Step() {
    const double next = u1 * c1 - u2 * c2;
    u2 = u1 * c2 + u2 * c1;
    u1 = next;
  }
};

// The rotation of the next stage, by the half-angle formulas.
Rotation HalfAngle(const Rotation& stage, int dir) {
  const double c2 = std::sqrt((1.0 - stage.c1) / 2.0);
  return {std::sqrt((1.0 + stage.c1) / 2.0), dir == kForward ? -c2 : c2};
}

constexpr Rotation kFirstStage{-1.0, 0.0};

// Factors for a length of 2^m, for as many transforms as are wanted.
class TwiddleTable {
 public:
  TwiddleTable(int dir, int m) : size_(m < kSmallestTiled ? 0 : std::int64_t{1} << m), factors_(2 * size_) {
    if (size_ > 0 && factors_) Fill(dir, m);
  }
  bool IsUsable() const { return size_ > 0 && factors_; }
  Twiddles Get() const { return {factors_.Get(), factors_.Get() + size_}; }

 private:
  // Two chains side by side, each as long as the last stage: the last stage, and all others one after the
  // other. A chain waits for each of its steps, so that the second one costs nothing.
  void Fill(int dir, int m) {
    Rotation last = kFirstStage;
    for (int stage = 1; stage < m; ++stage) last = HalfAngle(last, dir);
    double* const re = factors_.Get();
    double* const im = re + size_;
    const std::int64_t half = size_ / 2;
    const auto storeLast = [&](std::int64_t j) {
      re[half + j] = last.u1;
      im[half + j] = last.u2;
      last.Step();
    };
    storeLast(0);
    Rotation other = kFirstStage;
    for (std::int64_t span = 1; span < half; span *= 2) {
      Rotation turning = other;
      for (std::int64_t j = span; j < 2 * span; ++j) {
        re[j] = turning.u1;
        im[j] = turning.u2;
        turning.Step();
        storeLast(j);
      }
      other = HalfAngle(other, dir);
    }
  }

  std::int64_t size_;
  WorkArray<double> factors_;
};

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

// The plain loops: for short lengths, and without memory for the factors.
void TransformInPlace(int dir, int m, double* re, double* im) {
  const std::int64_t n = std::int64_t{1} << m;
  PermuteByBitReversal(n, re, im);
  Rotation stage = kFirstStage;
  for (std::int64_t span = 1; span < n; span *= 2) {
    Rotation factor = stage;
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
    stage = HalfAngle(stage, dir);
  }
}

void DivideByLength(std::int64_t n, double* re, double* im) {
  const auto length = static_cast<double>(n);
  for (std::int64_t i = 0; i < n; ++i) {
    re[i] /= length;
    im[i] /= length;
  }
}

// All transforms of one length and direction.
class Transformer {
 public:
  Transformer(int dir, int m) : dir_(dir), m_(m), table_(dir, m) {}

  void Run(double* re, double* im) const {
    if (table_.IsUsable()) {
      MTH_SELECT(Transform)(table_.Get(), m_, re, im);
    } else {
      TransformInPlace(dir_, m_, re, im);
    }
    if (dir_ == kInverse) DivideByLength(std::int64_t{1} << m_, re, im);
  }

 private:
  int dir_;
  int m_;
  TwiddleTable table_;
};

// Up to this many neighbouring lines of the grid are gathered at a time: whole cache lines of each row.
constexpr int kLinesAtOnce = 8;

// Transforms every line of `length` values. `at(line, k)` is value k of a line.
template <class At>
bool TransformLines(int lines, int length, int dir, At at) {
  int m = 0;
  if (!Mth_Powerof2(length, &m, nullptr)) return false;
  const std::int64_t size = length;
  const WorkArray<double> work(2 * kLinesAtOnce * size);
  if (!work) return false;
  const Transformer transformer(dir, m);
  double* const re = work.Get();
  double* const im = re + kLinesAtOnce * size;
  for (int first = 0; first < lines; first += kLinesAtOnce) {
    const int count = lines - first < kLinesAtOnce ? lines - first : kLinesAtOnce;
    for (int k = 0; k < length; ++k) {
      for (int line = 0; line < count; ++line) {
        const MTH_COMPLEX& value = at(first + line, k);
        re[line * size + k] = value.getReal();
        im[line * size + k] = value.getImag();
      }
    }
    for (int line = 0; line < count; ++line) transformer.Run(re + line * size, im + line * size);
    for (int k = 0; k < length; ++k) {
      for (int line = 0; line < count; ++line) {
        at(first + line, k) = MTH_COMPLEX(re[line * size + k], im[line * size + k]);
      }
    }
  }
  return true;
}

bool HasAllRows(MTH_COMPLEX** c, int rows) {
  if (c == nullptr) return false;
  for (int i = 0; i < rows; ++i) {
    if (c[i] == nullptr) return false;
  }
  return true;
}

}  // namespace
}  // namespace mth_internal

bool Mth_FFT(int dir, int m, double* re, double* im) {
  if (re == nullptr || im == nullptr || m < 1 || m > mth_internal::kLargest) return true;
  mth_internal::Transformer(dir, m).Run(re, im);
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
  using mth_internal::TransformLines;
  if (!mth_internal::HasAllRows(c, nx)) return false;
  const auto alongFirst = [c](int j, int i) -> MTH_COMPLEX& { return c[i][j]; };
  const auto alongSecond = [c](int i, int j) -> MTH_COMPLEX& { return c[i][j]; };
  return TransformLines(ny, nx, dir, alongFirst) && TransformLines(nx, ny, dir, alongSecond);
}
