#pragma once

#include <cstdint>

#include "std/Std_display.h"
#include "std/Std_wait_bar.h"

namespace mth_internal {

/// A computation of about so many multiplications, given as three factors, that the host may give up. Up to
/// those of order 512, which take less than a second, it is never asked.
class LongRun {
 public:
  LongRun(std::int64_t rows, std::int64_t columns, std::int64_t depth)
      : isLong_(static_cast<double>(rows) * static_cast<double>(columns) * static_cast<double>(depth) >
                kShort) {}
  bool IsGivenUp() const { return isLong_ && Std_IsCancelRequested(); }

 private:
  static constexpr double kShort = 512.0 * 512.0 * 512.0;
  bool isLong_;
};

/// Whether the host wants a decomposition of a square matrix of this order to be given up.
inline bool IsGivenUp(std::int64_t order) {
  return LongRun(order, order, order).IsGivenUp();
}

/// An iteration whose number of steps is not known before. Short steps are counted together, so that the host
/// is asked some twenty times a second whatever a step costs.
class LongIteration {
 public:
  LongIteration() = default;
  /// Of a run that has a window, which is borrowed and asked in place of the display.
  explicit LongIteration(const TSTD_WAIT_BAR& window) : window_(&window) {}
  /// @param work  multiplications of the step to come.
  bool IsGivenUp(double work) {
    constexpr double kWorkPerQuestion = 1 << 25;
    work_ += work;
    if (work_ < kWorkPerQuestion) return false;
    work_ = 0.0;
    return window_ != nullptr ? window_->IsCancelRequested() : Std_IsCancelRequested();
  }

 private:
  const TSTD_WAIT_BAR* window_ = nullptr;
  double work_ = 0.0;
};

}  // namespace mth_internal
