#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "mth/matrix/Mth_matrix.h"
#include "optimise/problems.h"

// The two minimisers whose every evaluation is fixed: Nelder-Mead and steepest descent.

namespace mth_test {
namespace {

constexpr double kRounding = 1e-14;

// A cost that answers one value after the other, wherever it is evaluated, then 0 for ever.
CostFunction Script(std::vector<double> values) {
  return [values = std::move(values), next = std::size_t{0}](const double*) mutable {
    return next < values.size() ? values[next++] : 0.0;
  };
}

void ExpectNear(const Point& actual, const Point& expected, const std::string& what) {
  ASSERT_EQ(actual.size(), expected.size()) << what;
  for (std::size_t k = 0; k < actual.size(); ++k) {
    EXPECT_NEAR(actual[k], expected[k], kRounding) << what << ", coordinate " << k;
  }
}

TEST(NelderMead, FirstSimplexHasItsTwoOffsets) {
  RecordingCost cost({0.0}, [](const double*) { return 0.0; });
  MTH_MATRIX simplex(3, 2, 0);
  simplex.SetZero();
  cost.InitiateMatrixForNelderMead(&simplex);
  const double a = 1.0 / (2.0 * std::sqrt(2.0));
  const double p = a * (std::sqrt(3.0) + 3.0);
  const double q = a * (std::sqrt(3.0) - 1.0);
  const double expected[3][2] = {{0.0, 0.0}, {q, p}, {q, q}};
  for (int r = 0; r < 3; ++r) {
    for (int k = 0; k < 2; ++k) EXPECT_NEAR(simplex.Get(r, k), expected[r][k], kRounding);
  }
  cost.SetSimplexSize(2.0);
  cost.InitiateMatrixForNelderMead(&simplex);
  EXPECT_NEAR(simplex.Get(1, 1), 2.0 * p, kRounding);
  cost.InitiateMatrixForNelderMead(nullptr);
  MTH_MATRIX unallocated;
  cost.InitiateMatrixForNelderMead(&unallocated);
  EXPECT_FALSE(unallocated.IsAllocated());
  MTH_MATRIX flat(1, 4, 0);
  flat.SetZero();
  cost.InitiateMatrixForNelderMead(&flat);
  EXPECT_EQ(flat.GetStatusError(), 0);
}

TEST(NelderMead, EveryMoveVisitsItsPoints) {
  const double a = 1.0 / (2.0 * std::sqrt(2.0));
  const double p = a * (std::sqrt(3.0) + 3.0);
  const double q = a * (std::sqrt(3.0) - 1.0);
  const Point vertices[] = {{0.0, 0.0}, {q, p}, {q, q}};
  const Point rising = {1.0, 2.0, 3.0};
  struct {
    const char* move;
    Point vertexCosts;
    std::vector<double> costs;  // of the points of the first move
    std::vector<double> along;  // where they lie: -1 the worst vertex, 0 the centroid, 1 the reflected point
    bool shrinks = false;
  } const cases[] = {
      {"expansion", rising, {0.5, 0.1}, {1.0, 2.0}},
      {"expansion of an equal cost", rising, {1.0, 9.0}, {1.0, 2.0}},
      {"reflection", rising, {1.5}, {1.0}},
      {"reflection no better than the second worst", rising, {2.0, 1.5}, {1.0, 0.5}},
      {"outer contraction", rising, {2.5, 1.5}, {1.0, 0.5}},
      {"inner contraction", rising, {9.0, 1.5}, {1.0, -0.5}},
      {"contraction of a cost that is no number", rising, {9.0, std::nan("")}, {1.0, -0.5}},
      {"shrink", rising, {3.0, 3.0, 7.0, 8.0}, {1.0, -0.5}, true},
      {"worst in the middle", {1.0, 3.0, 2.0}, {2.5, 1.5}, {1.0, 0.5}},
      {"worst first", {3.0, 1.0, 2.0}, {1.5}, {1.0}},
      {"all equal but the best", {2.0, 2.0, 1.0}, {1.5}, {1.0}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.move);
    std::vector<double> script = {4.0};
    for (double cost : test.vertexCosts) script.insert(script.end(), {cost, 4.0});
    script.insert(script.end(), test.costs.begin(), test.costs.end());
    RecordingCost cost({0.0, 0.0}, Script(script));
    Point start = vertices[0];
    int iterations = -1;
    EXPECT_FALSE(cost.ComputeOptimum_Nelder_Mead(start.data(), 1e-12, 1, &iterations));
    EXPECT_EQ(iterations, 1);
    ASSERT_EQ(cost.visited.size(), 7 + test.costs.size());
    // The start, then each vertex twice: it is set and evaluated, and the value restored there.
    for (std::size_t i = 0; i < 7; ++i)
      ExpectNear(cost.visited[i], vertices[i == 0 ? 0 : (i - 1) / 2], "opening");
    // Of equal worst vertices the second stands for the first.
    const Point& costs = test.vertexCosts;
    const std::size_t worst = costs[2] > std::max(costs[0], costs[1]) ? 2 : costs[0] <= costs[1] ? 1 : 0;
    const Point& one = vertices[(worst + 1) % 3];
    const Point& other = vertices[(worst + 2) % 3];
    for (std::size_t i = 0; i < test.along.size(); ++i) {
      Point expected;
      for (std::size_t k = 0; k < 2; ++k) {
        const double centroid = (one[k] + other[k]) / 2.0;
        expected.push_back(centroid + test.along[i] * (centroid - vertices[worst][k]));
      }
      ExpectNear(cost.visited[7 + i], expected, "move");
    }
    for (std::size_t r = 1; test.shrinks && r < 3; ++r) {
      ExpectNear(cost.visited[8 + r], {vertices[r][0] * 0.5, vertices[r][1] * 0.5}, "halfway to the best");
    }
    EXPECT_EQ(cost.Parameters(), cost.visited.back());
  }
}

TEST(NelderMead, OnlySomePointsHeedTheDefinedFlag) {
  RecordingCost cost({8.0, 8.0}, Script({4, 1, 4, 2, 4, 3, 4, 9.0, 1.5}));
  cost.SetDefined(false);
  Point start = {0.0, 0.0};
  EXPECT_FALSE(cost.ComputeOptimum_Nelder_Mead(start.data(), 1e-12, 1, nullptr));
  EXPECT_EQ(cost.visited[0], (Point{8.0, 8.0}));  // start: ignored
  EXPECT_EQ(cost.visited[1], start);              // vertex: evaluated as a point
  EXPECT_EQ(cost.visited[2], (Point{8.0, 8.0}));
  EXPECT_EQ(cost.visited[7], (Point{8.0, 8.0}));  // reflection: ignored
  EXPECT_NE(cost.visited[8], (Point{8.0, 8.0}));  // contraction: moves the parameters
}

TEST(NelderMead, FirstCostsUseTwoCoordinates) {
  RecordingCost cost({0.0, 0.0, 0.0}, Quadratic(3).cost);
  Point start = {1.0, 2.0, 3.0};
  EXPECT_FALSE(cost.ComputeOptimum_Nelder_Mead(start.data(), 1e-12, 0, nullptr));
  ASSERT_EQ(cost.visited.size(), 1u + 2u * 4u);
  EXPECT_EQ(cost.visited[0], start);
  EXPECT_EQ(cost.visited[1], (Point{1.0, 2.0, 0.0}));
  for (const Point& point : {cost.visited[3], cost.visited[5], cost.visited[7]}) EXPECT_EQ(point[2], 0.0);
}

TEST(Simplex, ToleranceIsRelativeToTheCosts) {
  Point start = {0.0, 0.0};
  for (double tolerance : {0.99, 1.01}) {  // 2 |3 - 1| / (1 + 3) = 1
    RecordingCost cost({0.0, 0.0}, Script({4, 1, 4, 2, 4, 3, 4}));
    EXPECT_EQ(cost.ComputeOptimum_Nelder_Mead(start.data(), tolerance, 0, nullptr), tolerance > 1.0);
  }
  for (double tolerance : {0.19, 0.21}) {  // steepest descent: |3 - 2| / (3 + 2)
    RecordingCost cost({0.0, 0.0}, Script({5, 5, 4, 4, 3, 3, 2.9, 2.8, 2.0}));
    int iterations = 0;
    EXPECT_TRUE(cost.Compute_Optimum_Steepes(start.data(), tolerance, 2, &iterations));
    EXPECT_EQ(iterations, tolerance > 0.2 ? 1 : 2);
  }
  // Costs about 1e-10, which both add to the denominator.
  constexpr double kTiny = 1e-10;
  for (double tolerance : {0.79, 0.81}) {  // 2 |3 - 1| / (1 + 3 + 1)
    RecordingCost cost({0.0, 0.0}, Script({4, kTiny, 4, 2 * kTiny, 4, 3 * kTiny, 4}));
    EXPECT_EQ(cost.ComputeOptimum_Nelder_Mead(start.data(), tolerance, 0, nullptr), tolerance > 0.8);
  }
  for (double tolerance : {0.16, 0.17}) {  // |3 - 2| / (3 + 2 + 1)
    RecordingCost cost({0.0, 0.0}, Script({5, 5, 4, 4, 3 * kTiny, 3 * kTiny, 2.9, 2.8, 2 * kTiny}));
    int iterations = 0;
    EXPECT_TRUE(cost.Compute_Optimum_Steepes(start.data(), tolerance, 2, &iterations));
    EXPECT_EQ(iterations, tolerance > 1.0 / 6.0 ? 1 : 2);
  }
}

TEST(NelderMead, EndsAtOnceOnANullStartAFlatCostOrNoIterations) {
  RecordingCost cost({1.0, 2.0}, [](const double*) { return 1.0; });
  Point start = {0.0, 0.0};
  EXPECT_FALSE(cost.ComputeOptimum_Nelder_Mead(nullptr, 1.0, 10, nullptr));
  EXPECT_TRUE(cost.visited.empty());
  EXPECT_TRUE(cost.ComputeOptimum_Nelder_Mead(start.data(), 1e-6, 0, nullptr));
  EXPECT_FALSE(cost.ComputeOptimum_Nelder_Mead(start.data(), 0.0, -5, nullptr));
}

TEST(SteepestDescent, EveryStepTakesTheSameEvaluations) {
  for (int n : {1, 2, 3, 7}) {
    const Problem problem = Quadratic(n);
    RecordingCost cost(problem.start, problem.cost);
    Point start = problem.start;
    int iterations = -1;
    EXPECT_TRUE(cost.Compute_Optimum_Steepes(start.data(), 0.0, 25, &iterations));
    EXPECT_EQ(iterations, 25) << n;
    EXPECT_EQ(cost.EvaluationsCount(), 1 + 2 * n + 25 * (n + 2)) << n;
    EXPECT_EQ(cost.visited.back(), cost.Parameters()) << n;
  }
}

// The points of one iteration from (1, 2), their costs being given one by one.
std::vector<Point> VisitedWithCosts(std::vector<double> costs) {
  RecordingCost cost({0.0, 0.0}, Script(std::move(costs)));
  Point start = {1.0, 2.0};
  cost.Compute_Optimum_Steepes(start.data(), 0.0, 1, nullptr);
  return cost.visited;
}

TEST(SteepestDescent, WarmsUpAlongTheDiagonalAndRestoresWhatDidNotPay) {
  // F = -cost by evaluation: start, record, step, record, step; then the loop.
  const double d = 1.0 / std::sqrt(2.0);
  // Costs 5, 4, 3: the gain continues, so the step grows and the last point is accepted.
  std::vector<Point> visited = VisitedWithCosts({5, 5, 4, 4, 3, 3, 2.9, 2.8, 2.0});
  ASSERT_EQ(visited.size(), 9u);
  ExpectNear(visited[2], {1.0 + d, 2.0 + d}, "first warm-up step");
  ExpectNear(visited[4], {1.0 + 2 * d, 2.0 + 2 * d}, "second warm-up step");
  EXPECT_EQ(visited[5], visited[4]);
  const double shift = d * 1.2 / 2.0;
  ExpectNear(visited[6], {visited[5][0] + shift, visited[5][1]}, "forward difference in x");
  ExpectNear(visited[7], {visited[5][0], visited[5][1] + shift}, "forward difference in y");
  const double norm = std::hypot(0.1, 0.2);
  ExpectNear(visited[8], {visited[5][0] + 1.2 * 0.1 / norm, visited[5][1] + 1.2 * 0.2 / norm}, "step");
  // Costs 5, 4, 6: back to the second record, with half the step; equal costs make slopes of -1e-5.
  visited = VisitedWithCosts({5, 5, 4, 4, 6, 4, 4, 4, 2.0});
  EXPECT_EQ(visited[5], visited[3]);
  ExpectNear(visited[6], {visited[3][0] + d * 0.5 / 2.0, visited[3][1]}, "forward difference in x");
  ExpectNear(visited[8], {visited[3][0] + 0.5 * d, visited[3][1] + 0.5 * d}, "step");
  // Costs 5, 4, 4: back as well, with the whole step.
  visited = VisitedWithCosts({5, 5, 4, 4, 4, 4, 4, 4, 2.0});
  EXPECT_EQ(visited[5], visited[3]);
  ExpectNear(visited[6], {visited[3][0] + d / 2.0, visited[3][1]}, "forward difference in x");
}

TEST(SteepestDescent, TellsSmallGainsAndSlopesOfZero) {
  const double d = 1.0 / std::sqrt(2.0);
  // The step grows after a gain of at least 1e-15: seen in the shift of the forward difference.
  for (const auto& [gain, growth] : {std::pair(1.5e-15, 1.2), std::pair(0.5e-15, 1.0)}) {
    const std::vector<Point> visited = VisitedWithCosts({5, gain, 4, 0.0, -1, -1, 2.9, 2.8, 2.0});
    ExpectNear(visited.at(6), {visited[5][0] + d * growth / 2.0, visited[5][1]}, "forward difference in x");
  }
  // The slope in x is 0, that in y twice 1e-5: x moves half as far as y, to the other side.
  const double shift = d * 1.2 / 2.0;
  const std::vector<Point> visited = VisitedWithCosts({5, 5, 4, 4, 3, 0.0, 0.0, 2e-5 * shift, 2.0});
  ExpectNear(visited.at(8), {visited[5][0] + 1.2 / std::sqrt(5.0), visited[5][1] - 2.4 / std::sqrt(5.0)},
             "step");
}

// A step constant of 0 makes shifts of 0: 1e-12 stands in for them, or slopes would be no numbers.
TEST(SteepestDescent, DividesNoSlopeByZero) {
  RecordingCost cost({1.0, 2.0}, [](const double*) { return 4.0; });
  cost.SetConstant_for_Steepes_Optimization(0.0);
  Point start = {1.0, 2.0};
  EXPECT_TRUE(cost.Compute_Optimum_Steepes(start.data(), 0.0, 3, nullptr));
  for (const Point& point : cost.visited) EXPECT_EQ(point, start);
  // The shift of a slope that is there: (1e-3 - 0) / 1e-12 in x, -1e-5 in y, of which y is lost.
  RecordingCost steep({1.0, 2.0}, Script({0, 0, 0, 0, 0, 0, 1e-3, 0, 0, 0, 0}));
  steep.SetConstant_for_Steepes_Optimization(0.0);
  EXPECT_TRUE(steep.Compute_Optimum_Steepes(start.data(), 0.0, 1, nullptr));
  EXPECT_EQ(steep.visited.back(), start);
  // So does a shift that underflows: (1e-9 - 0) / 1e-12 in x, beside 600 over the shift in y.
  RecordingCost faint({0.0, 0.0}, Script({5, 5, 4, 4, 3, 0.0, 5e-324, 1e3, -1, 0.0, 1e-9, 600, 2.0}));
  faint.Compute_Optimum_Steepes(start.data(), 0.0, 2, nullptr);
  const Point& here = faint.visited.at(9);
  const Point& there = faint.visited.at(12);
  const double slope = 600.0 / (faint.visited[11][1] - here[1]);
  EXPECT_NEAR((there[0] - here[0]) / (there[1] - here[1]), 1e3 / slope, 1e-9);
}

TEST(SteepestDescent, ComparesWithTheFirstTwoRecordsAlone) {
  Point start = {0.0, 0.0, 0.0};
  RecordingCost three(start,
                      Script({9, 9, 4, 4, 2, 2, 3}));  // better than the second record, not than the third
  three.Compute_Optimum_Steepes(start.data(), 0.0, 1, nullptr);
  EXPECT_EQ(three.visited[7], three.visited[6]);  // accepted
  RecordingCost one({0.0}, Script({4, 4, 5}));    // worse than the only record
  one.Compute_Optimum_Steepes(start.data(), 0.0, 1, nullptr);
  EXPECT_EQ(one.visited[3], one.visited[1]);  // restored
}

TEST(SteepestDescent, ReturnsTrueButForANullStart) {
  RecordingCost cost({1.0, 2.0}, Quadratic(2).cost);
  EXPECT_FALSE(cost.Compute_Optimum_Steepes(nullptr, 1e-6, 10, nullptr));
  EXPECT_TRUE(cost.visited.empty());
  Point start = {3.0, 3.0};
  int iterations = -1;
  for (int maximum : {1, 0, -4}) {
    EXPECT_TRUE(cost.Compute_Optimum_Steepes(start.data(), 0.0, maximum, &iterations));
    EXPECT_EQ(iterations, 1);
  }
  // Slopes whose squares vanish: no direction is left, and the value is that of the parameters.
  RecordingCost flat({0.0, 0.0}, [](const double* x) { return 1e-200 * (x[0] + x[1]); });
  EXPECT_TRUE(flat.Compute_Optimum_Steepes(start.data(), 0.0, 10, &iterations));
  EXPECT_EQ(iterations, 0);
  EXPECT_EQ(flat.GetValue(), 1e-200 * (flat.GetParameters()[0] + flat.GetParameters()[1]));
}

}  // namespace
}  // namespace mth_test
