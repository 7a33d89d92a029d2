#include "display.h"

#include <emscripten/emscripten.h>

namespace mth_web {

namespace {

constexpr int kUnitsPerStep = 5;              // of a progress window
constexpr double kRestInMilliseconds = 50.0;  // between two reports: a person sees no more

}  // namespace

class ScriptView : public STD_WAIT_BAR_VIEW {
 public:
  explicit ScriptView(ScriptDisplay& display) : display_(display) { display.Forget(); }
  void SetTitle(const std::string& text) override { title_ = text; }
  void SetAction(const std::string& text) override { action_ = text; }
  void SetMaximum(int maximum) override { steps_ = maximum / kUnitsPerStep; }
  void SetPosition(int position) override {
    if (isShown_ && position % kUnitsPerStep == 0) Report(position / kUnitsPerStep);
  }
  void Show() override { isShown_ = true; }

 private:
  void Report(int done) {
    display_.stepsDone_ = done;
    const double now = emscripten_get_now();
    const bool isDue = done == steps_ || now - reported_ >= kRestInMilliseconds;
    if (!isDue || display_.listener_.isUndefined()) return;
    reported_ = now;
    display_.listener_(title_, action_, done, steps_);
  }

  ScriptDisplay& display_;
  std::string title_;
  std::string action_;
  double reported_ = 0.0;
  int steps_ = 0;
  bool isShown_ = false;
};

int ScriptDisplay::ShowMessage(const std::string&, MessageKind, const std::string&) {
  return 1;
}

std::unique_ptr<STD_WAIT_BAR_VIEW> ScriptDisplay::CreateWaitBarView() {
  return std::make_unique<ScriptView>(*this);
}

ScriptDisplay& Display() {
  static ScriptDisplay display;
  static const STD_DISPLAY_SCOPE installed(&display);
  return display;
}

}  // namespace mth_web
