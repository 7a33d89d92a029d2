#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "std/Std_display.h"
#include "std/Std_export.h"

/// Shows messages and progress in Qt windows. A host installs it with Std_SetDisplay once its QApplication
/// stands; the library then paints its windows in the thread of the user interface while it computes there.
///
/// The computation does not pump window messages: the progress window waits a moment for its first exposure,
/// with user input held back, and is repainted directly from then on. What people click or type meanwhile
/// reaches the host when the computation is over.
///
/// Without a QApplication, or in another thread than the one it lives in, a console display answers instead;
/// this is said once on standard error.
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

  /// Opens a progress window of its own; see STD_WAIT_BAR_WINDOW.
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override;

 private:
  bool CanShowWindows();

  std::atomic<bool> hasSaidWhyNot_ = false;
};
