#pragma once

#include <QPointer>

#include "std/qt/Std_wait_bar_window.h"

namespace mth_internal {

/// Paints a TSTD_WAIT_BAR into a progress window. The hourglass cursor is shown for its life. When the
/// application ends before it, and the window with it, it goes on painting nothing.
class QtWaitBarView : public STD_WAIT_BAR_VIEW {
 public:
  enum class AtEnd { HideWindow, DeleteWindow };
  QtWaitBarView(STD_WAIT_BAR_WINDOW* window, AtEnd atEnd);
  ~QtWaitBarView() override;
  QtWaitBarView(const QtWaitBarView&) = delete;
  QtWaitBarView& operator=(const QtWaitBarView&) = delete;

  void SetTitle(const std::string& text) override;
  void SetAction(const std::string& text) override;
  void SetMaximum(int maximum) override;
  void SetPosition(int position) override;
  void Show() override;

 private:
  QPointer<STD_WAIT_BAR_WINDOW> window_;
  AtEnd atEnd_;
};

}  // namespace mth_internal
