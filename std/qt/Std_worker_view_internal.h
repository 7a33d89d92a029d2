#pragma once

#include <functional>
#include <memory>
#include <string>

#include "std/Std_display.h"

namespace mth_internal {

/// Whether a QApplication stands whose thread is another one than the caller's.
bool IsWorkerThread();

/// Runs a function in the thread of the user interface and waits for its end.
/// @return  false, without having run it, when that thread does not take it up: the application ends, or
///          waits for this thread itself.
bool RunInUserInterface(const std::function<void()>& function);

/// Progress of a computation in a worker thread. The calls leave what is to be shown and return at once; the
/// window lives in the thread of the user interface, which shows the latest state whenever it comes to it,
/// and has a button that asks the computation to stop.
class WorkerView : public STD_WAIT_BAR_VIEW {
 public:
  WorkerView();
  /// Closes the window, without waiting for that.
  ~WorkerView() override;
  WorkerView(const WorkerView&) = delete;
  WorkerView& operator=(const WorkerView&) = delete;

  void SetTitle(const std::string& text) override;
  void SetAction(const std::string& text) override;
  void SetMaximum(int maximum) override;
  void SetPosition(int position) override;
  void Show() override;
  bool IsCancelRequested() const override;

 private:
  struct Progress;
  template <class Change>
  void Tell(Change change);
  static void Paint(const std::shared_ptr<Progress>& progress);

  std::shared_ptr<Progress> progress_;
};

}  // namespace mth_internal
