#pragma once

#include <cstdint>

#include "std/Std_display.h"

namespace mth_internal {

/// Whether a run over many points is to end: asks the display at the first point and at every thousandth,
/// since a question may cost more than a point, and sooner where points cost many looks at others. Once true
/// it stays true.
class CancelPoll {
 public:
  bool IsCancelled() {
    constexpr int kPointsPerQuestion = 1000;
    constexpr std::int64_t kLooksPerQuestion = 1 << 23;
    const bool isDue = points_++ % kPointsPerQuestion == 0 || looks_ >= kLooksPerQuestion;
    if (isCancelled_ || !isDue) return isCancelled_;
    points_ = 1;
    looks_ = 0;
    isCancelled_ = Std_IsCancelRequested();
    return isCancelled_;
  }
  /// Tells that the last point cost so many looks at others.
  void AddLooks(std::int64_t count) { looks_ += count; }
  /// What the last question answered.
  bool WasCancelled() const { return isCancelled_; }

 private:
  int points_ = 0;
  std::int64_t looks_ = 0;
  bool isCancelled_ = false;
};

}  // namespace mth_internal
