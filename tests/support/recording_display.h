#pragma once

#include <memory>
#include <string>
#include <vector>

#include "std/Std_display.h"

namespace mth_test {

/// A message as the display received it.
struct ShownMessage {
  std::string text;
  MessageKind kind;
  std::string caption;
  bool operator==(const ShownMessage&) const = default;
};

/// One progress window, as it was painted after it was told its initial action; it outlives the window.
struct ShownProgress {
  std::string title;
  std::string initialAction;
  std::vector<std::string> actions;
  std::vector<int> positions;
  int maximum = -1;
  bool wasShown = false;
  bool isClosed = false;
};

/// A display that keeps all it is told, installed for its own life.
class RecordingDisplay : public STD_DISPLAY {
 public:
  int ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) override {
    messages.push_back({text, kind, caption});
    return answer;
  }
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override {
    windows.push_back(std::make_shared<ShownProgress>());
    return std::make_unique<View>(windows.back());
  }

  int answer = 1;
  std::vector<ShownMessage> messages;
  std::vector<std::shared_ptr<ShownProgress>> windows;

 private:
  class View : public STD_WAIT_BAR_VIEW {
   public:
    explicit View(std::shared_ptr<ShownProgress> shown) : shown_(std::move(shown)) {}
    ~View() override { shown_->isClosed = true; }
    void SetTitle(const std::string& text) override { shown_->title = text; }
    void SetAction(const std::string& text) override {
      if (shown_->initialAction.empty()) {
        shown_->initialAction = text;
      } else {
        shown_->actions.push_back(text);
      }
    }
    void SetMaximum(int maximum) override { shown_->maximum = maximum; }
    void SetPosition(int position) override { shown_->positions.push_back(position); }
    void Show() override { shown_->wasShown = true; }

   private:
    std::shared_ptr<ShownProgress> shown_;
  };

  STD_DISPLAY_SCOPE scope_{this};
};

/// The message that most failures show: kind information, caption "Information".
inline ShownMessage Information(const std::string& text) {
  return {text, MessageKind::Information, "Information"};
}

}  // namespace mth_test
