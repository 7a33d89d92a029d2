#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>

#include "mth/clustering/Mth_tissue_mixture_internal.h"

#define MTH_KERNEL_FILE "mth/clustering/Mth_tissue_mixture_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

namespace mth_internal {

TissueMixture::TissueMixture(const TissueMeans& means, int strata)
    : means_(means),
      tissues_(means.Tissues()),
      strata_(strata),
      counts_(std::int64_t{strata} * kBins),
      probabilities_(std::int64_t{2 * means.Tissues() - 1} * kBins) {}

void TissueMixture::ClearCounts() {
  std::fill_n(counts_.Get(), std::int64_t{strata_} * kBins, 0.0);
}

std::array<double, TissueMixture::kMostTissues> TissueMixture::SquaredMemberships(double value) const {
  std::array<double, kMostTissues> memberships{};
  double sum = 0.0;
  for (int k = 0; k < tissues_; ++k) {
    const double distance = (value - Mean(k)) * means_.InverseBinWidth();
    memberships[static_cast<std::size_t>(k)] = 1.0 / (distance * distance + 1e-6);
    sum += memberships[static_cast<std::size_t>(k)];
  }
  for (double& membership : memberships) membership = membership / sum * (membership / sum);
  return memberships;
}

void TissueMixture::SumFuzzy(double* sums) const {
  std::array<double, kMostTissues> weights{};
  std::array<double, kMostTissues> values{};
  for (int bin = 0; bin < kBins; ++bin) {
    double count = 0.0;
    for (int stratum = 0; stratum < strata_; ++stratum) count += counts_[stratum * kBins + bin];
    if (count == 0.0) continue;
    const auto memberships = SquaredMemberships(BinValue(bin));
    for (std::size_t k = 0; k < weights.size(); ++k) {
      weights[k] += count * memberships[k];
      values[k] += count * memberships[k] * BinValue(bin);
    }
  }
  std::copy_n(weights.begin(), tissues_, sums);
  std::copy_n(values.begin(), tissues_, sums + tissues_);
}

void TissueMixture::StartMixture() {
  double weight = 0.0;
  double squares = 0.0;
  for (int bin = 0; bin < kBins; ++bin) {
    double count = 0.0;
    for (int stratum = 0; stratum < strata_; ++stratum) count += counts_[stratum * kBins + bin];
    const auto memberships = SquaredMemberships(BinValue(bin));
    for (int k = 0; k < tissues_; ++k) {
      const double share = count * memberships[static_cast<std::size_t>(k)];
      weight += share;
      squares += share * (BinValue(bin) - Mean(k)) * (BinValue(bin) - Mean(k));
    }
  }
  deviations_.fill(weight > 0.0 ? std::sqrt(squares / weight) : 0.0);
  for (auto& shares : shares_) shares.fill(1.0 / Classes());
  BoundDeviations();
}

MixtureView TissueMixture::View(int stratum) const {
  return {tissues_, Deviation(stratum), means_.Data(), shares_[static_cast<std::size_t>(stratum)].data(),
          means_.BinValues()};
}

// New shares and deviation of a stratum. Adds to the weights and sums of the means.
/// @return  the stratum's voxels.
double TissueMixture::MaximiseStratum(int stratum, double* weights, double* sums) {
  MTH_SELECT(FindClassProbabilities)(View(stratum), kBins, probabilities_.Get());
  const double* const counts = counts_.Get() + std::int64_t{stratum} * kBins;
  const double* const values = means_.BinValues();
  std::array<double, 2 * kMostTissues> voxels{};
  double total = 0.0;
  double ofTissues = 0.0;
  double squares = 0.0;
  const double precision = 1.0 / (Deviation(stratum) * Deviation(stratum));
  for (int c = 0; c < Classes(); ++c) {
    const double* const probabilities = probabilities_.Get() + std::int64_t{c} * kBins;
    const double mean = Mean(c / 2);
    double sum = 0.0;
    double first = 0.0;
    double second = 0.0;
    for (int bin = 0; bin < kBins; ++bin) {
      const double weight = counts[bin] * probabilities[bin];
      const double distance = values[bin] - mean;
      sum += weight;
      first += weight * distance;
      second += weight * distance * distance;
    }
    voxels[static_cast<std::size_t>(c)] = sum;
    total += sum;
    if (c % 2 != 0) continue;
    ofTissues += sum;
    squares += second;
    weights[c / 2] += precision * sum;
    sums[c / 2] += precision * first;
  }
  if (!(total > 0.0)) return 0.0;
  auto& shares = shares_[static_cast<std::size_t>(stratum)];
  for (std::size_t c = 0; c < static_cast<std::size_t>(Classes()); ++c) shares[c] = voxels[c] / total;
  if (ofTissues > 1e-6 * total)
    deviations_[static_cast<std::size_t>(stratum)] = std::sqrt(squares / ofTissues);
  return total;
}

void TissueMixture::SumFit(double* sums) {
  std::fill_n(sums, 2 * tissues_, 0.0);
  for (int stratum = 0; stratum < strata_; ++stratum) MaximiseStratum(stratum, sums, sums + tissues_);
  BoundDeviations();
}

// A stratum may have too few voxels of a tissue: its noise is not far from that of the others.
void TissueMixture::BoundDeviations() {
  constexpr double kMostRatio = 3.0;
  double voxels = 0.0;
  double sum = 0.0;
  for (int stratum = 0; stratum < strata_; ++stratum) {
    double count = 0.0;
    for (int bin = 0; bin < kBins; ++bin) count += counts_[stratum * kBins + bin];
    voxels += count;
    sum += count * Deviation(stratum);
  }
  const double step = means_.BinWidth();
  const double range = step * (kBins - 1);
  const double usual = voxels > 0.0 ? sum / voxels : step;
  const double least = std::max(0.5 * step, usual / kMostRatio);
  const double most = std::max(least, std::min(usual * kMostRatio, range));
  for (double& deviation : deviations_) deviation = std::clamp(deviation, least, most);
}

void TissueMixture::Tabulate(int stratum, double* fractions, double* pure) const {
  MTH_SELECT(FindClassProbabilities)(View(stratum), kBins, probabilities_.Get());
  const auto probability = [&](int c, int bin) { return probabilities_[std::int64_t{c} * kBins + bin]; };
  for (int bin = 0; bin < kBins; ++bin) {
    double sum = 0.0;
    for (int c = 0; c < Classes(); ++c) sum += probability(c, bin);
    for (int k = 0; k < tissues_; ++k) {
      fractions[k * kBins + bin] = probability(2 * k, bin);
      pure[k * kBins + bin] = probability(2 * k, bin);
    }
    for (int k = 0; k + 1 < tissues_; ++k) {
      const double share = std::clamp((BinValue(bin) - Mean(k)) / (Mean(k + 1) - Mean(k)), 0.0, 1.0);
      fractions[k * kBins + bin] += probability(2 * k + 1, bin) * (1.0 - share);
      fractions[(k + 1) * kBins + bin] += probability(2 * k + 1, bin) * share;
    }
    if (sum > 0.5) continue;
    // Too far from everything: what lies between two means is a mixture, what lies beyond all is the last.
    const TissuePair pair = FindPair(means_.Data(), tissues_, BinValue(bin));
    fractions[pair.lower * kBins + bin] = 1.0 - pair.shareOfUpper;
    if (pair.lower + 1 < tissues_) fractions[(pair.lower + 1) * kBins + bin] = pair.shareOfUpper;
  }
}

TissuePair FindPair(const double* means, int tissues, double value) {
  int lower = 0;
  while (lower + 2 < tissues && value > means[lower + 1]) ++lower;
  if (tissues == 1) return {0, 0.0};
  return {lower, std::clamp((value - means[lower]) / (means[lower + 1] - means[lower]), 0.0, 1.0)};
}

}  // namespace mth_internal
