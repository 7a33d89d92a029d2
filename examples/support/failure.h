#pragma once

#include <stdexcept>
#include <string>

namespace example {

/// What ends a host program: a text for its user, without a full stop.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A file that could not be written; the text is the reason alone, since only the caller knows which of its
/// files a temporary one stands for.
class WriteFailure : public Failure {
 public:
  using Failure::Failure;
  /// The reason in errno.
  static WriteFailure FromErrno();
};

/// Runs `program`, which Ctrl-C cancels, and turns what it throws into one line on standard error, "name:
/// text".
/// @return  what `program` returns; 2 after a failure, also one to write to standard output; 130 when
///          cancelled.
int RunProgram(const std::string& name, int (*program)(int, char**), int argc, char** argv);

}  // namespace example
