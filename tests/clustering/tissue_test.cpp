#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cfenv>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "make_phantom/phantom.h"
#include "mth/clustering/Mth_tissue_clustering.h"
#include "mth/core/Mth_instruction_set_internal.h"
#include "mth/denoising/Mth_volume_denoising.h"
#include "support/allocation_faults.h"
#include "support/cancelling_display.h"

namespace {

using namespace mth_test;
using mth_internal::InstructionSet;
using mth_internal::InstructionSetScope;
using Mask = std::vector<std::uint8_t>;
using Size = std::array<int, 3>;
using Values = std::vector<float>;

struct Tissues {
  std::vector<Values> fractions;
  Mask labels;
  Values field;
  std::vector<double> centroids;
  bool operator==(const Tissues&) const = default;
};

Tissues ResultsOf(const MTH_TISSUE_CLUSTERING& engine, std::size_t voxels) {
  Tissues results{{}, Mask(voxels), Values(voxels), {}};
  for (int k = 0; k < engine.GetTissuesCount(); ++k) {
    EXPECT_TRUE(engine.GetFractions(k, results.fractions.emplace_back(voxels).data()));
    results.centroids.push_back(engine.GetCentroid(k));
  }
  EXPECT_TRUE(engine.GetLabels(results.labels.data()));
  EXPECT_TRUE(engine.GetField(results.field.data()));
  return results;
}

Tissues Divide(const Size& size, const Values& image, const Mask& mask, const Values& confidence = {},
               int tissues = 3) {
  MTH_TISSUE_CLUSTERING engine(tissues);
  EXPECT_TRUE(engine.Segment(image.data(), size[0], size[1], size[2], mask.data(),
                             confidence.empty() ? nullptr : confidence.data()));
  EXPECT_EQ(engine.GetStopReason(), MTH_STOP_REASON::Converged);
  return ResultsOf(engine, image.size());
}

example::PhantomScan ScanWith(double noisePercent, double bias) {
  example::PhantomScan scan;
  scan.noisePercent = noisePercent;
  scan.bias = bias;
  scan.seed = 11;
  return scan;
}

struct Agreement {
  double dice = 0.0;           // mean over the tissues
  double fractionError = 0.0;  // mean magnitude
  double fieldError = 0.0;     // root mean square, after the best common factor
};

Agreement Compare(const Tissues& found, const example::Phantom& truth, const Values& field) {
  std::array<double, 3> both{};
  std::array<double, 3> either{};
  Agreement agreement;
  double voxels = 0.0;
  double sum = 0.0;
  double squares = 0.0;
  for (std::size_t i = 0; i < truth.mask.size(); ++i) {
    if (truth.mask[i] == 0) continue;
    std::size_t label = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      if (truth.fractions[k][i] > truth.fractions[label][i]) label = k;
      agreement.fractionError +=
          std::abs(static_cast<double>(truth.fractions[k][i]) - static_cast<double>(found.fractions[k][i])) /
          3.0;
    }
    const auto foundLabel = static_cast<std::size_t>(found.labels[i] - 1);
    either[label] += 1.0;
    either[foundLabel] += 1.0;
    if (label == foundLabel) both[label] += 2.0;
    const double ratio = std::log(static_cast<double>(found.field[i]) / static_cast<double>(field[i]));
    sum += ratio;
    squares += ratio * ratio;
    voxels += 1.0;
  }
  for (std::size_t k = 0; k < 3; ++k) agreement.dice += both[k] / either[k] / 3.0;
  agreement.fractionError /= voxels;
  agreement.fieldError = std::sqrt(std::max(0.0, squares / voxels - sum / voxels * (sum / voxels)));
  return agreement;
}

TEST(TissueClustering, FindsTheTissuesOfThePhantom) {
  const example::Phantom volume = example::MakeShapesPhantom({88, 96, 80});
  const example::Phantom plane = example::MakeShapesPhantom({181, 217, 1});
  struct Case {
    const example::Phantom& phantom;
    double noise;
    double bias;
    double leastDice;
    double mostFractionError;
    double mostFieldError;
  };
  for (const Case& c : {Case{volume, 0.0, 0.0, 0.99, 0.01, 0.006}, Case{volume, 3.0, 0.0, 0.97, 0.02, 0.008},
                        Case{volume, 3.0, 0.4, 0.97, 0.02, 0.03}, Case{volume, 9.0, 0.4, 0.92, 0.045, 0.03},
                        Case{volume, 15.0, 0.4, 0.87, 0.07, 0.03}, Case{plane, 5.0, 0.4, 0.90, 0.06, 0.03}}) {
    const Size size = c.phantom.size;
    const example::PhantomScan scan = ScanWith(c.noise, c.bias);
    const Values noisy = NoisyImage(c.phantom, scan);
    Values denoised(noisy.size());
    Values confidence(noisy.size());
    MTH_VOLUME_DENOISING denoising(size[0], size[1], size[2]);
    denoising.SetNoiseDeviation(NoiseDeviation(scan));
    ASSERT_TRUE(denoising.Denoise(noisy.data(), denoised.data(), confidence.data()));
    const Tissues found = Divide(size, c.noise == 0.0 ? noisy : denoised, c.phantom.mask, confidence);
    const Agreement agreement = Compare(found, c.phantom, BiasField(c.phantom, scan));
    EXPECT_GT(agreement.dice, c.leastDice) << c.noise << " % noise, bias " << c.bias;
    EXPECT_LT(agreement.fractionError, c.mostFractionError) << c.noise << " % noise, bias " << c.bias;
    EXPECT_LT(agreement.fieldError, c.mostFieldError) << c.noise << " % noise, bias " << c.bias;
  }
}

TEST(TissueClustering, KeepsItsIdentities) {
  const example::Phantom phantom = example::MakeShapesPhantom({40, 44, 36});
  const Values image = NoisyImage(phantom, ScanWith(3.0, 0.2));
  const auto run = [&](InstructionSet highest) {
    const InstructionSetScope scope(highest);
    return Divide(phantom.size, image, phantom.mask);
  };
  const Tissues plain = run(InstructionSet::Baseline);
  EXPECT_TRUE(run(InstructionSet::Avx2) == plain);
  EXPECT_TRUE(run(InstructionSet::Avx512) == plain);
  // Powers of two scale the image and its means exactly, and nothing else.
  Values scaled = image;
  for (float& value : scaled) value *= 0x1p-9F;
  Tissues small = Divide(phantom.size, scaled, phantom.mask);
  for (double& centroid : small.centroids) centroid *= 0x1p9;
  EXPECT_TRUE(small == plain);
  // Fractions sum to 1 inside the mask and are 0 outside; a label is the largest.
  double logField = 0.0;
  double voxels = 0.0;
  for (std::size_t i = 0; i < image.size(); ++i) {
    const std::array<float, 3> f{plain.fractions[0][i], plain.fractions[1][i], plain.fractions[2][i]};
    ASSERT_NEAR(f[0] + f[1] + f[2], phantom.mask[i] == 0 ? 0.0F : 1.0F, 1e-5F);
    const auto largest = static_cast<int>(std::max_element(f.begin(), f.end()) - f.begin());
    ASSERT_EQ(plain.labels[i], phantom.mask[i] == 0 ? 0 : largest + 1);
    if (phantom.mask[i] == 0) continue;
    logField += std::log(static_cast<double>(plain.field[i]));
    voxels += 1.0;
  }
  EXPECT_NEAR(logField / voxels, 0.0, 1e-3);
  // Doubles are as good as floats, and a copy keeps the results of the last run.
  MTH_TISSUE_CLUSTERING engine;
  const std::vector<double> doubles(image.begin(), image.end());
  ASSERT_TRUE(engine.Segment(doubles.data(), 40, 44, 36, phantom.mask.data()));
  const MTH_TISSUE_CLUSTERING copy(engine);
  EXPECT_TRUE(ResultsOf(copy, image.size()) == plain);
  // Without a field it is exactly 1.
  engine.SetFieldEstimation(false);
  ASSERT_TRUE(engine.Segment(image.data(), 40, 44, 36, phantom.mask.data()));
  EXPECT_EQ(ResultsOf(engine, image.size()).field, Values(image.size(), 1.0F));
}

// Normal laws by the standard library, probabilities by their definition.
TEST(TissueClustering, TakesUnusualInput) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float infinity = std::numeric_limits<float>::infinity();
  const example::Phantom phantom = example::MakeShapesPhantom({30, 34, 12});
  const Values clean = CleanImage(phantom, ScanWith(0.0, 0.0));
  // NaN and infinity are outside, negative values the darkest.
  Values image = clean;
  const auto inside =
      static_cast<std::size_t>(std::find(phantom.mask.begin(), phantom.mask.end(), 1) - phantom.mask.begin());
  image[inside] = nan;
  image[inside + 1] = infinity;
  image[inside + 2] = -40.0F;
  const Tissues found = Divide(phantom.size, image, phantom.mask);
  EXPECT_EQ(found.labels[inside], 0);
  EXPECT_EQ(found.labels[inside + 1], 0);
  EXPECT_EQ(found.labels[inside + 2], 1);
  for (const auto& fractions : found.fractions) {
    for (const float fraction : fractions) ASSERT_TRUE(fraction >= 0.0F && fraction <= 1.0F);
  }
  // One value but for two voxels that are not among every second one.
  Values flat(std::size_t{40} * 40 * 40, 100.0F);
  flat[41] = 150.0F;
  flat[43] = 200.0F;
  for (const int tissues : {1, 3}) {
    for (const auto& fractions : Divide({40, 40, 40}, flat, Mask(flat.size(), 1), {}, tissues).fractions) {
      for (const float fraction : fractions) ASSERT_TRUE(fraction >= 0.0F && fraction <= 1.0F);
    }
  }
  // A mask of many voxels, none of them among every second one.
  constexpr std::size_t kPlane = std::size_t{240} * 240;
  Values slab(5 * kPlane, 1.0F);
  Mask plane(slab.size(), 0);
  for (std::size_t i = 0; i < kPlane; ++i) {
    slab[kPlane + i] = i % 3 == 0 ? 250.0F : (i % 3 == 1 ? 650.0F : 1000.0F);
    plane[kPlane + i] = 1;
  }
  const Tissues ofPlane = Divide({240, 240, 5}, slab, plane);
  for (std::size_t i = 0; i < kPlane; ++i) ASSERT_EQ(ofPlane.labels[kPlane + i], i % 3 + 1);
  // Without a mask, all that is above 0; a confidence of one value, or of none that is a number.
  EXPECT_TRUE(Divide(phantom.size, clean, phantom.mask, Values(clean.size(), 0.3F)).labels.size() ==
              clean.size());
  EXPECT_TRUE(Divide(phantom.size, clean, phantom.mask, Values(clean.size(), nan)).labels.size() ==
              clean.size());
  MTH_TISSUE_CLUSTERING engine;
  ASSERT_TRUE(engine.Segment(clean.data(), 30, 34, 12, nullptr));
  EXPECT_TRUE(ResultsOf(engine, clean.size()) == Divide(phantom.size, clean, phantom.mask));
  // Flat voxels: the field is as wide as it is in the patient.
  engine.SetVoxelSize(0.5, 0.5, 5.0);
  ASSERT_TRUE(engine.Segment(clean.data(), 30, 34, 12, phantom.mask.data()));
  for (const float value : ResultsOf(engine, clean.size()).field) ASSERT_NEAR(value, 1.0F, 0.1F);
  engine.SetFieldWidth(1e300);  // as wide as nothing is: there is no field
  const Values shaded = CleanImage(phantom, ScanWith(0.0, 0.3));
  ASSERT_TRUE(engine.Segment(shaded.data(), 30, 34, 12, phantom.mask.data()));
  for (const float value : ResultsOf(engine, clean.size()).field) ASSERT_NEAR(value, 1.0F, 1e-4F);
  engine.SetFieldWidth(25.0);
  engine.SetVoxelSize(nan, -1.0, 0.0);  // as 1 mm
  ASSERT_TRUE(engine.Segment(clean.data(), 30, 34, 12, phantom.mask.data()));
  EXPECT_TRUE(ResultsOf(engine, clean.size()) == Divide(phantom.size, clean, phantom.mask));
}

TEST(TissueClustering, DividesIntoAnyNumberOfTissues) {
  // Blocks of known brightness, without noise: two tissues, and one.
  const Size size{16, 16, 1};
  Values image;
  for (int i = 0; i < 256; ++i) image.push_back(i % 16 < 8 ? 100.0F : 300.0F);
  const Mask mask(256, 1);
  MTH_TISSUE_CLUSTERING two(2);
  two.SetFieldEstimation(false);
  ASSERT_TRUE(two.Segment(image.data(), 16, 16, 1, mask.data()));
  const Tissues halves = ResultsOf(two, 256);
  for (std::size_t i = 0; i < 256; ++i) ASSERT_EQ(halves.labels[i], i % 16 < 8 ? 1 : 2);
  EXPECT_NEAR(halves.centroids[0], 100.0, 1.0);
  EXPECT_NEAR(halves.centroids[1], 300.0, 1.0);
  // Far from tissues without noise no class is probable: a host may have unmasked the trap of 0 / 0.
  for (const auto set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
    const InstructionSetScope scope(set);
    std::feclearexcept(FE_ALL_EXCEPT);
    EXPECT_EQ(Divide(size, image, mask, {}, 2).labels, halves.labels);
    EXPECT_EQ(std::fetestexcept(FE_INVALID | FE_DIVBYZERO | FE_OVERFLOW), 0);
  }
  const Tissues one = Divide(size, image, mask, {}, 1);
  EXPECT_EQ(one.labels, mask);
  EXPECT_EQ(one.fractions[0], Values(256, 1.0F));
  EXPECT_EQ(Divide({1, 1, 1}, {7.0F}, {1}, {}, 1).labels, Mask{1});
  EXPECT_EQ(Divide(size, Values(256, 50.0F), mask, {}, 1).fractions[0], Values(256, 1.0F));
  // One tissue in noise, divided into three: in order of brightness.
  std::mt19937 engine(3);
  for (float& value : image) value = 500.0F + static_cast<float>(engine() % 1000) * 0.1F;
  const Tissues noise = Divide(size, image, mask);
  EXPECT_TRUE(noise.centroids[0] < noise.centroids[1] && noise.centroids[1] < noise.centroids[2]);
}

TEST(TissueClustering, JoinsWhatSeveralImagesTell) {
  const example::Phantom phantom = example::MakeShapesPhantom({48, 52, 40});
  // The first image tells CSF from the rest, the second white matter from the rest; each has a field of its
  // own.
  example::PhantomScan first = ScanWith(2.0, 0.3);
  first.contrast = {300.0, 900.0, 940.0};
  example::PhantomScan second = ScanWith(2.0, 0.3);
  second.contrast = {880.0, 900.0, 500.0};
  second.seed = 99;
  const Values a = NoisyImage(phantom, first);
  const Values b = NoisyImage(phantom, second);
  const std::array<const float*, 2> channels{a.data(), b.data()};
  MTH_TISSUE_CLUSTERING engine;
  ASSERT_TRUE(engine.SegmentChannels(channels.data(), 2, 48, 52, 40, phantom.mask.data()));
  EXPECT_EQ(engine.GetChannelsCount(), 2);
  const Agreement agreement = Compare(ResultsOf(engine, a.size()), phantom, BiasField(phantom, first));
  EXPECT_GT(agreement.dice, 0.93);
  EXPECT_LT(agreement.fieldError, 0.04);
  EXPECT_NEAR(engine.GetCentroid(2, 1), 500.0, 40.0);
  Values field(b.size());
  ASSERT_TRUE(engine.GetField(field.data(), 1));
  Tissues withSecondField = ResultsOf(engine, b.size());
  withSecondField.field = field;
  EXPECT_LT(Compare(withSecondField, phantom, BiasField(phantom, second)).fieldError, 0.04);
  // A single image through either door.
  MTH_TISSUE_CLUSTERING single;
  ASSERT_TRUE(single.SegmentChannels(channels.data(), 1, 48, 52, 40, phantom.mask.data()));
  EXPECT_TRUE(ResultsOf(single, a.size()) == Divide(phantom.size, a, phantom.mask));
  // A second image of one value tells nothing, whatever the value; as doubles, whose sums are rounded.
  const std::vector<double> wide(a.begin(), a.end());
  std::vector<Tissues> withConstant;
  for (const double value : {0.125, 0.1, 1.0 / 3.0}) {
    const std::vector<double> constant(a.size(), value);
    const std::array<const double*, 2> images{wide.data(), constant.data()};
    ASSERT_TRUE(engine.SegmentChannels(images.data(), 2, 48, 52, 40, phantom.mask.data()));
    withConstant.push_back(ResultsOf(engine, a.size()));
    EXPECT_TRUE(withConstant.back().fractions == withConstant[0].fractions) << value;
  }
}

TEST(TissueClustering, RefusesWhatItCannotDo) {
  Values image{1.0F, 2.0F, 3.0F, 4.0F};
  const Mask all(4, 1);
  const Mask none(4, 0);
  MTH_TISSUE_CLUSTERING engine;
  Values values(4, -1.0F);
  EXPECT_EQ(engine.GetStopReason(), MTH_STOP_REASON::NotRun);
  EXPECT_FALSE(engine.GetFractions(0, values.data()) || engine.GetLabels(nullptr) ||
               engine.GetField(values.data()));
  EXPECT_EQ(engine.GetChannelsCount(), 0);
  EXPECT_EQ(engine.GetCentroid(0), 0.0);
  const auto isRefused = [&](MTH_TISSUE_CLUSTERING& tried, const float* data, const Size& size,
                             const Mask& mask) {
    return !tried.Segment(data, size[0], size[1], size[2], mask.data()) &&
           tried.GetStopReason() == MTH_STOP_REASON::BadInput;
  };
  EXPECT_TRUE(isRefused(engine, nullptr, {2, 2, 1}, all));
  EXPECT_TRUE(isRefused(engine, image.data(), {2, 0, 1}, all));
  EXPECT_TRUE(isRefused(engine, image.data(), {2, 2, 1}, none));
  EXPECT_TRUE(isRefused(engine, image.data(), {2, 2, 1}, {1, 0, 0, 0}));
  const Values flat(4, 5.0F);
  EXPECT_TRUE(isRefused(engine, flat.data(), {2, 2, 1}, all));
  EXPECT_FALSE(engine.SegmentChannels(static_cast<const float* const*>(nullptr), 1, 2, 2, 1, all.data()));
  for (const int tissues : {0, -1, 17}) {
    MTH_TISSUE_CLUSTERING wrong(tissues);
    EXPECT_TRUE(isRefused(wrong, image.data(), {2, 2, 1}, all));
  }
  ASSERT_TRUE(engine.Segment(image.data(), 2, 2, 1, all.data()));
  const Tissues whole = ResultsOf(engine, 4);
  EXPECT_TRUE(isRefused(engine, image.data(), {2, 2, 1}, none));
  EXPECT_TRUE(ResultsOf(engine, 4) == whole) << "the results are those of the last whole run";
  EXPECT_FALSE(engine.GetFractions(3, values.data()) || engine.GetFractions(-1, values.data()) ||
               engine.GetField(values.data(), 1));
  EXPECT_EQ(values, Values(4, -1.0F));
}

TEST(TissueClustering, EndsWithoutMemoryAndWhenThePersonCancels) {
  const example::Phantom phantom = example::MakeShapesPhantom({12, 14, 5});
  const Values image = NoisyImage(phantom, ScanWith(3.0, 0.0));
  const Tissues whole = Divide(phantom.size, image, phantom.mask);
  MTH_TISSUE_CLUSTERING engine;
  const std::array<const float*, 2> channels{image.data(), image.data()};
  for (const int count : {1, 2}) {
    const int faults = ForEachAllocationFault(
        [&] { return engine.SegmentChannels(channels.data(), count, 12, 14, 5, phantom.mask.data()); },
        [&](bool isDone) {
          EXPECT_EQ(engine.GetStopReason(), isDone ? MTH_STOP_REASON::Converged : MTH_STOP_REASON::NoMemory);
        });
    EXPECT_GT(faults, 10);
  }
  ASSERT_TRUE(engine.Segment(image.data(), 12, 14, 5, phantom.mask.data()));
  for (const int question : {1, 8, 12, 19, 30}) {
    CancellingDisplay display(question);
    const bool isSingle = question < 20;
    EXPECT_FALSE(engine.SegmentChannels(channels.data(), isSingle ? 1 : 2, 12, 14, 5, phantom.mask.data()));
    EXPECT_EQ(engine.GetStopReason(), MTH_STOP_REASON::Cancelled);
    EXPECT_LE(display.questions, question + 1);
    EXPECT_TRUE(ResultsOf(engine, image.size()) == whole);
  }
}

// Along a long axis of tiny voxels a Gaussian of 25 mm reaches from end to end: its steps ask, too, and so
// does what looks at all voxels in the end.
TEST(TissueClustering, CanBeCancelledWithinWideGaussians) {
  constexpr int kLength = 20000;
  Values image(kLength);
  for (int i = 0; i < kLength; ++i)
    image[static_cast<std::size_t>(i)] = static_cast<float>(10 + i % 3 * 20 + i % 7);
  MTH_TISSUE_CLUSTERING engine;
  engine.SetVoxelSize(1e-6, 1.0, 1.0);
  const std::array<const float*, 2> channels{image.data(), image.data()};
  int questionsOfSteps = 19;
  for (const int count : {1, 2}) {
    for (const int question : {questionsOfSteps + 1, questionsOfSteps + 20}) {
      CancellingDisplay display(question);
      EXPECT_FALSE(engine.SegmentChannels(channels.data(), count, kLength, 1, 1, nullptr));
      EXPECT_EQ(engine.GetStopReason(), MTH_STOP_REASON::Cancelled);
      EXPECT_EQ(display.questions, question);
    }
    questionsOfSteps += 20;
  }
}

}  // namespace
