#pragma once

#include <QWidget>
#include <functional>
#include <memory>

#include "std/Std_display.h"
#include "std/Std_export.h"

class QFrame;
class QLabel;
class QProgressBar;
class QPushButton;

/// The progress window: caption "Please wait", of fixed size, without border icons, on top of all windows, in
/// the middle of the screen, created hidden. Its components are found by their names, as members and as Qt
/// objects.
class MTH_EXPORT STD_WAIT_BAR_WINDOW : public QWidget {
 public:
  /// Needs a QApplication, in whose thread it is created and used.
  STD_WAIT_BAR_WINDOW();

  /// Text of the current step: right-justified, in right-to-left reading order. One that is too long for the
  /// window begins with an ellipsis.
  QLabel* const Action;
  /// Borderless panel that holds Action and Title.
  QFrame* const Panel1;
  /// From 0 to five times the number of steps, under an hourglass. Empty when the maximum is 0.
  QProgressBar* const ProgressBar1;
  /// What is being computed: right-justified.
  QLabel* const Title;
  /// Banner "Quorvan" in the colour of links.
  QLabel* const lblInformation1;

  /// Button "Annuler", hidden unless LetCancel shows it.
  QPushButton* const Cancel;

  /// Shows the Cancel button. The first click greys it and calls the function. Called again, for a next run,
  /// it forgets the former function, and the button may be clicked anew.
  void LetCancel(std::function<void()> cancel);

  /// A view that paints into this window, to step it with a TSTD_WAIT_BAR of the host's own:
  /// `TSTD_WAIT_BAR bar(window.NewView());`. It resets the window to "Title", "Action" and 0 of 100; the
  /// cursor is the hourglass for its life, and its destruction hides the window.
  std::unique_ptr<STD_WAIT_BAR_VIEW> NewView();

 protected:
  /// People cannot close the window: the computation does.
  void closeEvent(QCloseEvent* event) override;
};
