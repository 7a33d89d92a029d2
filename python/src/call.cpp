#include "call.h"

#include <algorithm>
#include <memory>
#include <new>

#include "std/Std.h"

namespace mth_python {
namespace {

// Signals are looked at this often: a person cannot tell, and the interpreter's lock is hardly taken.
constexpr auto kPollInterval = std::chrono::milliseconds(20);
constexpr const char* kNoMemory = "no memory for the result or the work of this operation";
constexpr int kUnitsPerStep = 5;  // of a progress window

thread_local Call* currentCall = nullptr;
PyObject* unstableSolutionWarning = nullptr;  // lives as long as the process

// Hands the steps of a run to its call. Whether to end, a progress window asks its view and the display: the
// latter answers, so that the call is asked once.
class ProgressView : public STD_WAIT_BAR_VIEW {
 public:
  explicit ProgressView(Call& call) : call_(call) {}
  void SetTitle(const std::string&) override {}
  void SetAction(const std::string&) override {}
  void SetMaximum(int maximum) override { total_ = maximum / kUnitsPerStep; }
  void SetPosition(int position) override {
    if (isShown_ && position % kUnitsPerStep == 0) call_.ShowProgress(position / kUnitsPerStep, total_);
  }
  void Show() override { isShown_ = true; }

 private:
  Call& call_;
  int total_ = 0;
  bool isShown_ = false;
};

// Serves every thread by the call that it is in. What is no call of this module's is the former display's.
class PythonDisplay : public STD_DISPLAY {
 public:
  int ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) override {
    if (Call* const call = Call::Current()) {
      call->AddMessage(text);
      return 1;
    }
    return Former().ShowMessage(text, kind, caption);
  }
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override {
    Call* const call = Call::Current();
    if (call == nullptr) return Former().CreateWaitBarView();
    return std::make_unique<ProgressView>(*call);
  }
  bool IsCancelRequested() const override {
    Call* const call = Call::Current();
    return call != nullptr && call->IsCancelRequested();
  }
  void SetFormer(STD_DISPLAY* former) { former_ = former; }

 private:
  STD_DISPLAY& Former() { return former_ != nullptr ? *former_ : console_; }

  STD_DISPLAY* former_ = nullptr;
  STD_CONSOLE_DISPLAY console_;
};

// Where the user's code is, which the warning names.
void Warn(PyObject* category, const char* text) {
  const auto warn = [category, text] {
    if (PyErr_WarnEx(category, text, 2) != 0) throw py::error_already_set();
  };
  if (Errand* const errand = Errand::Current()) return errand->Ask(warn, true);
  warn();
}

}  // namespace

Call::Call(py::object progress)
    : progress_(std::move(progress)),
      hasProgress_(!progress_.is_none()),
      nextPoll_(Clock::now() + kPollInterval) {}

Call::~Call() = default;

Call::Entry::Entry(Call* call) : former(currentCall) {
  currentCall = call;
}

Call::Entry::~Entry() {
  currentCall = former;
}

void Call::CountQuestions(const py::object& progress, int total) {
  if (progress.is_none()) return;
  SetQuestion([progress, total, done = 0]() mutable {
    CallPython(progress, ++done, total);
    return false;
  });
}

Call* Call::Current() {
  return currentCall;
}

void Call::Fail() {
  if (!error_) error_ = std::current_exception();
}

template <class Question>
void Call::Ask(Question question) {
  try {
    if (errand_ != nullptr) return errand_->Ask(question, unlocked_ == nullptr);
  } catch (const Errand::Abandoned&) {
    return Fail();
  }
  const Locked locked(*this);
  try {
    question();
  } catch (...) {
    Fail();
  }
}

bool Call::IsCancelRequested() {
  if (error_ || isEnded_) return true;
  if (question_) Ask([this] { isEnded_ = question_(); });
  if (error_ || isEnded_) return true;
  if (errand_ != nullptr) return errand_->IsAbandoned();
  const Clock::time_point now = Clock::now();
  if (now < nextPoll_) return false;
  nextPoll_ = now + kPollInterval;
  Ask([] {
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
  });
  return error_ != nullptr;
}

void Call::ShowProgress(int done, int total) {
  stepsCount_ = done;
  if (error_ || !hasProgress_) return;
  Ask([&] { CallPython(progress_, done, total); });
}

void Call::AddMessage(const std::string& text) {
  if (std::find(messages_.begin(), messages_.end(), text) == messages_.end()) messages_.push_back(text);
}

void Call::Finish() {
  if (errand_ != nullptr && errand_->IsAbandoned()) throw Errand::Abandoned();
  if (error_) std::rethrow_exception(std::exchange(error_, nullptr));
  // The other messages go with a failure value, which the caller of Run turns into an exception.
  for (const std::string& text : std::exchange(messages_, {})) {
    if (text.starts_with("Risque d'instabilité")) WarnUnstable();
    if (text.starts_with("Problème dans Mth_UsedByIncompleteBeta"))
      Warn(PyExc_RuntimeWarning, "the continued fraction of the incomplete beta function did not converge");
    if (text.starts_with("a est très grand")) Warn(PyExc_RuntimeWarning, "the argument of erf is too large");
  }
}

void InstallDisplay(py::module_& module) {
  unstableSolutionWarning = PyErr_NewExceptionWithDoc(
      "mth.UnstableSolutionWarning",
      "A solution may be inaccurate: singular values were left out, or an equation is nearly singular.",
      PyExc_RuntimeWarning, nullptr);
  if (unstableSolutionWarning == nullptr) throw py::error_already_set();
  module.add_object("UnstableSolutionWarning", unstableSolutionWarning);
  py::register_local_exception_translator([](std::exception_ptr failure) {
    try {
      std::rethrow_exception(std::move(failure));
    } catch (const std::bad_alloc&) {
      PyErr_SetString(PyExc_MemoryError, kNoMemory);
    }
  });
  static PythonDisplay* const display =
      new PythonDisplay;  // never deleted: threads may outlive the interpreter's end
  display->SetFormer(Std_SetDisplay(display));
}

void ThrowLinAlgError(const std::string& text) {
  const py::object type = py::module_::import("numpy.linalg").attr("LinAlgError");
  PyErr_SetString(type.ptr(), text.c_str());
  throw py::error_already_set();
}

void ThrowMemoryError() {
  PyErr_SetString(PyExc_MemoryError, kNoMemory);
  throw py::error_already_set();
}

void WarnUnstable() {
  Warn(unstableSolutionWarning, "the solution may be unstable");
}

void RequireRun(MTH_STOP_REASON reason, const char* name) {
  const std::string prefix = std::string(name) + ": ";
  if (reason == MTH_STOP_REASON::NoMemory) ThrowMemoryError();
  if (reason == MTH_STOP_REASON::BadInput) throw py::value_error(prefix + "the input does not allow a run");
  if (reason == MTH_STOP_REASON::NotFinite) throw py::value_error(prefix + "values are not finite");
}

const char* ReasonName(MTH_STOP_REASON reason) {
  switch (reason) {
    case MTH_STOP_REASON::Converged:
      return "converged";
    case MTH_STOP_REASON::IterationCap:
      return "iteration cap";
    case MTH_STOP_REASON::Cancelled:
      return "cancelled";
    case MTH_STOP_REASON::NoMemory:
      return "no memory";
    case MTH_STOP_REASON::BadInput:
      return "bad input";
    case MTH_STOP_REASON::NotFinite:
      return "not finite";
    default:
      return "not run";
  }
}

}  // namespace mth_python
