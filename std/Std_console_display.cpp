#include "std/Std_console_display.h"

#include <algorithm>

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

#include "std/Std_default_title_internal.h"

namespace {

constexpr int kOkResult = 1;
constexpr int kLineColumns = 79;  // one less than the narrowest usual terminal, so that a line never wraps
constexpr int kBarColumns = 20;

bool IsTerminal(std::FILE* stream) {
#if defined(_WIN32)
  return _isatty(_fileno(stream)) != 0;
#else
  return isatty(fileno(stream)) != 0;
#endif
}

// Control characters would break the line or steer the terminal.
std::string OnOneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char character) { return character < 0x20 || character == 0x7F; },
      ' ');
  return text;
}

bool StartsCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
}

// The text cut or padded with blanks to that many characters of UTF-8.
std::string FitColumns(const std::string& text, int columns) {
  std::string fitted;
  int used = 0;
  for (char byte : text) {
    if (StartsCharacter(byte) && used++ == columns) return fitted;
    fitted += byte;
  }
  return fitted.append(static_cast<std::size_t>(columns - used), ' ');
}

// Ends a progress line, so that what follows starts on a line of its own.
void CloseLine(std::FILE* stream, bool& lineIsOpen) {
  if (!lineIsOpen) return;
  lineIsOpen = false;
  std::fputc('\n', stream);
  std::fflush(stream);
}

class ConsoleWaitBarView : public STD_WAIT_BAR_VIEW {
 public:
  ConsoleWaitBarView(std::FILE* stream, bool& lineIsOpen) : stream_(stream), lineIsOpen_(lineIsOpen) {}
  ~ConsoleWaitBarView() override { CloseLine(stream_, lineIsOpen_); }
  ConsoleWaitBarView(const ConsoleWaitBarView&) = delete;
  ConsoleWaitBarView& operator=(const ConsoleWaitBarView&) = delete;

  void SetTitle(const std::string& text) override {
    title_ = OnOneLine(text);
    Redraw();
  }
  void SetAction(const std::string& text) override {
    action_ = OnOneLine(text);
    Redraw();
  }
  void SetMaximum(int maximum) override {
    maximum_ = maximum;
    Redraw();
  }
  void SetPosition(int position) override {
    position_ = position;
    Redraw();
  }
  void Show() override {
    visible_ = true;
    Redraw();
  }

 private:
  std::string Line() const {
    const int position = std::clamp(position_, 0, std::max(maximum_, 0));
    const double done = maximum_ > 0 ? static_cast<double>(position) / maximum_ : 0.0;
    const auto filled = static_cast<std::size_t>(done * kBarColumns);
    const std::string bar = std::string(filled, '#') + std::string(kBarColumns - filled, '.');
    const std::string percentage = std::to_string(static_cast<int>(done * 100.0));
    return title_ + " [" + bar + "] " + std::string(3 - percentage.size(), ' ') + percentage + " % " +
           action_;
  }

  // Redraws only what a person would see change: iterations can be many thousands a second.
  void Redraw() {
    if (!visible_) return;
    const std::string line = FitColumns(Line(), kLineColumns);
    if (lineIsOpen_ && line == drawnLine_) return;
    drawnLine_ = line;
    lineIsOpen_ = true;
    std::fprintf(stream_, "\r%s", line.c_str());
    std::fflush(stream_);
  }

  std::FILE* stream_;
  bool& lineIsOpen_;
  std::string title_;
  std::string action_;
  std::string drawnLine_;
  int maximum_ = 100;
  int position_ = 0;
  bool visible_ = false;
};

}  // namespace

STD_CONSOLE_DISPLAY::STD_CONSOLE_DISPLAY(std::FILE* stream, Progress progress)
    : stream_(stream),
      drawsProgress_(stream != nullptr && (progress == Progress::Always ||
                                           (progress == Progress::OnTerminal && IsTerminal(stream)))) {}

int STD_CONSOLE_DISPLAY::ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) {
  if (stream_ == nullptr) return kOkResult;
  const std::string title = OnOneLine(caption.empty() ? mth_internal::DefaultTitle(kind) : caption);
  CloseLine(stream_, lineIsOpen_);
  std::fprintf(stream_, "%s: %s\n", title.c_str(), OnOneLine(text).c_str());
  std::fflush(stream_);
  return kOkResult;
}

std::unique_ptr<STD_WAIT_BAR_VIEW> STD_CONSOLE_DISPLAY::CreateWaitBarView() {
  if (!drawsProgress_) return nullptr;
  return std::make_unique<ConsoleWaitBarView>(stream_, lineIsOpen_);
}
