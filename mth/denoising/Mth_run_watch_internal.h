#pragma once

#include <string>

#include "mth/Mth_stop_reason.h"
#include "std/Std_wait_bar.h"

namespace mth_internal {

/// The progress of a run in equal steps, each of which may be its last: the window is asked.
class RunWatch {
 public:
  RunWatch(const std::string& title, int stepsCount) {
    bar_.SetTitle(title);
    bar_.SetStepsCount(stepsCount);
    bar_.Show();
  }

  void SetAction(const std::string& action) { action_ = action; }
  /// Takes a step.
  /// @return  false when the run has been cancelled.
  bool GoesOn() {
    if (bar_.IsCancelRequested()) return false;
    bar_.StepAction(action_);
    return true;
  }

 private:
  TSTD_WAIT_BAR bar_;
  std::string action_;
};

}  // namespace mth_internal
