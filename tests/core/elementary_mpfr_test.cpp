#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "core/elementary_cases.h"
#include "core/mpfr_errors.h"
#include "mth/core/Mth_elementary_internal.h"

namespace {

using elementary_errors::Pair;

template <class Cases>
std::vector<Pair> PairsOf(const Cases& cases) {
  std::vector<Pair> pairs;
  for (const auto& hard : cases) {
    if constexpr (requires { hard.y; }) {
      pairs.push_back({hard.x, hard.y});
    } else {
      pairs.push_back({hard.x, 0.0});
    }
  }
  return pairs;
}

}  // namespace

TEST(Elementary, HardCasesStayBelowTheBoundsOfErrors) {
  using namespace elementary_cases;
  const std::map<std::string, std::vector<Pair>> hard = {{"exponential", PairsOf(kExponentials)},
                                                         {"logarithm", PairsOf(kLogarithms)},
                                                         {"sine", PairsOf(kSines)},
                                                         {"cosine", PairsOf(kCosines)},
                                                         {"arctangent", PairsOf(kArctangents)},
                                                         {"arcsine", PairsOf(kArcsines)},
                                                         {"arccosine", PairsOf(kArccosines)},
                                                         {"power", PairsOf(kPowers)},
                                                         {"hypotenuse", PairsOf(kHypotenuses)},
                                                         {"angle of a point", PairsOf(kHypotenuses)}};
  for (const elementary_errors::Range& range : elementary_errors::Ranges()) {
    const std::vector<Pair>& pairs = hard.at(range.function);
    const elementary_errors::Worst worst = elementary_errors::WorstOf(
        range, static_cast<int>(pairs.size()), [&](int i) { return pairs[static_cast<std::size_t>(i)]; });
    EXPECT_LE(worst.error, range.bound) << range.function << " of " << worst.x << ", " << worst.y;
  }
}

// The largest errors against MPFR, over fewer arguments than docs/accuracy.md was measured with.
TEST(Elementary, ErrorsStayBelowTheirBounds) {
  constexpr int kArguments = 3000;
  for (const elementary_errors::Range& range : elementary_errors::Ranges()) {
    const elementary_errors::Worst worst = elementary_errors::FindWorst(range, kArguments);
    EXPECT_LE(worst.error, range.bound) << range.name << " at " << worst.x << ", " << worst.y;
  }
}
