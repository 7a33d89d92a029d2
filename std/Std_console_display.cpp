#include "std/Std_console_display.h"

#include "std/Std_console_wait_bar_internal.h"
#include "std/Std_default_title_internal.h"
#include "std/Std_terminal_internal.h"

STD_CONSOLE_DISPLAY::STD_CONSOLE_DISPLAY(std::FILE* stream, Progress progress)
    : stream_(stream), progress_(progress) {}

int STD_CONSOLE_DISPLAY::ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) {
  constexpr int kOkResult = 1;
  if (stream_ == nullptr) return kOkResult;
  const std::string title =
      mth_internal::OnOneLine(caption.empty() ? mth_internal::DefaultTitle(kind) : caption);
  mth_internal::CloseLine(stream_, lineIsOpen_);
  mth_internal::PutText(stream_, title + ": " + mth_internal::OnOneLine(text) + "\n");
  return kOkResult;
}

std::unique_ptr<STD_WAIT_BAR_VIEW> STD_CONSOLE_DISPLAY::CreateWaitBarView() {
  if (stream_ == nullptr || progress_ == Progress::Never) return nullptr;
  if (progress_ == Progress::OnTerminal && !mth_internal::IsTerminal(stream_)) return nullptr;
  return std::make_unique<mth_internal::ConsoleWaitBarView>(stream_, lineIsOpen_);
}
