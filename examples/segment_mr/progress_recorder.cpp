#include "progress_recorder.h"

#include <charconv>
#include <string_view>

namespace segment_mr {

namespace {

class RecordingView : public STD_WAIT_BAR_VIEW {
 public:
  /// @param console  null where standard error is no terminal.
  RecordingView(std::unique_ptr<STD_WAIT_BAR_VIEW> console, std::vector<double>& changes)
      : console_(std::move(console)), changes_(changes) {}

  void SetTitle(const std::string& text) override {
    if (console_) console_->SetTitle(text);
  }
  void SetAction(const std::string& text) override {
    Record(text);
    if (console_) console_->SetAction(text);
  }
  void SetMaximum(int maximum) override {
    if (console_) console_->SetMaximum(maximum);
  }
  void SetPosition(int position) override {
    if (console_) console_->SetPosition(position);
  }
  void Show() override {
    if (console_) console_->Show();
  }

 private:
  void Record(std::string_view text) {
    const std::size_t blank = text.rfind(' ');
    if (blank == std::string_view::npos) return;
    double change = 0.0;
    const char* end = text.data() + text.size();
    if (std::from_chars(text.data() + blank + 1, end, change).ptr == end) changes_.push_back(change);
  }

  std::unique_ptr<STD_WAIT_BAR_VIEW> console_;
  std::vector<double>& changes_;
};

}  // namespace

int ProgressRecorder::ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) {
  return console_.ShowMessage(text, kind, caption);
}

std::unique_ptr<STD_WAIT_BAR_VIEW> ProgressRecorder::CreateWaitBarView() {
  return std::make_unique<RecordingView>(console_.CreateWaitBarView(), changes_);
}

}  // namespace segment_mr
