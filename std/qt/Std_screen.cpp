#include <QApplication>
#include <QDeadlineTimer>
#include <QThread>
#include <QWidget>
#include <QWindow>
#include <cstdlib>
#include <memory>

#include "std/qt/Std_screen_internal.h"

#if defined(MTH_HAS_XCB)
#include <xcb/xcb.h>
#endif

namespace mth_internal {
namespace {

constexpr int kPatienceMilliseconds = 1000;

bool IsExposed(const QWidget& window) {
  return window.windowHandle() != nullptr && window.windowHandle()->isExposed();
}

#if defined(MTH_HAS_XCB)
xcb_connection_t* X11Connection() {
  const auto* x11 = qApp->nativeInterface<QNativeInterface::QX11Application>();
  return x11 != nullptr ? x11->connection() : nullptr;
}

// Asks the X server itself whether the window is on the screen. Qt would learn it from its event queue, and
// handing out that queue runs code of the host: its queued calls and its timers.
void WaitUntilViewable(xcb_connection_t* connection, QWidget& window) {
  const auto id = static_cast<xcb_window_t>(window.winId());
  const QDeadlineTimer deadline(kPatienceMilliseconds);
  while (!deadline.hasExpired()) {
    const std::unique_ptr<xcb_get_window_attributes_reply_t, decltype(&std::free)> reply(
        xcb_get_window_attributes_reply(connection, xcb_get_window_attributes(connection, id), nullptr),
        &std::free);
    if (reply && reply->map_state == XCB_MAP_STATE_VIEWABLE) break;
    QThread::msleep(1);
  }
}
#endif

// Whether the platform has no pixels for a window before it has sent it events.
bool MustPump() {
  const QString platform = QGuiApplication::platformName();
  return platform.startsWith("wayland") || platform == "cocoa";
}

// What people do stays in the queue, and so do timers and sockets; queued calls of the host may pass.
void PumpUntilExposed(const QWidget& window) {
  constexpr auto kWindowSystemOnly =
      QEventLoop::ExcludeUserInputEvents | QEventLoop::ExcludeSocketNotifiers | QEventLoop::X11ExcludeTimers;
  const QDeadlineTimer deadline(kPatienceMilliseconds);
  while (!IsExposed(window) && !deadline.hasExpired()) {
    QCoreApplication::processEvents(kWindowSystemOnly);
    QThread::msleep(1);
  }
}

}  // namespace

void WaitForScreen(QWidget& window) {
  if (IsExposed(window)) return;
#if defined(MTH_HAS_XCB)
  if (xcb_connection_t* connection = X11Connection()) WaitUntilViewable(connection, window);
#endif
  if (MustPump()) PumpUntilExposed(window);
  window.setAttribute(Qt::WA_Mapped);  // Qt paints no window that it does not know to be on the screen
}

}  // namespace mth_internal
