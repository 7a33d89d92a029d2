#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>

#include "mth/core/Mth_message_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/statistics/Mth_descriptive_internal.h"
#include "mth/wavelet/Mth_wavelet_denoising.h"
#include "mth/wavelet/Mth_wavelet_transform_internal.h"

#define MTH_KERNEL_FILE "mth/wavelet/Mth_wavelet_shrinkage_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

using namespace mth_internal;

namespace {

constexpr int kLevels = 4;
constexpr int kOrientations = 3;
constexpr int kDiagonal = 2;

// Deviation of the noise in each subband over that in the finest diagonal one, which is half that in the
// image: the norms of the filters' responses to one pixel.
constexpr std::array<double, kLevels> kDiagonalGains{1.0, 0.22, 0.09, 0.04};
constexpr std::array<double, kLevels> kOtherGains{0.79, 0.25, 0.11, 0.05};
constexpr double kImageGain = 2.0;

constexpr double kMedianToDeviation = 1.4825796886582654;  // of normal deviates
constexpr double kOddsOfAll = 100.0;                       // when every coefficient is in the mask
constexpr double kPriorShare = 1.0 / 3.0;  // the mask tells in part what the neighbourhood tells
constexpr double kEnergies = 2.5;          // those of the local prior ratio, its square root counting by half
constexpr double kSmallestEnergy = 0.1;    // in noise variances: less tells nothing, and has no logarithm
constexpr double kLeastNoise = 1e-9;       // in grey levels: whole ones do not show less
constexpr double kTiny = 1e-300;           // keeps logarithms of 0 finite

// The four sectors of a squared magnitude meet at a quarter of the threshold's, at the threshold's and at
// four times it: in the inner two, noise and signal are both found, and a ratio of their counts means
// something.
constexpr double kSectorWidth = 1.3862943611198906;  // ln 4
// A ratio goes on as its line says for two more sectors; beyond, it stays.
constexpr double kLastEvidence = 3.0 * kSectorWidth;
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

// Not the C library's, which need not give the same bits on every machine.
double Ln(double x) {
  return baseline::Logarithm<double>(x);
}

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

// The parents of a level's coefficients: their values, energies and, for all three orientations alike, the
// mean of those. One level up a feature of the image stands 2^level samples nearer to the start of each line,
// by the filters' centring: that is where parents are taken from.
class Parents {
 public:
  explicit Parents(ImageSize size)
      : size_(size), count_(size.rows * size.columns), values_((2 * kOrientations + 1) * count_) {}
  explicit operator bool() const { return static_cast<bool>(values_); }

  MTH_WAVELET_DENOISING::PARENTS Get(int orientation) const {
    return {Values(orientation), Energy(orientation), Siblings()};
  }

  /// Takes for each place what stands `shift` rows and columns before it, or as far as there are any.
  void SetValues(int orientation, const double* source, std::int64_t shift, double noiseLevel) {
    for (std::int64_t r = 0; r < size_.rows; ++r) {
      const double* const from = source + std::max<std::int64_t>(0, r - shift) * size_.columns;
      double* const to = Values(orientation) + r * size_.columns;
      for (std::int64_t c = 0; c < size_.columns; ++c)
        to[c] = from[std::max<std::int64_t>(0, c - shift)] / noiseLevel;
    }
  }

  /// @return  false without memory.
  bool MeasureEnergies(std::int64_t reach) {
    for (int o = 0; o < kOrientations; ++o) {
      if (!MeanSquares(Values(o), size_, reach, 1.0, Energy(o))) return false;
    }
    const double* const rows = Energy(0);
    const double* const columns = Energy(1);
    const double* const diagonal = Energy(kDiagonal);
    double* const mean = Siblings();
    for (std::int64_t i = 0; i < count_; ++i) mean[i] = (rows[i] + columns[i] + diagonal[i]) / 3.0;
    return true;
  }

 private:
  double* Values(int orientation) const { return values_.Get() + orientation * count_; }
  double* Energy(int orientation) const { return values_.Get() + (kOrientations + orientation) * count_; }
  double* Siblings() const { return values_.Get() + 2 * kOrientations * count_; }

  ImageSize size_;
  std::int64_t count_;
  WorkArray<double> values_;
};

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
  double median = 0.0;
  return MedianOfMagnitudes(diagonal, median) ? kMedianToDeviation * median : kNoMemory;
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
  const std::int64_t count = size.rows * size.columns;
  const Details details(count);
  const WorkArray<double> energy(count);
  Parents parents(size);
  if (!details || !energy || !parents) return false;
  const auto setParents = [&](int level) {
    const int above = std::min(level + 1, kLevels - 1);
    const std::int64_t shift = above == level ? 0 : std::int64_t{1} << level;
    for (int o = 0; o < kOrientations; ++o)
      parents.SetValues(o, details.Get(above, o), shift, NoiseLevel(noise, above, o));
    // Samples of the level above lie twice as far apart.
    return parents.MeasureEnergies(Reach(rows, columns) / 2);
  };
  const auto shrink = [&](int level, int o) {
    double* const detail = details.Get(level, o);
    const double noiseLevel = NoiseLevel(noise, level, o);
    return AdaptEnergy(detail, noiseLevel, energy.Get(), rows, columns) &&
           RemoveNoiseAdaptative(detail, energy.Get(), parents.Get(o), noiseLevel, rows, columns);
  };

  bool isDone = true;
  for (int level = 0; level < kLevels; ++level)
    isDone = isDone && Analyse(image, level, size, details.Level(level, image));
  for (int level = 0; isDone && level < kLevels; ++level) {
    isDone = setParents(level);
    for (int o = 0; o < kOrientations; ++o) isDone = isDone && shrink(level, o);
  }
  for (int level = kLevels - 1; level >= 0; --level)
    isDone = isDone && Rebuild(details.Level(level, image), level, image);
  return isDone;
}

std::int64_t MTH_WAVELET_DENOISING::Reach(std::int64_t rows, std::int64_t columns) const {
  return std::clamp<std::int64_t>(windowSize_ / 2, 0, std::max(rows, columns));
}

bool MTH_WAVELET_DENOISING::AdaptEnergy(const double* detail, double noiseLevel, double* energy, int rows,
                                        int cols) const {
  if (detail == nullptr || energy == nullptr || rows <= 0 || cols <= 0) return false;
  if (!(noiseLevel >= kLeastNoise)) return false;
  return MeanSquares(detail, {rows, cols}, Reach(rows, cols), 1.0 / noiseLevel, energy);
}

bool MTH_WAVELET_DENOISING::RemoveNoiseAdaptative(double* detail, const double* energy,
                                                  const PARENTS& parents, double noiseLevel, int rows,
                                                  int cols) const {
  const auto [above, energyAbove, siblings] = parents;
  if (detail == nullptr || energy == nullptr || above == nullptr || energyAbove == nullptr ||
      siblings == nullptr || rows <= 0 || cols <= 0)
    return false;
  if (!(noiseLevel >= kLeastNoise) || std::isnan(thresholdFactor_)) return true;
  const std::int64_t count = std::int64_t{rows} * cols;
  const WorkArray<unsigned char> mask(count);
  const WorkArray<unsigned char> sectors(count);
  const WorkArray<double> logMagnitudes(count);
  const WorkArray<double> logOdds(cols);
  if (!mask || !sectors || !logMagnitudes || !logOdds) return false;

  const double priorOdds = InitMask(energy, count, mask.Get());
  const double logThreshold = Ln(thresholdFactor_ * thresholdFactor_ + kTiny);
  MTH_SELECT(LogProducts)
  (detail, noiseLevel, above, kSmallestEnergy, logThreshold, count, logMagnitudes.Get());
  MagSectorRow(logMagnitudes.Get(), count, sectors.Get());
  const RATIO_LINE likelihood = Histogramme(logMagnitudes.Get(), sectors.Get(), mask.Get(), count);

  const double logOddsOfAll = kPriorShare * Ln(priorOdds) - kEnergies * logThreshold;
  for (std::int64_t start = 0; start < count; start += cols) {
    std::fill_n(logOdds.Get(), cols, logOddsOfAll);
    ApproxLikelihoodRatio(likelihood, logMagnitudes.Get() + start, cols, logOdds.Get());
    ApproxPriorRatio(energy + start, {above + start, energyAbove + start, siblings + start}, cols,
                     logOdds.Get());
    MTH_SELECT(MultiplyByProbability)(logOdds.Get(), cols, detail + start);
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

int MTH_WAVELET_DENOISING::NeighbEn_sector(double logMagnitude) {
  // Added up rather than branched upon: sectors follow each other without order.
  return (logMagnitude >= -kSectorWidth ? 1 : 0) + (logMagnitude >= 0.0 ? 1 : 0) +
         (logMagnitude >= kSectorWidth ? 1 : 0);
}

void MTH_WAVELET_DENOISING::MagSectorRow(const double* logMagnitudes, std::int64_t count,
                                         unsigned char* sectors) {
  for (std::int64_t i = 0; i < count; ++i)
    sectors[i] = static_cast<unsigned char>(NeighbEn_sector(logMagnitudes[i]));
}

MTH_WAVELET_DENOISING::RATIO_LINE MTH_WAVELET_DENOISING::Histogramme(const double* logMagnitudes,
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
    const int bin = std::min(kBins - 1, static_cast<int>((logMagnitudes[i] + kSectorWidth) / kBinWidth));
    counts[mask[i]][static_cast<std::size_t>(bin)] += 1.0;
  }
  if (totals[0] == 0 || totals[1] == 0) return {};  // nothing to tell apart: a ratio of 1
  const double logTotals = Ln(static_cast<double>(totals[1]) / static_cast<double>(totals[0]));

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
    y[bin] = (weight * (Ln(masked / unmasked) - logTotals) +
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

void MTH_WAVELET_DENOISING::ApproxLikelihoodRatio(const RATIO_LINE& line, const double* logMagnitudes,
                                                  std::int64_t count, double* logOdds) {
  MTH_SELECT(AddLine)(line.intercept, line.slope, kLastEvidence, logMagnitudes, count, logOdds);
}

void MTH_WAVELET_DENOISING::ApproxPriorRatio(const double* energy, const PARENTS& parents, std::int64_t count,
                                             double* logOdds) {
  MTH_SELECT(AddLogEnergies)(energy, parents.energy, parents.siblings, kSmallestEnergy, count, logOdds);
}
