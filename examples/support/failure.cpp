#include "support/failure.h"

#include <cstdio>
#include <new>

#include "support/text.h"

namespace example {

namespace {

constexpr int kFailureStatus = 2;

int Report(const std::string& name, const std::string& text) {
  std::fprintf(stderr, "%s: %s\n", name.c_str(), OnOneLine(text).c_str());
  return kFailureStatus;
}

}  // namespace

int RunProgram(const std::string& name, int (*program)(int, char**), int argc, char** argv) {
  try {
    return program(argc, argv);
  } catch (const std::bad_alloc&) {
    return Report(name, "not enough memory");
  } catch (const std::exception& failure) {
    return Report(name, failure.what());
  }
}

}  // namespace example
