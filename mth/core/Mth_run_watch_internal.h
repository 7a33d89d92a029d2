#pragma once

#include <new>

#include "mth/core/Mth_give_up_internal.h"
#include "std/Std_wait_bar.h"

namespace mth_internal {

/// The progress of a run in equal steps, each of which may be its last: the window is asked. Without memory
/// for its texts it stays silent: that is no failure of the run.
class RunWatch {
 public:
  RunWatch(const char* title, int stepsCount) {
    try {
      bar_.SetTitle(title);
    } catch (const std::bad_alloc&) {
    }
    bar_.SetStepsCount(stepsCount);
    bar_.Show();
  }

  /// @param action  what the next steps do; borrowed.
  void SetAction(const char* action) { action_ = action; }
  /// Takes a step.
  /// @return  false when the run has been cancelled.
  bool GoesOn() {
    if (bar_.IsCancelRequested()) return false;
    try {
      bar_.StepAction(action_);
    } catch (const std::bad_alloc&) {
    }
    return true;
  }
  /// What asks within a step that may last.
  LongIteration& Within() { return within_; }

 private:
  TSTD_WAIT_BAR bar_;
  LongIteration within_{bar_};
  const char* action_ = "";
};

}  // namespace mth_internal
