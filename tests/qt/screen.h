#pragma once

#include <QApplication>
#include <QImage>
#include <QPixmap>
#include <QScreen>
#include <QWidget>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "application.h"
#include "std/Std_display.h"

namespace mth_test {

/// What the screen shows: the X server's pixels, not the program's.
inline QImage Screenshot() {
  return QGuiApplication::primaryScreen()->grabWindow(0).toImage().convertToFormat(QImage::Format_RGB32);
}

/// A widget's place on the screen.
inline QRect PlaceOnScreen(const QWidget& widget) {
  return {widget.mapToGlobal(QPoint()), widget.size()};
}

/// Runs xdotool, another program that acts on the same screen.
inline bool Xdotool(const std::string& arguments) {
  return std::system((std::string(MTH_XDOTOOL) + " " + arguments + " >/dev/null 2>&1").c_str()) == 0;
}

/// Clicks on the middle of a widget, as the mouse does.
inline bool ClickOn(const QWidget& widget, int count) {
  const QPoint place = PlaceOnScreen(widget).center();
  std::string arguments = "mousemove " + std::to_string(place.x()) + " " + std::to_string(place.y());
  for (int i = 0; i < count; ++i) arguments += " click 1";
  return Xdotool(arguments);
}

/// A display that calls a function when a progress bar of the inner display has just reached its middle, or
/// another part of its way.
class HalfwayDisplay : public STD_DISPLAY {
 public:
  HalfwayDisplay(STD_DISPLAY& inner, std::function<void()> atHalf, int parts = 2)
      : inner_(inner), atHalf_(std::move(atHalf)), parts_(parts) {}

  int ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) override {
    return inner_.ShowMessage(text, kind, caption);
  }
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override {
    return std::make_unique<View>(inner_.CreateWaitBarView(), atHalf_, parts_);
  }

 private:
  class View : public STD_WAIT_BAR_VIEW {
   public:
    View(std::unique_ptr<STD_WAIT_BAR_VIEW> inner, const std::function<void()>& atHalf, int parts)
        : inner_(std::move(inner)), atHalf_(atHalf), parts_(parts) {}
    void SetTitle(const std::string& text) override { inner_->SetTitle(text); }
    void SetAction(const std::string& text) override { inner_->SetAction(text); }
    void SetMaximum(int maximum) override { inner_->SetMaximum(maximum_ = maximum); }
    void SetPosition(int position) override {
      inner_->SetPosition(position);
      if (parts_ * position == maximum_) atHalf_();
    }
    void Show() override { inner_->Show(); }

   private:
    std::unique_ptr<STD_WAIT_BAR_VIEW> inner_;
    const std::function<void()>& atHalf_;
    int parts_;
    int maximum_ = 100;
  };

  STD_DISPLAY& inner_;
  std::function<void()> atHalf_;
  int parts_;
};

}  // namespace mth_test
