#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "mth/statistics/Mth_descriptive.h"
#include "mth/wavelet/Mth_wavelet_denoising.h"
#include "support/cancelling_display.h"
#include "support/denoising_cases.h"
#include "support/matrices.h"
#include "support/recording_display.h"
#include "wavelet/literal_transform.h"

namespace {

using namespace mth_test;

MTH_MATRIX Denoised(MTH_MATRIX image, double factor = 2.0, int window = 5) {
  MTH_WAVELET_DENOISING wavelet(&image);
  wavelet.SetThrFactor(factor);
  wavelet.SetWindowSize(window);
  EXPECT_TRUE(wavelet.ApplyDenoisingMRImage());
  return *wavelet.GetImage();
}

bool IsWholeAndNotNegative(const MTH_MATRIX& image) {
  for (int r = 0; r < image.GetNbRows(); ++r) {
    for (int c = 0; c < image.GetNbCols(); ++c) {
      const double value = image.Get(r, c);
      if (!(value >= 0.0) || std::signbit(value) || value != std::floor(value)) return false;
    }
  }
  return true;
}

struct NoisyImage {
  TrueImage truth;
  double percent;
  std::string name;
  double Deviation() const { return percent / 100.0 * truth.brightestTissue; }
};

std::vector<NoisyImage> NoisyImages() {
  std::vector<NoisyImage> images;
  for (const double percent : {3.0, 5.0, 9.0, 15.0}) {
    const std::string text = std::to_string(static_cast<int>(percent)) + " %";
    images.push_back({Phantom(), percent, "phantom, " + text});
    if (kReadsHead)
      images.push_back({HeadSlice(MTH_DATA_DIR "/t1_head_axial.nii.gz"), percent, "head slice, " + text});
  }
  return images;
}

MTH_MATRIX WithNoise(const NoisyImage& image, unsigned seed) {
  return WithRicianNoise(image.truth.image, image.Deviation(), seed);
}

TEST(WaveletDenoising, BeatsTheNoisyImageASoftThresholdAndAMedianFilter) {
  for (const NoisyImage& image : NoisyImages()) {
    SCOPED_TRACE(image.name);
    ASSERT_TRUE(image.truth.image.IsAllocated());
    for (const unsigned seed : {1U, 2U}) {
      MTH_MATRIX noisy = WithNoise(image, seed);
      const double denoised = Psnr(Denoised(noisy), image.truth);
      EXPECT_GT(denoised, Psnr(noisy, image.truth));
      EXPECT_GT(denoised, Psnr(SoftThresholded(noisy, image.Deviation()), image.truth));
      EXPECT_GT(denoised, Psnr(MedianFiltered(noisy), image.truth));
    }
  }
}

TEST(WaveletDenoising, EstimatesTheNoiseWhereTheSignalIsThreeTimesAsStrong) {
  constexpr double kTolerance = 0.1;
  for (const NoisyImage& image : NoisyImages()) {
    SCOPED_TRACE(image.name);
    ASSERT_TRUE(image.truth.image.IsAllocated());
    MTH_MATRIX noisy = WithNoise(image, 3);
    const bool isPhantom = image.truth.brightestTissue == Phantom().brightestTissue;
    // The phantom is bright all over; of the head, the brain.
    const MatrixPtr bright(isPhantom ? new MTH_MATRIX(noisy) : noisy.GetExtract(40, 30, 130, 120));
    EXPECT_NEAR(MTH_WAVELET_DENOISING(bright.get()).EstimateNoiseDeviation() / image.Deviation(), 1.0,
                kTolerance);
  }
}

// Twice the median of the magnitudes in the finest diagonal subband, over that of normal deviates.
TEST(WaveletDenoising, EstimatesTheNoiseFromTheFinestDiagonalDetails) {
  const MTH_MATRIX flat = FromRule(31, 26, kDouble, [](int, int) { return 90.0; });
  MTH_MATRIX noisy = WithRicianNoise(flat, 7.0, 12);
  Samples details = LiteralAnalysis(noisy, 0).diag;
  MTH_MATRIX diagonal(31, 26, kDouble);
  diagonal.SetVector(details.data(), 31 * 26);
  EXPECT_DOUBLE_EQ(MTH_WAVELET_DENOISING(&noisy).EstimateNoiseDeviation(),
                   2.0 * 1.4825796886582654 * Mth_Median(&diagonal));
}

TEST(WaveletDenoising, SmoothsFlatRegionsAndKeepsEdges) {
  for (const NoisyImage& image : NoisyImages()) {
    const TrueImage& truth = image.truth;
    if (truth.brightestTissue != Phantom().brightestTissue) continue;
    SCOPED_TRACE(image.name);
    const MTH_MATRIX noisy = WithNoise(image, 4);
    const MTH_MATRIX denoised = Denoised(noisy);
    EXPECT_LE(Deviation(denoised, 5, 5, 20, 200), 0.5 * Deviation(noisy, 5, 5, 20, 200));      // background
    EXPECT_LE(Deviation(denoised, 170, 40, 44, 44), 0.5 * Deviation(noisy, 170, 40, 44, 44));  // square
    // At 15 % a step of 50 is less than two noise deviations high: there all steps together.
    constexpr double kAllSteps = 0.0;
    constexpr int kWidth = 3;
    const bool isWeak = image.percent > 9.0;
    for (const double step : isWeak ? std::vector{100.0, kAllSteps} : std::vector{100.0, 50.0}) {
      EXPECT_GE(ContrastKept(denoised, truth.image, step, kWidth),
                0.9 * ContrastKept(noisy, truth.image, step, kWidth))
          << "steps of " << step;
    }
  }
}

// A brain that was cut out: black surroundings tell nothing of the noise, and of what is signal.
TEST(WaveletDenoising, LosesLittleToBlackSurroundings) {
  if (!kReadsHead) GTEST_SKIP() << "built without zlib";
  const TrueImage head = HeadSlice(MTH_DATA_DIR "/t1_head_axial.nii.gz");
  ASSERT_TRUE(head.image.IsAllocated());
  const MatrixPtr brain(head.image.GetExtract(40, 30, 130, 120));
  const TrueImage truth{*brain, head.brightestTissue};
  const int rows = brain->GetNbRows();
  const int columns = brain->GetNbCols();
  for (const double percent : {3.0, 9.0, 15.0}) {
    const double deviation = percent / 100.0 * truth.brightestTissue;
    MTH_MATRIX noisy = WithRicianNoise(truth.image, deviation, 2);
    const double bare = Psnr(Denoised(noisy), truth);
    for (const int margin : {20, 80}) {  // 40 % and 80 % of the pixels
      MTH_MATRIX wide = FromRule(rows + 2 * margin, columns + 2 * margin, kDouble, [&](int r, int c) {
        const bool isInside = r >= margin && r < rows + margin && c >= margin && c < columns + margin;
        return isInside ? noisy.Get(r - margin, c - margin) : 0.0;
      });
      EXPECT_NEAR(MTH_WAVELET_DENOISING(&wide).EstimateNoiseDeviation() / deviation, 1.0, 0.3);
      const MatrixPtr inside(Denoised(wide).GetExtract(margin, margin, rows, columns));
      EXPECT_GE(Psnr(*inside, truth), bare - 0.5) << percent << " %, margin " << margin;
    }
  }
}

// A run that is asked to stop leaves the image, at whichever of its questions.
TEST(WaveletDenoising, CanBeCancelled) {
  MTH_MATRIX image =
      WithRicianNoise(FromRule(30, 20, kDouble, [](int r, int c) { return 4 * r + c; }), 5.0, 10);
  int questions = 0;
  {
    CancellingDisplay patient;
    Denoised(image);
    questions = patient.questions;
  }
  EXPECT_GE(questions, 4 * 5);  // each level: its transform, three orientations, its inverse
  for (const int yes : {1, 4, 5, 16, 17, questions}) {
    CancellingDisplay display(yes);
    MTH_WAVELET_DENOISING wavelet(&image);
    EXPECT_FALSE(wavelet.ApplyDenoisingMRImage()) << yes;
    EXPECT_TRUE(SameBits(*wavelet.GetImage(), image)) << yes;
    EXPECT_EQ(display.questions, yes);
  }
}

TEST(WaveletDenoising, CanBeCancelledWithinAWideWindow) {
  MTH_MATRIX values = FromRule(300, 300, kDouble, [](int r, int c) { return r - c; });
  MTH_MATRIX energy(300, 300, kDouble);
  MTH_WAVELET_DENOISING wavelet(&values);
  wavelet.SetWindowSize(1000);
  const CancellingDisplay display(2);
  EXPECT_FALSE(wavelet.AdaptEnergy(values.GetEDataAddress(), 1.0, energy.GetEDataAddress(), 300, 300));
  EXPECT_EQ(display.questions, 2);
}

// Structure that runs into the border is kept there as inside.
TEST(WaveletDenoising, KeepsStructureAtTheBorders) {
  constexpr int kSide = 96;
  constexpr int kBorder = 24;
  constexpr double kNoise = 2.0;
  const MTH_MATRIX truth = FromRule(kSide, kSide, kDouble, [](int r, int c) {
    return 100.0 + 2.0 * r - c + ((r / 12 + c / 12) % 2 == 0 ? 60.0 : 0.0);
  });
  const MTH_MATRIX denoised = Denoised(WithRicianNoise(truth, kNoise, 5));
  double squares = 0.0;
  int count = 0;
  for (int r = 0; r < kSide; ++r) {
    for (int c = 0; c < kSide; ++c) {
      if (std::min({r, c, kSide - 1 - r, kSide - 1 - c}) >= kBorder) continue;
      const double error = denoised.Get(r, c) - truth.Get(r, c);
      squares += error * error;
      ++count;
    }
  }
  EXPECT_LT(std::sqrt(squares / count), kNoise);
}

TEST(WaveletDenoising, GivesWholeGreyLevelsForEveryShapeAndSetting) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const int shapes[][2] = {{1, 1}, {1, 40}, {33, 1}, {2, 3}, {31, 17}, {50, 64}};
  for (const auto& shape : shapes) {
    for (const int type : {kDouble, kFloat}) {
      MTH_MATRIX image = RandomMatrix(shape[0], shape[1], type, 41);
      for (int r = 0; r < shape[0]; ++r) {
        for (int c = 0; c < shape[1]; ++c) image.Set(r, c, 40.0 + 50.0 * image.Get(r, c));
      }
      for (const double factor : {0.0, 2.0, 1e9, nan}) {
        for (const int window : {-3, 5, 1 << 30}) {
          const MTH_MATRIX result = Denoised(image, factor, window);
          EXPECT_TRUE(IsWholeAndNotNegative(result))
              << shape[0] << "x" << shape[1] << " factor " << factor << " window " << window;
          EXPECT_EQ(result.GetType(), type);
          EXPECT_EQ(result.GetNbRows(), shape[0]);
          EXPECT_EQ(result.GetNbCols(), shape[1]);
        }
      }
      EXPECT_TRUE(SameBits(Denoised(image, -2.0, 4), Denoised(image, 2.0, 5)));  // as documented
    }
  }
}

TEST(WaveletDenoising, OnlyRoundsAnImageWithoutNoise) {
  for (const double value : {0.0, 77.0, 76.6, -0.4, -9.0}) {
    MTH_MATRIX image = FromRule(20, 30, kDouble, [&](int, int) { return value; });
    const MTH_MATRIX expected =
        FromRule(20, 30, kDouble, [&](int, int) { return value < 0.0 ? 0.0 : std::round(value); });
    EXPECT_TRUE(SameBits(Denoised(image), expected)) << value;
    EXPECT_EQ(MTH_WAVELET_DENOISING(&image).EstimateNoiseDeviation(), 0.0);
  }
  MTH_MATRIX phantom = Phantom().image;
  EXPECT_TRUE(SameBits(Denoised(phantom), phantom));
  const MTH_MATRIX empty(0, 5, kDouble);
  EXPECT_TRUE(SameBits(Denoised(empty), empty));
}

TEST(WaveletDenoising, TakesPixelsThatAreNotFiniteAsBlack) {
  MTH_MATRIX black =
      WithRicianNoise(FromRule(40, 40, kDouble, [](int r, int c) { return r + 3 * c; }), 4.0, 8);
  MTH_MATRIX special(black);
  const double values[] = {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                           -std::numeric_limits<double>::infinity()};
  for (int k = 0; k < 3; ++k) {
    black.Set(10 + k, 20, 0.0);
    special.Set(10 + k, 20, values[k]);
  }
  EXPECT_TRUE(SameBits(Denoised(special), Denoised(black)));
  MTH_MATRIX huge = FromRule(12, 12, kDouble, [](int r, int c) { return (r + c) % 2 == 0 ? 1e307 : 0.0; });
  EXPECT_TRUE(IsWholeAndNotNegative(Denoised(huge)));
}

// Where all energies are alike there are no two histograms to compare, and the odds follow by hand.
TEST(WaveletDenoising, HasKnownOddsWhereAllEnergiesAreAlike) {
  constexpr double kFactor = 2.0;
  constexpr double kLeast = 0.1;  // counts beside every energy
  const auto kept = [&](double ownEnergy, double energyOfParent = 1.2) {
    double detail[] = {3.0, -3.0};
    const double own[] = {ownEnergy, ownEnergy};
    const double above[] = {1.0, -1.0};
    const double energyAbove[] = {energyOfParent, energyOfParent};
    const double siblings[] = {0.9, 0.9};
    MTH_WAVELET_DENOISING wavelet(nullptr);
    wavelet.SetThrFactor(kFactor);
    EXPECT_TRUE(wavelet.RemoveNoiseAdaptative(detail, own, {above, energyAbove, siblings}, 1.0, 1, 2));
    EXPECT_EQ(detail[0], -detail[1]);
    return detail[0] / 3.0;
  };
  const double odds =
      std::cbrt(100.0) * std::sqrt(5.0 + kLeast) * (1.2 + kLeast) * (0.9 + kLeast) / std::pow(kFactor, 5.0);
  EXPECT_NEAR(kept(5.0), odds / (1.0 + odds), 1e-14);
  EXPECT_EQ(kept(kFactor * kFactor), 0.0);  // the mask holds what exceeds the square, not what equals it
  EXPECT_EQ(kept(1.0), 0.0);
  constexpr double kHuge = 1e200;  // has no square
  EXPECT_EQ(kept(1.0, kHuge), 0.0);
  EXPECT_EQ(kept(5.0, kHuge), 1.0);
}

// The whole denoising by its public steps, with the noise levels of the subbands written out.
TEST(WaveletDenoising, GoesThroughItsStepsInOrder) {
  constexpr int kLevels = 4;
  constexpr int kMargin = 45;
  constexpr double kDiagonalLevels[] = {1.0, 0.22, 0.09, 0.04};
  constexpr double kOtherLevels[] = {0.79, 0.25, 0.11, 0.05};
  MTH_MATRIX noisy = WithRicianNoise(
      FromRule(50, 56, kDouble, [](int r, int c) { return r / 9 % 2 == c / 13 % 2 ? 60.0 : 130.0; }), 9.0,
      11);
  MTH_WAVELET_DENOISING own(&noisy);
  MTH_WAVELET_DENOISING above(nullptr);
  above.SetWindowSize(own.GetWindowSize() / 2 + 1);  // half as far
  const double deviation = own.EstimateNoiseDeviation() / 2.0;

  const MatrixPtr wide(noisy.AddColBySymetry(kMargin));
  const MatrixPtr work(wide->AddRowBySymetry(kMargin));
  const int rows = work->GetNbRows();
  const int columns = work->GetNbCols();
  const auto count = static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
  using Bands = std::array<std::vector<double>, 3>;
  std::array<Bands, kLevels> details;
  const auto noiseOf = [&](std::size_t level, std::size_t band) {
    return deviation * (band == 2 ? kDiagonalLevels : kOtherLevels)[level];
  };
  for (std::size_t level = 0; level < kLevels; ++level) {
    for (auto& band : details[level]) band.resize(count);
    Bands& bands = details[level];
    own.RedundantWaveletTransform(work.get(), work->GetEDataAddress(), bands[0].data(), bands[1].data(),
                                  bands[2].data(), static_cast<int>(level), rows, columns);
  }
  for (std::size_t level = 0; level < kLevels; ++level) {
    const std::size_t up = std::min<std::size_t>(level + 1, kLevels - 1);
    const int shift = up == level ? 0 : 1 << level;
    Bands parents;
    Bands energies;
    std::vector<double> siblings(count);
    for (std::size_t band = 0; band < 3; ++band) {
      for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < columns; ++c) {
          const int place = std::max(0, r - shift) * columns + std::max(0, c - shift);
          parents[band].push_back(details[up][band][static_cast<std::size_t>(place)] / noiseOf(up, band));
        }
      }
      energies[band].resize(count);
      above.AdaptEnergy(parents[band].data(), 1.0, energies[band].data(), rows, columns);
    }
    for (std::size_t i = 0; i < count; ++i)
      siblings[i] = (energies[0][i] + energies[1][i] + energies[2][i]) / 3.0;
    for (std::size_t band = 0; band < 3; ++band) {
      std::vector<double> energy(count);
      double* const detail = details[level][band].data();
      own.AdaptEnergy(detail, noiseOf(level, band), energy.data(), rows, columns);
      own.RemoveNoiseAdaptative(detail, energy.data(),
                                {parents[band].data(), energies[band].data(), siblings.data()},
                                noiseOf(level, band), rows, columns);
    }
  }
  for (int level = kLevels - 1; level >= 0; --level) {
    Bands& bands = details[static_cast<std::size_t>(level)];
    own.RedundantInverseWaveletTransform(work.get(), work->GetEDataAddress(), bands[0].data(),
                                         bands[1].data(), bands[2].data(), level);
  }
  const MTH_MATRIX expected = FromRule(noisy.GetNbRows(), noisy.GetNbCols(), kDouble, [&](int r, int c) {
    return std::max(0.0, std::round(work->Get(r + kMargin, c + kMargin)));
  });
  EXPECT_TRUE(SameBits(Denoised(noisy), expected));
}

// The mean of the squares with the weights (h + 1 - |dr|) (h + 1 - |dc|), term by term.
TEST(WaveletDenoising, MeasuresTheEnergyOfTheWindow) {
  constexpr double kNoise = 0.5;
  for (const int window : {-1, 1, 3, 5, 8, 15}) {
    for (const int rows : {1, 4, 11}) {
      const int columns = 9;
      const int reach = std::max(0, window / 2) > 11 ? 11 : std::max(0, window / 2);
      MTH_MATRIX values = RandomMatrix(rows, columns, kDouble, 43);
      MTH_WAVELET_DENOISING wavelet(nullptr);
      wavelet.SetWindowSize(window);
      MTH_MATRIX energy(rows, columns, kDouble);
      ASSERT_TRUE(
          wavelet.AdaptEnergy(values.GetEDataAddress(), kNoise, energy.GetEDataAddress(), rows, columns));
      const auto mirrored = [](int i, int n) {
        while (i < 0 || i >= n) i = i < 0 ? -1 - i : 2 * n - 1 - i;
        return i;
      };
      const MTH_MATRIX expected = FromRule(rows, columns, kDouble, [&](int r, int c) {
        double sum = 0.0;
        double weights = 0.0;
        for (int dr = -reach; dr <= reach; ++dr) {
          for (int dc = -reach; dc <= reach; ++dc) {
            const double weight = (reach + 1.0 - std::abs(dr)) * (reach + 1.0 - std::abs(dc));
            const double value = values.Get(mirrored(r + dr, rows), mirrored(c + dc, columns)) / kNoise;
            sum += weight * value * value;
            weights += weight;
          }
        }
        return sum / weights;
      });
      EXPECT_TRUE(Near(energy, expected, 1e-13)) << "window " << window << ", " << rows << " rows";
    }
  }
}

TEST(WaveletDenoising, RefusesWhatIsMissing) {
  RecordingDisplay display;
  MTH_MATRIX unallocated;
  EXPECT_FALSE(MTH_WAVELET_DENOISING(nullptr).ApplyDenoisingMRImage());
  EXPECT_FALSE(MTH_WAVELET_DENOISING(&unallocated).ApplyDenoisingMRImage());
  const ShownMessage message = Information("La matrice d'entrée est nulle!");
  EXPECT_EQ(display.messages, (std::vector<ShownMessage>{message, message}));
  EXPECT_EQ(MTH_WAVELET_DENOISING(nullptr).EstimateNoiseDeviation(), 0.0);

  const MTH_WAVELET_DENOISING wavelet(nullptr);
  double values[4] = {1.0, 2.0, 3.0, 4.0};
  double energy[4] = {};
  EXPECT_FALSE(wavelet.AdaptEnergy(nullptr, 1.0, energy, 2, 2));
  EXPECT_FALSE(wavelet.AdaptEnergy(values, 0.0, energy, 2, 2));
  EXPECT_FALSE(wavelet.AdaptEnergy(values, 1.0, energy, 0, 2));
  EXPECT_FALSE(wavelet.RemoveNoiseAdaptative(values, energy, {nullptr, energy, energy}, 1.0, 2, 2));
  EXPECT_FALSE(wavelet.RemoveNoiseAdaptative(values, energy, {energy, nullptr, energy}, 1.0, 2, 2));
  EXPECT_FALSE(wavelet.RemoveNoiseAdaptative(values, energy, {energy, energy, nullptr}, 1.0, 2, 2));
  EXPECT_TRUE(wavelet.RemoveNoiseAdaptative(values, energy, {energy, energy, energy}, 0.0, 2, 2));
  EXPECT_EQ(values[3], 4.0);
}

}  // namespace
