#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/wavelet/Mth_wavelet_denoising.h"
#include "mth/wavelet/Mth_wavelet_transform_internal.h"

#define MTH_KERNEL_FILE "mth/wavelet/Mth_wavelet_shrinkage_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

// The shrinkage of one subband.

using namespace mth_internal;

namespace {

constexpr double kOddsOfAll = 100.0;       // when every coefficient is in the mask
constexpr double kPriorShare = 1.0 / 3.0;  // the mask tells in part what the neighbourhood tells
constexpr double kEnergies = 2.5;          // those of the local prior ratio, its square root counting by half
constexpr double kSmallestEnergy = 0.1;    // in noise variances: less tells nothing, and has no logarithm
// The mask: what is outside and what is inside it, and what tells nothing, as the neighbourhood is exactly 0.
constexpr unsigned char kOutside = 0;
constexpr unsigned char kInside = 1;
constexpr unsigned char kUntold = 2;

constexpr double kTiny = 1e-300;  // keeps logarithms of 0 finite

// The four sectors of a squared magnitude meet at a quarter of the threshold's, at the threshold's and at
// four times it: in the inner two, noise and signal are both found, and a ratio of their counts means
// something.
constexpr double kSectorWidth = 1.3862943611198906;  // ln 4
// A ratio goes on as its line says for two more sectors; beyond, it stays.
constexpr double kLastEvidence = 3.0 * kSectorWidth;
constexpr int kBins = 32;

// Not the C library's, which need not give the same bits on every machine.
double Ln(double x) {
  return Logarithm(x);
}

}  // namespace

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
  std::array<std::int64_t, 3> counts{};
  for (std::int64_t i = 0; i < count; ++i) {
    const unsigned char place = energy[i] > thresholdFactor_ * thresholdFactor_ ? kInside : kOutside;
    mask[i] = energy[i] == 0.0 ? kUntold : place;
    ++counts[mask[i]];
  }
  if (counts[kOutside] == 0) return kOddsOfAll;
  return static_cast<double>(counts[kInside]) / static_cast<double>(counts[kOutside]);
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
    if (mask[i] == kUntold) continue;
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
