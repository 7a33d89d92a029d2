#include "std/qt/Std_qt_display.h"

#include <QApplication>
#include <QCloseEvent>
#include <QMessageBox>
#include <cstdio>

#include "std/Std_console_display.h"
#include "std/Std_default_title_internal.h"
#include "std/qt/Std_qt_window_internal.h"
#include "std/qt/Std_wait_bar_view_internal.h"
#include "std/qt/Std_worker_view_internal.h"

namespace {

constexpr int kClosedWithoutButton = QDialog::Rejected;

QMessageBox::Icon IconOf(MessageKind kind) {
  switch (kind) {
    case MessageKind::Warning:
      return QMessageBox::Warning;
    case MessageKind::Error:
      return QMessageBox::Critical;
    case MessageKind::Information:
      return QMessageBox::Information;
    case MessageKind::Confirmation:
      return QMessageBox::Question;
    default:
      return QMessageBox::NoIcon;
  }
}

// Qt takes the window's close button for a click on the only button; callers can tell the two apart here.
class MessageDialog : public QMessageBox {
 public:
  using QMessageBox::QMessageBox;

 protected:
  void closeEvent(QCloseEvent* event) override {
    QMessageBox::closeEvent(event);
    if (event->isAccepted()) setResult(kClosedWithoutButton);
  }
};

// The arrow while people answer, even in the middle of a computation.
class ArrowCursorScope {
 public:
  ArrowCursorScope() { QGuiApplication::setOverrideCursor(Qt::ArrowCursor); }
  ~ArrowCursorScope() { QGuiApplication::restoreOverrideCursor(); }
  ArrowCursorScope(const ArrowCursorScope&) = delete;
  ArrowCursorScope& operator=(const ArrowCursorScope&) = delete;
};

int ShowDialog(const std::string& text, MessageKind kind, const std::string& caption) {
  MessageDialog dialog;
  mth_internal::MakeLibraryWindow(dialog, dialog.windowFlags());
  dialog.setIcon(IconOf(kind));
  dialog.setTextFormat(Qt::PlainText);
  dialog.setText(mth_internal::ToQString(text));
  dialog.setWindowTitle(
      mth_internal::ToQString(caption.empty() ? mth_internal::DefaultTitle(kind) : caption));
  dialog.setStandardButtons(QMessageBox::Ok);
  dialog.setDefaultButton(QMessageBox::Ok);
  const ArrowCursorScope arrow;
  return dialog.exec();
}

}  // namespace

STD_QT_DISPLAY::STD_QT_DISPLAY() = default;

STD_QT_DISPLAY::~STD_QT_DISPLAY() = default;

// One for each thread, so that threads share no state but the stream.
STD_DISPLAY& STD_QT_DISPLAY::Console() {
  static thread_local STD_CONSOLE_DISPLAY console;
  if (!hasSaidWhyNot_.exchange(true)) {
    std::fputs("Pas de fenêtres hors du fil de l'interface (QApplication) : la console les remplace.\n",
               stderr);
  }
  return console;
}

int STD_QT_DISPLAY::ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) {
  if (mth_internal::IsUserInterfaceThread()) return ShowDialog(text, kind, caption);
  int answer = 0;
  const auto ask = [&] { answer = ShowDialog(text, kind, caption); };
  if (mth_internal::IsWorkerThread() && mth_internal::RunInUserInterface(ask)) return answer;
  return Console().ShowMessage(text, kind, caption);
}

std::unique_ptr<STD_WAIT_BAR_VIEW> STD_QT_DISPLAY::CreateWaitBarView() {
  using mth_internal::QtWaitBarView;
  if (mth_internal::IsWorkerThread()) return std::make_unique<mth_internal::WorkerView>();
  if (!mth_internal::IsUserInterfaceThread()) return Console().CreateWaitBarView();
  auto window = std::make_unique<STD_WAIT_BAR_WINDOW>();
  auto view = std::make_unique<QtWaitBarView>(window.get(), QtWaitBarView::AtEnd::DeleteWindow);
  mth_internal::DeleteWithApplication(*window.release());
  return view;
}
