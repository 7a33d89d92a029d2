#include <cstdio>
#include <cstdlib>

#include "core/mpfr_errors.h"

// Not a matter of time: the largest errors of the elementary functions, against MPFR, as a table for
// docs/accuracy.md. The argument is how many random numbers are tried in each range; 1,000,000 without.
int main(int argumentsCount, char** arguments) {
  const int count = argumentsCount > 1 ? std::atoi(arguments[1]) : 1000000;
  std::printf("| function | range | largest error | at |\n|---|---|---|---|\n");
  for (const elementary_errors::Range& range : elementary_errors::Ranges()) {
    const elementary_errors::Worst worst = elementary_errors::FindWorst(range, count);
    std::printf("| %s | %s | %.4f | `%a`", range.function, range.name, worst.error, worst.x);
    if (worst.y != 0.0) std::printf(", `%a`", worst.y);
    std::printf(" |\n");
    std::fflush(stdout);
  }
  return 0;
}
