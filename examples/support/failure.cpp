#include "support/failure.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <new>

#include "support/cancellation.h"
#include "support/text.h"

namespace example {

namespace {

constexpr int kFailureStatus = 2;

int Report(const std::string& name, const std::string& text) {
  std::fprintf(stderr, "%s: %s\n", name.c_str(), OnOneLine(text).c_str());
  return kFailureStatus;
}

// What is still in the buffers may not find its way out: a full disc, or a closed stream.
void FinishOutput() {
  errno = 0;
  const bool isWritten = std::cout.flush() && std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
  const std::string reason = errno != 0 ? ": " + std::string(std::strerror(errno)) : "";
  if (!isWritten) throw Failure("cannot write to standard output" + reason);
}

}  // namespace

WriteFailure WriteFailure::FromErrno() {
  return WriteFailure(errno != 0 ? std::strerror(errno) : "unknown reason");
}

int RunProgram(const std::string& name, int (*program)(int, char**), int argc, char** argv) {
  try {
    const CancellationScope scope(name);
    const int status = program(argc, argv);
    FinishOutput();
    return status;
  } catch (const Cancelled& cancelled) {
    Report(name, cancelled.what());
    return kCancelledStatus;
  } catch (const std::bad_alloc&) {
    return Report(name, "not enough memory");
  } catch (const std::exception& failure) {
    return Report(name, failure.what());
  }
}

}  // namespace example
