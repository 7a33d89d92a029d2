#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "mth/core/Mth_instruction_set_internal.h"
#include "mth/wavelet/Mth_wavelet_denoising.h"
#include "support/allocation_faults.h"
#include "support/matrices.h"
#include "wavelet/literal_transform.h"

namespace {

using namespace mth_test;

struct Shape {
  int rows;
  int columns;
};
const Shape kShapes[] = {{1, 1}, {1, 9}, {8, 1}, {2, 3}, {7, 6}, {16, 33}, {49, 20}, {67, 131}};

// Bit for bit, the bits of a NaN aside.
::testing::AssertionResult Equal(const Samples& actual, const Samples& expected) {
  if (actual.size() != expected.size()) return ::testing::AssertionFailure() << "sizes differ";
  for (std::size_t i = 0; i < actual.size(); ++i) {
    if (std::isnan(actual[i]) && std::isnan(expected[i])) continue;
    if (std::memcmp(&actual[i], &expected[i], sizeof(double)) != 0) {
      return ::testing::AssertionFailure()
             << "sample " << i << ": " << actual[i] << ", expected " << expected[i];
    }
  }
  return ::testing::AssertionSuccess();
}

SubbandArrays Analyse(MTH_MATRIX& image, int level) {
  const MTH_WAVELET_DENOISING wavelet(nullptr);
  SubbandArrays bands(Elements(image).size());
  wavelet.RedundantWaveletTransform(&image, bands.approx.data(), bands.rows.data(), bands.cols.data(),
                                    bands.diag.data(), level, image.GetNbRows(), image.GetNbCols());
  return bands;
}

MTH_MATRIX Rebuild(SubbandArrays bands, Shape shape, int type, int level) {
  const MTH_WAVELET_DENOISING wavelet(nullptr);
  MTH_MATRIX image(shape.rows, shape.columns, type);
  wavelet.RedundantInverseWaveletTransform(&image, bands.approx.data(), bands.rows.data(), bands.cols.data(),
                                           bands.diag.data(), level);
  return image;
}

void ExpectSameBands(const SubbandArrays& actual, const SubbandArrays& expected) {
  EXPECT_TRUE(Equal(actual.approx, expected.approx)) << "approx";
  EXPECT_TRUE(Equal(actual.rows, expected.rows)) << "detailRows";
  EXPECT_TRUE(Equal(actual.cols, expected.cols)) << "detailCols";
  EXPECT_TRUE(Equal(actual.diag, expected.diag)) << "detailDiag";
}

// Both directions and the approximation alone against their definition.
void ExpectLiteral(MTH_MATRIX& image, int level) {
  const Shape shape{image.GetNbRows(), image.GetNbCols()};
  SCOPED_TRACE(std::to_string(shape.rows) + "x" + std::to_string(shape.columns) + " level " +
               std::to_string(level) + " type " + std::to_string(image.GetType()));
  const SubbandArrays expected = LiteralAnalysis(image, level);
  ExpectSameBands(Analyse(image, level), expected);

  Samples approximation = Elements(image);
  MTH_WAVELET_DENOISING(nullptr).ComputeApproximation(approximation.data(), level, shape.rows, shape.columns);
  EXPECT_TRUE(Equal(approximation, expected.approx)) << "ComputeApproximation";

  MTH_MATRIX rebuilt = FromRule(shape.rows, shape.columns, image.GetType(), [](int, int) { return 0; });
  const Samples synthesis = LiteralSynthesis(expected, shape.rows, shape.columns, level);
  for (int r = 0; r < shape.rows; ++r) {
    for (int c = 0; c < shape.columns; ++c)
      rebuilt.Set(r, c, synthesis[static_cast<std::size_t>(r * shape.columns + c)]);
  }
  EXPECT_TRUE(SameBits(Rebuild(expected, shape, image.GetType(), level), rebuilt)) << "inverse";
}

TEST(WaveletTransform, IsTheDefinedOneOnEveryInstructionSet) {
  using mth_internal::InstructionSet;
  for (const InstructionSet set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
    const mth_internal::InstructionSetScope scope(set);
    for (const Shape shape : kShapes) {
      for (int level = -1; level <= 4; ++level) {
        MTH_MATRIX image = RandomMatrix(shape.rows, shape.columns, kDouble, 7);
        ExpectLiteral(image, level);
      }
    }
    MTH_MATRIX floats = RandomMatrix(19, 34, kFloat, 3);
    ExpectLiteral(floats, 1);
    MTH_MATRIX zeros = FromRule(9, 18, kDouble, [](int, int) { return -0.0; });
    ExpectLiteral(zeros, 1);
  }
}

// The zeros between the taps of a dilated filter count as soon as a sample is not finite, or becomes so.
TEST(WaveletTransform, SpreadsWhatIsNotFiniteAsDefined) {
  const double special[] = {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                            -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::max()};
  for (const double value : special) {
    for (int level = 0; level <= 3; ++level) {
      MTH_MATRIX image = RandomMatrix(21, 38, kDouble, 5);
      image.Set(9, 37, value);
      image.Set(9, 36, -value);
      ExpectLiteral(image, level);
      // An array of the result may be the image itself, which every tap needs until the last row is read.
      const SubbandArrays expected = LiteralAnalysis(image, level);
      SubbandArrays bands(expected.approx.size());
      MTH_WAVELET_DENOISING(nullptr).RedundantWaveletTransform(
          &image, bands.approx.data(), image.GetEDataAddress(), bands.cols.data(), bands.diag.data(), level,
          image.GetNbRows(), image.GetNbCols());
      bands.rows = Elements(image);
      ExpectSameBands(bands, expected);
    }
  }
  MTH_MATRIX small = RandomMatrix(3, 2, kFloat, 5);
  small.Set(0, 0, special[0]);
  ExpectLiteral(small, 2);
  for (const Shape shape :
       {Shape{9, 7}, Shape{30, 5}, Shape{64, 3}}) {  // many, and where filters reach round often
    for (int level = 0; level <= 5; ++level) {
      MTH_MATRIX image = RandomMatrix(shape.rows, shape.columns, kDouble, 6);
      for (int r = 0; r < shape.rows; r += 1 + r % 4) image.Set(r, r % shape.columns, special[r % 4]);
      ExpectLiteral(image, level);
    }
  }

  // A step that overflows along the rows, and is not finite for the columns.
  SubbandArrays bands(16 * 16);
  for (std::size_t i = 0; i < bands.cols.size(); ++i) bands.cols[i] = i % 16 < 8 ? -special[3] : special[3];
  EXPECT_TRUE(Equal(Elements(Rebuild(bands, {16, 16}, kDouble, 1)), LiteralSynthesis(bands, 16, 16, 1)));
}

TEST(WaveletTransform, FiltersLinesWithAnyTaps) {
  const MTH_WAVELET_DENOISING wavelet(nullptr);
  for (const int n : {1, 2, 5, 40}) {
    Samples line = Elements(RandomMatrix(1, n, kDouble, 11));
    for (const bool isFinite : {true, false}) {
      if (!isFinite) line.front() = std::numeric_limits<double>::infinity();
      for (int length = 1; length <= 8; ++length) {
        Samples filter = Elements(RandomMatrix(1, length, kDouble, static_cast<unsigned>(length)));
        if (length > 2) filter[1] = 0.0;
        for (int level = -1; level <= 9; ++level) {
          Samples out(line.size(), 9.0);
          wavelet.WaveletTransform1D(line.data(), filter.data(), out.data(), level, n, length);
          EXPECT_TRUE(Equal(out, LiteralFilter(line, filter, level)))
              << n << " samples, " << length << " taps, level " << level;
        }
      }
    }
  }
}

// Steps that differ by whole periods of the mirror image of three samples, which are six: 4 and 2^30.
TEST(WaveletTransform, TakesLevelsAbove30For30) {
  const MTH_WAVELET_DENOISING wavelet(nullptr);
  Samples line{1.0, 4.0, -7.0};
  Samples filter = kK;
  for (const int level : {30, 31, std::numeric_limits<int>::max()}) {
    Samples out(line.size());
    wavelet.WaveletTransform1D(line.data(), filter.data(), out.data(), level, 3, 7);
    EXPECT_TRUE(Equal(out, LiteralFilter(line, kK, 2))) << level;
  }
}

TEST(WaveletTransform, SpreadsWhatIsNotFiniteOverALongLineAtAHighLevel) {
  Samples line(500000, 1.0);
  line.front() = std::numeric_limits<double>::infinity();
  Samples filter = kH;
  Samples out(line.size());
  MTH_WAVELET_DENOISING(nullptr).WaveletTransform1D(line.data(), filter.data(), out.data(), 30, 500000, 5);
  EXPECT_TRUE(std::all_of(out.begin(), out.end(), [](double value) { return std::isnan(value); }));
}

TEST(WaveletTransform, RebuildsAllButTheBorders) {
  constexpr int kRows = 70;
  constexpr int kColumns = 90;
  constexpr double kRounding = 1e-14;
  for (int level = 0; level <= 3; ++level) {
    const int step = 1 << level;
    MTH_MATRIX image = RandomMatrix(kRows, kColumns, kDouble, 17);
    const MTH_MATRIX rebuilt = Rebuild(Analyse(image, level), {kRows, kColumns}, kDouble, level);
    const auto errorAt = [&](int r, int c) { return std::abs(rebuilt.Get(r, c) - image.Get(r, c)); };
    for (int r = 3 * step; r < kRows - 2 * step; ++r) {
      for (int c = 3 * step; c < kColumns - 2 * step; ++c) ASSERT_LE(errorAt(r, c), kRounding);
    }
    const auto worstOfColumn = [&](int c) {
      double worst = 0.0;
      for (int r = 3 * step; r < kRows - 2 * step; ++r) worst = std::max(worst, errorAt(r, c));
      return worst;
    };
    EXPECT_GT(worstOfColumn(3 * step - 1), kRounding);  // the borders are as wide as stated
    EXPECT_GT(worstOfColumn(kColumns - 2 * step), kRounding);
  }
}

TEST(WaveletTransform, ReadsAbsentElementsAsZero) {
  MTH_MATRIX image = RandomMatrix(5, 4, kDouble, 23);
  MTH_MATRIX padded =
      FromRule(7, 6, kDouble, [&](int r, int c) { return r < 5 && c < 4 ? image.Get(r, c) : 0.0; });
  SubbandArrays bands(42);
  MTH_WAVELET_DENOISING(nullptr).RedundantWaveletTransform(&image, bands.approx.data(), bands.rows.data(),
                                                           bands.cols.data(), bands.diag.data(), 1, 7, 6);
  ExpectSameBands(bands, LiteralAnalysis(padded, 1));
}

TEST(WaveletTransform, WritesNothingWithoutAllItNeeds) {
  const MTH_WAVELET_DENOISING wavelet(nullptr);
  MTH_MATRIX image = RandomMatrix(6, 6, kDouble, 29);
  MTH_MATRIX unallocated;
  MTH_MATRIX empty(0, 6, kDouble);
  SubbandArrays bands(36, 5.0);
  double* const approx = bands.approx.data();
  double* const rows = bands.rows.data();
  double* const cols = bands.cols.data();
  EXPECT_FALSE(wavelet.RedundantWaveletTransform(nullptr, approx, rows, cols, bands.diag.data(), 0, 6, 6));
  EXPECT_FALSE(wavelet.RedundantWaveletTransform(&image, approx, rows, cols, nullptr, 0, 6, 6));
  EXPECT_TRUE(wavelet.RedundantWaveletTransform(&image, approx, rows, cols, bands.diag.data(), 0, 0, 6));
  EXPECT_FALSE(wavelet.RedundantWaveletTransform(&image, approx, rows, cols, bands.diag.data(), 0, 6, -1));
  EXPECT_FALSE(
      wavelet.RedundantInverseWaveletTransform(&unallocated, approx, rows, cols, bands.diag.data(), 0));
  EXPECT_TRUE(wavelet.RedundantInverseWaveletTransform(&empty, approx, rows, cols, bands.diag.data(), 0));
  EXPECT_TRUE(wavelet.ComputeApproximation(approx, 0, 6, 0));
  EXPECT_FALSE(wavelet.ComputeApproximation(nullptr, 0, 6, 6));
  wavelet.WaveletTransform1D(approx, nullptr, rows, 0, 6, 5);
  wavelet.WaveletTransform1D(approx, cols, rows, 0, 0, 5);
  ExpectSameBands(bands, SubbandArrays(36, 5.0));

  wavelet.WaveletTransform1D(approx, cols, rows, 0, 6, 0);
  EXPECT_EQ(bands.rows[0], 0.0);  // a filter without taps
}

TEST(WaveletDenoising, StartsWithACopyAndItsDefaults) {
  MTH_MATRIX image = RandomMatrix(3, 4, kFloat, 37);
  MTH_WAVELET_DENOISING wavelet(&image);
  EXPECT_EQ(wavelet.GetThrFactor(), 2.0);
  EXPECT_EQ(wavelet.GetWindowSize(), 5);
  ASSERT_NE(wavelet.GetImage(), &image);
  EXPECT_TRUE(SameBits(*wavelet.GetImage(), image));
  wavelet.SetThrFactor(3.5);
  wavelet.SetWindowSize(7);
  EXPECT_EQ(wavelet.GetThrFactor(), 3.5);
  EXPECT_EQ(wavelet.GetWindowSize(), 7);
  EXPECT_EQ(MTH_WAVELET_DENOISING(nullptr).GetImage(), nullptr);
  const int failures = ForEachAllocationFault(
      [&] {
        const MTH_WAVELET_DENOISING copy(&image);
        return copy.GetImage() == nullptr || copy.GetImage()->IsAllocated();
      },
      [](bool isAllOrNothing) { EXPECT_TRUE(isAllOrNothing); });
  EXPECT_GT(failures, 1);
}

}  // namespace
