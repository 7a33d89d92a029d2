#pragma once

#include <cstdint>
#include <string>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/optimise/Mth_funct.h"
#include "std/Std_wait_bar.h"

namespace mth_internal {

/// Copies a point of n coordinates; the two may be the same.
inline void CopyPoint(const double* from, int n, double* to) {
  for (int i = 0; i < n; ++i) to[i] = from[i];
}

/// The identity matrix of n x n elements, row-major.
inline void FillIdentity(double* matrix, int n) {
  for (std::int64_t i = 0; i < n; ++i) {
    for (std::int64_t j = 0; j < n; ++j) matrix[i * n + j] = i == j ? 1.0 : 0.0;
  }
}

/// The progress window of one minimisation: titled and shown at once, closed with this object, also when the
/// host's cost function throws. It is asked once per iteration whether the run is to end.
class OptimisationProgress {
 public:
  OptimisationProgress(const char* title, std::int64_t stepsCount);
  /// One step whose text is blank: the bar alone tells.
  void Step() { Step("  "); }
  void Step(const char* text);
  /// One step that shows the parameters: one decimal each, followed by a tab.
  void StepParameters(const double* parameters, int n);
  bool IsCancelRequested() const { return bar_.IsCancelRequested(); }

 private:
  // Fills the text; without memory it keeps what there is, which is no reason not to minimise.
  template <class Fill>
  void SetText(Fill fill);

  TSTD_WAIT_BAR bar_;
  std::string text_;  // kept from step to step, so that a step allocates nothing
};

/// The best point that a run has accepted so far, its start included: what a cancelled run leaves.
class BestPoint {
 public:
  explicit BestPoint(MTH_FUNCT& cost) : cost_(cost), point_(cost.GetParametersCount()) {}
  bool IsAllocated() const { return static_cast<bool>(point_); }

  /// The parameters and their cost have been accepted.
  void Offer() {
    const bool isBetter = !hasPoint_ || cost_.GetValue() < value_ || value_ != value_;
    if (!isBetter) return;
    hasPoint_ = true;
    value_ = cost_.GetValue();
    CopyPoint(cost_.GetParameters(), cost_.GetParametersCount(), point_.Get());
  }

  /// Makes the best point the parameters again, and its cost the value.
  void Restore() {
    CopyPoint(point_.Get(), cost_.GetParametersCount(), cost_.GetParameters());
    cost_.SetValue(value_);
  }

 private:
  MTH_FUNCT& cost_;
  WorkArray<double> point_;
  double value_ = 0.0;
  bool hasPoint_ = false;
};

}  // namespace mth_internal
