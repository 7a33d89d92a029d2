#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "std/Std_console_wait_bar_internal.h"
#include "std/Std_terminal_internal.h"

namespace mth_internal {
namespace {

using Seconds = std::chrono::duration<double>;

constexpr const char* kInitialAction = "Action";  // a place for a text, of no interest on a line
constexpr int kWholeBar = 20;
constexpr int kShortBar = 8;
constexpr int kShortTitle = 16;
constexpr int kShareColumns = 6;  // of "100 % "
constexpr int kBurst = 64;  // actions that are drawn without looking at the clock: short runs show every step
constexpr Seconds kActionInterval{0.05};
constexpr Seconds kEstimateAfter{2.0};

bool StartsCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
}

int CountCharacters(const std::string& text) {
  return static_cast<int>(std::count_if(text.begin(), text.end(), StartsCharacter));
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

// The last so many characters, or all of them and blanks behind.
std::string LastColumns(const std::string& text, int columns) {
  std::size_t start = 0;
  for (int left = CountCharacters(text); left > std::max(columns, 0); --left) {
    do ++start;
    while (start < text.size() && !StartsCharacter(text[start]));
  }
  return FitColumns(text.substr(start), std::max(columns, 0));
}

std::string Bar(double done, int columns) {
  const auto filled = static_cast<std::size_t>(done * columns);
  return std::string(filled, '#') + std::string(static_cast<std::size_t>(columns) - filled, '.');
}

}  // namespace

std::string OnOneLine(std::string text) {
  const auto isControl = [](unsigned char character) { return character < 0x20 || character == 0x7F; };
  std::replace_if(text.begin(), text.end(), isControl, ' ');
  // Those beyond ASCII, U+0080 to U+009F, are two bytes.
  for (std::size_t i = 1; i < text.size(); ++i) {
    const auto second = static_cast<unsigned char>(text[i]);
    if (text[i - 1] == '\xC2' && second >= 0x80 && second < 0xA0) text[i - 1] = text[i] = ' ';
  }
  return text;
}

void CloseLine(std::FILE* stream, bool& lineIsOpen) {
  if (!lineIsOpen) return;
  lineIsOpen = false;
  std::fputc('\n', stream);
  std::fflush(stream);
}

ConsoleWaitBarView::ConsoleWaitBarView(std::FILE* stream, bool& lineIsOpen)
    : stream_(stream), lineIsOpen_(lineIsOpen), burstLeft_(kBurst) {}

ConsoleWaitBarView::~ConsoleWaitBarView() {
  try {
    const bool endsFull = position_ > 0 && position_ < maximum_ && !Std_IsCancelRequested();
    if (endsFull) position_ = maximum_;
    if (lineIsOpen_ && (endsFull || !actionIsDrawn_)) Redraw();
  } catch (...) {  // no memory for the line: it stays as it was drawn
  }
  CloseLine(stream_, lineIsOpen_);
}

void ConsoleWaitBarView::SetTitle(const std::string& text) {
  title_ = OnOneLine(text);
  Redraw();
}

void ConsoleWaitBarView::SetAction(const std::string& text) {
  if (!visible_ && text == kInitialAction) return;
  if (lineIsOpen_ && actionIsDrawn_ && text == action_) return;
  action_ = text;
  actionIsDrawn_ = false;
  if (MayRedrawAction()) Redraw();
}

void ConsoleWaitBarView::SetMaximum(int maximum) {
  maximum_ = maximum;
  Redraw();
}

void ConsoleWaitBarView::SetPosition(int position) {
  position_ = position;
  if (Percentage() != drawnPercentage_ || !lineIsOpen_) Redraw();
}

void ConsoleWaitBarView::Show() {
  if (!visible_) shownAt_ = Clock::now();
  visible_ = true;
  Redraw();
}

int ConsoleWaitBarView::Percentage() const {
  if (maximum_ <= 0) return 0;
  return static_cast<int>(std::int64_t{100} * std::clamp(position_, 0, maximum_) / maximum_);
}

// Empty in the first two seconds, and where nothing tells how long the rest takes.
std::string ConsoleWaitBarView::TimeLeft(Clock::time_point now) const {
  const Seconds elapsed = now - shownAt_;
  if (elapsed < kEstimateAfter || position_ <= 0 || position_ >= maximum_) return "";
  const double left = elapsed.count() * (static_cast<double>(maximum_) / position_ - 1.0);
  const auto seconds = static_cast<std::int64_t>(std::min(left, 360000.0));
  if (seconds < 60) return "(reste " + std::to_string(seconds) + " s) ";
  if (seconds < 3600) return "(reste " + std::to_string(seconds / 60) + " min) ";
  return "(reste " + std::to_string(seconds / 3600) + " h " + std::to_string(seconds / 60 % 60) + " min) ";
}

// One column less than the terminal has, so that a line never wraps. Where it is too narrow for everything, a
// shorter title and bar make room for the action, and where that is not enough it alone stands there, if need
// be its end: that is where its number is.
std::string ConsoleWaitBarView::Line(Clock::time_point now) const {
  const int columns = std::max(TerminalColumns(stream_) - 1, 1);
  const double done = maximum_ > 0 ? static_cast<double>(std::clamp(position_, 0, maximum_)) / maximum_ : 0.0;
  const std::string percentage = std::to_string(Percentage());
  const std::string action = OnOneLine(action_);
  const std::string share = std::string(3 - percentage.size(), ' ') + percentage + " % ";
  const std::string end = "] " + share + TimeLeft(now) + action;
  const int excess = CountCharacters(title_ + end) + 2 + kWholeBar - columns;
  if (excess <= 0) return FitColumns(title_ + " [" + Bar(done, kWholeBar) + end, columns);
  const int bar = std::max(kWholeBar - excess, kShortBar);
  const int title = CountCharacters(title_);
  const int shortTitle = std::max(title - (excess - (kWholeBar - bar)), std::min(title, kShortTitle));
  const bool isTooLong = CountCharacters(end) + 2 + bar + shortTitle > columns;
  if (isTooLong && !action.empty())
    return FitColumns(share, std::min(columns, kShareColumns)) + LastColumns(action, columns - kShareColumns);
  return FitColumns(FitColumns(title_, shortTitle) + " [" + Bar(done, bar) + end, columns);
}

bool ConsoleWaitBarView::MayRedrawAction() {
  if (burstLeft_ > 0) {
    --burstLeft_;
    return true;
  }
  return Clock::now() - drawnAt_ >= kActionInterval;
}

void ConsoleWaitBarView::Redraw() {
  if (!visible_) return;
  const Clock::time_point now = Clock::now();
  drawnAt_ = now;
  drawnPercentage_ = Percentage();
  actionIsDrawn_ = true;
  const std::string line = Line(now);
  if (lineIsOpen_ && line == drawnLine_) return;
  drawnLine_ = line;
  lineIsOpen_ = true;
  PutText(stream_, "\r" + line);
}

}  // namespace mth_internal
