#include <QApplication>
#include <QScreen>
#include <QThread>

#include "std/qt/Std_qt_window_internal.h"

namespace mth_internal {

namespace {

constexpr const char* kEndsWithApplication = "mthEndsWithApplication";

// Run at the start of the application's destruction. The windows are told from the others before any is
// deleted: some of the others, such as menus, go with them.
void DeleteRemainingWindows() {
  QWidgetList windows = QApplication::topLevelWidgets();
  windows.removeIf([](const QWidget* window) { return !window->property(kEndsWithApplication).toBool(); });
  qDeleteAll(windows);
}

}  // namespace

bool IsUserInterfaceThread() {
  const QCoreApplication* application = QCoreApplication::instance();
  return qobject_cast<const QApplication*>(application) != nullptr && !QCoreApplication::closingDown() &&
         application->thread() == QThread::currentThread();
}

void MakeLibraryWindow(QWidget& window, Qt::WindowFlags flags) {
  window.setWindowFlags(flags | Qt::WindowStaysOnTopHint);
  window.setAttribute(Qt::WA_QuitOnClose, false);
}

void DeleteWithApplication(QWidget& window) {
  window.setProperty(kEndsWithApplication, true);
  qRemovePostRoutine(DeleteRemainingWindows);  // each application forgets it at its end: keep it once
  qAddPostRoutine(DeleteRemainingWindows);
}

void CentreOnScreen(QWidget& window) {
  const QScreen* screen = QGuiApplication::primaryScreen();
  if (screen == nullptr) return;
  QRect place(QPoint(), window.size());
  place.moveCenter(screen->availableGeometry().center());
  window.move(place.topLeft());
}

}  // namespace mth_internal
