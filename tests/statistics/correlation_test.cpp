#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <numbers>
#include <random>

#include "mth/statistics/Mth_descriptive_internal.h"
#include "mth/statistics/Mth_special_functions.h"
#include "statistics/statistics_cases.h"
#include "support/recording_display.h"

namespace mth_test {
namespace {

TEST(Correlation, SpearmanMeetsTablesWithAndWithoutTies) {
  struct Case {
    Values x, y;
    double d, rs, probrs;
  };
  // Correlation and significance by scipy 1.10.1, spearmanr.
  const Case cases[] = {
      {{1, 2, 3, 4, 5, 6}, {2, 1, 4, 3, 6, 5}, 6, 0.8285714285714287, 0.04156268221574334},
      {{106, 100, 86, 101, 99, 103, 97, 113, 112, 110},  // intelligence and hours of television
       {7, 27, 2, 50, 28, 29, 20, 12, 6, 17},
       194,
       -29.0 / 165.0,
       0.6271883447764844},
      {{10.4, 10.8, 11.1, 10.2, 10.3, 10.2, 10.7, 10.5, 10.8, 11.2, 10.6, 11.4},  // wings and tails of birds
       {7.4, 7.6, 7.9, 7.2, 7.4, 7.1, 7.4, 7.2, 7.8, 7.7, 7.8, 8.3},              // (Zar: 0.851)
       42,
       0.851085234543963,
       0.00044667407421624896},
      {{1, 2, 2, 3, 3, 3, 4, 5, 5, 6},
       {2, 2, 1, 4, 3, 3, 6, 5, 6, 6},
       13.5,
       0.9150943396226415,
       0.00020500958565931347},
      {{5, 4, 4, 3, 2, 2, 2, 1}, {1, 1, 2, 3, 3, 4, 5, 5}, 153.5, -0.918821785756253, 0.001257288000408827},
  };
  for (const Case& c : cases) {
    const Spearman result(c.x, c.y);
    EXPECT_EQ(result.d, c.d);
    EXPECT_NEAR(result.rs, c.rs, 1e-14);
    EXPECT_NEAR(result.probrs, c.probrs, 1e-6 * c.probrs);
    EXPECT_NEAR(result.zd, -c.rs * std::sqrt(Size(c.x) - 1.0), 1e-13);  // holds with ties, too
    const double tail = std::erfc(std::abs(result.zd) / std::numbers::sqrt2);
    EXPECT_NEAR(result.probd, tail, 6e-7 * tail);
    EXPECT_EQ(result.probd, Mth_ComplementaryErrorFunction(std::abs(result.zd) / 1.4142136));
  }
  const Spearman same({3, 1, 2}, {30, 10, 20});
  EXPECT_EQ(same.d, 0.0);
  EXPECT_EQ(same.rs, 1.0);
  EXPECT_EQ(same.probrs, 0.0);
  const Spearman none({}, {});
  EXPECT_EQ(none.d, 0.0);
  EXPECT_TRUE(std::isnan(none.zd) && std::isnan(none.probd) && std::isnan(none.rs));
  const Spearman constant({1, 2, 3}, {4, 4, 4});
  EXPECT_EQ(constant.zd, 0.0);
  EXPECT_EQ(constant.rs, 0.0);
  EXPECT_NEAR(constant.probd, 1.0, 5.2e-7);
  EXPECT_NEAR(constant.probrs, 1.0, 1e-6);
}

TEST(Correlation, SpearmanWritesNothingAfterAFailedSort) {
  // On the way from both to none failing, of these seeds the first sort fails alone, of those the second.
  for (const unsigned seed : {14U, 15U, 5U, 17U}) {
    std::mt19937 engine(seed);
    Values x(300);
    Values y(300);
    for (double& value : x) value = static_cast<double>(engine());
    for (double& value : y) value = static_cast<double>(engine());
    for (int pendingPartsMax = 0; pendingPartsMax < 12; ++pendingPartsMax) {
      RecordingDisplay display;
      double out[] = {-9.0, -9.0, -9.0, -9.0, -9.0};
      mth_internal::CorrelateRanks(x.data(), y.data(), 300, out, out + 1, out + 2, out + 3, out + 4,
                                   pendingPartsMax);
      const auto untouched = std::count(std::begin(out), std::end(out), -9.0);
      EXPECT_EQ(untouched, display.messages.empty() ? 0 : 5) << pendingPartsMax;
      EXPECT_TRUE(pendingPartsMax > 0 || !display.messages.empty());
      EXPECT_TRUE(pendingPartsMax < 11 || display.messages.empty());
    }
  }
}

TEST(Correlation, CorrelationMixesOneAndTwoSidedTails) {
  struct Case {
    Values x, y;
    double r, slope, prob;
  };
  const Case cases[] = {
      {{1}, {1}, 0, 0, 0},
      {{1, 2}, {5, 9}, 1, 4, 0},
      {{1, 2, 3, 4}, {1, 2, 3, 4}, 1, 1, 1e-20},  // t is 1e10, no more
      {{1, 2, 3, 4}, {4, 3, 2, 1}, -1, -1, 1e-20},
      {{1, 2, 3}, {1, 3, 2}, 0.5, 0.5, 1.0 / 3.0},  // one-sided: atan(-1 / sqrt(3)) / pi + 1/2
      {{1, 2, 3}, {1, 2, 1}, 0, 0, 0.5},            // one-sided, atan(0)
      {{-1, 1, -1, 1}, {1, 1, -1, -1}, 0, 0, 0.5},  // no tail is asked for
      {{4, 4, 4, 4}, {1, 2, 3, 4}, 0, 0, 0.5},
      {{1, 2, 3, 4}, {1e-11, 2e-11, 3e-11, 4e-11}, 0, 1e-11, 0.5},  // y varies too little for r alone
      // Variances about 1e-20, which is a threshold and part of the denominators: 1.1 / (1.1 + 1).
      {{0, std::sqrt(2.2e-20)}, {0, std::sqrt(2.2e-20)}, 1.1 / 2.1, 1.1 / 2.1, 0},
      {{0, std::sqrt(1.8e-20)}, {0, std::sqrt(1.8e-20)}, 0, 0, 0},
      {{1, 2, 3, 4, 5, 6}, {2, 1, 4, 3, 7, 5}, 0.7917946548886294, 3.2 / 3.5, 0.06051140336275671},  // scipy
      {{1, 2, 3, 4, 5, 6}, {-2, -1, -4, -3, -7, -5}, -0.7917946548886294, -3.2 / 3.5, 0.06051140336275671},
  };
  double meanX, varX, meanY, varY, covXY, r, slope, prob;
  for (Case c : cases) {
    Mth_StatisticalCriterionCalculations(c.x.data(), c.y.data(), Size(c.x), &meanX, &varX, &meanY, &varY,
                                         &covXY, &r, &slope, &prob);
    EXPECT_NEAR(r, c.r, 1e-14);
    EXPECT_NEAR(slope, c.slope, 1e-14);
    EXPECT_NEAR(prob, c.prob, 1e-6 * c.prob);
    EXPECT_EQ(meanY, Mth_Mean(c.y));
  }
  // From 10,000,000 degrees of freedom on: one-sided and normal. t = r sqrt(n) / sqrt(1 - r^2), r = 3e-4
  // here.
  constexpr int kCount = 10000002;
  Values x(kCount);
  Values y(kCount);
  for (int i = 0; i < kCount; ++i) {
    x[static_cast<std::size_t>(i)] = i % 2 == 0 ? 1.0 : -1.0;
    y[static_cast<std::size_t>(i)] = (i % 4 < 2 ? 1.0 : -1.0) + 3e-4 * x[static_cast<std::size_t>(i)];
  }
  Mth_StatisticalCriterionCalculations(x.data(), y.data(), kCount, &meanX, &varX, &meanY, &varY, &covXY, &r,
                                       &slope, &prob);
  EXPECT_NEAR(slope, 3e-4, 1e-12);
  const double tail = 0.5 * std::erfc(3e-4 * std::sqrt(kCount) / std::numbers::sqrt2);
  EXPECT_NEAR(prob, tail, 1e-6 * tail);
}

}  // namespace
}  // namespace mth_test
