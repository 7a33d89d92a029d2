#include "std/qt/Std_wait_bar_window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFontInfo>
#include <QFrame>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStyleOptionProgressBar>
#include <QStylePainter>
#include <QVBoxLayout>
#include <utility>

#include "std/qt/Std_qt_window_internal.h"
#include "std/qt/Std_screen_internal.h"
#include "std/qt/Std_wait_bar_view_internal.h"

#if defined(_WIN32)
#include <windows.h>
#endif

namespace {

constexpr int kDefaultMaximum = 100;
constexpr int kColumns = 60;  // characters of text: more than the library's longest

// A busy application's windows would be replaced by lifeless copies: nothing pumps messages meanwhile.
void KeepUnresponsiveWindows() {
#if defined(_WIN32)
  DisableProcessWindowsGhosting();
#endif
}

// Qt draws the text of a label in the direction of its letters, whatever the layout direction, and would cut
// a long one at its start without a word.
class RightToLeftLabel : public QLabel {
 public:
  using QLabel::QLabel;

 protected:
  void paintEvent(QPaintEvent*) override {
    QStylePainter painter(this);
    const QString shown = fontMetrics().elidedText(text(), Qt::ElideLeft, contentsRect().width());
    painter.drawItemText(contentsRect(), static_cast<int>(alignment()) | Qt::TextForceRightToLeft, palette(),
                         isEnabled(), shown, foregroundRole());
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
  window.Cancel->setObjectName("Cancel");
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
  window.Cancel->hide();
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
  layout->addWidget(window.Cancel, 0, Qt::AlignRight);
}

}  // namespace

STD_WAIT_BAR_WINDOW::STD_WAIT_BAR_WINDOW()
    : Action(new RightToLeftLabel),
      Panel1(new QFrame(this)),
      ProgressBar1(new StillProgressBar(this)),
      Title(new QLabel),
      lblInformation1(new QLabel(this)),
      Cancel(new QPushButton("Annuler", this)) {
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

void STD_WAIT_BAR_WINDOW::LetCancel(std::function<void()> cancel) {
  Cancel->disconnect(this);  // from what an earlier run gave, which may be gone
  connect(Cancel, &QPushButton::clicked, this, [this, cancel = std::move(cancel)] {
    Cancel->setEnabled(false);
    cancel();
  });
  Cancel->setEnabled(true);
  Cancel->show();
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
  // Also of a window that its host has destroyed; an application that has ended took its cursors along.
  if (QCoreApplication::instance() != nullptr) QGuiApplication::restoreOverrideCursor();
  if (!window_) return;
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
  WaitForScreen(*window_);
  window_->repaint();
}

}  // namespace mth_internal
