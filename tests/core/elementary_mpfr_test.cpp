#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "core/mpfr_errors.h"
#include "mth/core/Mth_elementary_internal.h"

// The largest errors against MPFR, over fewer arguments than docs/accuracy.md was measured with.
TEST(Elementary, ErrorsStayBelowTheirBounds) {
  constexpr int kArguments = 3000;
  for (const elementary_errors::Range& range : elementary_errors::Ranges()) {
    const elementary_errors::Worst worst = elementary_errors::FindWorst(range, kArguments);
    EXPECT_LE(worst.error, range.bound) << range.name << " at " << worst.x << ", " << worst.y;
  }
}
