#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include "optimise/line_search_oracle.h"
#include "optimise/problems.h"
#include "support/locale_scope.h"
#include "support/text_file.h"

namespace mth_test {
namespace {

TEST(Evaluation, APointCostsTwoEvaluationsAndLeavesTheObjectAsItWas) {
  RecordingCost cost({1.0, 2.0}, [](const double* x) { return 10.0 * x[0] + x[1]; });
  cost.SetDefined(false);  // points are evaluated whatever the flag says
  Point point = {3.0, 4.0};
  EXPECT_EQ(cost.EvaluateAtPoint(point.data()), 34.0);
  EXPECT_EQ(cost.visited, (std::vector<Point>{{3.0, 4.0}, {1.0, 2.0}}));
  EXPECT_EQ(cost.Parameters(), (Point{1.0, 2.0}));
  EXPECT_EQ(cost.GetValue(), 12.0);
  EXPECT_EQ(cost.EvaluateAtPoint(cost.GetParameters()), 12.0);
  EXPECT_TRUE(std::isnan(cost.EvaluateAtPoint(nullptr)));
}

TEST(Evaluation, StartPointsCountOnlyForDefinedObjects) {
  RecordingCost cost({1.0}, [](const double* x) { return x[0]; });
  const Point other = {7.0};
  EXPECT_FALSE(cost.HasIgnoredParameters());
  cost.SetDefined(false);
  cost.ComputeOptimumQNBFGS(other.data(), 1e308, nullptr);
  EXPECT_TRUE(cost.HasIgnoredParameters());
  cost.GetParameters()[0] = 1.0;
  cost.SetDefined(true);
  cost.SetParameters(nullptr);
  EXPECT_EQ(cost.Parameters(), (Point{1.0}));
  cost.SetParameters(other.data());
  EXPECT_EQ(cost.Parameters(), other);
  EXPECT_FALSE(cost.HasIgnoredParameters());
  EXPECT_EQ(cost.GetParam(), cost.GetParameters());
}

TEST(Evaluation, AThrowingCostLeavesTheParametersOfTheCaller) {
  RecordingCost cost({1.0}, [](const double* x) -> double {
    if (x[0] > 2.0) throw std::runtime_error("out of domain");
    return x[0];
  });
  Point outside = {3.0};
  EXPECT_THROW(cost.EvaluateAtPoint(outside.data()), std::runtime_error);
  EXPECT_EQ(cost.Parameters(), (Point{1.0}));
}

TEST(Evaluation, SizesThatCannotBeHadGiveAnObjectWithoutParameters) {
  class Sized : public MTH_FUNCT {
   public:
    Sized() = default;
    explicit Sized(int n) : MTH_FUNCT(n) {}
    void Evaluate() override { SetValue(0.0); }
  };
  const Sized none;
  const Sized negative(-1);
  const Sized huge(2147483647);
  for (const Sized* cost : {&none, &negative, &huge}) {
    EXPECT_EQ(cost->GetParametersCount(), 0);
    EXPECT_EQ(cost->GetParameters(), nullptr);
    EXPECT_EQ(cost->GetGradient(), nullptr);
    EXPECT_EQ(cost->GetHessian(), nullptr);
    EXPECT_EQ(cost->GetSimAnnParam(), nullptr);
  }
}

#if defined(__GNUC__) && defined(__x86_64__)
// A pointer to a virtual member holds 1 + the byte offset of its slot in this ABI.
template <class Member>
std::ptrdiff_t SlotOf(Member member) {
  std::ptrdiff_t word = 0;
  std::memcpy(&word, &member, sizeof word);
  return (word - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST(Evaluation, VirtualSlotsAreInThePublishedOrder) {
  EXPECT_EQ(SlotOf(&MTH_FUNCT::InitialiseSimAnn), 0);
  EXPECT_EQ(SlotOf(&MTH_FUNCT::SimAnnComputeTransition), 1);
  EXPECT_EQ(SlotOf(&MTH_FUNCT::SimAnnComputeInverseTransition), 2);
  EXPECT_EQ(SlotOf(&MTH_FUNCT::Evaluate), 5);  // the destructor takes slots 3 and 4
  EXPECT_EQ(SlotOf(&MTH_FUNCT::GetResidualsCount), 6);
  EXPECT_EQ(SlotOf(&MTH_FUNCT::EvaluateResiduals), 7);
}
#endif

TEST(Derivatives, DifferencesOfPolynomialsAreExact) {
  // f = x y + 3 z^2 + x^2 z: every difference with steps of 1 and 0.5 is exact in double.
  RecordingCost cost({2.0, -1.0, 4.0},
                     [](const double* x) { return x[0] * x[1] + 3.0 * x[2] * x[2] + x[0] * x[0] * x[2]; });
  for (double h : {1.0, 0.5}) {
    cost.SetGradientStep(h);
    cost.visited.clear();
    cost.ComputeGradient();
    EXPECT_EQ(cost.EvaluationsCount(), 4 * 3);
    const Point gradient(cost.GetGradient(), cost.GetGradient() + 3);
    EXPECT_EQ(gradient, (Point{15.0, 2.0, 28.0}));
    cost.visited.clear();
    cost.ComputeHessian();
    EXPECT_EQ(cost.EvaluationsCount(), 6 * 3 + 4 * 3 * 2);
    const Point hessian(cost.GetHessian(), cost.GetHessian() + 9);
    EXPECT_EQ(hessian, (Point{8.0, 1.0, 4.0, 1.0, 0.0, 0.0, 4.0, 0.0, 6.0}));
    EXPECT_EQ(cost.Parameters(), (Point{2.0, -1.0, 4.0}));
    EXPECT_EQ(cost.GetValue(), 62.0);
  }
}

// A cost that makes its parameter positive: the points are formed before it can.
TEST(Derivatives, FormAllTheirPointsBeforeTheFirstIsEvaluated) {
  class Folded : public MTH_FUNCT {
   public:
    Folded() : MTH_FUNCT(2) {}
    void Evaluate() override {
      double* const p = GetParameters();
      p[0] = std::abs(p[0]);
      SetValue(p[0] * p[0] * (1.0 + p[1]));
    }
  };
  Folded cost;
  cost.GetParameters()[0] = -2.0;
  cost.ComputeGradient();
  EXPECT_EQ(cost.GetGradient()[0], -4.0);  // (1 - 9) / 2
  cost.GetParameters()[0] = -2.0;
  cost.ComputeHessian();
  EXPECT_EQ(cost.GetHessian()[0], 2.0);
  class Mixed : public Folded {
   public:
    void Evaluate() override {
      Folded::Evaluate();
      SetValue(GetParameters()[0] * GetParameters()[1]);
    }
  };
  Mixed mixed;
  mixed.SetGradientStep(0.5);
  mixed.GetParameters()[0] = -0.25;
  mixed.GetParameters()[1] = 3.0;
  // All four from -0.25, while the diagonal before them has left 0.25: 0.75 or 0.25 by 2.5 or 3.5.
  mixed.ComputeHessian();
  EXPECT_EQ(mixed.GetHessian()[1], ((0.75 * 3.5 - 0.75 * 2.5) - (0.25 * 3.5 - 0.25 * 2.5)) / 1.0);
}

// The abscissae that a line search of one parameter from 0 visits, without the evaluations that restore.
std::vector<double> VisitedAbscissae(const CostFunction& function) {
  RecordingCost cost({0.0}, function);
  double direction = 1.0;
  cost.LinMin(cost.GetParameters(), &direction);
  std::vector<double> abscissae;
  for (std::size_t i = 0; i + 1 < cost.visited.size(); i += 2) abscissae.push_back(cost.visited[i][0]);
  EXPECT_EQ(cost.visited.size() % 2, 1u);  // pairs, then the one at the minimum
  return abscissae;
}

constexpr double kGolden = 1.618034;
constexpr double kPublishedDigits = 1e-7;  // of abscissae below 200, and of the golden numbers

TEST(LineSearch, TakesThePublishedSteps) {
  const double second = 1.0 + kGolden;
  const double guarded = 1.0 + 2.0 * 0.1 * kGolden * second;  // a denominator of 1e-8, ten times too large
  struct {
    const char* step;
    CostFunction cost;
    std::vector<double> abscissae;
  } const cases[] = {
      {"parabola beyond c, refinement from b anew and to the tolerance",
       [](const double* x) { return Square(x[0] - 3.0); },
       {0, 1, second, 3, 3 + kGolden * (3 - second), 3, 3 + 0.381966 * kGolden * (3 - second),
        3 - 0.381966 * (3 - second), 3 - 0.03001, 3 + 0.03001}},
      {"limit of the parabola",
       [](const double* x) { return Square(x[0] - 1000.0); },
       {0, 1, second, 1 + 100 * kGolden}},
      {"small denominator, and a parabola inside that encloses nothing",
       [](const double* x) { return 1e-9 * Square(x[0] - 3.0); },
       {0, 1, second, guarded, second + kGolden * kGolden}},
      // q - r = 0 counts as negative: the parabola points backwards and a golden step is taken.
      {"straight line",
       [](const double* x) { return x[0] < 50.0 ? -x[0] : x[0] - 100.0; },
       {0, 1, second, second + kGolden * kGolden}},
      // The swap: uphill to b, so that the search goes from 1 through 0; then a golden section of the larger
      // part, another, and the exact minimum of the parabola.
      {"uphill",
       [](const double* x) { return Square(x[0] + 0.5); },
       {0, 1, -kGolden, 0, 0.381966 * -kGolden, 0.618034 * -kGolden, -0.5}},
      {"flat: a later point of the same cost takes over",
       [](const double*) { return 2.0; },
       {0, 1, second, 1, 1 + 0.381966 * kGolden, 1 + kGolden - (1 - 0.381966) * (1 - 0.381966) * kGolden}},
      {"never closer than the tolerance",
       [](const double* x) { return Square(x[0]); },
       {0, 1, -kGolden, 0, 0.381966 * -kGolden, 0.381966, 1e-5, -1e-5}},
  };
  for (const auto& test : cases) {
    const std::vector<double> visited = VisitedAbscissae(test.cost);
    ASSERT_GE(visited.size(), test.abscissae.size()) << test.step;
    for (std::size_t i = 0; i < test.abscissae.size(); ++i) {
      EXPECT_NEAR(visited[i], test.abscissae[i], kPublishedDigits) << test.step << ", point " << i;
    }
  }
}

TEST(LineSearch, MovesTheArraysOfTheCallerAndEvaluatesTheObject) {
  RecordingCost cost({9.0, 9.0}, [](const double* x) { return Square(x[0] - 2.0) + Square(x[1] - 4.0); });
  double p[] = {0.0, 0.0};
  double xi[] = {1.0, 2.0};
  cost.LinMin(p, xi);
  EXPECT_NEAR(p[0], 2.0, 0.03);
  EXPECT_EQ(p[0], xi[0]);
  EXPECT_EQ(p[1], xi[1]);
  EXPECT_EQ(cost.Parameters(), (Point{9.0, 9.0}));
  EXPECT_EQ(cost.visited.back(), cost.Parameters());
  const int evaluations = cost.EvaluationsCount();
  cost.LinMin(nullptr, xi);
  cost.LinMin(p, nullptr);
  EXPECT_EQ(cost.EvaluationsCount(), evaluations);
}

TEST(LineSearch, EndsOnCostsThatFallForEverOrAreNaN) {
  double calls = 0.0;
  EXPECT_LT(VisitedAbscissae([&](const double*) { return -++calls; }).size(), 5000u);
  // Down a straight line the bracket ends at infinity: none of its 200 refinements is a number.
  const std::vector<double> endless = VisitedAbscissae([](const double* x) { return -x[0]; });
  EXPECT_EQ(std::count_if(endless.begin(), endless.end(), [](double t) { return std::isnan(t); }), 200);
  EXPECT_LT(VisitedAbscissae([](const double*) { return std::nan(""); }).size(), 300u);
}

TEST(ParameterDump, IsTheSameUnderEveryLocale) {
  RecordingCost cost({1.0, 2.5, -0.1234}, [](const double*) { return 7.0; });
  cost.Evaluate();
  const ScratchFile file("dump.txt");
  const std::string expected =
      "-------------PARAMETRES--------------\n"
      "param[0] : 1.000\nparam[1] : 2.500\nparam[2] : -0.123\n"
      "------------------COUT---------------\n7.000\n";
  for (const char* locale : kLocales) {
    const LocaleScope scope(locale);
    EXPECT_TRUE(cost.SaveParameters(file.Path())) << locale;
    EXPECT_EQ(file.Read(), expected) << locale;
  }
  EXPECT_FALSE(cost.SaveParameters("/no/such/folder/dump.txt"));
  EXPECT_FALSE(cost.SaveParameters(nullptr));
}

}  // namespace
}  // namespace mth_test
