#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <tuple>
#include <type_traits>
#include <utility>

/// How Ctrl-C ends a long call at once, wherever the library is at that moment.
namespace mth_python {

namespace py = pybind11;

/// A call of the module's that runs in a thread of its own, while the main thread, which is Python's for
/// signals, waits for it.
///
/// What a signal's handler or a callback raises is raised there and then. The thread is left behind: it is
/// told to end, has references to all that it reads, and throws away what it comes to. The user may change an
/// array that is still read: numbers of a result that nobody sees depend on it, nothing else does. At the end
/// of the interpreter it goes with the process.
class Errand {
 public:
  /// What ends the work of an errand that nobody waits for.
  struct Abandoned {};

  Errand() = default;
  Errand(const Errand&) = delete;
  Errand& operator=(const Errand&) = delete;

  /// Whether this is the thread in which Python handles signals. Elsewhere errands are of no use, and in a
  /// subinterpreter their thread would be the main interpreter's.
  static bool IsOfUse();
  /// Runs `work`, with the interpreter's lock, which the caller has as well; throws what it throws.
  static void Run(std::function<void()> work);
  /// The errand of this thread; null for all other threads.
  static Errand* Current();

  /// Whether nobody waits any more.
  bool IsAbandoned();
  /// Has the waiting thread do what belongs to it, such as a callback of the user's. What that throws ends
  /// the errand.
  /// @param isLocked  whether this thread has the interpreter's lock, which the other one needs meanwhile.
  void Ask(const std::function<void()>& question, bool isLocked);

 private:
  void Work();
  void Wait();
  void Answer(const std::function<void()>& question, std::exception_ptr& raised);
  std::exception_ptr Leave();

  std::mutex mutex_;  // of what follows; nobody waits for the interpreter's lock with it
  std::condition_variable condition_;
  std::function<void()> work_;
  const std::function<void()>* question_ = nullptr;
  std::exception_ptr failure_;
  bool isAnswered_ = false;
  bool isDone_ = false;
  bool isAbandoned_ = false;
};

/// Elements of the arguments that hold data; 0 where they do not tell.
std::int64_t SizeOf(const py::handle& value);
template <class T>
std::int64_t SizeOf(const T& value) {
  if constexpr (std::is_same_v<T, py::handle> || std::is_same_v<T, py::list> || std::is_same_v<T, py::args>) {
    return SizeOf(static_cast<const py::handle&>(value));
  } else if constexpr (requires { value.use_count(); }) {
    if (value == nullptr) throw py::reference_cast_error();  // None: the TypeError of a wrong argument
    if constexpr (requires { value->Size(); }) return value->Size();
    return 0;
  } else {
    return 0;
  }
}

// From how many elements on a call may last longer than a person wants to wait, and for so long that the
// start of a thread does not count beside it.
constexpr std::int64_t kOfOnePass = std::int64_t{1} << 21;  // a few operations for each element
constexpr std::int64_t kOfSorting = 1 << 17;
constexpr std::int64_t kOfMatrices = 1 << 14;
constexpr std::int64_t kOfClustering = 1 << 11;

/// A function of the module's as an errand where its arguments have at least so many elements together.
template <class Result, class... Arguments>
auto Interruptible(Result (*function)(Arguments...), std::int64_t least) {
  return [function, least](Arguments... arguments) -> Result {
    if ((SizeOf<std::decay_t<Arguments>>(arguments) + ...) < least || !Errand::IsOfUse())
      return function(std::forward<Arguments>(arguments)...);
    using Keep = py::object;  // of a handle, which keeps nothing
    struct State {
      std::tuple<std::conditional_t<std::is_same_v<std::decay_t<Arguments>, py::handle>, Keep,
                                    std::decay_t<Arguments>>...>
          arguments;
      std::optional<Result> result;
    };
    const auto kept = [](auto& argument) {
      if constexpr (std::is_same_v<std::decay_t<decltype(argument)>, py::handle>) {
        return py::reinterpret_borrow<Keep>(argument);
      } else {
        return argument;
      }
    };
    const auto state = std::make_shared<State>(State{{kept(arguments)...}, std::nullopt});
    Errand::Run([function, state] { state->result.emplace(std::apply(function, state->arguments)); });
    return std::move(*state->result);
  };
}

}  // namespace mth_python
