#include "support/progress_recorder.h"

#include <memory>

#include "support/cancellation.h"
#include "support/text.h"

namespace example {

namespace {

class RecordingView : public STD_WAIT_BAR_VIEW {
 public:
  /// @param shown  null where the display shows no progress.
  RecordingView(std::unique_ptr<STD_WAIT_BAR_VIEW> shown, const ProgressRecorder::Read& read,
                std::vector<double>& changes, bool& wasCancelled)
      : shown_(std::move(shown)), read_(read), changes_(changes), wasCancelled_(wasCancelled) {}

  void SetTitle(const std::string& text) override {
    if (shown_) shown_->SetTitle(text);
  }
  void SetAction(const std::string& text) override {
    // Not the text that a view is given before its first step.
    const std::optional<double> change = isStepping_ ? read_(text) : std::nullopt;
    if (change) changes_.push_back(*change);
    if (shown_) shown_->SetAction(text);
  }
  void SetMaximum(int maximum) override {
    if (shown_) shown_->SetMaximum(maximum);
  }
  void SetPosition(int position) override {
    if (shown_) shown_->SetPosition(position);
  }
  void Show() override {
    isStepping_ = true;
    if (shown_) shown_->Show();
  }
  bool IsCancelRequested() const override {
    if (shown_ && shown_->IsCancelRequested()) wasCancelled_ = true;
    return wasCancelled_;
  }

 private:
  std::unique_ptr<STD_WAIT_BAR_VIEW> shown_;
  const ProgressRecorder::Read& read_;
  std::vector<double>& changes_;
  bool isStepping_ = false;
  bool& wasCancelled_;
};

}  // namespace

std::optional<double> LastNumber(const std::string& text) {
  const std::size_t blank = text.rfind(' ');
  if (blank == std::string::npos) return std::nullopt;
  return ReadNumber(text.substr(blank + 1));
}

ProgressRecorder::ProgressRecorder(Read read) : former_(Std_SetDisplay(this)), read_(std::move(read)) {}

ProgressRecorder::~ProgressRecorder() {
  Std_SetDisplay(former_);
}

STD_DISPLAY& ProgressRecorder::Former() const {
  return former_ != nullptr ? *former_ : console_;
}

int ProgressRecorder::ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) {
  return Former().ShowMessage(text, kind, caption);
}

std::unique_ptr<STD_WAIT_BAR_VIEW> ProgressRecorder::CreateWaitBarView() {
  return std::make_unique<RecordingView>(Former().CreateWaitBarView(), read_, changes_, wasCancelled_);
}

bool ProgressRecorder::IsCancelRequested() const {
  return Former().IsCancelRequested();
}

void ProgressRecorder::ThrowIfCancelled() const {
  if (wasCancelled_ || IsCancelRequested()) throw Cancelled();
}

}  // namespace example
