#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <stdexcept>
#include <utility>

#include "optimise/problems.h"
#include "support/locale_scope.h"
#include "support/recording_display.h"
#include "support/values.h"

namespace mth_test {
namespace {

constexpr int kNotReported = -1;
constexpr double kTableRounding = 2e-6;  // the published minima have six digits

struct Outcome {
  bool result;
  int iterations;
};

// A minimiser with the settings that suit the problems below; a null start starts from the parameters.
struct Minimiser {
  const char* name;
  double tolerance;  // of the cost it reaches, relative and absolute
  int mostParameters;
  Outcome (*run)(MTH_FUNCT& cost, double* start);
};

Outcome RunPowell(MTH_FUNCT& cost, double* start) {
  short iterations = kNotReported;
  const bool result = cost.ComputeOptimumPowell(start, 200, 1e-10, &iterations, true);
  return {result, iterations};
}

Outcome RunBfgs(MTH_FUNCT& cost, double* start) {
  short iterations = kNotReported;
  cost.SetGradientStep(1e-4);
  const bool result = cost.ComputeOptimumQNBFGS(start, 1e-10, &iterations);
  return {result, iterations};
}

Outcome RunNelderMead(MTH_FUNCT& cost, double* start) {
  int iterations = kNotReported;
  const bool result = cost.ComputeOptimum_Nelder_Mead(start, 1e-10, 2000, &iterations);
  return {result, iterations};
}

Outcome RunSteepest(MTH_FUNCT& cost, double* start) {
  int iterations = kNotReported;
  cost.SetConstant_for_Steepes_Optimization(0.1);
  const bool result = cost.Compute_Optimum_Steepes(start, 1e-12, 20000, &iterations);
  return {result, iterations};
}

Outcome RunMarLev(MTH_FUNCT& cost, double*) {
  short iterations = kNotReported;
  const bool result = cost.ComputeOptimumMarLev(&iterations);
  return {result, iterations};
}

constexpr int kAny = 100;
const Minimiser kDescents[] = {{"Powell", 1e-6, kAny, RunPowell},
                               {"BFGS", 1e-9, kAny, RunBfgs},
                               {"Nelder-Mead", 1e-9, 3, RunNelderMead},
                               {"steepest descent", 1e-5, 2, RunSteepest}};
const Minimiser kAll[] = {{"Powell", 0, 0, RunPowell},
                          {"BFGS", 0, 0, RunBfgs},
                          {"Nelder-Mead", 0, 0, RunNelderMead},
                          {"steepest descent", 0, 0, RunSteepest},
                          {"Levenberg-Marquardt", 0, 0, RunMarLev}};

TEST(Minimisers, ReachTheMinimaOfPublishedProblems) {
  std::vector<Problem> problems = ReadProblems();
  ASSERT_EQ(problems.size(), 7u);
  for (int n : {1, 2, 5, 12}) problems.push_back(Quadratic(n));
  for (const Problem& problem : problems) {
    for (const Minimiser& minimiser : kDescents) {
      if (static_cast<int>(problem.start.size()) > minimiser.mostParameters) continue;
      SCOPED_TRACE(problem.name + " by " + minimiser.name);
      RecordingCost cost(Point(problem.start.size(), 0.5), problem.cost);
      Point start = problem.start;
      const Outcome outcome = minimiser.run(cost, start.data());
      EXPECT_TRUE(outcome.result);
      EXPECT_GT(outcome.iterations, 0);
      EXPECT_NEAR(cost.GetValue(), problem.leastCost,
                  minimiser.tolerance * (1.0 + problem.leastCost) + kTableRounding * problem.leastCost);
      EXPECT_EQ(cost.visited.front(), start);
      EXPECT_EQ(cost.visited.back(), cost.Parameters());
      EXPECT_EQ(cost.GetValue(), problem.cost(cost.GetParameters()));
    }
  }
}

TEST(Minimisers, StartFromTheParametersWhereTheObjectIsNotDefined) {
  for (const Minimiser& minimiser : kDescents) {
    RecordingCost cost({2.0, 1.0}, Quadratic(2).cost);
    cost.SetDefined(false);
    Point start = {30.0, 40.0};
    minimiser.run(cost, start.data());
    EXPECT_EQ(cost.visited.front(), (Point{2.0, 1.0})) << minimiser.name;
  }
}

TEST(Minimisers, WithoutParametersTakeTheirStepsAllTheSame) {
  Point start = {1.0};
  const std::pair<const Minimiser&, Outcome> cases[] = {{kAll[0], {false, 0}},
                                                        {kAll[1], {false, 1}},
                                                        {kAll[2], {false, 0}},  // no second vertex
                                                        {kAll[3], {true, 0}},
                                                        {kAll[4], {false, 0}}};
  for (const auto& [minimiser, expected] : cases) {
    RecordingCost cost({}, [](const double*) { return 1.0; });
    const Outcome outcome = minimiser.run(cost, start.data());
    EXPECT_EQ(outcome.result, expected.result) << minimiser.name;
    EXPECT_EQ(outcome.iterations, expected.iterations) << minimiser.name;
    EXPECT_EQ(cost.visited.empty(), &minimiser == &kAll[2]) << minimiser.name;
  }
  RecordingCost once({}, [](const double*) { return 1.0; });
  RunPowell(once, nullptr);
  EXPECT_EQ(once.EvaluationsCount(), 1);
}

TEST(Minimisers, EndOnCostsThatAreNotFiniteAndCloseTheirWindows) {
  const double infinity = std::numeric_limits<double>::infinity();
  for (const Minimiser& minimiser : kAll) {
    for (double value : {kNaN, infinity, -infinity}) {
      for (int finiteEvaluations : {0, 1, 7}) {  // the costs before that are fine
        const RecordingDisplay display;
        int calls = 0;
        RecordingCost cost({1.0, 2.0}, [&](const double* x) {
          return ++calls > finiteEvaluations ? value : Square(x[0]) + Square(x[1]);
        });
        Point start = {3.0, 4.0};
        const Outcome outcome = minimiser.run(cost, start.data());
        EXPECT_NE(outcome.iterations, kNotReported) << minimiser.name;
        for (const auto& window : display.windows) EXPECT_TRUE(window->isClosed) << minimiser.name;
      }
    }
  }
}

TEST(Minimisers, PassTheExceptionsOfTheHostAndCanBeUsedAgain) {
  const Problem problem = Quadratic(2);
  for (const Minimiser& minimiser : kAll) {
    RecordingCost expected(problem.start, problem.cost);
    Point start = problem.start;
    minimiser.run(expected, start.data());
    const int last = std::min(expected.EvaluationsCount(), 60);
    for (int faulty = 1; faulty <= last; ++faulty) {
      const RecordingDisplay display;
      int calls = 0;
      RecordingCost cost(problem.start, [&](const double* x) {
        if (++calls == faulty) throw std::runtime_error("host");
        return problem.cost(x);
      });
      EXPECT_THROW(minimiser.run(cost, start.data()), std::runtime_error) << minimiser.name;
      for (const auto& window : display.windows) EXPECT_TRUE(window->isClosed) << minimiser.name;
      cost.visited.clear();
      minimiser.run(cost, start.data());
      EXPECT_EQ(cost.visited, expected.visited) << minimiser.name << " after evaluation " << faulty;
    }
  }
}

TEST(Minimisers, ShowTheirProgress) {
  const Problem problem = Quadratic(2);
  const std::string title = "Optimization in progress";
  struct {
    const Minimiser& minimiser;
    std::string title;
    int steps;
    std::string opening;
  } const cases[] = {{kAll[0], title, 200 * 2, title},
                     {kAll[1], title, 1000, title},
                     {kAll[4], "Optimisation d'une fonction par Levenberg-Marquatd", 20, ""}};
  for (const auto& test : cases) {
    const RecordingDisplay display;
    RecordingCost cost(problem.start, problem.cost);
    const Outcome outcome = test.minimiser.run(cost, nullptr);
    ASSERT_EQ(display.windows.size(), 1u);
    const ShownProgress& window = *display.windows[0];
    EXPECT_EQ(window.title, test.title);
    EXPECT_EQ(window.maximum, 5 * test.steps);
    EXPECT_TRUE(window.wasShown);
    std::vector<std::string> actions = window.actions;
    if (!test.opening.empty()) {
      EXPECT_EQ(actions.front(), test.opening);
      actions.erase(actions.begin());
    }
    // Powell steps once per line search along a direction, of the uncounted last pass too.
    if (test.minimiser.run == RunPowell) {
      EXPECT_EQ(actions.size(), 2u * (static_cast<unsigned>(outcome.iterations) + 1));
      EXPECT_EQ(actions.back(), "0.0\t1.0\t");
    } else {
      for (const std::string& action : actions) EXPECT_EQ(action, "  ");
      EXPECT_EQ(actions.empty(), false);
    }
  }
  for (const Minimiser* silent : {&kAll[2], &kAll[3]}) {
    const RecordingDisplay display;
    RecordingCost cost(problem.start, problem.cost);
    Point start = problem.start;
    silent->run(cost, start.data());
    EXPECT_TRUE(display.windows.empty()) << silent->name;
  }
}

TEST(Minimisers, RunWithoutTheirWindowsWhereNoneCanBeHad) {
  class Windowless : public STD_DISPLAY {
   public:
    int ShowMessage(const std::string&, MessageKind, const std::string&) override { return 0; }
    std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override {
      throw std::runtime_error("no window system");
    }
  };
  const Problem problem = Quadratic(2);
  for (const Minimiser& minimiser : kAll) {
    RecordingCost expected(problem.start, problem.cost);
    RecordingCost cost(problem.start, problem.cost);
    Point start = problem.start;
    const Outcome outcome = minimiser.run(expected, start.data());
    Windowless display;
    const STD_DISPLAY_SCOPE scope(&display);
    EXPECT_EQ(minimiser.run(cost, start.data()).result, outcome.result) << minimiser.name;
    EXPECT_EQ(cost.visited, expected.visited) << minimiser.name;
  }
}

TEST(Powell, ShowsOneDecimalUnderEveryLocaleAndNoWindowUnlessAsked) {
  for (const char* locale : kLocales) {
    const LocaleScope scope(locale);
    const RecordingDisplay display;
    RecordingCost cost({-12.36, 0.04, 1234567.25}, [](const double*) { return 1.0; });
    cost.ComputeOptimumPowell(nullptr, 1, 1e-3, nullptr, false);
    EXPECT_TRUE(display.windows.empty());
    // A constant cost: each search ends at the abscissa of least cost that it found, a golden step away.
    cost.ComputeOptimumPowell(nullptr, 1, 1e-3, nullptr, true);
    const std::string& text = display.windows.at(0)->actions.at(1);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\t'), 3);
    EXPECT_EQ(std::count(text.begin(), text.end(), '.'), 3);
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] != '.') continue;
      EXPECT_TRUE(text[i + 2] == '\t' && std::isdigit(text[i - 1])) << text;
    }
  }
}

TEST(Powell, CountsOnlyPassesBeforeTheLastOne) {
  RecordingCost atMinimum({0.0, 1.0}, Quadratic(2).cost);
  short iterations = kNotReported;
  EXPECT_FALSE(atMinimum.ComputeOptimumPowell(nullptr, 50, 1e-8, &iterations, false));
  EXPECT_EQ(iterations, 0);
  RecordingCost untouched({5.0, 5.0}, Quadratic(2).cost);
  EXPECT_FALSE(untouched.ComputeOptimumPowell(nullptr, 0, 1e-8, &iterations, false));
  EXPECT_EQ(iterations, 0);
  EXPECT_EQ(untouched.visited, (std::vector<Point>{{5.0, 5.0}}));
  RecordingCost cut({-1.2, 1.0}, CostOfProblem("Rosenbrock"));
  EXPECT_TRUE(cut.ComputeOptimumPowell(nullptr, 3, 0.0, &iterations, false));
  EXPECT_EQ(iterations, 3);
}

// Powell's method step by step, on the object's own line search.
void MinimiseByPowellsSteps(RecordingCost& cost, int maxIter, double ftol) {
  const auto n = static_cast<std::size_t>(cost.GetParametersCount());
  std::vector<Point> directions(n, Point(n, 0.0));
  for (std::size_t i = 0; i < n; ++i) directions[i][i] = 1.0;
  cost.Evaluate();
  Point pt = cost.Parameters();
  for (int pass = 0; pass < maxIter; ++pass) {
    const double fp = cost.GetValue();
    double del = 0.0;
    std::size_t ibig = 0;
    for (std::size_t i = 0; i < n; ++i) {
      Point xit = directions[i];
      const double before = cost.GetValue();
      cost.LinMin(cost.GetParameters(), xit.data());
      if (std::abs(before - cost.GetValue()) > del) {
        del = std::abs(before - cost.GetValue());
        ibig = i;
      }
    }
    const double value = cost.GetValue();
    if (2.0 * std::abs(fp - value) <= ftol * (std::abs(fp) + std::abs(value)) + 1e-6) return;
    Point ptt(n);
    Point xit(n);
    for (std::size_t j = 0; j < n; ++j) {
      ptt[j] = 2.0 * cost.GetParameters()[j] - pt[j];
      xit[j] = cost.GetParameters()[j] - pt[j];
      pt[j] = cost.GetParameters()[j];
    }
    const double fptt = cost.EvaluateAtPoint(ptt.data());
    if (!(fptt < fp)) continue;
    const double first = fp - cost.GetValue() - del;
    const double second = fp - fptt;
    const double t = 2.0 * (fp - 2.0 * cost.GetValue() + fptt) * (first * first) - del * (second * second);
    if (!(t < 0.0)) continue;
    cost.LinMin(cost.GetParameters(), xit.data());
    directions[ibig] = xit;
  }
}

// Bowls with waves whose level jumps from evaluation to evaluation: searches fail, and rises count as
// changes.
TEST(Powell, VisitsThePointsOfItsSteps) {
  std::mt19937 engine(7);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  int differentLengths = 0;
  for (int i = 0; i < 300; ++i) {
    const std::size_t n = 2 + static_cast<std::size_t>(i % 3);
    Point start(n);
    Point coefficients(4 * n);
    for (double& x : start) x = 4.0 * uniform(engine);
    for (double& c : coefficients) c = uniform(engine);
    const double jump = i % 2 == 0 ? 0.0 : 2.0;
    const auto make = [&] {
      return RecordingCost(start, [&, calls = 0](const double* x) mutable {
        double sum = jump * std::sin(0.37 * ++calls);
        for (std::size_t k = 0; k < n; ++k) {
          const double* c = &coefficients[4 * k];
          sum += (1.1 + c[0]) * Square(x[k] - 2.0 * c[1]) + 2.0 * c[2] * x[k] * x[(k + 1) % n] / 3.0;
          sum += std::pow(x[k] * x[(k + 1) % n], 2) / 20.0 + c[3] * std::cos(2.0 * x[k]);
        }
        return sum;
      });
    };
    RecordingCost expected = make();
    MinimiseByPowellsSteps(expected, 6, 1e-6);
    RecordingCost cost = make();
    cost.ComputeOptimumPowell(nullptr, 6, 1e-6, nullptr, false);
    ASSERT_EQ(cost.visited, expected.visited) << i;
    differentLengths += cost.visited.size() % 2 == 0 ? 1 : 0;
  }
  EXPECT_GT(differentLengths, 30);
}

TEST(Powell, OfEqualDecreasesTheFirstGivesItsDirection) {
  // Both axes gain 1, exactly; beyond, along the diagonal, lies a deeper bowl.
  short iterations = 0;
  std::vector<short> passes;
  RecordingCost cost({0.0, 0.0}, [&](const double* x) {
    passes.push_back(iterations);
    if (x[0] > 1.9 && x[1] > 1.9) return 0.1 * (Square(x[0] - 2.0) + Square(x[1] - 2.0)) - 1.0;
    return Square(x[0] - 1.0) + Square(x[1] - 1.0);
  });
  cost.ComputeOptimumPowell(nullptr, 2, 0.0, &iterations, false);
  const auto second = static_cast<std::size_t>(std::find(passes.begin(), passes.end(), 1) - passes.begin());
  ASSERT_LT(second + 2, cost.visited.size());
  EXPECT_EQ(cost.visited[second], (Point{2.0, 2.0}));
  EXPECT_EQ(cost.visited[second + 2], (Point{3.0, 3.0}));  // not along the first axis: that one was replaced
}

// From 4 to 1 along the axes, 2 of it along the first, and 2 as far beyond: what Powell's test compares is
// equal, and so is what its stop test does with the tolerance (6 - 1e-6) / 5.
TEST(Powell, EqualityStopsAPassButTakesNoNewDirection) {
  for (const auto& [tolerance, passes] : {std::pair(0.0, 1), std::pair((6.0 - 1e-6) / 8.0, 0)}) {
    ASSERT_EQ(passes == 0, tolerance * 8.0 + 1e-6 == 6.0);
    RecordingCost cost({0.0, 0.0}, [](const double* x) {
      return x[0] > 1.9 && x[1] > 1.9 ? 3.5 : 2.0 * Square(x[0] - 1.0) + Square(x[1] - 1.0) + 2.5;
    });
    short iterations = 0;
    cost.ComputeOptimumPowell(nullptr, 1, tolerance, &iterations, false);
    EXPECT_EQ(iterations, passes);
    EXPECT_EQ(std::count(cost.visited.begin(), cost.visited.end(), Point{2.0, 2.0}), passes);
  }
  // Here the test is met by its last bit, which squares that are multiplied in another order would lose.
  RecordingCost cost({0.0, 0.0}, [](const double* x) {
    return x[0] > 1.9 && x[1] > 1.9 ? 1.0000000000000002
                                    : 1.3 * Square(x[0] - 1.0) + Square(x[1] - 1.0) + 0.7;
  });
  short iterations = 0;
  cost.ComputeOptimumPowell(nullptr, 1, 0.0, &iterations, false);
  EXPECT_GT(std::count(cost.visited.begin(), cost.visited.end(), Point{2.0, 2.0}), 1);
}

// Beside the points of its first quadratic the cost changes by nothing, or by just what counts as nothing.
TEST(LevenbergMarquardt, StopsAtAChangeOfTheSmallestSize) {
  std::size_t visits[2];
  for (const int i : {0, 1}) {
    RecordingCost cost({0.1}, [i](const double* x) {
      return x[0] == 0.1 ? 0.0 : std::abs(x[0]) > 0.8 ? x[0] + 5.0 : i * 1e-10;
    });
    cost.ComputeOptimumMarLev(nullptr);
    visits[i] = cost.visited.size();
  }
  EXPECT_EQ(visits[0], visits[1]);
}

// Costs whose first pass gains 9 scale, from (9 scale + floor) to the floor: the stop tests of both.
TEST(Minimisers, StopAtTheirTolerances) {
  const auto parabola = [](double scale, double floor) {
    return RecordingCost({0.0}, [=](const double* x) { return scale * Square(x[0] - 3.0) + floor; });
  };
  struct {
    double scale;
    double floor;
    double tolerance;
    int iterations;
  } const cases[] = {{5.4e-8, 0.0, 0.0, 0},  // 2 x 9 scale <= 1e-6
                     {5.7e-8, 0.0, 0.0, 1},
                     {1.0, 100.0, 0.088, 0},  // 2 x 9 <= tolerance x 209
                     {1.0, 100.0, 0.084, 1}};
  for (const auto& test : cases) {
    RecordingCost cost = parabola(test.scale, test.floor);
    short iterations = kNotReported;
    EXPECT_TRUE(cost.ComputeOptimumPowell(nullptr, 1, test.tolerance, &iterations, false));
    EXPECT_EQ(iterations, test.iterations) << test.scale;
  }
  for (const auto& [tolerance, isFirst] : {std::pair(2.17, true), std::pair(2.13, false)}) {
    RecordingCost cost = parabola(1.0, 100.0);  // 50 x 9 <= tolerance x 209
    cost.SetGradientStep(0.5);
    short iterations = kNotReported;
    EXPECT_TRUE(cost.ComputeOptimumQNBFGS(nullptr, tolerance, &iterations));
    EXPECT_EQ(iterations == 1, isFirst) << tolerance;
  }
  // About 1e-10 that number counts as well: 50 x 9 scale <= 10 x (9 scale + 1e-10). The slope of 1 that gives
  // the direction lies beyond the line search.
  for (const auto& [scale, isFirst] : {std::pair(2.6e-12, true), std::pair(3.0e-12, false)}) {
    RecordingCost cost({0.0}, [scale = scale](const double* x) {
      return std::abs(x[0]) > 500.0 ? -x[0] : scale * Square(x[0] - 3.0);
    });
    cost.SetGradientStep(1000.0);
    short iterations = kNotReported;
    cost.ComputeOptimumQNBFGS(nullptr, 10.0, &iterations);
    EXPECT_EQ(iterations == 1, isFirst) << scale;
  }
}

}  // namespace
}  // namespace mth_test
