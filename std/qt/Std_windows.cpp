#include "std/qt/Std_windows.h"

#include <QPointer>

#include "std/qt/Std_qt_window_internal.h"

namespace {

// The window that lives as long as its application; a new application gets a new one.
template <class Window, class... Arguments>
Window* Shared(QPointer<Window>& window, Arguments... arguments) {
  if (!window) {
    window = new Window(arguments...);
    mth_internal::DeleteWithApplication(*window);
  }
  return window;
}

STD_WINDOWS SharedWindows() {
  static QPointer<STD_CUSTOM_DIALOG> twoButtons;
  static QPointer<STD_CUSTOM_DIALOG> threeButtons;
  static QPointer<STD_WAIT_BAR_WINDOW> waitBar;
  static QPointer<STD_TEXT_EDITOR_WINDOW> textEditor;
  return {Shared(twoButtons, 2), Shared(threeButtons, 3), Shared(waitBar), Shared(textEditor)};
}

}  // namespace

bool Std_CreateWindows(STD_WINDOWS& windows) {
  windows = {};
  if (!mth_internal::IsUserInterfaceThread()) return false;
  try {
    windows = SharedWindows();
  } catch (...) {
    return false;
  }
  return true;
}
