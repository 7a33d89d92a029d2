#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "optimise/nist_problems.h"
#include "optimise/problems.h"
#include "support/cancelling_display.h"
#include "support/values.h"

namespace mth_test {
namespace {

using Reason = MTH_STOP_REASON;
using Residuals = std::function<bool(const double* parameters, double* residuals)>;

class ResidualCost : public MTH_FUNCT {
 public:
  ResidualCost(int n, int m, Residuals residuals) : MTH_FUNCT(n), m_(m), residuals_(std::move(residuals)) {}
  void Evaluate() override {}
  int GetResidualsCount() const override { return m_; }
  bool EvaluateResiduals(double* residuals) override { return residuals_(GetParameters(), residuals); }
  Point Parameters() const { return {GetParameters(), GetParameters() + GetParametersCount()}; }

 private:
  int m_;
  Residuals residuals_;
};

TEST(LeastSquares, MeetsTheCertifiedValuesOfNist) {
  // Starts from which the method ends elsewhere, or slowly: BoxBOD's first lies beyond a second minimum at an
  // infinite rate, and MGH10's first is thousands of steps away. The residuals' rounding, another with each C
  // library's exponentials, hides the last digits of Lanczos3 and of the flat minima of Bennett5 and ENSO.
  const std::vector<std::pair<std::string, std::size_t>> tooFar = {{"BoxBOD", 0}, {"MGH10", 0}};
  const std::vector<NistProblem> problems = NistProblems(MTH_DATA_DIR "/reference");
  EXPECT_EQ(problems.size(), 27u);
  for (const NistProblem& problem : problems) {
    for (std::size_t k = 0; k < problem.starts.size(); ++k) {
      if (std::count(tooFar.begin(), tooFar.end(), std::pair(problem.name, k)) > 0) continue;
      SCOPED_TRACE(problem.name + " from start " + std::to_string(k + 1));
      NistCost cost(problem);
      Point start = problem.starts[k];
      int iterations = -1;
      EXPECT_TRUE(cost.ComputeOptimumLeastSquares(start.data(), 1e-13, 2000, &iterations));
      EXPECT_EQ(cost.GetStopReason(), Reason::Converged);
      EXPECT_GT(iterations, 0);
      const bool isFlat = problem.name == "Bennett5" || problem.name == "ENSO";
      const double tolerance = problem.name == "Lanczos3" ? 2e-5 : isFlat ? 1e-5 : 1e-6;
      for (std::size_t i = 0; i < start.size(); ++i) {
        EXPECT_NEAR(cost.GetParameters()[i] / problem.certified[i], 1.0, tolerance) << i;
      }
      EXPECT_NEAR(2.0 * cost.GetValue(), problem.squareSum, 1e-8 * problem.squareSum + 2e-25);
      cost.Evaluate();
      EXPECT_NEAR(2.0 * cost.GetValue(), problem.squareSum, 1e-8 * problem.squareSum + 2e-25);
      EXPECT_NE(cost.GetCovariance(), nullptr);
    }
  }
}

// NIST's certified standard deviations of the parameters.
TEST(LeastSquares, ItsCovarianceHasTheCertifiedStandardDeviations) {
  for (const NistProblem& problem : NistProblems(MTH_DATA_DIR "/reference")) {
    // Those of the Lanczos ones are made of the rounding of the data.
    if (problem.name.starts_with("Lanczos")) continue;
    SCOPED_TRACE(problem.name);
    NistCost cost(problem);
    Point start = problem.starts[1];
    EXPECT_EQ(cost.GetCovariance(), nullptr);
    ASSERT_TRUE(cost.ComputeOptimumLeastSquares(start.data(), 1e-13, 2000, nullptr));
    const double* covariance = cost.GetCovariance();
    ASSERT_NE(covariance, nullptr);
    const std::size_t n = start.size();
    for (std::size_t i = 0; i < n; ++i) {
      EXPECT_NEAR(std::sqrt(covariance[i * n + i]) / problem.deviations[i], 1.0, 1e-5) << i;
      for (std::size_t j = 0; j < i; ++j) EXPECT_EQ(covariance[i * n + j], covariance[j * n + i]);
    }
  }
}

// A straight line: closed form. Residuals may have either sign.
TEST(LeastSquares, SolvesALinearProblemAtOnce) {
  for (const double sign : {1.0, -1.0}) {
    ResidualCost cost(2, 4, [sign](const double* p, double* r) {
      const double y[] = {1.0, 3.0, 2.0, 5.0};
      for (int i = 0; i < 4; ++i) r[i] = sign * (p[0] + p[1] * i - y[i]);
      return true;
    });
    cost.GetParameters()[0] = 7.0;
    cost.GetParameters()[1] = -3.0;
    EXPECT_TRUE(cost.ComputeOptimumLeastSquares(nullptr, 1e-12, 50, nullptr));
    EXPECT_NEAR(cost.GetParameters()[0], 1.1, 1e-7);
    EXPECT_NEAR(cost.GetParameters()[1], 1.1, 1e-7);
    EXPECT_NEAR(cost.GetValue(), 0.5 * 2.7, 1e-12);
    // s^2 (X^T X)^-1 with s^2 = 2.7 / 2 and X^T X = ((4, 6), (6, 14)).
    const double expected[] = {1.35 * 0.7, -1.35 * 0.3, -1.35 * 0.3, 1.35 * 0.2};
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(cost.GetCovariance()[i], expected[i], 1e-8) << i;
  }
}

// Steps of their own size are lost in the residuals, or are none.
TEST(LeastSquares, LeavesStartsThatAreTinyButNotZero) {
  for (const double start : {1e-9, 1.2246467991473532e-16, -1e-30, 1e-300, 5e-324}) {
    ResidualCost cost(1, 3, [](const double* p, double* r) {
      for (int i = 0; i < 3; ++i) r[i] = p[0] - 2.0 - 0.1 * (i - 1);
      return true;
    });
    EXPECT_TRUE(cost.ComputeOptimumLeastSquares(&start, 1e-12, 50, nullptr)) << start;
    EXPECT_NEAR(cost.GetParameters()[0], 2.0, 1e-8) << start;
    EXPECT_NE(cost.GetCovariance(), nullptr) << start;
  }
}

TEST(LeastSquares, RefusesWhatItCannotDo) {
  const Residuals line = [](const double* p, double* r) {
    r[0] = p[0] - 1.0;
    r[1] = p[1] - 2.0;
    return true;
  };
  Point start = {5.0, 6.0};
  int iterations = -1;
  struct {
    const char* what;
    int residuals;
    Residuals evaluate;
    int cap;
    Reason reason;
    double value;
  } const cases[] = {
      {"no residuals", 0, line, 9, Reason::BadInput, 0.0},
      {"fewer residuals than parameters", 1, line, 9, Reason::BadInput, 0.0},
      {"no iterations", 2, line, 0, Reason::IterationCap, 16.0},
      {"fewer than none", 2, line, -3, Reason::IterationCap, 16.0},
      {"not finite", 2,
       [](const double*, double* r) {
         r[0] = r[1] = kNaN;
         return true;
       },
       9, Reason::NotFinite, kNaN},
      {"not given", 2, [](const double*, double*) { return false; }, 9, Reason::NotFinite, kNaN},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    ResidualCost cost(2, test.residuals, test.evaluate);
    EXPECT_FALSE(cost.ComputeOptimumLeastSquares(start.data(), 1e-10, test.cap, &iterations));
    EXPECT_EQ(iterations, 0);
    EXPECT_EQ(cost.GetStopReason(), test.reason);
    EXPECT_EQ(cost.Parameters(), test.reason == Reason::BadInput ? (Point{0.0, 0.0}) : start);
    EXPECT_TRUE(cost.GetValue() == test.value || (std::isnan(cost.GetValue()) && std::isnan(test.value)));
    EXPECT_EQ(cost.GetCovariance(), nullptr);
  }
  ResidualCost steep(1, 2, [](const double* p, double* r) {  // slopes whose squares overflow
    r[0] = r[1] = 1e160 * (p[0] - 2.0);
    return true;
  });
  Point near = {2.0 + 1e-10};
  EXPECT_FALSE(steep.ComputeOptimumLeastSquares(near.data(), 1e-10, 50, nullptr));
  EXPECT_EQ(steep.GetStopReason(), Reason::NotFinite);
  EXPECT_EQ(steep.Parameters(), near);
  RecordingCost plain({1.0}, [](const double*) { return 0.0; });
  EXPECT_FALSE(plain.ComputeOptimumLeastSquares(nullptr, 1e-10, 5, nullptr));
  EXPECT_EQ(plain.GetStopReason(), Reason::BadInput);
}

TEST(LeastSquares, ConvergesAtARootAndTellsNoCovarianceWhereThereIsNone) {
  Point start = {-1.2, 1.0};
  const auto rosenbrock = [](const double* p, double* r) {
    r[0] = 10.0 * (p[1] - p[0] * p[0]);
    r[1] = 1.0 - p[0];
    return true;
  };
  ResidualCost square(2, 2, rosenbrock);
  EXPECT_TRUE(square.ComputeOptimumLeastSquares(start.data(), 0.0, 500, nullptr));
  EXPECT_LT(square.GetValue(), 1e-25);
  EXPECT_EQ(square.GetCovariance(), nullptr);  // m = n
  // A parameter that does nothing, two that do the same: J^T J is singular, the fit is found all the same.
  for (const bool isUnused : {true, false}) {
    ResidualCost dependent(3, 5, [isUnused](const double* p, double* r) {
      for (int i = 0; i < 5; ++i) r[i] = p[0] + (isUnused ? 0.0 : p[2]) + p[1] * i - (3.0 + 0.7 * i + i % 2);
      return true;
    });
    Point from = {1.0, 1.0, 1.0};
    EXPECT_TRUE(dependent.ComputeOptimumLeastSquares(from.data(), 1e-12, 200, nullptr)) << isUnused;
    EXPECT_NEAR(dependent.GetValue(), 0.5 * 1.2, 1e-9) << isUnused;
    EXPECT_EQ(dependent.GetCovariance(), nullptr) << isUnused;
  }
  ResidualCost flat(1, 3, [](const double*, double* r) {
    r[0] = r[1] = r[2] = 2.0;
    return true;
  });
  EXPECT_TRUE(flat.ComputeOptimumLeastSquares(nullptr, 0.0, 10, nullptr));
  EXPECT_EQ(flat.GetValue(), 6.0);
  EXPECT_EQ(flat.GetCovariance(), nullptr);
}

TEST(LeastSquares, ResidualsThatAreNotFiniteOnlyRefuseAStep) {
  // The logarithm of a negative number: the first steps lead there.
  ResidualCost cost(1, 3, [](const double* p, double* r) {
    for (int i = 0; i < 3; ++i) r[i] = std::log(p[0]) - std::log(0.01) + 0.01 * (i - 1);
    return true;
  });
  Point start = {50.0};
  EXPECT_TRUE(cost.ComputeOptimumLeastSquares(start.data(), 1e-12, 200, nullptr));
  EXPECT_NEAR(cost.GetParameters()[0], 0.01, 1e-8);
  EXPECT_NE(cost.GetCovariance(), nullptr);
}

TEST(LeastSquares, KeepsParametersAndValueTogetherHoweverItEnds) {
  const std::vector<NistProblem> problems = NistProblems(MTH_DATA_DIR "/reference");
  const NistProblem& problem = problems[0];
  class Faulty : public NistCost {
   public:
    Faulty(const NistProblem& problem, int last, bool throws)
        : NistCost(problem), last_(last), throws_(throws) {}
    bool EvaluateResiduals(double* residuals) override {
      if (evaluations == last_ && throws_) throw std::runtime_error("host");
      return evaluations != last_ && NistCost::EvaluateResiduals(residuals);
    }

   private:
    int last_;
    bool throws_;
  };
  const auto valueAt = [&](MTH_FUNCT& at) {
    NistCost cost(problem);
    std::copy_n(at.GetParameters(), 2, cost.GetParameters());
    cost.Evaluate();
    return cost.GetValue();
  };
  Point start = problem.starts[1];
  for (int last = 1; last < 20; ++last) {
    for (const bool throws : {false, true}) {
      Faulty cost(problem, last, throws);
      if (throws) {
        EXPECT_THROW(cost.ComputeOptimumLeastSquares(start.data(), 1e-12, 50, nullptr), std::runtime_error);
      } else {
        EXPECT_FALSE(cost.ComputeOptimumLeastSquares(start.data(), 1e-12, 50, nullptr));
        EXPECT_EQ(cost.GetStopReason(), Reason::NotFinite);
      }
      EXPECT_NEAR(cost.GetValue(), valueAt(cost), 1e-12 * cost.GetValue()) << last;
      EXPECT_EQ(cost.GetCovariance(), nullptr);
    }
  }
  for (int cap = 1; cap < 6; ++cap) {
    NistCost cost(problem);
    int iterations = 0;
    EXPECT_FALSE(cost.ComputeOptimumLeastSquares(start.data(), 0.0, cap, &iterations));
    EXPECT_EQ(iterations, cap);
    EXPECT_EQ(cost.GetStopReason(), Reason::IterationCap);
    EXPECT_NEAR(cost.GetValue(), valueAt(cost), 1e-12 * cost.GetValue());
    EXPECT_NE(cost.GetCovariance(), nullptr);
  }
  for (int yesAt = 1; yesAt < 4; ++yesAt) {
    const CancellingDisplay display(yesAt);
    NistCost cost(problem);
    int iterations = 0;
    EXPECT_FALSE(cost.ComputeOptimumLeastSquares(start.data(), 0.0, 50, &iterations));
    EXPECT_EQ(cost.GetStopReason(), Reason::Cancelled);
    EXPECT_EQ(iterations, yesAt);
    EXPECT_NEAR(cost.GetValue(), valueAt(cost), 1e-12 * cost.GetValue());
  }
}

}  // namespace
}  // namespace mth_test
