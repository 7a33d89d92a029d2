#include <gtest/gtest.h>

#include <array>
#include <cfenv>
#include <cmath>
#include <limits>
#include <vector>

#include "denoising/literal_denoising.h"
#include "make_phantom/phantom.h"
#include "mth/core/Mth_instruction_set_internal.h"
#include "mth/denoising/Mth_rician_internal.h"
#include "mth/denoising/Mth_volume_denoising.h"
#include "support/cancelling_display.h"

namespace {

using namespace mth_test;
using mth_internal::InstructionSet;
using mth_internal::InstructionSetScope;
using Size = std::array<int, 3>;
using Values = std::vector<float>;

constexpr double kBrightest = 1000.0;

struct Denoised {
  Values values;
  Values confidence;
  double deviation = 0.0;
  bool operator==(const Denoised&) const = default;
};

Denoised Denoise(const Size& size, const Values& noisy, double deviation) {
  MTH_VOLUME_DENOISING denoising(size[0], size[1], size[2]);
  denoising.SetNoiseDeviation(deviation);
  Denoised result{Values(noisy.size(), -1.0F), Values(noisy.size(), -1.0F)};
  EXPECT_TRUE(denoising.Denoise(noisy.data(), result.values.data(), result.confidence.data()));
  EXPECT_EQ(denoising.GetStopReason(), MTH_STOP_REASON::Converged);
  result.deviation = denoising.GetUsedNoiseDeviation();
  return result;
}

example::PhantomScan ScanWithNoise(double percent) {
  example::PhantomScan scan;
  scan.noisePercent = percent;
  scan.seed = 7;
  return scan;
}

Values NoisyShapes(const Size& size, double percent) {
  return example::NoisyImage(example::MakeShapesPhantom(size), ScanWithNoise(percent));
}

double Psnr(const Values& values, const Values& truth, const example::Phantom& phantom) {
  double sum = 0.0;
  double count = 0.0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (phantom.mask[i] == 0) continue;
    const double error = static_cast<double>(values[i]) - static_cast<double>(truth[i]);
    sum += error * error;
    count += 1.0;
  }
  return 10.0 * std::log10(kBrightest * kBrightest * count / sum);
}

TEST(VolumeDenoising, FollowsItsStepsLiterally) {
  for (const Size& size : {Size{13, 11, 9}, Size{19, 7, 1}, Size{23, 1, 1}, Size{5, 3, 2}}) {
    for (const double deviation : {40.0, 150.0}) {
      Values noisy = NoisyShapes(size, 6.0);
      noisy[1] = 0.0F;  // cut away
      const auto expected = LiteralDenoising(size, deviation).Run({noisy.begin(), noisy.end()});
      const Denoised result = Denoise(size, noisy, deviation);
      for (std::size_t i = 0; i < noisy.size(); ++i) {
        ASSERT_NEAR(static_cast<double>(result.values[i]), expected.values[i], 0.02)
            << size[0] << " x " << size[1] << " x " << size[2] << ", voxel " << i << ", deviation "
            << deviation;
        ASSERT_NEAR(static_cast<double>(result.confidence[i]), expected.confidence[i], 1e-4);
      }
    }
  }
}

TEST(VolumeDenoising, TurnsMagnitudesIntoSignalsAndBack) {
  const mth_internal::RicianLaw law;
  const LiteralDenoising literal({1, 1, 1}, 1.0);
  for (const double signal : {0.0, 0.01, 0.3, 1.0, 1.7, 3.0, 6.5, 9.9, 10.1, 11.0, 14.0, 30.0, 1000.0}) {
    const double mean = literal.MeanOf(signal);
    EXPECT_NEAR(law.Mean(signal), mean, 1e-4) << signal;
    EXPECT_NEAR(law.Signal(mean), signal, 0.006) << signal;  // the curve is flat where there is no signal
    EXPECT_NEAR(law.Variance(mean), 2.0 + signal * signal - mean * mean, 1e-3 * (1.0 + signal)) << signal;
  }
  EXPECT_EQ(law.Signal(1.0), 0.0);
}

TEST(VolumeDenoising, KeepsItsIdentities) {
  const Size size{30, 26, 1};
  const Values noisy = NoisyShapes(size, 9.0);
  const Denoised plain = Denoise(size, noisy, 90.0);
  // A plane is a plane, whatever axis it lies across.
  EXPECT_TRUE(Denoise({30, 1, 26}, noisy, 90.0) == plain);
  EXPECT_TRUE(Denoise({1, 30, 26}, noisy, 90.0) == plain);
  // Powers of two scale everything exactly.
  Values scaled = noisy;
  for (float& value : scaled) value *= 0x1p-70F;
  const Denoised small = Denoise(size, scaled, 90.0 * 0x1p-70);
  for (std::size_t i = 0; i < noisy.size(); ++i) ASSERT_EQ(small.values[i], plain.values[i] * 0x1p-70F);
  // Doubles and floats, in place or not.
  std::vector<double> doubles(noisy.begin(), noisy.end());
  MTH_VOLUME_DENOISING inPlace(30, 26);
  inPlace.SetNoiseDeviation(90.0);
  ASSERT_TRUE(inPlace.Denoise(doubles.data(), doubles.data()));
  for (std::size_t i = 0; i < noisy.size(); ++i) ASSERT_EQ(static_cast<float>(doubles[i]), plain.values[i]);
}

// The bounds are what is reached less 0.3 dB, and far above the noisy image's 30.5, 20.9 and 16.5 dB.
TEST(VolumeDenoising, RestoresThePhantom) {
  const example::Phantom phantom = example::MakeShapesPhantom({64, 72, 60});
  struct Case {
    double percent;
    double leastPsnr;
    double mostCsfError;
  };
  for (const Case& c : {Case{3.0, 36.4, 3.0}, Case{9.0, 29.6, 8.0}, Case{15.0, 26.6, 15.0}}) {
    const example::PhantomScan scan = ScanWithNoise(c.percent);
    const Values clean = CleanImage(phantom, scan);
    const Values noisy = NoisyImage(phantom, scan);
    std::feclearexcept(FE_ALL_EXCEPT);
    const Denoised result = Denoise(phantom.size, noisy, 0.0);
    // Lanes beyond the ends of rows stay finite, too, however many planes there are.
    EXPECT_EQ(std::fetestexcept(FE_INVALID | FE_DIVBYZERO | FE_OVERFLOW), 0);
    EXPECT_GT(Psnr(result.values, clean, phantom), c.leastPsnr) << c.percent;
    double csf = 0.0;
    double count = 0.0;
    for (std::size_t i = 0; i < clean.size(); ++i) {
      if (phantom.fractions[0][i] < 1.0F) continue;
      csf += static_cast<double>(result.values[i]);
      count += 1.0;
    }
    EXPECT_NEAR(csf / count, 250.0, c.mostCsfError) << c.percent;
  }
}

TEST(VolumeDenoising, EstimatesTheNoise) {
  for (const Size& size : {Size{80, 90, 70}, Size{128, 128, 1}}) {
    example::Phantom phantom = example::MakeShapesPhantom(size);
    for (const double percent : {1.0, 3.0, 9.0, 15.0}) {
      const double truth = 10.0 * percent;
      Values noisy = NoisyImage(phantom, ScanWithNoise(percent));
      const MTH_VOLUME_DENOISING denoising(size[0], size[1], size[2]);
      EXPECT_NEAR(denoising.EstimateNoiseDeviation(noisy.data()) / truth, 1.0, 0.03) << "air, " << percent;
      std::vector<double> stripped;
      for (std::size_t i = 0; i < noisy.size(); ++i)
        stripped.push_back(phantom.mask[i] == 0 ? 0.0 : static_cast<double>(noisy[i]));
      const double tolerance = size[2] == 1 ? 0.12 : 0.05;  // a plane has few blocks, and more edges
      EXPECT_NEAR(denoising.EstimateNoiseDeviation(stripped.data()) / truth, 1.0, tolerance) << percent;
    }
  }
}

TEST(VolumeDenoising, CopiesWhatHasNoNoise) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float infinity = std::numeric_limits<float>::infinity();
  const Size size{8, 8, 8};
  Values flat(512, 300.0F);
  EXPECT_EQ(Denoise(size, flat, 0.0).values, flat);
  EXPECT_EQ(Denoise(size, flat, 0.0).confidence, Values(512, 1.0F));
  EXPECT_EQ(Denoise(size, flat, 1e-5).values, flat) << "too little noise to see";
  flat[3] = nan;
  flat[4] = -5.0F;
  flat[5] = -infinity;
  flat[6] = infinity;
  const Denoised cleaned = Denoise(size, flat, 0.0);
  for (std::size_t i = 0; i < flat.size(); ++i)
    ASSERT_EQ(cleaned.values[i], i >= 3 && i <= 6 ? 0.0F : 300.0F);
  EXPECT_EQ(Denoise(size, Values(512, 0.0F), 20.0).values, Values(512, 0.0F));
  for (const float value : Denoise(size, flat, 20.0).values)
    ASSERT_TRUE(std::isfinite(value) && value >= 0.0F);
  for (const float value : Denoise(size, Values(512, std::numeric_limits<float>::max()), 1e33).values)
    ASSERT_TRUE(std::isfinite(value));
  EXPECT_EQ(Denoise({2, 2, 1}, {1.0F, 2.0F, 3.0F, 4.0F}, 0.0).deviation, 0.0) << "no room for a block";
  EXPECT_EQ(Denoise({1, 1, 1}, {9.0F}, 0.0).values, Values{9.0F});
  for (const float value : Denoise({1, 1, 1}, {9.0F}, 2.0).values)
    EXPECT_NEAR(LiteralDenoising({1, 1, 1}, 2.0).MeanOf(static_cast<double>(value)), 9.0, 1e-4);
}

TEST(VolumeDenoising, RefusesWhatItCannotDo) {
  Values values(8, 1.0F);
  const Values former = values;
  MTH_VOLUME_DENOISING denoising(2, 2, 2);
  EXPECT_EQ(denoising.GetStopReason(), MTH_STOP_REASON::NotRun);
  EXPECT_FALSE(denoising.Denoise(static_cast<const float*>(nullptr), values.data()));
  EXPECT_FALSE(denoising.Denoise(values.data(), nullptr));
  EXPECT_EQ(denoising.GetStopReason(), MTH_STOP_REASON::BadInput);
  for (const Size& size : {Size{0, 2, 2}, Size{2, -1, 2}, Size{2, 2, 0}}) {
    MTH_VOLUME_DENOISING bad(size[0], size[1], size[2]);
    EXPECT_FALSE(bad.Denoise(values.data(), values.data()));
    EXPECT_EQ(bad.EstimateNoiseDeviation(values.data()), 0.0);
  }
  const int most = std::numeric_limits<int>::max();
  MTH_VOLUME_DENOISING huge(most, most, most);
  EXPECT_FALSE(huge.Denoise(values.data(), values.data()));
  EXPECT_EQ(huge.GetStopReason(), MTH_STOP_REASON::NoMemory);
  for (const double deviation : {-1.0, std::nan(""), static_cast<double>(HUGE_VALF)}) {
    denoising.SetNoiseDeviation(deviation);
    EXPECT_EQ(denoising.GetNoiseDeviation(), 0.0);
  }
  EXPECT_EQ(values, former);
}

TEST(VolumeDenoising, EndsWhenThePersonCancels) {
  const Size size{12, 12, 6};
  const Values noisy = NoisyShapes(size, 9.0);
  const Values untouched(noisy.size(), -1.0F);
  MTH_VOLUME_DENOISING denoising(size[0], size[1], size[2]);
  for (const int question : {1, 5, 30, 60}) {
    CancellingDisplay display(question);
    Values values = untouched;
    EXPECT_FALSE(denoising.Denoise(noisy.data(), values.data(), values.data()));
    EXPECT_EQ(values, untouched);
    EXPECT_EQ(denoising.GetStopReason(), MTH_STOP_REASON::Cancelled);
    EXPECT_LE(display.questions, question + 1);
  }
  constexpr int kLarge = 164;
  Values large(std::size_t{kLarge} * kLarge * kLarge);
  for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<float>(1 + i % 7);
  const CancellingDisplay display(1);
  EXPECT_EQ(MTH_VOLUME_DENOISING(kLarge, kLarge, kLarge).EstimateNoiseDeviation(large.data()), 0.0);
  EXPECT_EQ(display.questions, 1);
}

}  // namespace
