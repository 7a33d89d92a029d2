#include <QApplication>
#include <QLabel>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QThread>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "std/qt/Std_qt_window_internal.h"
#include "std/qt/Std_wait_bar_window.h"
#include "std/qt/Std_worker_view_internal.h"

namespace mth_internal {

bool IsWorkerThread() {
  const QCoreApplication* application = QCoreApplication::instance();
  return qobject_cast<const QApplication*>(application) != nullptr && !QCoreApplication::closingDown() &&
         application->thread() != QThread::currentThread();
}

bool RunInUserInterface(const std::function<void()>& function) {
  constexpr std::chrono::seconds kPatience{5};  // an interface that takes up nothing for longer waits for us
  enum class State { Waiting, Running, Done, GivenUp };
  struct Call {
    std::mutex mutex;
    std::condition_variable change;
    State state = State::Waiting;
    void Become(State next) {
      const std::lock_guard lock(mutex);
      state = next;
      change.notify_all();
    }
  };
  // Owned by both sides: the interface may come to it when nobody waits any more.
  const auto call = std::make_shared<Call>();
  const auto run = [call, &function] {
    {
      const std::lock_guard lock(call->mutex);
      if (call->state == State::GivenUp) return;
      call->state = State::Running;
    }
    try {
      function();
    } catch (...) {  // nothing may be thrown through the event loop of the host
    }
    call->Become(State::Done);
  };
  QMetaObject::invokeMethod(QCoreApplication::instance(), run, Qt::QueuedConnection);
  std::unique_lock lock(call->mutex);
  if (!call->change.wait_for(lock, kPatience, [&] { return call->state != State::Waiting; }) &&
      call->state == State::Waiting) {
    call->state = State::GivenUp;
    return false;
  }
  call->change.wait(lock, [&] { return call->state == State::Done; });
  return true;
}

// The worker changes the state, the interface takes a copy of it; the window belongs to the interface alone.
struct WorkerView::Progress {
  struct State {
    QString title;
    QString action;
    int maximum = 100;
    int position = 0;
    bool isShown = false;
    bool isClosed = false;
  };
  std::mutex mutex;
  State state;
  bool isPaintPending = false;
  std::atomic<bool> isCancelRequested = false;
  QPointer<STD_WAIT_BAR_WINDOW> window;
};

WorkerView::WorkerView() : progress_(std::make_shared<Progress>()) {}

WorkerView::~WorkerView() {
  Tell([](auto& state) { state.isClosed = true; });
}

// Changes the state and asks the interface to paint it, once however many changes come before it does.
template <class Change>
void WorkerView::Tell(Change change) {
  {
    const std::lock_guard lock(progress_->mutex);
    change(progress_->state);
    if (std::exchange(progress_->isPaintPending, true)) return;
  }
  QCoreApplication* application = QCoreApplication::instance();
  if (application == nullptr) return;
  QMetaObject::invokeMethod(
      application, [progress = progress_] { Paint(progress); }, Qt::QueuedConnection);
}

void WorkerView::SetTitle(const std::string& text) {
  Tell([&](auto& state) { state.title = ToQString(text); });
}

void WorkerView::SetAction(const std::string& text) {
  Tell([&](auto& state) { state.action = ToQString(text); });
}

void WorkerView::SetMaximum(int maximum) {
  Tell([=](auto& state) { state.maximum = maximum; });
}

void WorkerView::SetPosition(int position) {
  Tell([=](auto& state) { state.position = position; });
}

void WorkerView::Show() {
  Tell([](auto& state) { state.isShown = true; });
}

bool WorkerView::IsCancelRequested() const {
  return progress_->isCancelRequested;
}

// In the interface's thread. A window that was never shown is never made.
void WorkerView::Paint(const std::shared_ptr<Progress>& progress) {
  Progress::State state;
  {
    const std::lock_guard lock(progress->mutex);
    progress->isPaintPending = false;
    state = progress->state;
  }
  QPointer<STD_WAIT_BAR_WINDOW>& window = progress->window;
  if (state.isClosed) {
    delete window.data();
    return;
  }
  if (!state.isShown) return;
  if (!window) {
    window = new STD_WAIT_BAR_WINDOW;
    DeleteWithApplication(*window);
    window->LetCancel([progress] { progress->isCancelRequested = true; });
    CentreOnScreen(*window);
    window->show();
  }
  window->Title->setText(state.title);
  window->Action->setText(state.action);
  window->ProgressBar1->setMaximum(state.maximum);
  window->ProgressBar1->setValue(state.position);
}

}  // namespace mth_internal
