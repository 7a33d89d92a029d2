#include "std/Std_display.h"

#include "std/Std_console_display.h"
#include "std/Std_display_internal.h"

namespace {

STD_DISPLAY* installedDisplay = nullptr;

}  // namespace

STD_WAIT_BAR_VIEW::~STD_WAIT_BAR_VIEW() = default;

bool STD_WAIT_BAR_VIEW::IsCancelRequested() const {
  return false;
}

STD_DISPLAY::~STD_DISPLAY() = default;

bool STD_DISPLAY::IsCancelRequested() const {
  return false;
}

STD_DISPLAY* Std_SetDisplay(STD_DISPLAY* display) {
  STD_DISPLAY* former = installedDisplay;
  installedDisplay = display;
  return former;
}

bool Std_IsCancelRequested() noexcept {
  try {
    return mth_internal::CurrentDisplay().IsCancelRequested();
  } catch (...) {
    return false;
  }
}

STD_DISPLAY_SCOPE::STD_DISPLAY_SCOPE(STD_DISPLAY* display) : former_(Std_SetDisplay(display)) {}

STD_DISPLAY_SCOPE::~STD_DISPLAY_SCOPE() {
  Std_SetDisplay(former_);
}

STD_DISPLAY& mth_internal::CurrentDisplay() {
  static STD_CONSOLE_DISPLAY console;
  return installedDisplay != nullptr ? *installedDisplay : console;
}
