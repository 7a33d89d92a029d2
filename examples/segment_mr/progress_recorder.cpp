#include "progress_recorder.h"

#include <charconv>
#include <memory>

namespace segment_mr {

namespace {

class RecordingView : public STD_WAIT_BAR_VIEW {
 public:
  /// @param console  null where standard error is no terminal.
  RecordingView(std::unique_ptr<STD_WAIT_BAR_VIEW> console, const ProgressRecorder::Read& read,
                std::vector<double>& changes)
      : console_(std::move(console)), read_(read), changes_(changes) {}

  void SetTitle(const std::string& text) override {
    if (console_) console_->SetTitle(text);
  }
  void SetAction(const std::string& text) override {
    // Not the text that a view is given before its first step.
    const std::optional<double> change = isStepping_ ? read_(text) : std::nullopt;
    if (change) changes_.push_back(*change);
    if (console_) console_->SetAction(text);
  }
  void SetMaximum(int maximum) override {
    if (console_) console_->SetMaximum(maximum);
  }
  void SetPosition(int position) override {
    if (console_) console_->SetPosition(position);
  }
  void Show() override {
    isStepping_ = true;
    if (console_) console_->Show();
  }

 private:
  std::unique_ptr<STD_WAIT_BAR_VIEW> console_;
  const ProgressRecorder::Read& read_;
  std::vector<double>& changes_;
  bool isStepping_ = false;
};

}  // namespace

std::optional<double> LastNumber(const std::string& text) {
  const std::size_t blank = text.rfind(' ');
  if (blank == std::string::npos) return std::nullopt;
  double number = 0.0;
  const char* end = text.data() + text.size();
  if (std::from_chars(text.data() + blank + 1, end, number).ptr != end) return std::nullopt;
  return number;
}

int ProgressRecorder::ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) {
  return console_.ShowMessage(text, kind, caption);
}

std::unique_ptr<STD_WAIT_BAR_VIEW> ProgressRecorder::CreateWaitBarView() {
  return std::make_unique<RecordingView>(console_.CreateWaitBarView(), read_, changes_);
}

}  // namespace segment_mr
