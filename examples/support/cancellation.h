#pragma once

#include <stdexcept>
#include <string>

#include "std/Std_console_display.h"

namespace example {

/// The exit status of a program that Ctrl-C ends, as the shell counts it.
inline constexpr int kCancelledStatus = 130;

/// Ends a host program whose user pressed Ctrl-C.
class Cancelled : public std::runtime_error {
 public:
  explicit Cancelled(const std::string& text = "cancelled, nothing written") : std::runtime_error(text) {}
};

bool IsCancelled();

/// Asked between the steps of a long run.
/// @throws Cancelled  when the user has pressed Ctrl-C.
void ThrowIfCancelled();

/// The console display, which hands Ctrl-C on to the library's long runs.
class CancellingDisplay : public STD_CONSOLE_DISPLAY {
 public:
  bool IsCancelRequested() const override { return IsCancelled(); }
};

/// While it lives, the first Ctrl-C (or request to terminate) says so and asks the run to end; a second one
/// kills. It also installs a CancellingDisplay, and makes a file that outgrows its limit a failure to write.
class CancellationScope {
 public:
  explicit CancellationScope(const std::string& programName);
  ~CancellationScope();
  CancellationScope(const CancellationScope&) = delete;
  CancellationScope& operator=(const CancellationScope&) = delete;

 private:
  CancellingDisplay display_;
  STD_DISPLAY_SCOPE installed_{&display_};
};

/// While it lives, Ctrl-C waits: what is in here happens as a whole.
class UninterruptedScope {
 public:
  UninterruptedScope();
  ~UninterruptedScope();
  UninterruptedScope(const UninterruptedScope&) = delete;
  UninterruptedScope& operator=(const UninterruptedScope&) = delete;
};

}  // namespace example
