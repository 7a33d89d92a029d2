#pragma once

#include <gtest/gtest.h>

#include <QApplication>
#include <QDeadlineTimer>
#include <QStyleFactory>
#include <QThread>
#include <QTimer>
#include <chrono>
#include <optional>

#include "std/qt/Std_qt_display.h"

namespace mth_test {

/// Handles events until a condition holds; false when it does not in a time that no machine needs.
template <class Condition>
bool PumpUntil(Condition condition) {
  const QDeadlineTimer deadline(std::chrono::minutes(5));
  while (!condition()) {
    if (deadline.hasExpired()) return false;
    QCoreApplication::processEvents();
    QThread::msleep(1);
  }
  return true;
}

/// A QApplication without a screen and the Qt display, for the life of a test.
class QtTest : public ::testing::Test {
 protected:
  QtTest() {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    if (qgetenv("QT_QPA_PLATFORM") != "wayland") {
      application_.emplace(argumentsCount_, arguments_);
    } else if (qApp == nullptr) {  // one for all tests: Qt may wait for ever at its end
      static int count = 1;
      static char* arguments[] = {new char[5]{"test"}, nullptr};
      new QApplication(count, arguments);
    }
    QApplication::setStyle(QStyleFactory::create("Fusion"));
  }

  /// Ends the application, as the end of a host's main does.
  void EndApplication() { application_.reset(); }

  /// The only window of that type on the screen; null when there is none, or more than one.
  template <class Window>
  static Window* Shown() {
    Window* found = nullptr;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
      auto* window = dynamic_cast<Window*>(widget);
      if (window == nullptr || !window->isVisible()) continue;
      if (found != nullptr) return nullptr;
      found = window;
    }
    return found;
  }

 private:
  int argumentsCount_ = 1;
  char name_[5] = "test";
  char* arguments_[2] = {name_, nullptr};
  std::optional<QApplication> application_;
  STD_QT_DISPLAY display_;
  STD_DISPLAY_SCOPE scope_{&display_};
};

}  // namespace mth_test
