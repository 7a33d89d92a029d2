#include "support/cancellation.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstring>

namespace example {

namespace {

constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};

std::atomic<bool> isCancelled{false};
std::array<char, 128> notice{};  // prepared ahead: a signal handler may not allocate

// Says so first: another thread may end the program as soon as it is cancelled.
void Handle(int) {
  [[maybe_unused]] const auto written = write(STDERR_FILENO, notice.data(), std::strlen(notice.data()));
  isCancelled = true;
  for (const int number : kSignals) std::signal(number, SIG_DFL);
}

sigset_t SignalSet() {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : kSignals) sigaddset(&set, number);
  return set;
}

}  // namespace

bool IsCancelled() {
  return isCancelled;
}

void ThrowIfCancelled() {
  if (isCancelled) throw Cancelled();
}

CancellationScope::CancellationScope(const std::string& programName) {
  const std::string text = "\n" + programName + ": stopping; Ctrl-C again ends it at once\n";
  text.copy(notice.data(), notice.size() - 1);
  isCancelled = false;
  std::signal(SIGXFSZ, SIG_IGN);
  for (const int number : kSignals) {
    // A program that runs under nohup, or in the background of a script, goes on ignoring what it is told to.
    if (std::signal(number, Handle) == SIG_IGN) std::signal(number, SIG_IGN);
  }
}

CancellationScope::~CancellationScope() {
  for (const int number : kSignals) {
    if (std::signal(number, SIG_DFL) == SIG_IGN) std::signal(number, SIG_IGN);
  }
}

UninterruptedScope::UninterruptedScope() {
  const sigset_t set = SignalSet();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

UninterruptedScope::~UninterruptedScope() {
  const sigset_t set = SignalSet();
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

}  // namespace example
