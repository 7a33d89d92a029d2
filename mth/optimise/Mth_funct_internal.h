#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "std/Std_wait_bar.h"

namespace mth_internal {

/// `count` zeros; null when the memory cannot be had.
std::unique_ptr<double[]> NewZeros(std::size_t count);

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
/// host's cost function throws.
class OptimisationProgress {
 public:
  OptimisationProgress(const char* title, std::int64_t stepsCount);
  /// One step whose text is blank: the bar alone tells.
  void Step() { Step("  "); }
  void Step(const char* text);
  /// One step that shows the parameters: one decimal each, followed by a tab.
  void StepParameters(const double* parameters, int n);

 private:
  TSTD_WAIT_BAR bar_;
  std::string text_;  // kept from step to step, so that a step allocates nothing
};

/// What an `iterations` argument points to, or a stand-in when it is null.
template <class Count>
class IterationCount {
 public:
  explicit IterationCount(Count* target) : target_(target != nullptr ? target : &unused_) { *target_ = 0; }
  IterationCount(const IterationCount&) = delete;
  IterationCount& operator=(const IterationCount&) = delete;
  Count& operator*() const { return *target_; }

 private:
  Count unused_ = 0;
  Count* target_;
};

}  // namespace mth_internal
