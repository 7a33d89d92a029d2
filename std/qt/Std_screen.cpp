#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QDeadlineTimer>
#include <QEvent>
#include <QLibrary>
#include <QPointer>
#include <QThread>
#include <QWidget>
#include <QWindow>
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

#include "std/qt/Std_screen_internal.h"

#if defined(MTH_HAS_XCB)
#include <xcb/xcb.h>
#endif

namespace mth_internal {
namespace {

constexpr int kPatienceMilliseconds = 1000;
constexpr int kCompositorPatienceMilliseconds = 10000;  // it answers every window, but may be busy

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

// Keeps what the window system tells other windows, in its order, until it ends: it would run code of the
// host.
class OtherWindowsHeld : public QObject {
 public:
  explicit OtherWindowsHeld(const QWindow* window) : window_(window) { qApp->installEventFilter(this); }
  ~OtherWindowsHeld() override {
    qApp->removeEventFilter(this);
    for (const auto& [receiver, event] : held_) {
      if (receiver) {
        QCoreApplication::postEvent(receiver, event);
      } else {
        delete event;
      }
    }
  }
  bool eventFilter(QObject* receiver, QEvent* event) override {
    if (!receiver->isWindowType() || receiver == window_ || !event->spontaneous()) return false;
    held_.emplace_back(receiver, event->clone());
    return true;
  }

 private:
  const QWindow* window_;
  std::vector<std::pair<QPointer<QObject>, QEvent*>> held_;
};

// Hands out what Qt has heard from the window system, which waits apart from the posted events. Qt offers it
// to its platforms only, so that it is looked up, and may be missing.
using SendWindowSystemEvents = bool (*)(QEventLoop::ProcessEventsFlags);
SendWindowSystemEvents FindSender() {
  return reinterpret_cast<SendWindowSystemEvents>(QLibrary::resolve(
      "Qt6Gui", 6,
      "_ZN22QWindowSystemInterface22sendWindowSystemEventsE6QFlagsIN10QEventLoop17ProcessEventsFlagEE"));
}

// A Wayland compositor has no pixels for a window before it was sent events and Qt has answered them. Qt
// reads them when its dispatcher says that it is awake.
bool WaitUntilConfigured(const QWidget& window) {
  static const SendWindowSystemEvents send = FindSender();
  QAbstractEventDispatcher* const dispatcher = QAbstractEventDispatcher::instance();
  if (send == nullptr || dispatcher == nullptr) return false;
  const OtherWindowsHeld held(window.windowHandle());
  const QDeadlineTimer deadline(kCompositorPatienceMilliseconds);
  while (!IsExposed(window) && !deadline.hasExpired()) {
    Q_EMIT dispatcher->awake();
    send(QEventLoop::ExcludeUserInputEvents);
    QThread::msleep(1);
  }
  return IsExposed(window);
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
  const QString platform = QGuiApplication::platformName();
  const bool isWayland = platform.startsWith("wayland");
  if (isWayland && WaitUntilConfigured(window)) return;
  if (isWayland || platform == "cocoa") PumpUntilExposed(window);
  window.setAttribute(Qt::WA_Mapped);  // Qt paints no window that it does not know to be on the screen
}

}  // namespace mth_internal
