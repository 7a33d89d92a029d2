#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "std/Std_display.h"
#include "std/Std_export.h"

/// Shows messages and progress in Qt windows. A host installs it with Std_SetDisplay once its QApplication
/// stands.
///
/// In the thread of the user interface the computation does not pump window messages: the progress window
/// waits a moment until it is on the screen and is repainted directly from then on. What people click or type
/// meanwhile reaches the host when the computation is over.
///
/// In a worker thread the windows are carried over to the thread of the user interface, which stays alive: a
/// message waits for its answer there, progress never waits, and its window has a button "Annuler" that makes
/// IsCancelRequested of the run's progress true. End the workers before the QApplication ends.
///
/// Without a QApplication, and for a message that the user interface does not take up within seconds because
/// it waits for the worker itself, a console display answers instead; this is said once on standard error.
class MTH_EXPORT STD_QT_DISPLAY : public STD_DISPLAY {
 public:
  STD_QT_DISPLAY();
  ~STD_QT_DISPLAY() override;

  /// Shows a modal dialog above all windows, with the icon of its kind and one button, OK, and waits for its
  /// end. While it is open the cursor is the arrow.
  /// @param text  shown as it stands, without markup.
  /// @return      the code of the OK button (QMessageBox::Ok), also by Escape; 0 when the dialog was closed
  ///              without a button; 1 where the console answers.
  int ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) override;

  /// Opens a progress window of its own; see STD_WAIT_BAR_WINDOW. In a worker thread it appears when it is
  /// shown.
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override;

 private:
  STD_DISPLAY& Console();

  std::atomic<bool> hasSaidWhyNot_ = false;
};
