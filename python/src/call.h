#pragma once

#include <pybind11/pybind11.h>

#include <chrono>
#include <exception>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "errand.h"
#include "mth/Mth_stop_reason.h"

/// How the module calls the library.
namespace mth_python {

namespace py = pybind11;

/// Calls a function of the interpreter's that may wait for its lock; nothing that `function` itself owns is
/// destroyed when that never comes.
///
/// While the interpreter ends, it unwinds the threads that come back to it, daemons, through all that they
/// are in. The library's frames do not let that pass: such a thread sleeps until the process is gone, as it
/// does in Python from version 3.14 on.
template <class Function>
auto InInterpreter(const Function& function) -> decltype(function()) {
  try {
    return function();
  } catch (...) {
    if (std::current_exception()) throw;  // what unwinds a thread that ends is none of C++'s
    for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
  }
}

/// The answer of a function of Python's; throws what it throws.
template <class... Arguments>
py::object CallPython(const py::object& function, Arguments&&... arguments) {
  const py::tuple all = py::make_tuple(std::forward<Arguments>(arguments)...);
  PyObject* const answer = InInterpreter([&] { return PyObject_CallObject(function.ptr(), all.ptr()); });
  if (answer == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(answer);
}

/// One call of the library by one thread. While it runs other Python threads go on; the signals of the
/// process, a progress callback's exception, and so Ctrl-C, end the library's run and arrive in the caller.
///
/// Calls nest: a cost function that is written in Python may itself use this module.
class Call {
 public:
  /// @param progress  called with the steps done and the number of steps; None for none.
  explicit Call(py::object progress = py::none());
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;
  ~Call();

  /// Runs `compute`, which touches nothing of Python's, without the interpreter's lock, and then throws what
  /// came up.
  template <class Compute>
  void Run(Compute compute) {
    {
      const Entry entry(this);
      Unlock();
      std::exception_ptr failure;
      try {
        compute();
      } catch (...) {
        failure = std::current_exception();
      }
      Lock();  // not in the handler: one that is unwound ends the process
      if (failure) std::rethrow_exception(failure);
    }
    Finish();
  }
  /// The same for what calls back into Python all the time: the lock is kept.
  template <class Compute>
  void RunLocked(Compute compute) {
    {
      const Entry entry(this);
      compute();
    }
    Finish();
  }

  /// The call that this thread is in; null outside.
  static Call* Current();
  /// Whether somebody asked to end the run: a signal has arrived or a callback has failed. Asked by the
  /// library.
  bool IsCancelRequested();
  /// Calls `progress`, if it is not None, with the number of questions so far: for runs that show no steps of
  /// their own.
  void CountQuestions(const py::object& progress, int total);
  /// What to ask beside the signals, with the interpreter's lock, whenever the library asks; true ends the
  /// run.
  void SetQuestion(std::function<bool()> question) { question_ = std::move(question); }
  bool HasProgress() const { return hasProgress_; }
  void ShowProgress(int done, int total);
  /// Steps that the library's progress window was told: whole iterations.
  int GetStepsCount() const { return stepsCount_; }
  /// Keeps a message of the library's; one text once.
  void AddMessage(const std::string& text);
  /// Keeps the present exception, which ends the run; the first one stays.
  void Fail();
  bool HasFailed() const { return error_ != nullptr; }

 private:
  struct Entry {
    explicit Entry(Call* call);
    ~Entry();
    Call* former;
  };
  // The interpreter's lock within a run, which may have given it back.
  struct Locked {
    explicit Locked(Call& call) : unlockedCall(call.unlocked_ != nullptr ? &call : nullptr) {
      if (unlockedCall != nullptr) unlockedCall->Lock();
    }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;
    ~Locked() {
      if (unlockedCall != nullptr) unlockedCall->Unlock();
    }
    Call* unlockedCall;
  };
  using Clock = std::chrono::steady_clock;

  void Lock() {
    InInterpreter([this] { PyEval_RestoreThread(std::exchange(unlocked_, nullptr)); });
  }
  void Unlock() { unlocked_ = PyEval_SaveThread(); }
  // Calls Python with the interpreter's lock; what it throws ends the run.
  template <class Question>
  void Ask(Question question);
  // Throws the kept exception, and turns messages into warnings.
  void Finish();

  py::object progress_;
  bool hasProgress_;
  Errand* errand_ = Errand::Current();
  PyThreadState* unlocked_ = nullptr;  // the thread's, while it is without the lock
  Clock::time_point nextPoll_;
  std::exception_ptr error_;
  std::function<bool()> question_;
  bool isEnded_ = false;
  int stepsCount_ = 0;
  std::vector<std::string> messages_;
};

/// Installs the display that hands the library's messages and progress to the calls; adds the warning's
/// class.
void InstallDisplay(py::module_& module);

/// Raise the exceptions of the names, with a text. Need the interpreter's lock.
[[noreturn]] void ThrowLinAlgError(const std::string& text);
[[noreturn]] void ThrowMemoryError();
/// Warns; throws when the user made an error of warnings.
void WarnUnstable();

/// Throws for the reasons that are failures: NoMemory, BadInput and NotFinite.
void RequireRun(MTH_STOP_REASON reason, const char* name);
/// The reason as Python tells it, such as "converged".
const char* ReasonName(MTH_STOP_REASON reason);

}  // namespace mth_python
