#pragma once

#include <array>
#include <cstddef>

namespace mth_internal {

/// The means of tissues, and the bins of the histograms that they are fitted to: what all scans of a study
/// share.
class TissueMeans {
 public:
  static constexpr int kBins = 384;
  static constexpr int kMostTissues = 16;

  explicit TissueMeans(int tissues) : tissues_(tissues) {}

  int Tissues() const { return tissues_; }
  double Mean(int tissue) const { return means_[static_cast<std::size_t>(tissue)]; }
  const double* Data() const { return means_.data(); }
  double InverseBinWidth() const { return inverseStep_; }
  double BinWidth() const { return 1.0 / inverseStep_; }
  const double* BinValues() const { return values_.data(); }

  /// Lays the bins from low to high; the means are spread over the middle of the range.
  void SetRange(double low, double high);
  /// Sets means that no move changes.
  void Fix(const double* means);

  // Moves by the sums of all scans: a weight for each tissue, then what it weighs.
  /// To the weighted means of the values.
  void MoveFuzzy(const double* sums);
  /// From here on no mean passes the middle between two of the present ones.
  void StartFit() { start_ = means_; }
  /// By the weighted means of the distances from them.
  void MoveFit(const double* sums);

 private:
  void KeepApart();
  void KeepNearStart();

  int tissues_;
  bool isFixed_ = false;
  double inverseStep_ = 0.0;
  std::array<double, kMostTissues> means_{};
  std::array<double, kMostTissues> start_{};  // the means that the fit began from
  std::array<double, kBins> values_{};        // of the bins
};

/// The steps of a run on one channel. In each one every scan gives its sums, and the means move by those of
/// all.
class TissueSteps {
 public:
  static constexpr int kPlain = 2;               // fuzzy c-means without a field
  static constexpr int kFuzzy = kPlain + 8;      // and with one
  static constexpr int kFirstFit = kFuzzy + 40;  // the fit of the mixture
  static constexpr int kOfRound = 4;             // between two moves of the field
  static constexpr int kRounds = kFirstFit + 10 * kOfRound;
  static constexpr int kAll = kRounds + 20;  // the last ones on all voxels

  static bool BeginsRound(int step) {
    return step >= kFirstFit && step < kRounds && (step - kFirstFit) % kOfRound == 0;
  }
  /// Whether the field follows the means that the step before this one has left.
  static bool BeginsWithField(int step) {
    return (step > kPlain && step <= kFuzzy) ||
           (step > kFirstFit && step <= kRounds && (step - kFirstFit) % kOfRound == 0);
  }
};

/// The half of a run that all scans share: their range, the means, and how far the run is.
class TissueCourse {
 public:
  /// @param fixed  means that no step moves; null for none.
  explicit TissueCourse(int tissues, const double* fixed = nullptr) : means_(tissues) {
    if (fixed != nullptr) means_.Fix(fixed);
  }

  /// Values of a scan: two quantiles, between which most of them lie, and the largest.
  struct Range {
    double low;
    double high;
    double largest;
  };
  /// @return  false, with nothing changed, when it is none or the first step was taken.
  bool AddRange(const Range& range);
  const Range& AllRange() const { return range_; }
  bool HasRange() const { return hasRange_; }
  /// Sets the range of what is looked at, and lays the bins: for values that were multiplied already.
  void SetScaledRange(double low, double high);
  /// Ends a step.
  void Move(const double* sums);

  int Step() const { return step_; }
  /// What all scans are multiplied by.
  double Factor() const { return factor_; }
  const TissueMeans& Means() const { return means_; }

 private:
  TissueMeans means_;
  Range range_{0.0, 0.0, 0.0};
  double factor_ = 1.0;
  bool hasRange_ = false;
  int step_ = 0;
};

/// The power of two that brings a value to between 512 and 1024, so that squares are neither 0 nor infinite.
double ScaleOf(double largest);

}  // namespace mth_internal
