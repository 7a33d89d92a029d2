// A desktop host: shows slices of an image and runs the library's computations on them, with the library's
// own windows.
//   desktop_host [IMAGE]

#include <QApplication>
#include <QTimer>
#include <algorithm>
#include <string_view>

#include "main_window.h"
#include "std/qt/Std_qt_display.h"
#include "support/cancellation.h"
#include "support/command_line.h"
#include "support/failure.h"

namespace {

// Help and version are told without a screen; all else that begins with a dash is Qt's.
bool IsAnswered(int argc, char** argv) {
  const bool asks = std::any_of(argv, argv + argc, [](const char* argument) {
    const std::string_view word(argument);
    return word == "-h" || word == "--help" || word == "--version";
  });
  if (!asks) return false;
  CLI::App app("Shows an image, divides it into tissues and denoises it.", "desktop_host");
  std::string path;
  app.add_option("IMAGE", path, "Image or volume to open");
  return !example::ParseCommandLine(app, argc, argv);
}

// A computation ends on Ctrl-C, too.
class Display : public STD_QT_DISPLAY {
 public:
  bool IsCancelRequested() const override {
    return STD_QT_DISPLAY::IsCancelRequested() || example::IsCancelled();
  }
};

int Run(int argc, char** argv) {
  if (IsAnswered(argc, argv)) return 0;
  const QApplication application(argc, argv);
  Display display;
  const STD_DISPLAY_SCOPE scope(&display);
  desktop_host::MainWindow window;
  window.show();
  // A signal wakes no event loop: what it asks for is looked at often enough for people.
  constexpr int kMilliseconds = 100;
  QTimer timer;
  QObject::connect(&timer, &QTimer::timeout, [&window] {
    if (example::IsCancelled() && !window.IsBusy()) QApplication::exit();
  });
  timer.start(kMilliseconds);
  if (argc > 1) window.Open(argv[1]);
  const int status = QApplication::exec();
  example::ThrowIfCancelled();
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  return example::RunProgram("desktop_host", Run, argc, argv);
}
