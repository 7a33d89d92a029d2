#pragma once

#include <array>
#include <cstdint>

#include "mth/clustering/Mth_tissue_means_internal.h"
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

/// A mixture of K tissues and of the voxels between neighbours of them, fitted to the histograms of one scan:
/// one for each stratum of voxels, which differ in their noise. Tissue k is a normal law around its mean;
/// between two tissues lie voxels of both, with all proportions alike, of the same noise.
/// @see  Shattuck, Sandor-Leahy, Schaper, Rottenberg and Leahy, NeuroImage 13 (2001) 856-876; Tohka,
/// Zijdenbos and Evans,
///       NeuroImage 23 (2004) 84-97.
class TissueMixture {
 public:
  static constexpr int kBins = TissueMeans::kBins;
  static constexpr int kMostTissues = TissueMeans::kMostTissues;
  static constexpr int kMostStrata = 5;

  /// @param means  kept, not copied: of this scan alone, or of many.
  TissueMixture(const TissueMeans& means, int strata);
  /// Whether it has its memory.
  explicit operator bool() const { return counts_ && probabilities_; }

  int Strata() const { return strata_; }
  double Mean(int tissue) const { return means_.Mean(tissue); }
  double Deviation(int stratum) const { return deviations_[static_cast<std::size_t>(stratum)]; }
  double BinValue(int bin) const { return means_.BinValues()[bin]; }

  void ClearCounts();
  void Count(int stratum, double value) const {
    counts_[stratum * kBins + static_cast<std::int64_t>(Position(value) + 0.5)] += 1.0;
  }
  /// Where a value lies among the bins, from 0 to kBins - 1.
  double Position(double value) const {
    const double position = (value - means_.BinValues()[0]) * means_.InverseBinWidth();
    if (!(position > 0.0)) return 0.0;
    return position < kBins - 1 ? position : kBins - 1;
  }

  /// The sums of a step of fuzzy c-means on all counts, 2 x tissues: see TissueMeans::MoveFuzzy.
  void SumFuzzy(double* sums) const;
  /// Equal shares, and the deviations of the fuzzy clusters.
  void StartMixture();
  /// A step of expectation and maximisation but for the means; its sums as TissueMeans::MoveFit takes them.
  void SumFit(double* sums);

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

  const TissueMeans& means_;
  int tissues_;
  int strata_;
  std::array<double, kMostStrata> deviations_{};
  std::array<std::array<double, 2 * kMostTissues>, kMostStrata> shares_{};
  WorkArray<double> counts_;
  WorkArray<double> probabilities_;
};

/// Where between the means of two neighbours a value lies: the lower one, and the share of the upper one in
/// [0, 1].
struct TissuePair {
  int lower;
  double shareOfUpper;
};
TissuePair FindPair(const double* means, int tissues, double value);

}  // namespace mth_internal
