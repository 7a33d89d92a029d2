#include "screen.h"

#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QWindow>

#include "application.h"
#include "mth/clustering/Mth_clustering.h"
#include "std/Std.h"
#include "std/qt/Std_wait_bar_window.h"

namespace mth_test {
namespace {

class QtScreen : public QtTest {
 protected:
  QtScreen() {
    host_.setGeometry(40, 40, 300, 120);
    button_.setGeometry(20, 20, 200, 60);
    QObject::connect(&button_, &QPushButton::clicked, [this] { ++clicks_; });
    text_.setGeometry(20, 90, 200, 24);
    text_.setFocus();
    button_.setFocusPolicy(Qt::NoFocus);  // the keyboard stays with the text
    host_.show();
    host_.activateWindow();
  }

  bool IsHostReady() {
    return PumpUntil([this] { return host_.windowHandle()->isExposed() && text_.hasFocus(); });
  }

  QWidget host_;
  QPushButton button_{"Lancer", &host_};
  QLineEdit text_{&host_};
  int clicks_ = 0;
};

// Two clouds of samples; by its tolerance of 0 the engine goes on to its last iteration, the twentieth.
void FillEngine(MTH_CLUSTERING& engine) {
  double membership[2] = {0.0, 0.0};
  for (int i = 0; i < 2000; ++i) {
    double value = (i % 2 == 0 ? 10.0 : 80.0) + 0.01 * i;
    MTH_CLUSTERING_SAMPLE sample(&value, 1, membership, 2);
    engine.AddSample(&sample);
  }
  double start[2] = {0.0, 60.0};
  for (int k = 0; k < 2; ++k) engine.InitialiseCentroid(k, &start[k], 1);
  engine.SetTolerance(0.0);
}

// How much of the bar's width has its colour on the screen.
double FilledShare(const QImage& screenshot, const QRect& bar) {
  int filled = 0;
  for (int x = bar.left(); x <= bar.right(); ++x) {
    if (screenshot.pixelColor(x, bar.center().y()).saturation() > 80) ++filled;
  }
  return static_cast<double>(filled) / bar.width();
}

TEST_F(QtScreen, ProgressIsPaintedAndInputWaitsUntilTheComputationEnds) {
  ASSERT_TRUE(IsHostReady());
  int probes = 0;
  HalfwayDisplay display(*Std_SetDisplay(nullptr), [&] {
    ++probes;
    auto* window = Shown<STD_WAIT_BAR_WINDOW>();
    ASSERT_NE(window, nullptr);
    const QImage screenshot = Screenshot();
    EXPECT_TRUE(screenshot.save(MTH_PICTURES_DIR "/progress_window.png"));
    const QImage onScreen = screenshot.copy(PlaceOnScreen(*window));
    EXPECT_EQ(onScreen, window->grab().toImage().convertToFormat(QImage::Format_RGB32));
    EXPECT_NEAR(FilledShare(screenshot, PlaceOnScreen(*window->ProgressBar1)), 0.5, 0.02);
    EXPECT_EQ(window->Title->text(), "Fuzzy C Means en cours...");
    EXPECT_TRUE(Xdotool("search --onlyvisible --name '^Please wait$'"));
    EXPECT_TRUE(Xdotool("type abc"));
    EXPECT_TRUE(ClickOn(button_, 3));
  });
  const STD_DISPLAY_SCOPE scope(&display);
  MTH_CLUSTERING engine(2, 1);
  FillEngine(engine);
  EXPECT_TRUE(ClickOn(button_, 1));  // waits already when the window is shown
  int posted = 0;
  QMetaObject::invokeMethod(
      &host_, [&] { ++posted; }, Qt::QueuedConnection);
  EXPECT_LT(engine.ApplyFuzzyCMeanClustering(), 1.0);
  EXPECT_EQ(posted, 0);
  EXPECT_EQ(probes, 1);
  EXPECT_EQ(clicks_, 0);
  EXPECT_EQ(text_.text(), "");
  EXPECT_FALSE(Xdotool("search --onlyvisible --name '^Please wait$'"));  // gone at once
  EXPECT_TRUE(PumpUntil([&] { return clicks_ == 4; })) << clicks_;
  EXPECT_EQ(text_.text(), "abc");
}

TEST_F(QtScreen, MessageIsAnsweredWithTheMouse) {
  ASSERT_TRUE(IsHostReady());
  bool wasAnswered = false;
  QTimer timer;
  QObject::connect(&timer, &QTimer::timeout, [&] {
    auto* dialog = Shown<QMessageBox>();
    if (dialog == nullptr || !dialog->windowHandle()->isExposed()) return;
    timer.stop();
    const QImage onScreen = Screenshot().copy(PlaceOnScreen(*dialog->defaultButton()));
    EXPECT_NE(onScreen, QImage(onScreen.size(), onScreen.format()));
    EXPECT_TRUE(ClickOn(button_, 1));  // behind the dialog: it is not for the host
    wasAnswered = ClickOn(*dialog->defaultButton(), 1);
    if (!wasAnswered) dialog->close();
  });
  timer.start(1);
  EXPECT_EQ(Std_ShowMessage("Erreur dans les matrices d'entrée!", MessageKind::Error, ""), QMessageBox::Ok);
  EXPECT_TRUE(wasAnswered);
  QCoreApplication::processEvents();
  EXPECT_EQ(clicks_, 0);
}

}  // namespace
}  // namespace mth_test
