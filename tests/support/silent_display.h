#pragma once

#include <memory>
#include <string>

#include "std/Std_display.h"

namespace mth_test {

/// Shows nothing and allocates nothing, whatever the thread, for its own life.
class SilentDisplay : public STD_DISPLAY {
 public:
  int ShowMessage(const std::string&, MessageKind, const std::string&) override { return 1; }
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override { return nullptr; }

 private:
  STD_DISPLAY_SCOPE scope_{this};
};

}  // namespace mth_test
