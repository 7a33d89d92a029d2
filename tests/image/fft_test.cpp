#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "mth/core/Mth_instruction_set_internal.h"
#include "mth/image/Mth_fft.h"
#include "support/allocation_faults.h"
#include "support/values.h"

namespace {

using mth_test::kInfinity;

using Signal = std::vector<std::complex<double>>;

Signal RandomSignal(std::size_t length, unsigned seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  Signal signal(length);
  for (auto& value : signal) value = {uniform(engine), uniform(engine)};
  return signal;
}

// The parts of a signal in arrays of their own, as the transform takes them.
struct Parts {
  explicit Parts(const Signal& signal) {
    for (const auto& value : signal) {
      re.push_back(value.real());
      im.push_back(value.imag());
    }
  }
  // Bit for bit, the bits of a NaN aside.
  bool operator==(const Parts& other) const { return Same(re, other.re) && Same(im, other.im); }
  static bool Same(const std::vector<double>& a, const std::vector<double>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](double x, double y) {
      return std::memcmp(&x, &y, sizeof x) == 0 || (std::isnan(x) && std::isnan(y));
    });
  }
  std::vector<double> re;
  std::vector<double> im;
};

Signal DirectSum(const Signal& signal, double sign) {
  const std::size_t n = signal.size();
  Signal result(n);
  for (std::size_t k = 0; k < n; ++k) {
    for (std::size_t j = 0; j < n; ++j) {
      const double turn =
          sign * 2.0 * std::numbers::pi * static_cast<double>(j * k % n) / static_cast<double>(n);
      result[k] += signal[j] * std::polar(1.0, turn);
    }
  }
  return result;
}

// The contract's loops, word for word.
void LiteralTransform(int dir, int m, std::vector<double>& re, std::vector<double>& im) {
  const auto n = static_cast<std::int64_t>(re.size());
  const auto at = [](std::vector<double>& v, std::int64_t i) -> double& {
    return v[static_cast<std::size_t>(i)];
  };
  for (std::int64_t i = 0, j = 0; i < n - 1; ++i) {
    if (i < j) {
      std::swap(at(re, i), at(re, j));
      std::swap(at(im, i), at(im, j));
    }
    std::int64_t k = n / 2;
    while (k <= j) {
      j -= k;
      k /= 2;
    }
    j += k;
  }
  double c1 = -1.0;
  double c2 = 0.0;
  std::int64_t l2 = 1;
  for (int stage = 0; stage < m; ++stage) {
    const std::int64_t l1 = l2;
    l2 *= 2;
    double u1 = 1.0;
    double u2 = 0.0;
    for (std::int64_t j = 0; j < l1; ++j) {
      for (std::int64_t i = j; i < n; i += l2) {
        const double t1 = u1 * at(re, i + l1) - u2 * at(im, i + l1);
        const double t2 = u1 * at(im, i + l1) + u2 * at(re, i + l1);
        at(re, i + l1) = at(re, i) - t1;
        at(im, i + l1) = at(im, i) - t2;
        at(re, i) += t1;
        at(im, i) += t2;
      }
      const double z = u1 * c1 - u2 * c2;
      u2 = u1 * c2 + u2 * c1;
      u1 = z;
    }
    c2 = std::sqrt((1.0 - c1) / 2.0);
    if (dir == 1) c2 = -c2;
    c1 = std::sqrt((1.0 + c1) / 2.0);
  }
  for (std::int64_t i = 0; dir == -1 && i < n; ++i) {
    at(re, i) /= static_cast<double>(n);
    at(im, i) /= static_cast<double>(n);
  }
}

TEST(Fft, MatchesTheDirectSumRoundTripAndParseval) {
  for (int m = 0; m <= 9; ++m) {
    SCOPED_TRACE("m = " + std::to_string(m));
    const Signal signal = RandomSignal(std::size_t{1} << m, 7U + static_cast<unsigned>(m));
    const double n = static_cast<double>(signal.size());
    const double tolerance = 1e-15 * n * (m + 1);
    for (const int dir : {1, -1, 0}) {
      Parts parts(signal);
      EXPECT_TRUE(Mth_FFT(dir, m, parts.re.data(), parts.im.data()));
      const Signal expected = DirectSum(signal, dir == 1 ? -1.0 : 1.0);
      double energy = 0.0;
      double expectedEnergy = 0.0;
      for (std::size_t k = 0; k < signal.size(); ++k) {
        const std::complex<double> value(parts.re[k], parts.im[k]);
        EXPECT_LE(std::abs(value - expected[k] / (dir == -1 ? n : 1.0)), tolerance) << k << " dir " << dir;
        energy += std::norm(value) * (dir == -1 ? n : 1.0 / n);
        expectedEnergy += std::norm(signal[k]);
      }
      EXPECT_NEAR(energy, expectedEnergy, tolerance);
      if (dir != 1) continue;
      Mth_FFT(-1, m, parts.re.data(), parts.im.data());
      for (std::size_t k = 0; k < signal.size(); ++k) {
        EXPECT_LE(std::abs(std::complex<double>(parts.re[k], parts.im[k]) - signal[k]), tolerance) << k;
      }
    }
  }
}

TEST(Fft, EveryInstructionSetGivesTheBitsOfThePlainLoops) {
  using mth_internal::InstructionSet;
  for (int m = 0; m <= 17; ++m) {
    Signal signal = RandomSignal(std::size_t{1} << m, 100U + static_cast<unsigned>(m));
    for (std::size_t i = 0; i < signal.size(); i += 5) signal[i] = {i % 2 == 0 ? -0.0 : 0.0, -0.0};
    for (const int dir : {1, -1, 3}) {
      Parts expected(signal);
      LiteralTransform(dir, m, expected.re, expected.im);
      for (const auto set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
        const mth_internal::InstructionSetScope scope(set);
        Parts parts(signal);
        Mth_FFT(dir, m, parts.re.data(), parts.im.data());
        EXPECT_TRUE(parts == expected) << "m " << m << " dir " << dir << " set " << static_cast<int>(set);
      }
      Parts withoutMemory(signal);
      {
        const mth_test::AllocationFaults faults(0);
        Mth_FFT(dir, m, withoutMemory.re.data(), withoutMemory.im.data());
      }
      EXPECT_TRUE(withoutMemory == expected) << "m " << m << " dir " << dir;
    }
  }
}

// What is not finite spreads as the plain loops spread it: to NaN, infinities and numbers, each at its place.
TEST(Fft, OfWhatIsNotFiniteIsThatOfThePlainLoops) {
  for (const int m : {1, 3, 6, 10, 13}) {
    for (const double value : {kInfinity, -kInfinity, std::numeric_limits<double>::quiet_NaN(), 1e308}) {
      Signal signal(std::size_t{1} << m);  // zeros, which factors of 0 and infinities make NaN of
      signal[signal.size() / 2] = {value, 0.0};
      signal[1] = {1.0, value};
      for (const int dir : {1, -1}) {
        Parts expected(signal);
        LiteralTransform(dir, m, expected.re, expected.im);
        Parts parts(signal);
        Mth_FFT(dir, m, parts.re.data(), parts.im.data());
        EXPECT_TRUE(parts == expected) << "m " << m << " dir " << dir << " value " << value;
      }
    }
  }
}

TEST(Fft, LeavesAloneWhatItCannotTransform) {
  double value = 3.0;
  EXPECT_TRUE(Mth_FFT(1, 3, nullptr, &value));
  EXPECT_TRUE(Mth_FFT(1, 3, &value, nullptr));
  for (const int m : {0, -1, std::numeric_limits<int>::min()}) {
    double imaginary = 4.0;
    EXPECT_TRUE(Mth_FFT(-1, m, &value, &imaginary));
    EXPECT_EQ(value, 3.0);
    EXPECT_EQ(imaginary, 4.0);
  }
}

TEST(Powerof2, FindsPowersFromFourOn) {
  struct Case {
    int n;
    bool isPower;
    int m;
    int twopm;
  };
  constexpr int kMax = std::numeric_limits<int>::max();
  for (const auto& [n, isPower, m, twopm] :
       {Case{std::numeric_limits<int>::min(), false, 0, 1}, Case{0, false, 0, 1}, Case{1, false, 0, 1},
        Case{2, false, 2, 4}, Case{3, false, 2, 4}, Case{4, true, 2, 4}, Case{5, false, 2, 4},
        Case{1023, false, 9, 512}, Case{1024, true, 10, 1024}, Case{1 << 30, true, 30, 1 << 30},
        Case{kMax, false, 30, 1 << 30}}) {
    int gotM = -1;
    int gotPower = -1;
    EXPECT_EQ(Mth_Powerof2(n, &gotM, &gotPower), isPower) << n;
    EXPECT_EQ(gotM, m) << n;
    EXPECT_EQ(gotPower, twopm) << n;
    EXPECT_EQ(Mth_Powerof2(n, nullptr, nullptr), isPower);
  }
}

struct Grid {
  Grid(int rows, int columns)
      : values(static_cast<std::size_t>(rows), std::vector<MTH_COMPLEX>(static_cast<std::size_t>(columns))) {
    unsigned seed = 5;
    for (auto& row : values) {
      const Signal signal = RandomSignal(row.size(), seed++);
      for (std::size_t j = 0; j < row.size(); ++j) row[j] = {signal[j].real(), signal[j].imag()};
      pointers.push_back(row.data());
    }
  }
  std::complex<double> At(std::size_t i, std::size_t j) const {
    return {values[i][j].getReal(), values[i][j].getImag()};
  }
  std::vector<std::vector<MTH_COMPLEX>> values;
  std::vector<MTH_COMPLEX*> pointers;
};

TEST(Fft2D, TransformsAlongBothIndices) {
  for (const auto& [nx, ny] : {std::pair{4, 4}, {8, 64}, {64, 8}, {4, 128}}) {
    Grid grid(nx, ny);
    std::vector<Signal> expected;
    for (const auto& row : grid.values) {
      Signal line;
      for (const auto& value : row) line.emplace_back(value.getReal(), value.getImag());
      expected.push_back(DirectSum(line, -1.0));
    }
    for (std::size_t j = 0; j < static_cast<std::size_t>(ny); ++j) {
      Signal line;
      for (const auto& row : expected) line.push_back(row[j]);
      line = DirectSum(line, -1.0);
      for (std::size_t i = 0; i < line.size(); ++i) expected[i][j] = line[i];
    }
    const Grid original = grid;
    ASSERT_TRUE(Mth_FFT2D(grid.pointers.data(), nx, ny, 1));
    const double tolerance = 1e-14 * nx * ny;
    for (std::size_t i = 0; i < expected.size(); ++i) {
      for (std::size_t j = 0; j < expected[i].size(); ++j) {
        EXPECT_LE(std::abs(grid.At(i, j) - expected[i][j]), tolerance) << i << ", " << j;
      }
    }
    ASSERT_TRUE(Mth_FFT2D(grid.pointers.data(), nx, ny, -1));
    EXPECT_LE(std::abs(grid.At(1, 3) - original.At(1, 3)), tolerance);
  }
}

// A line of the grid through the plain loops.
template <class At>
void TransformLiterally(int dir, int length, At at) {
  int m = 0;
  while (1 << m < length) ++m;
  Signal line;
  for (int k = 0; k < length; ++k) line.emplace_back(at(k).getReal(), at(k).getImag());
  Parts parts(line);
  LiteralTransform(dir, m, parts.re, parts.im);
  for (int k = 0; k < length; ++k)
    at(k) = MTH_COMPLEX(parts.re[static_cast<std::size_t>(k)], parts.im[static_cast<std::size_t>(k)]);
}

// Panels that are full, that are not, and lines too long for any.
TEST(Fft2D, EveryInstructionSetGivesTheBitsOfThePlainLoops) {
  using mth_internal::InstructionSet;
  for (const auto& [nx, ny] :
       {std::pair{4, 4}, {8, 64}, {64, 8}, {512, 16}, {2048, 4}, {4096, 4}, {4, 8192}}) {
    for (const int dir : {1, -1, 0}) {
      Grid expected(nx, ny);
      expected.values[3][1] = MTH_COMPLEX(std::numeric_limits<double>::infinity(), -0.0);
      for (int j = 0; j < ny; ++j)
        TransformLiterally(dir, nx, [&, j](int i) -> MTH_COMPLEX& { return expected.pointers[i][j]; });
      for (int i = 0; i < nx; ++i)
        TransformLiterally(dir, ny, [&, i](int j) -> MTH_COMPLEX& { return expected.pointers[i][j]; });
      for (const auto set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
        const mth_internal::InstructionSetScope scope(set);
        Grid grid(nx, ny);
        grid.values[3][1] = MTH_COMPLEX(std::numeric_limits<double>::infinity(), -0.0);
        ASSERT_TRUE(Mth_FFT2D(grid.pointers.data(), nx, ny, dir));
        const auto parts = [](const Grid& g) {
          Signal all;
          for (const auto& row : g.values) {
            for (const auto& value : row) all.emplace_back(value.getReal(), value.getImag());
          }
          return Parts(all);
        };
        EXPECT_TRUE(parts(grid) == parts(expected)) << nx << " x " << ny << " dir " << dir;
      }
    }
  }
}

TEST(Fft2D, OfLongLinesAsksForTwoArraysOfOne) {
  constexpr int kLength = 1 << 16;
  for (const auto& [nx, ny] : {std::pair{4, kLength}, {kLength, 4}}) {
    Grid grid(nx, ny);
    const mth_test::AllocationWatch watch;
    ASSERT_TRUE(Mth_FFT2D(grid.pointers.data(), nx, ny, 1));
    constexpr std::size_t kAlignment = 128;
    EXPECT_LE(watch.LargestRequest(), 2 * kLength * sizeof(double) + kAlignment);
  }
}

// The first index is looked at first: what is wrong with it leaves the grid, what is wrong with the second
// one alone leaves the transform along the first.
TEST(Fft2D, RefusesWhatIsNoPowerOfTwoInItsOrder) {
  const Grid original(16, 16);
  Grid grid(16, 16);
  EXPECT_FALSE(Mth_FFT2D(grid.pointers.data(), 12, 8, 1));
  EXPECT_FALSE(Mth_FFT2D(grid.pointers.data(), 2, 8, 1));
  EXPECT_EQ(grid.At(1, 1), original.At(1, 1));
  EXPECT_FALSE(Mth_FFT2D(grid.pointers.data(), 16, 2, 1));
  EXPECT_NE(grid.At(1, 1), original.At(1, 1));
  EXPECT_EQ(grid.At(1, 2), original.At(1, 2));
}

TEST(Fft2D, RefusesWhatIsNoPowerOfTwo) {
  for (const auto& [nx, ny] :
       {std::pair{2, 4}, {4, 2}, {1, 4}, {4, 1}, {12, 4}, {4, 12}, {0, 4}, {-4, 4}, {4, -4}}) {
    Grid grid(16, 16);
    EXPECT_FALSE(Mth_FFT2D(grid.pointers.data(), nx, ny, 1)) << nx << " x " << ny;
  }
  EXPECT_FALSE(Mth_FFT2D(nullptr, 4, 4, 1));
  Grid grid(4, 4);
  grid.pointers[2] = nullptr;
  EXPECT_FALSE(Mth_FFT2D(grid.pointers.data(), 4, 4, 1));
}

}  // namespace
