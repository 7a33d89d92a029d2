#pragma once

#include <vector>

#include "std/Std_console_display.h"

namespace segment_mr {

/// The console display, which also keeps the number at the end of every progress text: the change that each
/// iteration reports. Running the engine one iteration at a time would not do, since each run begins with the
/// centroids as they stand and updates them from its second iteration on.
class ProgressRecorder : public STD_DISPLAY {
 public:
  int ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) override;
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override;

  const std::vector<double>& GetChanges() const { return changes_; }

 private:
  STD_CONSOLE_DISPLAY console_;
  std::vector<double> changes_;
};

}  // namespace segment_mr
