// What stands in for Ctrl-C where there is no terminal: a run ends with the worker that it runs in. The hosts
// report to the page instead of a console.

#include "support/cancellation.h"

#include "display.h"

namespace example {

bool IsCancelled() {
  return false;
}

void ThrowIfCancelled() {}

CancellationScope::CancellationScope(const std::string&) {
  Std_SetDisplay(&mth_web::Display());
}

CancellationScope::~CancellationScope() = default;

UninterruptedScope::UninterruptedScope() = default;

UninterruptedScope::~UninterruptedScope() = default;

}  // namespace example
