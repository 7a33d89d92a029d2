#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "std/Std_console_display.h"

namespace example {

/// The number at the end of a text; nothing where there is none.
std::optional<double> LastNumber(const std::string& text);

/// While it lives, stands before the installed display and keeps what can be read at every progress text: by
/// default the number at its end, the change that each iteration reports. Running the engine one iteration at
/// a time would not do, since each run begins with the centroids as they stand and updates them from its
/// second iteration on.
class ProgressRecorder : public STD_DISPLAY {
 public:
  using Read = std::function<std::optional<double>(const std::string&)>;
  explicit ProgressRecorder(Read read = LastNumber);
  ~ProgressRecorder() override;
  ProgressRecorder(const ProgressRecorder&) = delete;
  ProgressRecorder& operator=(const ProgressRecorder&) = delete;

  int ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) override;
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override;
  bool IsCancelRequested() const override;

  const std::vector<double>& GetChanges() const { return changes_; }
  /// @throws Cancelled  when the display, or a view of it, has asked to end the run.
  void ThrowIfCancelled() const;

 private:
  STD_DISPLAY& Former() const;

  mutable STD_CONSOLE_DISPLAY console_;  // where none was installed
  STD_DISPLAY* former_;
  Read read_;
  std::vector<double> changes_;
  bool wasCancelled_ = false;
};

}  // namespace example
