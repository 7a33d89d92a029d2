#pragma once

#include <array>
#include <cstdint>

#include "mth/core/Mth_work_array_internal.h"

namespace mth_internal {

/// One stratum's mixture as the kernels see it.
struct MixtureView {
  int tissues;
  double deviation;
  const double* means;   // tissues
  const double* shares;  // classes
  const double* values;  // of the bins
};

/// A mixture of K tissues and of the voxels between neighbours of them, fitted to histograms: one for each
/// stratum of voxels, which differ in their noise. Tissue k is a normal law around its mean; between two
/// tissues lie voxels of both, with all proportions alike, of the same noise.
/// @see  Shattuck, Sandor-Leahy, Schaper, Rottenberg and Leahy, NeuroImage 13 (2001) 856-876; Tohka,
/// Zijdenbos and Evans,
///       NeuroImage 23 (2004) 84-97.
class TissueMixture {
 public:
  static constexpr int kBins = 384;
  static constexpr int kMostTissues = 16;
  static constexpr int kMostStrata = 5;

  TissueMixture(int tissues, int strata);
  /// Whether it has its memory.
  explicit operator bool() const { return counts_ && probabilities_ && values_; }

  int Tissues() const { return tissues_; }
  int Strata() const { return strata_; }
  double Mean(int tissue) const { return means_[static_cast<std::size_t>(tissue)]; }
  double Deviation(int stratum) const { return deviations_[static_cast<std::size_t>(stratum)]; }
  double BinValue(int bin) const { return values_[bin]; }

  /// Lays the bins from low to high; the counts are 0, the means spread over the middle of the range.
  void SetRange(double low, double high);
  void ClearCounts();
  void Count(int stratum, double value) const {
    counts_[stratum * kBins + static_cast<std::int64_t>(Position(value) + 0.5)] += 1.0;
  }
  /// Where a value lies among the bins, from 0 to kBins - 1.
  double Position(double value) const {
    const double position = (value - values_[0]) * inverseStep_;
    if (!(position > 0.0)) return 0.0;
    return position < kBins - 1 ? position : kBins - 1;
  }

  /// One step of fuzzy c-means on all counts.
  void StepFuzzyMeans();
  /// Equal shares, and the deviations of the fuzzy clusters.
  void StartMixture();
  /// Steps of expectation and maximisation.
  void Fit(int steps);

  /// Fuzzy memberships of the tissues at a value, to the square; they need not sum to 1.
  std::array<double, kMostTissues> SquaredMemberships(double value) const;
  /// The fractions of the tissues, and the probability of each to be pure, in every bin of a stratum; tables
  /// of tissues x kBins.
  void Tabulate(int stratum, double* fractions, double* pure) const;

 private:
  int Classes() const { return 2 * tissues_ - 1; }
  MixtureView View(int stratum) const;
  double MaximiseStratum(int stratum, double* weights, double* sums);
  void BoundDeviations();
  void KeepApart();
  void KeepNearStart();

  int tissues_;
  int strata_;
  double inverseStep_ = 0.0;
  std::array<double, kMostTissues> means_{};
  std::array<double, kMostTissues> start_{};  // the means that the fit began from
  std::array<double, kMostStrata> deviations_{};
  std::array<std::array<double, 2 * kMostTissues>, kMostStrata> shares_{};
  WorkArray<double> counts_;
  WorkArray<double> probabilities_;
  WorkArray<double> values_;
};

/// Where between the means of two neighbours a value lies: the lower one, and the share of the upper one in
/// [0, 1].
struct TissuePair {
  int lower;
  double shareOfUpper;
};
TissuePair FindPair(const double* means, int tissues, double value);

}  // namespace mth_internal
