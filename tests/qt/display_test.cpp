#include <QFrame>
#include <QKeyEvent>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "application.h"
#include "std/Std.h"
#include "std/qt/Std_wait_bar_window.h"

namespace mth_test {
namespace {

class QtDisplay : public QtTest {
 protected:
  // Shows a message and hands its dialog to `answer` once it is open.
  template <class Answer>
  static int Ask(const std::string& text, MessageKind kind, const std::string& caption, Answer answer) {
    QTimer::singleShot(0, [&] {
      auto* dialog = Shown<QMessageBox>();
      if (dialog == nullptr) std::abort();  // nobody would ever close it
      answer(*dialog);
    });
    return Std_ShowMessage(text, kind, caption);
  }
};

TEST_F(QtDisplay, MessageIsAModalDialogWithOneButton) {
  struct Case {
    MessageKind kind;
    std::string caption;
    QMessageBox::Icon icon;
    const char* title;
  };
  const Case cases[] = {{MessageKind::Warning, "", QMessageBox::Warning, "Avertissement"},
                        {MessageKind::Error, "", QMessageBox::Critical, "Erreur"},
                        {MessageKind::Information, "", QMessageBox::Information, "Information"},
                        {MessageKind::Confirmation, "", QMessageBox::Question, "Confirmation"},
                        {MessageKind::Custom, "", QMessageBox::NoIcon, "Information"},
                        {MessageKind::Error, "Quorvan", QMessageBox::Critical, "Quorvan"}};
  for (const Case& c : cases) {
    const int result = Ask("x < y & z> : matrice d'entrée", c.kind, c.caption, [&](QMessageBox& dialog) {
      EXPECT_EQ(dialog.icon(), c.icon);
      EXPECT_EQ(dialog.windowTitle(), QString(c.title));
      EXPECT_EQ(dialog.text(), QString::fromUtf8("x < y & z> : matrice d'entrée"));
      EXPECT_EQ(dialog.textFormat(), Qt::PlainText);
      EXPECT_TRUE(dialog.isModal());
      EXPECT_TRUE(dialog.windowFlags() & Qt::WindowStaysOnTopHint);
      ASSERT_EQ(dialog.buttons().size(), 1);
      EXPECT_EQ(dialog.buttons()[0], dialog.defaultButton());
      dialog.defaultButton()->click();
    });
    EXPECT_EQ(result, QMessageBox::Ok) << c.title;
  }
}

TEST_F(QtDisplay, MessageTellsHowItWasClosed) {
  const auto byEscape = [](QMessageBox& dialog) {
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QApplication::sendEvent(&dialog, &escape);
  };
  EXPECT_EQ(Ask("a", MessageKind::Information, "", byEscape), QMessageBox::Ok);
  EXPECT_EQ(Ask("a", MessageKind::Information, "", [](QMessageBox& dialog) { dialog.close(); }), 0);
  EXPECT_EQ(Shown<QMessageBox>(), nullptr);
}

TEST_F(QtDisplay, ProgressWindowIsAsPublished) {
  TSTD_WAIT_BAR bar;
  EXPECT_EQ(Shown<STD_WAIT_BAR_WINDOW>(), nullptr);  // hidden
  bar.Show();
  auto* window = Shown<STD_WAIT_BAR_WINDOW>();
  ASSERT_NE(window, nullptr);
  EXPECT_EQ(window->windowTitle(), "Please wait");
  EXPECT_EQ(window->minimumSize(), window->maximumSize());
  EXPECT_TRUE(window->windowFlags() & Qt::WindowStaysOnTopHint);
  EXPECT_FALSE(window->windowFlags() &
               (Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint | Qt::WindowMinMaxButtonsHint));
  EXPECT_EQ(window->font().family(), "MS Sans Serif");
  const QPoint offCentre = window->geometry().center() - window->screen()->availableGeometry().center();
  EXPECT_LE(offCentre.manhattanLength(), 8);  // as far as a frame is wider on one side

  for (const QWidget* component : std::vector<QWidget*>{window->Action, window->Panel1, window->ProgressBar1,
                                                        window->Title, window->lblInformation1}) {
    EXPECT_TRUE(component->isVisible());
    EXPECT_EQ(window->findChild<QWidget*>(component->objectName()), component);
    EXPECT_TRUE(window->rect().contains(QRect(component->mapTo(window, QPoint()), component->size())));
  }
  EXPECT_EQ(window->Action->objectName(), "Action");
  EXPECT_EQ(window->Action->parent(), window->Panel1);
  EXPECT_EQ(window->Title->parent(), window->Panel1);
  EXPECT_EQ(window->Action->text(), "Action");
  EXPECT_EQ(window->Action->layoutDirection(), Qt::RightToLeft);
  EXPECT_EQ(window->Title->text(), "Title");
  EXPECT_EQ(window->Title->layoutDirection(), Qt::LeftToRight);
  EXPECT_EQ(window->lblInformation1->text(), "Quorvan");
  EXPECT_EQ(window->lblInformation1->foregroundRole(), QPalette::Link);
  EXPECT_EQ(window->Panel1->frameShape(), QFrame::NoFrame);
  EXPECT_EQ(window->ProgressBar1->cursor().shape(), Qt::WaitCursor);
  EXPECT_EQ(window->ProgressBar1->minimum(), 0);
  EXPECT_EQ(window->ProgressBar1->maximum(), 100);
  EXPECT_EQ(window->ProgressBar1->value(), 0);

  EXPECT_FALSE(window->close());
  EXPECT_TRUE(window->isVisible());
}

// Counts how often a widget is painted, and which values a bar had then.
class PaintCounter : public QObject {
 public:
  explicit PaintCounter(QWidget* widget) : bar_(dynamic_cast<QProgressBar*>(widget)) {
    widget->installEventFilter(this);
  }
  int count = 0;
  std::vector<int> values;

 protected:
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() != QEvent::Paint) return false;
    ++count;
    if (bar_ != nullptr && (values.empty() || values.back() != bar_->value()))
      values.push_back(bar_->value());
    return false;
  }

 private:
  QProgressBar* bar_;
};

TEST_F(QtDisplay, EveryUnitOfAStepIsPaintedAtOnce) {
  TSTD_WAIT_BAR bar;
  bar.SetTitle("K Means en cours...");
  bar.SetStepsCount(2);
  bar.Show();
  auto* window = Shown<STD_WAIT_BAR_WINDOW>();
  ASSERT_NE(window, nullptr);
  EXPECT_EQ(window->ProgressBar1->maximum(), 10);
  EXPECT_EQ(window->Title->text(), "K Means en cours...");

  const PaintCounter actionPaints(window->Action);
  const PaintCounter barPaints(window->ProgressBar1);
  bar.StepAction("Evolution du delta : 0.5 é");
  EXPECT_EQ(window->Action->text(), QString::fromUtf8("Evolution du delta : 0.5 é"));
  EXPECT_EQ(actionPaints.count, 1);
  EXPECT_EQ(barPaints.count, 1 + 5);  // with the window, then after each unit
  bar.StepAction("");
  EXPECT_EQ(barPaints.values, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
  bar.StepAction("");
  EXPECT_EQ(window->ProgressBar1->value(), 10);
}

TEST_F(QtDisplay, BarWithoutStepsIsPaintedEmpty) {
  TSTD_WAIT_BAR bar;
  bar.Show();
  auto* window = Shown<STD_WAIT_BAR_WINDOW>();
  ASSERT_NE(window, nullptr);
  const QImage empty = window->ProgressBar1->grab().toImage();
  bar.StepAction("");
  EXPECT_NE(window->ProgressBar1->grab().toImage(), empty);
  bar.SetStepsCount(0);
  bar.StepAction("");
  EXPECT_EQ(window->ProgressBar1->maximum(), 0);
  EXPECT_EQ(window->ProgressBar1->grab().toImage(), empty);
}

// The leftmost and rightmost columns of a label that are not of its background.
std::pair<int, int> InkedColumns(QWidget& label) {
  const QImage image = label.grab().toImage();
  int first = image.width();
  int last = -1;
  for (int x = 0; x < image.width(); ++x) {
    for (int y = 0; y < image.height(); ++y) {
      if (image.pixel(x, y) == image.pixel(0, 0)) continue;
      first = std::min(first, x);
      last = x;
    }
  }
  return {first, last};
}

TEST_F(QtDisplay, TextsAreJustifiedToTheRight) {
  TSTD_WAIT_BAR bar;
  bar.SetTitle("iiii");
  bar.Show();
  bar.StepAction("iiii");
  auto* window = Shown<STD_WAIT_BAR_WINDOW>();
  ASSERT_NE(window, nullptr);
  for (QLabel* label : {window->Title, window->Action}) {
    const auto [first, last] = InkedColumns(*label);
    EXPECT_GT(first, label->width() / 2) << label->objectName().toStdString();
    EXPECT_GT(last, label->width() - 8) << label->objectName().toStdString();
  }
}

TEST_F(QtDisplay, CursorFollowsTheComputation) {
  ASSERT_EQ(QGuiApplication::overrideCursor(), nullptr);
  {
    TSTD_WAIT_BAR outer;
    EXPECT_EQ(QGuiApplication::overrideCursor()->shape(), Qt::WaitCursor);
    { const TSTD_WAIT_BAR inner; }
    EXPECT_EQ(QGuiApplication::overrideCursor()->shape(), Qt::WaitCursor);
    Ask("a", MessageKind::Information, "", [](QMessageBox& dialog) {
      EXPECT_EQ(QGuiApplication::overrideCursor()->shape(), Qt::ArrowCursor);
      dialog.defaultButton()->click();
    });
    EXPECT_EQ(QGuiApplication::overrideCursor()->shape(), Qt::WaitCursor);
  }
  EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
}

TEST_F(QtDisplay, ComputationRunsNoCodeOfTheHost) {
  int timeouts = 0;
  QTimer timer;
  QObject::connect(&timer, &QTimer::timeout, [&] { ++timeouts; });
  timer.start(0);
  int posted = 0;
  QMetaObject::invokeMethod(
      &timer, [&] { ++posted; }, Qt::QueuedConnection);
  QTimer::singleShot(0, [&] { ++posted; });
  struct Window : QWidget {
    int painted = 0;
    void paintEvent(QPaintEvent*) override { ++painted; }
  } window;  // which the window system is about to show
  window.show();
  window.painted = 0;
  {
    TSTD_WAIT_BAR bar;
    bar.Show();
    for (int step = 0; step < 10; ++step) bar.StepAction("a");
  }
  EXPECT_EQ(timeouts, 0);
  EXPECT_EQ(posted, 0);
  EXPECT_EQ(window.painted, 0);
  EXPECT_TRUE(PumpUntil([&] { return posted == 2 && timeouts > 0 && window.painted > 0; }));
}

TEST_F(QtDisplay, ALongActionShowsThatItIsCut) {
  TSTD_WAIT_BAR bar;
  bar.Show();
  auto* window = Shown<STD_WAIT_BAR_WINDOW>();
  ASSERT_NE(window, nullptr);
  QString parameters;
  for (int i = 0; i < 60; ++i) parameters += QString::number(i) + ".5\t";
  bar.StepAction(parameters.toStdString());
  const QImage cut = window->Action->grab().toImage();
  const QString elided =
      window->Action->fontMetrics().elidedText(parameters, Qt::ElideLeft, window->Action->width());
  EXPECT_TRUE(elided.startsWith(QChar(0x2026)));
  bar.StepAction(elided.toStdString());
  EXPECT_EQ(window->Action->grab().toImage(), cut);
}

TEST_F(QtDisplay, TheHourglassGoesWithItsBarWhateverHappensToTheWindow) {
  auto* window = new STD_WAIT_BAR_WINDOW;
  {
    TSTD_WAIT_BAR bar(window->NewView());
    bar.Show();
    delete window;
    EXPECT_EQ(QGuiApplication::overrideCursor()->shape(), Qt::WaitCursor);
  }
  EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
}

TEST_F(QtDisplay, AWorkersMessageIsAnsweredInTheInterface) {
  int answer = -1;
  std::atomic<bool> isAnswered = false;
  std::thread worker([&] {
    // The console answers for an interface that a busy machine keeps away for too long: asked again.
    for (int i = 0; i < 20 && answer != QMessageBox::Ok; ++i)
      answer = Std_ShowMessage("texte", MessageKind::Error, "Quorvan");
    isAnswered = true;
  });
  QTimer timer;  // the dialog has an event loop of its own
  QObject::connect(&timer, &QTimer::timeout, [&] {
    auto* dialog = Shown<QMessageBox>();
    if (dialog == nullptr) return;
    timer.stop();
    EXPECT_EQ(dialog->thread(), QThread::currentThread());
    EXPECT_EQ(dialog->windowTitle(), "Quorvan");
    dialog->defaultButton()->click();
  });
  timer.start(1);
  EXPECT_TRUE(PumpUntil([&] { return isAnswered.load(); }));
  worker.join();
  EXPECT_EQ(answer, QMessageBox::Ok);
}

TEST_F(QtDisplay, AWorkersProgressIsShownAndCancelled) {
  std::atomic<int> steps = 0;
  std::atomic<bool> isOver = false;
  std::thread worker([&] {
    TSTD_WAIT_BAR bar;
    bar.SetTitle("Calcul");
    bar.SetStepsCount(1000000);
    bar.Show();
    while (!bar.IsCancelRequested()) {
      ++steps;
      bar.StepAction("étape");
    }
    isOver = true;
  });
  STD_WAIT_BAR_WINDOW* window = nullptr;
  EXPECT_TRUE(PumpUntil([&] {
    window = Shown<STD_WAIT_BAR_WINDOW>();
    return window != nullptr && window->ProgressBar1->value() > 0;
  }));
  EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);  // the interface is alive
  if (window != nullptr) {
    EXPECT_EQ(window->Title->text(), "Calcul");
    EXPECT_EQ(window->Action->text(), QString::fromUtf8("étape"));
    EXPECT_EQ(window->ProgressBar1->maximum(), 5000000);
    EXPECT_TRUE(window->Cancel->isVisible());
    EXPECT_TRUE(window->rect().contains(window->Cancel->geometry()));
    EXPECT_FALSE(isOver);
    window->Cancel->click();
  }
  EXPECT_TRUE(PumpUntil([&] { return isOver.load(); }));
  worker.join();
  EXPECT_GT(steps, 0);
  EXPECT_TRUE(PumpUntil([] { return Shown<STD_WAIT_BAR_WINDOW>() == nullptr; }));
}

TEST_F(QtDisplay, AWorkersProgressOutlivesTheApplication) {
  std::atomic<bool> isShown = false;
  std::atomic<bool> hasEnded = false;
  std::thread worker([&] {
    TSTD_WAIT_BAR bar;
    bar.Show();
    isShown = true;
    while (!hasEnded) std::this_thread::yield();
    bar.StepAction("a");
    EXPECT_EQ(bar.GetPosition(), 10);
    EXPECT_FALSE(bar.IsCancelRequested());
  });
  while (!isShown) std::this_thread::yield();
  EndApplication();
  hasEnded = true;
  worker.join();
}

TEST_F(QtDisplay, BarOutlivesTheApplication) {
  TSTD_WAIT_BAR bar;
  bar.Show();
  EndApplication();
  bar.SetTitle("t");
  bar.SetStepsCount(2);
  bar.Show();
  bar.StepAction("a");
  EXPECT_EQ(bar.GetPosition(), 5);
}

// What a program writes to standard error.
std::string ErrorsOf(const std::function<void()>& program) {
  ::testing::internal::CaptureStderr();
  program();
  return ::testing::internal::GetCapturedStderr();
}

const char* const kNoWindows =
    "Pas de fenêtres hors du fil de l'interface (QApplication) : la console les remplace.\n";

void ReportTwice() {
  TSTD_WAIT_BAR bar;
  bar.Show();
  bar.StepAction("a");
  for (int i = 0; i < 2; ++i) EXPECT_EQ(Std_ShowMessage("texte", MessageKind::Information, ""), 1);
}

TEST(QtDisplayAlone, ReportsToTheConsoleWithoutAnApplication) {
  STD_QT_DISPLAY display;
  const STD_DISPLAY_SCOPE scope(&display);
  EXPECT_EQ(ErrorsOf(ReportTwice), std::string(kNoWindows) + "Information: texte\nInformation: texte\n");
  int argumentsCount = 0;
  const QCoreApplication withoutWindows(argumentsCount, nullptr);
  EXPECT_EQ(ErrorsOf(ReportTwice), "Information: texte\nInformation: texte\n");
}

}  // namespace
}  // namespace mth_test
