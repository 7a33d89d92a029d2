// A desktop host: shows slices of an image and runs the library's computations on them, with the library's
// own windows.
//   desktop_host [IMAGE]

#include <QApplication>

#include "main_window.h"
#include "std/qt/Std_qt_display.h"
#include "support/failure.h"

namespace {

int Run(int argc, char** argv) {
  const QApplication application(argc, argv);
  STD_QT_DISPLAY display;
  const STD_DISPLAY_SCOPE scope(&display);
  desktop_host::MainWindow window;
  window.show();
  if (argc > 1) window.Open(argv[1]);
  return QApplication::exec();
}

}  // namespace

int main(int argc, char** argv) {
  return example::RunProgram("desktop_host", Run, argc, argv);
}
