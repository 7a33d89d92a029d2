#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/cancellation.h"

namespace segment_mr {

/// The number at the end of a text; nothing where there is none.
std::optional<double> LastNumber(const std::string& text);

/// The console display, which also keeps what can be read at every progress text: by default the number at
/// its end, the change that each iteration reports. Running the engine one iteration at a time would not do,
/// since each run begins with the centroids as they stand and updates them from its second iteration on.
class ProgressRecorder : public STD_DISPLAY {
 public:
  using Read = std::function<std::optional<double>(const std::string&)>;
  explicit ProgressRecorder(Read read = LastNumber) : read_(std::move(read)) {}

  int ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) override;
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override;
  bool IsCancelRequested() const override { return example::IsCancelled(); }

  const std::vector<double>& GetChanges() const { return changes_; }

 private:
  example::CancellingDisplay console_;
  Read read_;
  std::vector<double> changes_;
};

}  // namespace segment_mr
