#include "support/command_line.h"

#include <CLI/CLI.hpp>
#include <iostream>

#include "support/failure.h"

namespace example {

bool ParseCommandLine(CLI::App& app, int argc, char** argv) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    std::cout << app.help();
    return false;
  } catch (const CLI::ParseError& error) {
    throw Failure(std::string(error.what()) + " (--help lists the options)");
  }
  return true;
}

void Require(bool isTrue, const std::string& text) {
  if (!isTrue) throw Failure(text);
}

}  // namespace example
