#include <gtest/gtest.h>

#include <algorithm>
#include <cfenv>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "optimise/problems.h"
#include "support/recording_display.h"

// The two minimisers that take derivatives: BFGS and Levenberg-Marquardt.

namespace mth_test {
namespace {

// The product form of the update: (I - r s yt) (I - r y st) + r s st with r = 1 / yt s, for the step s and
// the change y of the gradient. Only an inexact line search tells it from its rivals.
TEST(Bfgs, UpdatesTheInverseByItsOwnFormula) {
  const RecordingDisplay display;
  std::vector<std::size_t> steps;
  RecordingCost cost({4.0, -3.0}, [&](const double* x) {
    steps.push_back(display.windows.empty() ? 0 : display.windows[0]->actions.size());
    return 3.0 * x[0] * x[0] + x[0] * x[1] + 0.4 * x[1] * x[1] + 0.25 * std::pow(x[0], 4);
  });
  const auto gradient = [](const Point& x) {  // by central differences with a step of 1
    return Point{6.0 * x[0] + x[1] + std::pow(x[0], 3) + x[0], x[0] + 0.8 * x[1]};
  };
  cost.ComputeOptimumQNBFGS(nullptr, 0.0, nullptr);
  // The second search: its start, back again, a whole step.
  const auto second = static_cast<std::size_t>(std::find(steps.begin(), steps.end(), 2) - steps.begin());
  ASSERT_LT(second + 2, cost.visited.size());
  const Point& x = cost.visited[second];
  const Point direction = {cost.visited[second + 2][0] - x[0], cost.visited[second + 2][1] - x[1]};
  const Point g = gradient(x);
  const Point g0 = gradient({4.0, -3.0});
  const Point s = {x[0] - 4.0, x[1] + 3.0};
  const Point y = {g[0] - g0[0], g[1] - g0[1]};
  const double r = 1.0 / (y[0] * s[0] + y[1] * s[1]);
  const double along = r * (s[0] * g[0] + s[1] * g[1]);
  ASSERT_GT(std::abs(along), 1e-4) << "the line search was exact";
  const Point rest = {g[0] - along * y[0], g[1] - along * y[1]};
  const double back = r * (y[0] * rest[0] + y[1] * rest[1]);
  for (std::size_t k = 0; k < 2; ++k) {
    EXPECT_NEAR(direction[k], -(rest[k] - back * s[k] + along * s[k]), 1e-9) << k;
  }
}

TEST(Bfgs, StopsAfterAThousandIterations) {
  double calls = 0.0;  // a cost that falls at every call never meets the tolerance
  RecordingCost cost({1.0}, [&](const double*) {
    cost.visited.clear();  // there are millions
    return -++calls;
  });
  short iterations = 0;
  EXPECT_TRUE(cost.ComputeOptimumQNBFGS(nullptr, 0.0, &iterations));
  EXPECT_EQ(iterations, 1000);
}

TEST(LevenbergMarquardt, StaysAtAMinimumAtItsFixedStart) {
  RecordingCost cost({5.0, 5.0},
                     [](const double* x) { return Square(x[0] - 0.1) + 2.0 * Square(x[1] - 0.1); });
  cost.SetGradientStep(0.5);
  short iterations = 9;
  EXPECT_FALSE(cost.ComputeOptimumMarLev(&iterations));
  EXPECT_EQ(iterations, 0);
  EXPECT_EQ(cost.Parameters(), (Point{0.1, 0.1}));
  EXPECT_EQ(cost.EvaluationsCount(), 1 + 4 * 2 + (6 * 2 + 4 * 2) + 2);
}

TEST(LevenbergMarquardt, AddsTheSolvedStepUnsigned) {
  // f = a x^2 + b x y + c y^2 + d x: constant Hessian ((2a, b), (b, 2c)), so Cramer's rule gives the step.
  const double a = -1.0, b = 0.5, c = -2.0, d = 3.0;
  RecordingCost cost({0.0, 0.0}, [=](const double* x) {
    return a * x[0] * x[0] + b * x[0] * x[1] + c * x[1] * x[1] + d * x[0];
  });
  const RecordingDisplay display;
  EXPECT_TRUE(cost.ComputeOptimumMarLev(nullptr));  // goes down for ever: ends on a cost that is not finite
  Point from = {0.1, 0.1};
  std::size_t evaluation = 1 + 4 * 2 + 20;  // of the first trial
  for (double damping : {0.001, 0.0001}) {  // a tenth after a step that pays
    const double g0 = 2.0 * a * from[0] + b * from[1] + d;
    const double g1 = b * from[0] + 2.0 * c * from[1];
    const double h00 = 2.0 * a * (1.0 + damping);
    const double h11 = 2.0 * c * (1.0 + damping);
    const double determinant = h00 * h11 - b * b;
    const Point trial = cost.visited.at(evaluation);
    EXPECT_NEAR(trial[0], from[0] + (g0 * h11 - b * g1) / determinant, 1e-12);
    EXPECT_NEAR(trial[1], from[1] + (h00 * g1 - b * g0) / determinant, 1e-12);
    from = trial;
    evaluation += 2 + 4 * 2 + 20;
  }
  // Uphill, the damping grows tenfold.
  RecordingCost convex({0.0}, [](const double* x) { return Square(x[0] - 2.0); });
  EXPECT_FALSE(convex.ComputeOptimumMarLev(nullptr));
  EXPECT_NEAR(convex.visited.at(1 + 4 + 6)[0], 0.1 - 1.9 / 1.001, 1e-12);
  EXPECT_NEAR(convex.visited.at(1 + 4 + 6 + 2)[0], 0.1 - 1.9 / 1.01, 1e-12);
}

// An object that is not defined stays where it is, while its damping falls with every step that would have
// paid.
TEST(LevenbergMarquardt, DampsAnUndefinedObjectThatDoesNotMove) {
  RecordingCost cost({0.0}, [](const double* x) { return -Square(x[0] - 1.0); });
  cost.SetDefined(false);
  EXPECT_FALSE(cost.ComputeOptimumMarLev(nullptr));
  EXPECT_EQ(cost.Parameters(), (Point{0.1}));
  std::size_t trial = 1 + 4 + 6;
  for (const double damping : {0.001, 0.0001, 0.00001}) {
    EXPECT_NEAR(cost.visited.at(trial)[0], 0.1 - 0.9 / (1.0 + damping), 1e-12) << damping;
    trial += 2 + 4 + 6;
  }
}

TEST(LevenbergMarquardt, ShowsNothingWhateverTheSystem) {
  for (const double value : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
    for (int finiteEvaluations = 0; finiteEvaluations < 60; ++finiteEvaluations) {
      const RecordingDisplay display;
      int calls = 0;
      RecordingCost cost({0.0, 0.0}, [&](const double* x) {
        return ++calls > finiteEvaluations ? value : Square(x[0]) - 3.0 * Square(x[1]) + x[0];
      });
      cost.ComputeOptimumMarLev(nullptr);
      EXPECT_TRUE(display.messages.empty()) << value << ' ' << finiteEvaluations;
    }
  }
}

TEST(LevenbergMarquardt, EndsWhereOverflowIsRoundedTowardZero) {
  const int former = std::fegetround();
  ASSERT_EQ(std::fesetround(FE_TOWARDZERO), 0);
  // The diagonal is flat, the step leads uphill: only the damping changes.
  RecordingCost cost({0.0, 0.0}, [](const double* x) {
    return 2.0 * std::round(x[0]) + std::round(x[0]) * std::round(x[1]) + (x[1] > 2.0 ? 5.0 : 0.0);
  });
  EXPECT_FALSE(cost.ComputeOptimumMarLev(nullptr));
  std::fesetround(former);
  EXPECT_LT(cost.EvaluationsCount(), 1000);
}

TEST(LevenbergMarquardt, DescendsWhereTheCurvatureIsNegativeAndEndsWhereItIsNot) {
  RecordingCost cost({0.0}, [](const double* x) { return Square(Square(x[0]) - 1.0); });
  cost.SetGradientStep(1e-3);
  const RecordingDisplay display;
  EXPECT_TRUE(cost.ComputeOptimumMarLev(nullptr));
  EXPECT_LT(cost.GetValue(), Square(0.99) / 2.0);
  // Two evaluations per step; the start and every accepted step take derivatives (4 + 6).
  const int steps = static_cast<int>(display.windows.at(0)->actions.size());
  const int derivatives = cost.EvaluationsCount() - 1 - 2 * steps;
  EXPECT_EQ(derivatives % 10, 0);
  EXPECT_GE(derivatives / 10, 2);
}

TEST(LevenbergMarquardt, EndsWithoutCurvatureOnTheDiagonal) {
  // Whole numbers at the points of the differences: the diagonal is exactly 0, so that the damping changes
  // nothing. The step leads to (0.1, 2.1), always uphill.
  RecordingCost cost({0.0, 0.0}, [](const double* x) {
    return 2.0 * std::round(x[0]) + std::round(x[0]) * std::round(x[1]) + (x[1] > 2.0 ? 5.0 : 0.0);
  });
  const RecordingDisplay display;
  EXPECT_FALSE(cost.ComputeOptimumMarLev(nullptr));
  EXPECT_LT(cost.EvaluationsCount(), 1000);
}

TEST(LevenbergMarquardt, EndsWhenAStepChangesTheCostByTooLittle) {
  for (const auto& [change, steps] : {std::pair(1.1e-10, 2u), std::pair(0.9e-10, 1u)}) {
    const RecordingDisplay display;
    int calls = 0;
    constexpr int kFirstTrial = 1 + 4 + 6 + 1;
    RecordingCost cost(
        {0.0}, [&calls, change = change](const double*) { return ++calls == kFirstTrial ? change : 0.0; });
    EXPECT_FALSE(cost.ComputeOptimumMarLev(nullptr));
    EXPECT_EQ(display.windows.at(0)->actions.size(), steps) << change;
  }
}

TEST(LevenbergMarquardt, EndsWhenTheDampingHasVanishedAndCannotGrow) {
  // Every step pays until some 350 of them have divided the damping down to 0; from then on none does.
  int calls = 0;
  RecordingCost cost({0.0}, [&](const double*) -> double {
    if (++calls > 20000) throw std::runtime_error("runs for ever");
    return calls < 12 * 350 ? -calls : 1000.0;
  });
  EXPECT_NO_THROW(cost.ComputeOptimumMarLev(nullptr));
  EXPECT_GT(calls, 12 * 350);
}

TEST(LevenbergMarquardt, TheOtherEntryOnlySetsTheParameters) {
  RecordingCost cost({1.0, 2.0}, Quadratic(2).cost);
  cost.SetDefined(false);
  Point start = {6.0, 7.0};
  EXPECT_FALSE(cost.ComputeOptimumLM(start.data(), nullptr));
  EXPECT_EQ(cost.Parameters(), start);
  EXPECT_FALSE(cost.ComputeOptimumLM(nullptr, nullptr));
  EXPECT_TRUE(cost.visited.empty());
}

}  // namespace
}  // namespace mth_test
