#pragma once

#include <emscripten/val.h>

#include "std/Std_display.h"

namespace mth_web {

/// Hands the library's progress to a JavaScript function (title, action, steps, all steps). Nothing else can
/// happen while a computation runs, so nobody asks it to end: who wants that ends the worker that it runs in.
class ScriptDisplay : public STD_DISPLAY {
 public:
  /// Messages go with a failure, whose reason the caller is given instead.
  int ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) override;
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override;

  void SetListener(emscripten::val listener) { listener_ = std::move(listener); }
  /// Of the last progress window: of iterations as many as were made.
  int GetStepsDone() const { return stepsDone_; }
  void Forget() { stepsDone_ = 0; }

 private:
  friend class ScriptView;
  emscripten::val listener_ = emscripten::val::undefined();
  int stepsDone_ = 0;
};

/// The one display of the module, installed.
ScriptDisplay& Display();

}  // namespace mth_web
