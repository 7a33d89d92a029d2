#include "mth/image/Mth_fft.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>

#include "mth/core/Mth_work_array_internal.h"

namespace mth_internal {
namespace {

constexpr int kLargest = 40;  // logarithm of a length beyond any memory

// The factors of one stage of span l: factor j < l has turned j times.
struct StageFactors {
  const double* re;
  const double* im;
};

// Those of all stages; stage s has the span 2^s.
struct Twiddles {
  StageFactors stages[kLargest];
};

constexpr int kRowLength = 8;
struct Tile {
  alignas(64) double re[kRowLength][kRowLength];
  alignas(64) double im[kRowLength][kRowLength];
};

}  // namespace
}  // namespace mth_internal

#define MTH_KERNEL_FILE "mth/image/Mth_fft_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

namespace mth_internal {
namespace {

constexpr int kForward = 1;
constexpr int kInverse = -1;
constexpr int kSmallestTiled = 6;  // logarithm of the length of one tile

// A unit complex number that turns by a fixed angle at each step.
struct Rotation {
  double c1;
  double c2;
  double u1 = 1.0;
  double u2 = 0.0;

  constexpr void Step() {
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

// The stages whose factors the compiler computes, and what the half-angle formulas give for them: their c1
// and the c2 of the positive kernel.
constexpr int kConstantStages = 10;
constexpr Rotation kHalfAngles[kConstantStages] = {{-1.0, 0.0},
                                                   {0.0, 1.0},
                                                   {0x1.6a09e667f3bcdp-1, 0x1.6a09e667f3bcdp-1},
                                                   {0x1.d906bcf328d46p-1, 0x1.87de2a6aea962p-2},
                                                   {0x1.f6297cff75cb0p-1, 0x1.8f8b83c69a60cp-3},
                                                   {0x1.fd88da3d12526p-1, 0x1.917a6bc29b42fp-4},
                                                   {0x1.ff621e3796d7ep-1, 0x1.91f65f10dd7f5p-5},
                                                   {0x1.ffd886084cd0dp-1, 0x1.92155f7a3665ap-6},
                                                   {0x1.fff62169b92dbp-1, 0x1.921d1fcdec626p-7},
                                                   {0x1.fffd8858e8a92p-1, 0x1.921f0fe670767p-8}};

// Factor j of the stage of span l is number l + j, j < l.
struct ConstantFactors {
  double re[1 << kConstantStages];
  double im[1 << kConstantStages];
};

constexpr ConstantFactors ComputeConstantFactors(int dir) {
  ConstantFactors factors{};
  for (int stage = 0; stage < kConstantStages; ++stage) {
    Rotation turning = kHalfAngles[stage];
    if (dir == kForward && stage > 0) turning.c2 = -turning.c2;
    for (int j = 1 << stage; j < 2 << stage; ++j, turning.Step()) {
      factors.re[j] = turning.u1;
      factors.im[j] = turning.u2;
    }
  }
  return factors;
}

constexpr ConstantFactors kForwardFactors = ComputeConstantFactors(kForward);
constexpr ConstantFactors kPositiveFactors = ComputeConstantFactors(kInverse);

// Factors for a length of 2^m, for as many transforms as are wanted.
class TwiddleTable {
 public:
  TwiddleTable(int dir, int m)
      : m_(m), size_(m <= kConstantStages ? 0 : (std::int64_t{1} << m) - kConstants), factors_(2 * size_) {
    if (!IsUsable()) return;
    const ConstantFactors& constants = dir == kForward ? kForwardFactors : kPositiveFactors;
    for (int stage = 0; stage < std::min(m, kConstantStages); ++stage) {
      twiddles_.stages[stage] = {constants.re + (std::int64_t{1} << stage),
                                 constants.im + (std::int64_t{1} << stage)};
    }
    if (size_ > 0) Fill(dir);
  }
  bool IsUsable() const { return m_ >= kSmallestTiled && factors_; }
  const Twiddles& Get() const { return twiddles_; }

 private:
  static constexpr std::int64_t kConstants = std::int64_t{1} << kConstantStages;

  // Two chains side by side, each as long as the last stage: the last stage, and all others one after the
  // other. A chain waits for each of its steps, so that the second one costs nothing.
  void Fill(int dir) {
    Rotation other = kFirstStage;
    for (int stage = 0; stage < kConstantStages; ++stage) other = HalfAngle(other, dir);
    Rotation last = other;
    for (int stage = kConstantStages; stage < m_ - 1; ++stage) last = HalfAngle(last, dir);
    double* re = factors_.Get();
    double* im = re + size_;
    std::int64_t left = (std::int64_t{1} << (m_ - 1));
    double* lastRe = re + size_ - left;
    double* lastIm = im + size_ - left;
    twiddles_.stages[m_ - 1] = {lastRe, lastIm};
    const auto storeLast = [&] {
      *lastRe++ = last.u1;
      *lastIm++ = last.u2;
      last.Step();
      --left;
    };
    for (int stage = kConstantStages; stage < m_ - 1; ++stage) {
      twiddles_.stages[stage] = {re, im};
      Rotation turning = other;
      for (const double* end = re + (std::int64_t{1} << stage); re < end; turning.Step()) {
        *re++ = turning.u1;
        *im++ = turning.u2;
        storeLast();
      }
      other = HalfAngle(other, dir);
    }
    while (left > 0) storeLast();
  }

  int m_;
  std::int64_t size_;
  WorkArray<double> factors_;
  Twiddles twiddles_;
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
