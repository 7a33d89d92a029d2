#pragma once

#include <stdexcept>
#include <string>

namespace example {

/// What ends a host program: a text for its user, without a full stop.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Runs `program` and turns what it throws into one line on standard error, "name: text".
/// @return  what `program` returns, or 2 after a failure.
int RunProgram(const std::string& name, int (*program)(int, char**), int argc, char** argv);

}  // namespace example
