#pragma once

#include <chrono>
#include <cstdio>
#include <string>

#include "std/Std_display.h"

namespace mth_internal {

/// The text on one line: control characters, which would break the line or steer the terminal, are blanks.
std::string OnOneLine(std::string text);

/// Ends an open progress line, so that what follows starts on a line of its own.
void CloseLine(std::FILE* stream, bool& lineIsOpen);

/// Progress as one line redrawn in place: title, bar, percentage, after two seconds the time left, and
/// action.
///
/// Iterations can be a million a second, so a step whose percentage stays costs next to nothing: beyond a
/// first burst, the action alone is redrawn only every twentieth of a second. What was not drawn is drawn at
/// the end.
class ConsoleWaitBarView : public STD_WAIT_BAR_VIEW {
 public:
  /// @param stream      borrowed.
  /// @param lineIsOpen  the display's: whether the stream's last line is a progress line.
  ConsoleWaitBarView(std::FILE* stream, bool& lineIsOpen);
  /// Leaves the bar full, as a run that has ended, unless the installed display asked the run to stop.
  ~ConsoleWaitBarView() override;
  ConsoleWaitBarView(const ConsoleWaitBarView&) = delete;
  ConsoleWaitBarView& operator=(const ConsoleWaitBarView&) = delete;

  void SetTitle(const std::string& text) override;
  void SetAction(const std::string& text) override;
  void SetMaximum(int maximum) override;
  void SetPosition(int position) override;
  void Show() override;

 private:
  using Clock = std::chrono::steady_clock;

  int Percentage() const;
  std::string TimeLeft(Clock::time_point now) const;
  std::string Line(Clock::time_point now) const;
  bool MayRedrawAction();
  void Redraw();

  std::FILE* stream_;
  bool& lineIsOpen_;
  std::string title_;
  std::string action_;
  std::string drawnLine_;
  int maximum_ = 100;
  int position_ = 0;
  int drawnPercentage_ = 0;
  int burstLeft_;
  bool visible_ = false;
  bool actionIsDrawn_ = true;
  Clock::time_point shownAt_;
  Clock::time_point drawnAt_;
};

}  // namespace mth_internal
