#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "mth/Mth_work_array_internal.h"
#include "mth/statistics/Mth_descriptive.h"
#include "mth/wavelet/Mth_wavelet_denoising.h"
#include "mth/wavelet/Mth_wavelet_transform_internal.h"
#include "std/Std_message_internal.h"

using namespace mth_internal;

namespace {

constexpr int kLevels = 4;
constexpr int kOrientations = 3;
constexpr int kDiagonal = 2;

// Deviation of the noise in each subband over that in the finest diagonal one: the norms of the responses of
// the filters to one pixel, which has half the deviation of the image's noise in that subband.
constexpr std::array<double, kLevels> kDiagonalGains{1.0, 0.22, 0.09, 0.04};
constexpr std::array<double, kLevels> kOtherGains{0.79, 0.25, 0.11, 0.05};
constexpr double kImageGain = 2.0;

constexpr double kMedianToDeviation = 1.4825796886582654;  // of normal deviates
constexpr double kOddsOfAll = 100.0;                       // when every coefficient is in the mask
// Magnitude and mask tell in part what the neighbourhood tells: they count by their fourth roots.
constexpr double kShare = 0.25;
constexpr double kOddsOfEdges = 2.0;     // a lost edge shows more than a grain of noise that stays
constexpr double kSmallestEnergy = 0.1;  // in noise variances: less tells nothing, and has no logarithm
constexpr double kLeastNoise = 1e-9;     // in grey levels: whole ones do not show less
constexpr double kTiny = 1e-300;         // keeps logarithms of 0 finite

// The four sectors of an energy meet at a quarter of the threshold's, at the threshold's and at four times
// it: in the inner two, noise and signal are both found, and a ratio of their counts means something.
constexpr double kSectorWidth = 1.3862943611198906;  // ln 4
// A ratio goes on as its line says for one more sector; beyond, it stays.
constexpr double kLastEvidence = 2.0 * kSectorWidth;
constexpr int kBins = 32;

// The detail subbands of all levels.
class Details {
 public:
  explicit Details(std::int64_t count) : count_(count), values_(kLevels * kOrientations * count) {}
  explicit operator bool() const { return static_cast<bool>(values_); }

  double* Get(int level, int orientation) const {
    return values_.Get() + (level * kOrientations + orientation) * count_;
  }
  /// With the approximation in the image itself, which each level takes from the one before.
  Subbands Level(int level, const MTH_MATRIX& image) const {
    return {image.GetEDataAddress(), Get(level, 0), Get(level, 1), Get(level, kDiagonal)};
  }

 private:
  std::int64_t count_;
  WorkArray<double> values_;
};

double NoiseLevel(double noise, int level, int orientation) {
  const auto& gains = orientation == kDiagonal ? kDiagonalGains : kOtherGains;
  return noise * gains[static_cast<std::size_t>(level)];
}

ImageSize SizeOf(const MTH_MATRIX& image) {
  return {image.GetNbRows(), image.GetNbCols()};
}

// The image in doubles, with a margin of its mirror image; pixels that are not finite are 0.
MTH_MATRIX WithMargin(const MTH_MATRIX& image, int margin) {
  constexpr int kDoubleElements = 0;
  const int rows = image.GetNbRows();
  const int columns = image.GetNbCols();
  MTH_MATRIX extended;
  if (std::max(rows, columns) > std::numeric_limits<int>::max() - 2 * margin) return extended;
  extended.Allocate(rows + 2 * margin, columns + 2 * margin, kDoubleElements);
  for (int r = 0; r < extended.GetNbRows(); ++r) {
    double* const target = extended.GetEDataAddress() + std::int64_t{r} * extended.GetNbCols();
    const auto source = static_cast<int>(MirrorIndex(r - margin, rows));
    for (int c = 0; c < extended.GetNbCols(); ++c) {
      const double value = image.Get(source, static_cast<int>(MirrorIndex(c - margin, columns)));
      target[c] = std::isfinite(value) ? value : 0.0;
    }
  }
  return extended;
}

// Whole, non-negative grey levels from those of an image with a margin.
void StoreRounded(const MTH_MATRIX& extended, int margin, MTH_MATRIX& image) {
  for (int r = 0; r < image.GetNbRows(); ++r) {
    for (int c = 0; c < image.GetNbCols(); ++c)
      image.Set(r, c, std::max(0.0, std::round(extended.Get(r + margin, c + margin))));
  }
}

// Energies of two neighbouring levels, and the mean over the orientations of one.
class Energies {
 public:
  explicit Energies(std::int64_t count) : count_(count), values_((2 * kOrientations + 1) * count) {}
  explicit operator bool() const { return static_cast<bool>(values_); }

  double* Get(int level, int orientation) const {
    return values_.Get() + (level % 2 * kOrientations + orientation) * count_;
  }
  const double* MeanOf(int level) const {
    double* const mean = values_.Get() + 2 * kOrientations * count_;
    const double* const rows = Get(level, 0);
    const double* const columns = Get(level, 1);
    const double* const diagonal = Get(level, kDiagonal);
    for (std::int64_t i = 0; i < count_; ++i) mean[i] = (rows[i] + columns[i] + diagonal[i]) / 3.0;
    return mean;
  }

 private:
  std::int64_t count_;
  WorkArray<double> values_;
};

// Logarithm of the energy that supports a coefficient: that of its neighbourhood, the mean of its
// orientations and that of its parent, weighted 4 : 1 : 3; the last level has no parents.
double LogActivity(double energy, double siblings, const double* coarser) {
  const double own = (energy + kSmallestEnergy) * (energy + kSmallestEnergy);
  const double product = own * own * (siblings + kSmallestEnergy);
  if (coarser == nullptr) return std::log(product) / 5.0;
  const double parent = *coarser + kSmallestEnergy;
  return std::log(product * (parent * parent * parent)) / 8.0;
}

// Deviation of the noise in the finest diagonal subband; negative without memory.
double FinestNoise(const MTH_MATRIX& image) {
  constexpr double kNoMemory = -1.0;
  MTH_MATRIX work = WithMargin(image, 0);
  if (!work.IsAllocated()) return kNoMemory;
  const ImageSize size = SizeOf(work);
  const std::int64_t count = size.rows * size.columns;
  const WorkArray<double> others(2 * count);
  MTH_MATRIX diagonal(work);
  if (!others || !diagonal.IsAllocated()) return kNoMemory;
  const Subbands subbands{work.GetEDataAddress(), others.Get(), others.Get() + count,
                          diagonal.GetEDataAddress()};
  if (!Analyse(work, 0, size, subbands)) return kNoMemory;
  return kMedianToDeviation * Mth_Median(&diagonal);
}

}  // namespace

bool MTH_WAVELET_DENOISING::ApplyDenoisingMRImage() {
  // How far from the borders four levels are not rebuilt exactly.
  constexpr int kMargin = 3 * (1 + 2 + 4 + 8);
  if (image_ == nullptr || !image_->IsAllocated()) {
    ShowInformation("La matrice d'entrée est nulle!");
    return false;
  }
  if (image_->GetNbRows() == 0 || image_->GetNbCols() == 0) return true;
  const double noise = FinestNoise(*image_);
  const bool isNoisy = noise >= kLeastNoise / kDiagonalGains.back();
  const int margin = isNoisy ? kMargin : 0;
  MTH_MATRIX work = WithMargin(*image_, margin);
  if (noise < 0.0 || !work.IsAllocated()) return false;
  if (isNoisy && !ShrinkDetails(work, noise)) return false;
  StoreRounded(work, margin, *image_);
  return true;
}

double MTH_WAVELET_DENOISING::EstimateNoiseDeviation() const {
  if (image_ == nullptr || image_->GetNbRows() <= 0 || image_->GetNbCols() <= 0) return 0.0;
  return std::max(0.0, kImageGain * FinestNoise(*image_));
}

bool MTH_WAVELET_DENOISING::ShrinkDetails(MTH_MATRIX& image, double noise) const {
  const ImageSize size = SizeOf(image);
  const int rows = image.GetNbRows();
  const int columns = image.GetNbCols();
  const Details details(size.rows * size.columns);
  const Energies energies(size.rows * size.columns);
  if (!details || !energies) return false;
  const auto measure = [&](int level, int o) {
    return AdaptEnergy(details.Get(level, o), NoiseLevel(noise, level, o), energies.Get(level, o), rows,
                       columns);
  };
  const auto shrink = [&](int level, int o, const double* siblings) {
    const double* const coarser = level + 1 < kLevels ? energies.Get(level + 1, o) : nullptr;
    return RemoveNoiseAdaptative(details.Get(level, o), energies.Get(level, o), siblings, coarser,
                                 NoiseLevel(noise, level, o), rows, columns);
  };

  bool isDone = true;
  for (int level = 0; level < kLevels; ++level)
    isDone = isDone && Analyse(image, level, size, details.Level(level, image));
  for (int o = 0; o < kOrientations; ++o) isDone = isDone && measure(0, o);
  for (int level = 0; isDone && level < kLevels; ++level) {
    for (int o = 0; o < kOrientations && level + 1 < kLevels; ++o) isDone = isDone && measure(level + 1, o);
    const double* const siblings = energies.MeanOf(level);
    for (int o = 0; o < kOrientations; ++o) isDone = isDone && shrink(level, o, siblings);
  }
  for (int level = kLevels - 1; level >= 0; --level)
    isDone = isDone && Rebuild(details.Level(level, image), level, image);
  return isDone;
}

bool MTH_WAVELET_DENOISING::AdaptEnergy(const double* detail, double noiseLevel, double* energy, int rows,
                                        int cols) const {
  if (detail == nullptr || energy == nullptr || rows <= 0 || cols <= 0) return false;
  if (!(noiseLevel >= kLeastNoise)) return false;
  const std::int64_t largestSide = std::max(rows, cols);
  const std::int64_t reach = std::clamp<std::int64_t>(windowSize_ / 2, 0, largestSide);
  return MeanSquares(detail, {rows, cols}, reach, 1.0 / noiseLevel, energy);
}

bool MTH_WAVELET_DENOISING::RemoveNoiseAdaptative(double* detail, const double* energy,
                                                  const double* siblings, const double* coarser,
                                                  double noiseLevel, int rows, int cols) const {
  if (detail == nullptr || energy == nullptr || siblings == nullptr || rows <= 0 || cols <= 0) return false;
  if (!(noiseLevel >= kLeastNoise)) return true;
  const std::int64_t count = std::int64_t{rows} * cols;
  const WorkArray<unsigned char> mask(count);
  const WorkArray<unsigned char> sectors(count);
  const WorkArray<double> magnitudes(count);
  if (!mask || !sectors || !magnitudes) return false;

  const double priorOdds = InitMask(energy, count, mask.Get());
  const double logThreshold = std::log(thresholdFactor_ * thresholdFactor_ + kTiny);
  for (std::int64_t i = 0; i < count; ++i) {
    const double magnitude = detail[i] / noiseLevel;
    magnitudes[i] = std::log(magnitude * magnitude + kTiny) - logThreshold;
  }
  for (std::int64_t start = 0; start < count; start += cols)
    MagSectorRow(magnitudes.Get() + start, cols, sectors.Get() + start);
  const RATIO_LINE likelihood = Histogramme(magnitudes.Get(), sectors.Get(), mask.Get(), count);

  const double logPriorOdds = std::log(kOddsOfEdges) + kShare * std::log(priorOdds);
  for (std::int64_t i = 0; i < count; ++i) {
    const double* const parent = coarser == nullptr ? nullptr : coarser + i;
    const double activity = LogActivity(energy[i], siblings[i], parent) - logThreshold;
    const double logOdds =
        logPriorOdds + kShare * ApproxLikelihoodRatio(likelihood, magnitudes[i]) + ApproxPriorRatio(activity);
    detail[i] /= 1.0 + std::exp(-logOdds);  // times odds / (1 + odds)
  }
  return true;
}

double MTH_WAVELET_DENOISING::InitMask(const double* energy, std::int64_t count, unsigned char* mask) const {
  std::int64_t masked = 0;
  for (std::int64_t i = 0; i < count; ++i) {
    mask[i] = energy[i] > thresholdFactor_ * thresholdFactor_ ? 1 : 0;
    masked += mask[i];
  }
  if (masked == count) return kOddsOfAll;
  return static_cast<double>(masked) / static_cast<double>(count - masked);
}

int MTH_WAVELET_DENOISING::NeighbEn_sector(double logEnergy) {
  // Added up rather than branched upon: sectors follow each other without order.
  return (logEnergy >= -kSectorWidth ? 1 : 0) + (logEnergy >= 0.0 ? 1 : 0) +
         (logEnergy >= kSectorWidth ? 1 : 0);
}

void MTH_WAVELET_DENOISING::MagSectorRow(const double* logEnergies, std::int64_t count,
                                         unsigned char* sectors) {
  for (std::int64_t i = 0; i < count; ++i)
    sectors[i] = static_cast<unsigned char>(NeighbEn_sector(logEnergies[i]));
}

MTH_WAVELET_DENOISING::RATIO_LINE MTH_WAVELET_DENOISING::Histogramme(const double* logEnergies,
                                                                     const unsigned char* sectors,
                                                                     const unsigned char* mask,
                                                                     std::int64_t count) {
  // The ratio in most images, for what few coefficients do not tell.
  constexpr RATIO_LINE kUsual{0.5, 1.0};
  constexpr double kBinWidth = 2.0 * kSectorWidth / kBins;
  constexpr double kUsualWeight = 1.0;  // of the usual line in each bin: it rules where counts are few
  constexpr double kHalfCount = 0.5;    // so that an empty bin beside a full one has a logarithm
  std::array<std::array<double, kBins>, 2> counts{};
  std::array<std::int64_t, 2> totals{};
  for (std::int64_t i = 0; i < count; ++i) {
    ++totals[mask[i]];
    if (sectors[i] == 0 || sectors[i] == 3) continue;
    const int bin = std::min(kBins - 1, static_cast<int>((logEnergies[i] + kSectorWidth) / kBinWidth));
    counts[mask[i]][static_cast<std::size_t>(bin)] += 1.0;
  }
  if (totals[0] == 0 || totals[1] == 0) return {};  // nothing to tell apart: a ratio of 1
  const double logTotals = std::log(static_cast<double>(totals[1]) / static_cast<double>(totals[0]));

  std::array<double, kBins> x;
  std::array<double, kBins> y;
  std::array<double, kBins> weights;
  for (std::size_t bin = 0; bin < kBins; ++bin) {
    x[bin] = (static_cast<double>(bin) + 0.5) * kBinWidth - kSectorWidth;
    const double unmasked = counts[0][bin] + kHalfCount;
    const double masked = counts[1][bin] + kHalfCount;
    const bool isEmpty = counts[0][bin] + counts[1][bin] == 0.0;
    // The inverse variance of the logarithm.
    const double weight = isEmpty ? 0.0 : 1.0 / (1.0 / masked + 1.0 / unmasked);
    weights[bin] = weight + kUsualWeight;
    y[bin] = (weight * (std::log(masked / unmasked) - logTotals) +
              kUsualWeight * (kUsual.intercept + kUsual.slope * x[bin])) /
             weights[bin];
  }
  return PolynomeFitting(x.data(), y.data(), weights.data(), kBins);
}

MTH_WAVELET_DENOISING::RATIO_LINE MTH_WAVELET_DENOISING::PolynomeFitting(const double* x, const double* y,
                                                                         const double* weights, int count) {
  double weight = 0.0;
  double sumX = 0.0;
  double sumY = 0.0;
  for (int i = 0; i < count; ++i) {
    weight += weights[i];
    sumX += weights[i] * x[i];
    sumY += weights[i] * y[i];
  }
  const double meanX = sumX / weight;
  const double meanY = sumY / weight;
  double sumXX = 0.0;
  double sumXY = 0.0;
  for (int i = 0; i < count; ++i) {
    sumXX += weights[i] * (x[i] - meanX) * (x[i] - meanX);
    sumXY += weights[i] * (x[i] - meanX) * (y[i] - meanY);
  }
  const double slope = std::max(0.0, sumXY / sumXX);  // more energy is never less likely to be signal
  return {meanY - slope * meanX, slope};
}

double MTH_WAVELET_DENOISING::ApproxLikelihoodRatio(const RATIO_LINE& line, double logMagnitude) {
  return line.intercept + line.slope * std::clamp(logMagnitude, -kLastEvidence, kLastEvidence);
}

double MTH_WAVELET_DENOISING::ApproxPriorRatio(double logActivity) {
  // Even odds at the threshold; the power is a compromise between grain in flat regions and blurred edges.
  constexpr double kPower = 6.0;
  return kPower * std::clamp(logActivity, -kLastEvidence, kLastEvidence);
}
