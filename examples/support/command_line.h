#pragma once

#include <string>

namespace CLI {
class App;
}

namespace example {

/// Reads the options of a host program.
/// @return  false when the user asked for help, which is printed.
/// @throws Failure  for an option that is unknown, missing or illegal.
bool ParseCommandLine(CLI::App& app, int argc, char** argv);

/// @throws Failure  with that text unless the option holds what it must.
void Require(bool isTrue, const std::string& text);

}  // namespace example
