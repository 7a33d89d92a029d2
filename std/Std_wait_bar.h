#pragma once

#include <memory>
#include <string>

#include "std/Std_display.h"
#include "std/Std_export.h"

/// The progress window of a long computation: created hidden, titled, given its number of steps, shown,
/// stepped once per iteration, closed by its destructor.
///
/// It holds the state and does the arithmetic; the installed display's view paints. A view that cannot be
/// created, or that throws, leaves the bar working without one.
class MTH_EXPORT TSTD_WAIT_BAR {
 public:
  /// A hidden window: title "Title", action "Action", 10 steps, maximum 100, position 0. The view is told the
  /// maximum and both texts at once.
  TSTD_WAIT_BAR();
  /// The same, painted by the given view instead of one of the installed display; null paints nothing.
  explicit TSTD_WAIT_BAR(std::unique_ptr<STD_WAIT_BAR_VIEW> view);
  /// Closes the window; the cursor is the default one again.
  ~TSTD_WAIT_BAR();
  TSTD_WAIT_BAR(const TSTD_WAIT_BAR&) = delete;
  TSTD_WAIT_BAR& operator=(const TSTD_WAIT_BAR&) = delete;

  /// Says what is being computed.
  void SetTitle(const std::string& text);
  /// Announces the number of steps; the bar's maximum becomes five times that number, so that each step moves
  /// the bar by five units. With 0 the maximum is 0 and no step moves the bar; so with a negative number.
  /// Above INT_MAX / 5 steps the maximum is INT_MAX, and a step moves the bar by the whole units that this
  /// leaves to each, 1 to 4. A bar that is already beyond its new maximum goes back to it.
  void SetStepsCount(int stepsCount);
  /// Makes the window visible.
  void Show();
  /// Shows the text of the current step, then moves the bar by (maximum / steps count) units, painting each.
  /// Steps beyond the announced number leave the bar full.
  void StepAction(const std::string& text);

  /// Whether the view or the installed display asks to end the run. Runs ask once per iteration; a view or a
  /// display that throws says no.
  bool IsCancelRequested() const noexcept;

  /// @return  what is being computed.
  const std::string& GetTitle() const { return title_; }
  /// @return  the text of the current step.
  const std::string& GetAction() const { return action_; }
  /// @return  the number of steps, as it was announced.
  int GetStepsCount() const { return stepsCount_; }
  /// @return  the end of the bar, in units.
  int GetMaximum() const { return maximum_; }
  /// @return  how far the bar is, in [0, maximum].
  int GetPosition() const { return position_; }
  /// @return  whether Show was called.
  bool IsVisible() const { return visible_; }

 private:
  template <class Paint>
  void PaintView(Paint paint);
  void TellInitialState();

  std::string title_ = "Title";
  std::string action_ = "Action";
  int stepsCount_ = 10;
  int maximum_ = 100;
  int position_ = 0;
  bool visible_ = false;
  std::unique_ptr<STD_WAIT_BAR_VIEW> view_;
};
