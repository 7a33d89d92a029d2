#include <std/Std.h>
#include <std/qt/Std_qt_display.h>

#include <QApplication>
#include <QProgressBar>

// The program of a host that uses Qt: a computation with its progress window.
int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  STD_QT_DISPLAY display;
  const STD_DISPLAY_SCOPE scope(&display);
  TSTD_WAIT_BAR bar;
  bar.SetStepsCount(2);
  bar.Show();
  bar.StepAction("first");
  for (const QWidget* window : QApplication::topLevelWidgets()) {
    const auto* shown = window->findChild<QProgressBar*>("ProgressBar1");
    if (shown != nullptr && window->isVisible()) return shown->value() == 5 ? 0 : 1;
  }
  return 1;
}
