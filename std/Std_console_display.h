#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "std/Std_display.h"
#include "std/Std_export.h"

/// The default display: writes to a stream and returns at once.
///
/// A message is one line, "caption: text". Progress is one line redrawn in place (title, bar, percentage,
/// after two seconds the time left, and action) as wide as the terminal when the stream is one, and nothing
/// at all when it is not.
class MTH_EXPORT STD_CONSOLE_DISPLAY : public STD_DISPLAY {
 public:
  /// Whether progress is drawn: by what the stream is when a progress window opens, or as the host decides.
  enum class Progress { OnTerminal, Always, Never };

  /// @param stream  borrowed; the stream and the display must outlive the views. Null writes nothing.
  explicit STD_CONSOLE_DISPLAY(std::FILE* stream = stderr, Progress progress = Progress::OnTerminal);

  /// @return  1, the code of the OK button.
  int ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) override;
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override;

 private:
  std::FILE* stream_;
  Progress progress_;
  bool lineIsOpen_ = false;
};
