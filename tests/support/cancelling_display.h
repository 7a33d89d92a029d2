#pragma once

#include <limits>
#include <memory>
#include <string>

#include "std/Std_display.h"

namespace mth_test {

/// A display, installed for its own life, that says yes from its k-th question on, whether a run asks it or
/// the window that it opened; it shows nothing.
class CancellingDisplay : public STD_DISPLAY {
 public:
  explicit CancellingDisplay(int firstYes = std::numeric_limits<int>::max()) : firstYes_(firstYes) {}
  int ShowMessage(const std::string&, MessageKind, const std::string&) override {
    ++messages;
    return 1;
  }
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override {
    ++windows;
    return std::make_unique<View>();
  }
  bool IsCancelRequested() const override { return ++questions >= firstYes_; }

  mutable int questions = 0;
  int messages = 0;
  int windows = 0;

 private:
  class View : public STD_WAIT_BAR_VIEW {
   public:
    void SetTitle(const std::string&) override {}
    void SetAction(const std::string&) override {}
    void SetMaximum(int) override {}
    void SetPosition(int) override {}
    void Show() override {}
  };

  int firstYes_;
  STD_DISPLAY_SCOPE scope_{this};
};

}  // namespace mth_test
