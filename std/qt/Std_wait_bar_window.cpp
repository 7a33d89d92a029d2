#include "std/qt/Std_wait_bar_window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDeadlineTimer>
#include <QFontInfo>
#include <QFrame>
#include <QLabel>
#include <QProgressBar>
#include <QStyleOptionProgressBar>
#include <QStylePainter>
#include <QThread>
#include <QVBoxLayout>
#include <QWindow>

#include "std/qt/Std_qt_window_internal.h"
#include "std/qt/Std_wait_bar_view_internal.h"

#if defined(_WIN32)
#include <windows.h>
#endif

namespace {

constexpr int kDefaultMaximum = 100;
constexpr int kColumns = 60;                 // characters of text: more than the library's longest
constexpr int kExposureMilliseconds = 1000;  // a window system that shows nothing by then is left alone

// A busy application's windows would be replaced by lifeless copies: nothing pumps messages meanwhile.
void KeepUnresponsiveWindows() {
#if defined(_WIN32)
  DisableProcessWindowsGhosting();
#endif
}

// Qt draws the text of a label in the direction of its letters, whatever the layout direction.
class RightToLeftLabel : public QLabel {
 public:
  using QLabel::QLabel;

 protected:
  void paintEvent(QPaintEvent*) override {
    QStylePainter painter(this);
    painter.drawItemText(contentsRect(), static_cast<int>(alignment()) | Qt::TextForceRightToLeft, palette(),
                         isEnabled(), text(), foregroundRole());
  }
};

// Qt takes a range from 0 to 0 for work of unknown length and draws a bar that moves; ours stays empty.
class StillProgressBar : public QProgressBar {
 public:
  using QProgressBar::QProgressBar;

 protected:
  void initStyleOption(QStyleOptionProgressBar* option) const override {
    QProgressBar::initStyleOption(option);
    if (option->maximum > 0) return;
    option->maximum = 1;
    option->progress = 0;
  }
};

void Reset(STD_WAIT_BAR_WINDOW& window) {
  window.Title->setText("Title");
  window.Action->setText("Action");
  window.ProgressBar1->setRange(0, kDefaultMaximum);
  window.ProgressBar1->setValue(0);
}

void NameComponents(STD_WAIT_BAR_WINDOW& window) {
  window.Action->setObjectName("Action");
  window.Panel1->setObjectName("Panel1");
  window.ProgressBar1->setObjectName("ProgressBar1");
  window.Title->setObjectName("Title");
  window.lblInformation1->setObjectName("lblInformation1");
}

void DressComponents(STD_WAIT_BAR_WINDOW& window) {
  for (QLabel* label : {window.Action, window.Title, window.lblInformation1}) {
    label->setTextFormat(Qt::PlainText);
  }
  // Absolute: the reading order does not move the text to the other side.
  for (QLabel* label : {window.Action, window.Title}) {
    label->setAlignment(Qt::AlignRight | Qt::AlignAbsolute | Qt::AlignVCenter);
  }
  window.Action->setLayoutDirection(Qt::RightToLeft);
  window.Panel1->setFrameShape(QFrame::NoFrame);
  window.ProgressBar1->setTextVisible(false);
  window.ProgressBar1->setCursor(Qt::WaitCursor);

  QFont bannerFont = window.font();
  bannerFont.setBold(true);
  bannerFont.setPointSizeF(1.5 * QFontInfo(bannerFont).pointSizeF());  // also of a font sized in pixels
  window.lblInformation1->setFont(bannerFont);
  window.lblInformation1->setForegroundRole(QPalette::Link);
  window.lblInformation1->setText("Quorvan");
}

void ArrangeComponents(STD_WAIT_BAR_WINDOW& window) {
  auto* panelLayout = new QVBoxLayout(window.Panel1);
  panelLayout->setContentsMargins(0, 0, 0, 0);
  panelLayout->addWidget(window.Title);
  panelLayout->addWidget(window.Action);
  auto* layout = new QVBoxLayout(&window);
  layout->addWidget(window.lblInformation1);
  layout->addWidget(window.Panel1);
  layout->addWidget(window.ProgressBar1);
}

// Waits until the window system has room for the window's pixels, which can then be painted without pumping
// messages. What people do meanwhile stays in the queue; the host's timers and sockets stay silent as well.
void WaitForExposure(const QWidget& window) {
  constexpr auto kWindowSystemOnly =
      QEventLoop::ExcludeUserInputEvents | QEventLoop::ExcludeSocketNotifiers | QEventLoop::X11ExcludeTimers;
  const auto isExposed = [&window] {
    return window.windowHandle() != nullptr && window.windowHandle()->isExposed();
  };
  const QDeadlineTimer deadline(kExposureMilliseconds);
  while (!isExposed() && !deadline.hasExpired()) {
    QCoreApplication::processEvents(kWindowSystemOnly);
    QThread::msleep(1);
  }
}

}  // namespace

STD_WAIT_BAR_WINDOW::STD_WAIT_BAR_WINDOW()
    : Action(new RightToLeftLabel),
      Panel1(new QFrame(this)),
      ProgressBar1(new StillProgressBar(this)),
      Title(new QLabel),
      lblInformation1(new QLabel(this)) {
  KeepUnresponsiveWindows();
  mth_internal::MakeLibraryWindow(*this, Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint |
                                             Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                                             Qt::WindowDoesNotAcceptFocus);
  // What people type meanwhile stays with the host's window.
  setAttribute(Qt::WA_ShowWithoutActivating);
  setWindowTitle("Please wait");
  QFont plainFont = font();
  plainFont.setFamily("MS Sans Serif");
  setFont(plainFont);
  ArrangeComponents(*this);
  NameComponents(*this);
  DressComponents(*this);
  Reset(*this);
  Panel1->setFixedWidth(kColumns * fontMetrics().averageCharWidth());
  setFixedSize(sizeHint());
}

std::unique_ptr<STD_WAIT_BAR_VIEW> STD_WAIT_BAR_WINDOW::NewView() {
  Reset(*this);
  return std::make_unique<mth_internal::QtWaitBarView>(this, mth_internal::QtWaitBarView::AtEnd::HideWindow);
}

void STD_WAIT_BAR_WINDOW::closeEvent(QCloseEvent* event) {
  event->ignore();
}

namespace mth_internal {

QtWaitBarView::QtWaitBarView(STD_WAIT_BAR_WINDOW* window, AtEnd atEnd) : window_(window), atEnd_(atEnd) {
  QGuiApplication::setOverrideCursor(Qt::WaitCursor);
}

QtWaitBarView::~QtWaitBarView() {
  if (!window_) return;
  QGuiApplication::restoreOverrideCursor();
  if (atEnd_ == AtEnd::DeleteWindow) {
    delete window_.data();
  } else {
    window_->hide();
  }
}

void QtWaitBarView::SetTitle(const std::string& text) {
  if (!window_) return;
  window_->Title->setText(ToQString(text));
  window_->Panel1->repaint();
}

// Repaints more than the panel: nothing else mends what another window has covered meanwhile.
void QtWaitBarView::SetAction(const std::string& text) {
  if (!window_) return;
  window_->Action->setText(ToQString(text));
  window_->repaint();
}

void QtWaitBarView::SetMaximum(int maximum) {
  if (!window_) return;
  window_->ProgressBar1->setMaximum(maximum);
  window_->ProgressBar1->repaint();
}

void QtWaitBarView::SetPosition(int position) {
  if (!window_) return;
  QProgressBar& bar = *window_->ProgressBar1;
  bar.setUpdatesEnabled(false);  // it would paint some of the units by itself, and so twice
  bar.setValue(position);
  bar.setUpdatesEnabled(true);
  bar.repaint();
}

void QtWaitBarView::Show() {
  if (!window_) return;
  CentreOnScreen(*window_);
  window_->show();
  WaitForExposure(*window_);
  if (window_) window_->repaint();
}

}  // namespace mth_internal
