#pragma once

#include "std/Std_display.h"

namespace mth_internal {

/// Whether a run over many points is to end: asks the display at the first point and at every thousandth,
/// since a question may cost more than a point. Once true it stays true.
class CancelPoll {
 public:
  bool IsCancelled() {
    constexpr int kPointsPerQuestion = 1000;
    if (isCancelled_ || points_++ % kPointsPerQuestion != 0) return isCancelled_;
    points_ = 1;
    isCancelled_ = Std_IsCancelRequested();
    return isCancelled_;
  }
  /// What the last question answered.
  bool WasCancelled() const { return isCancelled_; }

 private:
  int points_ = 0;
  bool isCancelled_ = false;
};

}  // namespace mth_internal
