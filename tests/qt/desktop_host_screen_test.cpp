#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QProgressBar>
#include <QWindow>

#include "application.h"
#include "legend.h"
#include "main_window.h"
#include "screen.h"
#include "std/qt/Std_wait_bar_window.h"

namespace mth_test {
namespace {

class DesktopHostScreen : public QtTest {};

bool ClickOnEntry(QWidget& menu, const QRect& entry) {
  const QPoint place = menu.mapToGlobal(entry.center());
  return Xdotool("mousemove " + std::to_string(place.x()) + " " + std::to_string(place.y()) + " click 1");
}

// Chooses Compute, Fuzzy c-means with the mouse, twice; a picture of the host at work is kept.
TEST_F(DesktopHostScreen, ShowsItsProgressFromItsMenu) {
  int probes = 0;
  std::optional<desktop_host::MainWindow> window;
  const auto probe = [&] {
    ++probes;
    auto* progress = Shown<STD_WAIT_BAR_WINDOW>();
    ASSERT_NE(progress, nullptr);
    ASSERT_TRUE(PumpUntil([&] { return progress->windowHandle()->isExposed(); }));
    progress->repaint();  // the worker waits, and what it told last may not be painted yet
    const QImage screenshot = Screenshot();
    EXPECT_TRUE(screenshot.copy(window->frameGeometry()).save(MTH_PICTURES_DIR "/desktop_host.png"));
    const QRect bar = PlaceOnScreen(*progress->ProgressBar1);
    EXPECT_GT(screenshot.pixelColor(bar.left() + bar.width() / 20, bar.center().y()).saturation(), 80);
    EXPECT_LT(screenshot.pixelColor(bar.right() - bar.width() / 4, bar.center().y()).saturation(), 80);
  };
  // The run is at home in a worker, which waits while the interface looks; it converges long before its half.
  constexpr int kParts = 10;
  const auto fromWorker = [&] { QMetaObject::invokeMethod(&*window, probe, Qt::BlockingQueuedConnection); };
  HalfwayDisplay display(*Std_SetDisplay(nullptr), fromWorker, kParts);
  const STD_DISPLAY_SCOPE scope(&display);
  window.emplace();
  window->move(150, 80);
  window->show();
  window->Open(MTH_DATA_DIR "/t1_brain_axial.nii.gz");
  ASSERT_TRUE(PumpUntil([&] { return window->windowHandle()->isExposed(); }));

  QMenuBar* menus = window->menuBar();
  QAction* compute = menus->actions()[1];
  QMenu& entries = *compute->menu();
  for (int run = 1; run <= 2; ++run) {
    ASSERT_TRUE(ClickOnEntry(*menus, menus->actionGeometry(compute)));
    ASSERT_TRUE(PumpUntil([&] { return entries.isVisible(); }));
    ASSERT_TRUE(ClickOnEntry(entries, entries.actionGeometry(entries.actions()[0])));
    EXPECT_TRUE(PumpUntil([&] { return probes == run && !window->IsBusy(); }));
  }
  EXPECT_EQ(TextsOf(*window->findChild<QListWidget*>("legend")), LegendOfCommandLine("-m fcm -c 3"));
}

}  // namespace
}  // namespace mth_test
