#include "std/Std_wait_bar.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

#include "std/Std_display_internal.h"

namespace {

constexpr int kUnitsPerStep = 5;

// A text that cannot be copied leaves the former one: progress is never worth an exception in the host.
void AssignText(std::string& target, const std::string& text) {
  try {
    target = text;
  } catch (...) {
  }
}

}  // namespace

// Gives the view, if there is one, to `paint`; a view that throws is dropped and the bar goes on without it.
template <class Paint>
void TSTD_WAIT_BAR::PaintView(Paint paint) {
  if (!view_) return;
  try {
    paint(*view_);
  } catch (...) {
    view_.reset();
  }
}

TSTD_WAIT_BAR::TSTD_WAIT_BAR() {
  try {
    view_ = mth_internal::CurrentDisplay().CreateWaitBarView();
  } catch (...) {
  }
  TellInitialState();
}

TSTD_WAIT_BAR::TSTD_WAIT_BAR(std::unique_ptr<STD_WAIT_BAR_VIEW> view) : view_(std::move(view)) {
  TellInitialState();
}

void TSTD_WAIT_BAR::TellInitialState() {
  PaintView([this](STD_WAIT_BAR_VIEW& view) {
    view.SetMaximum(maximum_);
    view.SetTitle(title_);
    view.SetAction(action_);
  });
}

TSTD_WAIT_BAR::~TSTD_WAIT_BAR() = default;

void TSTD_WAIT_BAR::SetTitle(const std::string& text) {
  AssignText(title_, text);
  PaintView([&](STD_WAIT_BAR_VIEW& view) { view.SetTitle(text); });
}

void TSTD_WAIT_BAR::SetStepsCount(int stepsCount) {
  stepsCount_ = stepsCount;
  const std::int64_t maximum = std::int64_t{kUnitsPerStep} * stepsCount;
  maximum_ = static_cast<int>(std::clamp<std::int64_t>(maximum, 0, std::numeric_limits<int>::max()));
  PaintView([&](STD_WAIT_BAR_VIEW& view) { view.SetMaximum(maximum_); });
  if (position_ <= maximum_) return;
  position_ = maximum_;
  PaintView([&](STD_WAIT_BAR_VIEW& view) { view.SetPosition(position_); });
}

void TSTD_WAIT_BAR::Show() {
  visible_ = true;
  PaintView([](STD_WAIT_BAR_VIEW& view) { view.Show(); });
}

void TSTD_WAIT_BAR::StepAction(const std::string& text) {
  AssignText(action_, text);
  PaintView([&](STD_WAIT_BAR_VIEW& view) { view.SetAction(text); });
  if (stepsCount_ == 0) return;
  const int units = maximum_ / stepsCount_;
  for (int unit = 0; unit < units; ++unit) {
    position_ = std::min(position_ + 1, maximum_);
    PaintView([&](STD_WAIT_BAR_VIEW& view) { view.SetPosition(position_); });
  }
}

bool TSTD_WAIT_BAR::IsCancelRequested() const noexcept {
  try {
    if (view_ && view_->IsCancelRequested()) return true;
  } catch (...) {
  }
  return Std_IsCancelRequested();
}
