#include "errand.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "call.h"

namespace mth_python {
namespace {

constexpr auto kPollInterval = std::chrono::milliseconds(20);  // a person cannot tell

thread_local Errand* currentErrand = nullptr;

long ProcessId() {
  return py::module_::import("os").attr("getpid")().cast<long>();
}

}  // namespace

bool Errand::IsOfUse() {
  if (PyInterpreterState_Get() != PyInterpreterState_Main()) return false;
  const py::object main = py::module_::import("threading").attr("main_thread")();
  return main.attr("ident").cast<unsigned long>() == PyThread_get_thread_ident();
}

Errand* Errand::Current() {
  return currentErrand;
}

void Errand::Run(std::function<void()> work) {
  const auto errand = std::make_shared<Errand>();
  errand->work_ = std::move(work);
  try {
    std::thread([errand] { errand->Work(); }).detach();
  } catch (const std::system_error&) {  // there are no more threads
    return errand->work_();
  }
  errand->Wait();
}

// What the work holds is destroyed with the interpreter's lock, here or by the one who waits.
void Errand::Work() {
  currentErrand = this;
  const PyGILState_STATE state = InInterpreter([] { return PyGILState_Ensure(); });
  std::exception_ptr failure;
  try {
    InInterpreter(work_);
  } catch (...) {
    failure = std::current_exception();
  }
  work_ = nullptr;
  {
    const std::scoped_lock lock(mutex_);
    if (!isAbandoned_) failure_.swap(failure);
  }
  failure = nullptr;
  PyGILState_Release(state);
  const std::scoped_lock lock(mutex_);
  isDone_ = true;
  condition_.notify_all();
}

void Errand::Wait() {
  std::exception_ptr raised;  // by a question: its answer ends the work soon, which is waited for
  try {
    std::unique_lock lock(mutex_);
    while (!isDone_) {
      PyThreadState* const unlocked = PyEval_SaveThread();
      condition_.wait_for(lock, kPollInterval, [this] { return isDone_ || question_ != nullptr; });
      const std::function<void()>* const question = std::exchange(question_, nullptr);
      lock.unlock();
      PyEval_RestoreThread(unlocked);
      if (question != nullptr) Answer(*question, raised);
      if (PyErr_CheckSignals() != 0) throw py::error_already_set();
      lock.lock();
    }
  } catch (...) {
    Leave();
    throw;
  }
  const std::exception_ptr failure = Leave();
  if (raised) std::rethrow_exception(raised);
  if (failure) std::rethrow_exception(failure);
}

void Errand::Answer(const std::function<void()>& question, std::exception_ptr& raised) {
  const long process = ProcessId();
  try {
    question();
  } catch (...) {
    raised = std::current_exception();
  }
  if (process != ProcessId()) {  // a callback forked, and this is the child, in which nobody works
    if (raised) std::rethrow_exception(raised);
    throw std::runtime_error("the computation goes on in the process that was forked, not in its copy");
  }
  const std::scoped_lock lock(mutex_);
  isAbandoned_ = raised != nullptr;
  isAnswered_ = true;
  condition_.notify_all();
}

// Nobody waits from now on; returns the failure so far, if there is one.
std::exception_ptr Errand::Leave() {
  const std::scoped_lock lock(mutex_);
  isAbandoned_ = true;
  condition_.notify_all();
  return std::exchange(failure_, nullptr);
}

bool Errand::IsAbandoned() {
  const std::scoped_lock lock(mutex_);
  return isAbandoned_;
}

void Errand::Ask(const std::function<void()>& question, bool isLocked) {
  PyThreadState* const unlocked = isLocked ? PyEval_SaveThread() : nullptr;
  std::unique_lock lock(mutex_);
  if (!isAbandoned_) {
    question_ = &question;
    isAnswered_ = false;
    condition_.notify_all();
    condition_.wait(lock, [this] { return isAnswered_ || isAbandoned_; });
  }
  const bool isAbandoned = isAbandoned_;
  lock.unlock();
  if (unlocked != nullptr) InInterpreter([unlocked] { PyEval_RestoreThread(unlocked); });
  if (isAbandoned) throw Abandoned();
}

std::int64_t SizeOf(const py::handle& value) {
  if (py::isinstance<py::array>(value)) return py::reinterpret_borrow<py::array>(value).size();
  if (PyList_Check(value.ptr()) || PyTuple_Check(value.ptr())) {
    const auto items = py::reinterpret_borrow<py::sequence>(value);
    if (items.empty()) return 0;
    const py::object first = items[0];
    return static_cast<std::int64_t>(items.size()) * std::max<std::int64_t>(1, SizeOf(py::handle(first)));
  }
  if (!py::hasattr(value, "__array__") || !py::hasattr(value, "shape")) return 0;
  const py::object shape = value.attr("shape");
  if (!PyTuple_Check(shape.ptr())) return 0;
  std::int64_t size = 1;
  for (const py::handle length : shape) {
    if (!PyLong_Check(length.ptr())) return 0;  // such as the NaN of a length that is not known yet
    size *= length.cast<std::int64_t>();
  }
  return size;
}

}  // namespace mth_python
