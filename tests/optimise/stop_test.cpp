#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "mth/Mth_stop_reason.h"
#include "optimise/nist_problems.h"
#include "optimise/problems.h"
#include "support/allocation_faults.h"
#include "support/cancelling_display.h"
#include "support/values.h"

// How runs end: why, and what a cancelled one leaves.

namespace mth_test {
namespace {

constexpr int kManyIterations = 500;

using Reason = MTH_STOP_REASON;

struct Outcome {
  bool result = false;
  int iterations = -1;
};

// A walk that falls for ever: it never ends by itself.
class Walk : public RecordingCost {
 public:
  using RecordingCost::RecordingCost;
  bool SimAnnComputeTransition() override {
    GetParameters()[0] += ++moves % 3 == 0 ? -1.0 : 0.75;
    return true;
  }
  int moves = 0;
};

struct Minimiser {
  const char* name;
  bool hasWindow;
  std::optional<bool> resultAtCap;  // none: whether the cost fell
  Outcome (*run)(MTH_FUNCT& cost, double* start, int cap);
};

Outcome RunPowell(MTH_FUNCT& cost, double* start, int cap, bool showsProgress) {
  short iterations = -1;
  const bool result =
      cost.ComputeOptimumPowell(start, static_cast<short>(cap), 0.0, &iterations, showsProgress);
  return {result, iterations};
}

const Minimiser kMinimisers[] = {
    {"Powell",
     false,
     {},
     [](MTH_FUNCT& cost, double* start, int cap) { return RunPowell(cost, start, cap, false); }},
    {"Powell with a window",
     true,
     {},
     [](MTH_FUNCT& cost, double* start, int cap) { return RunPowell(cost, start, cap, true); }},
    {"BFGS",
     true,
     {},
     [](MTH_FUNCT& cost, double* start, int) {
       short iterations = -1;
       cost.SetGradientStep(1e-3);
       const bool result = cost.ComputeOptimumQNBFGS(start, 0.0, &iterations);
       return Outcome{result, iterations};
     }},
    {"Nelder-Mead", false, false,
     [](MTH_FUNCT& cost, double* start, int cap) {
       int iterations = -1;
       const bool result = cost.ComputeOptimum_Nelder_Mead(start, 0.0, cap, &iterations);
       return Outcome{result, iterations};
     }},
    {"steepest descent", false, true,
     [](MTH_FUNCT& cost, double* start, int cap) {
       int iterations = -1;
       const bool result = cost.Compute_Optimum_Steepes(start, 0.0, cap, &iterations);
       return Outcome{result, iterations};
     }},
};

TEST(Stop, ACancelledRunLeavesTheBestPointItAccepted) {
  Point start = {-1.2, 1.0};
  const CostFunction valley = CostOfProblem("Rosenbrock");
  const double startCost = valley(start.data());
  for (const Minimiser& minimiser : kMinimisers) {
    for (const int yesAt : {1, 2, 5}) {
      SCOPED_TRACE(minimiser.name + std::string(" at question ") + std::to_string(yesAt));
      const CancellingDisplay display(yesAt);
      RecordingCost cost(start, valley);
      const Outcome outcome = minimiser.run(cost, start.data(), kManyIterations);
      EXPECT_EQ(cost.GetStopReason(), Reason::Cancelled);
      EXPECT_EQ(outcome.iterations, yesAt);
      EXPECT_EQ(display.questions, yesAt);
      EXPECT_EQ(display.windows, minimiser.hasWindow ? 1 : 0);
      EXPECT_EQ(display.messages, 0);
      EXPECT_LE(cost.GetValue(), startCost);
      EXPECT_EQ(cost.GetValue(), valley(cost.GetParameters()));
      EXPECT_EQ(outcome.result, minimiser.resultAtCap.value_or(cost.GetValue() < startCost));
    }
  }
}

TEST(Stop, AStartThatIsNeverImprovedIsWhatIsLeft) {
  for (const Minimiser& minimiser : kMinimisers) {
    const CancellingDisplay display(3);
    int calls = 0;
    Point start = {0.5, 0.25};
    RecordingCost cost(start, [&](const double* x) {  // every point but the start rises as time goes by
      return x[0] == 0.5 && x[1] == 0.25 ? 0.0 : 1.0 + 1e-3 * ++calls + Square(x[0]);
    });
    minimiser.run(cost, start.data(), kManyIterations);
    EXPECT_EQ(cost.Parameters(), start) << minimiser.name;
    EXPECT_EQ(cost.GetValue(), 0.0) << minimiser.name;
  }
}

TEST(Stop, LevenbergMarquardtAndAnnealingAreCancelledToo) {
  for (const int yesAt : {1, 2, 4}) {
    const CancellingDisplay display(yesAt);
    RecordingCost cost({0.0}, [](const double* x) { return -std::abs(x[0]) * x[0] * x[0]; });
    EXPECT_TRUE(cost.ComputeOptimumMarLev(nullptr));
    EXPECT_EQ(cost.GetStopReason(), Reason::Cancelled);
    EXPECT_EQ(display.questions, yesAt);
    EXPECT_EQ(cost.GetValue(), -std::abs(cost.GetParameters()[0]) * Square(cost.GetParameters()[0]));
  }
  SIMULATED_ANNEALING_PARAM settings = {};
  settings.initialTemperature = 1.0;
  settings.temperatureFactor = 1.0;
  settings.amplitudeFactor = 1.0;
  settings.stagesWithoutImprovement = 1000;
  settings.rejectionsPerStage = -1;
  settings.maximumStages = 100;
  struct {
    int movesPerStage;
    int yesAt;
    int moves;
  } const cases[] = {{10, 1, 10},     {10, 3, 30},     {2500, 1, 1000},
                     {2500, 2, 2000}, {2500, 3, 2500}, {2500, 4, 3500}};
  for (const auto& test : cases) {
    const CancellingDisplay display(test.yesAt);
    settings.transitionsPerStage = test.movesPerStage;
    Walk walk({0.0}, [](const double* x) { return -x[0]; });
    short iterations = -1;
    EXPECT_TRUE(walk.ComputeOptimumSimmulatedAnnealing(&settings, nullptr, 0, 0.0, &iterations));
    EXPECT_EQ(walk.GetStopReason(), Reason::Cancelled);
    EXPECT_EQ(iterations, test.moves);
    EXPECT_EQ(walk.GetValue(), -walk.GetParameters()[0]);
    EXPECT_LT(walk.GetValue(), 0.0);
  }
}

TEST(Stop, RunsTellWhyTheyEnded) {
  const Problem problem = Quadratic(2);
  Point start = problem.start;
  for (const Minimiser& minimiser : kMinimisers) {
    SCOPED_TRACE(minimiser.name);
    RecordingCost undefined(start, [](const double*) { return kNaN; });
    EXPECT_EQ(undefined.GetStopReason(), Reason::NotRun);
    minimiser.run(undefined, start.data(), 20);
    EXPECT_EQ(undefined.GetStopReason(), Reason::NotFinite);
    RecordingCost faulty(start, [](const double*) -> double { throw std::runtime_error("host"); });
    EXPECT_THROW(minimiser.run(faulty, start.data(), 20), std::runtime_error);
    EXPECT_EQ(faulty.GetStopReason(), Reason::NotRun);
    RecordingCost starved(start, problem.cost);
    const AllocationFaults faults(0);
    minimiser.run(starved, start.data(), 20);
    EXPECT_EQ(starved.GetStopReason(), Reason::NoMemory);
  }
  RecordingCost cost(start, problem.cost);
  for (const int cap : {0, 1}) {
    cost.ComputeOptimumPowell(start.data(), static_cast<short>(cap), 0.0, nullptr, false);
    EXPECT_EQ(cost.GetStopReason(), Reason::IterationCap);
    cost.ComputeOptimum_Nelder_Mead(start.data(), 0.0, cap, nullptr);
    EXPECT_EQ(cost.GetStopReason(), Reason::IterationCap);
    cost.Compute_Optimum_Steepes(start.data(), 0.0, cap, nullptr);
    EXPECT_EQ(cost.GetStopReason(), Reason::IterationCap);
  }
  cost.ComputeOptimum_Nelder_Mead(nullptr, 0.0, 5, nullptr);
  EXPECT_EQ(cost.GetStopReason(), Reason::BadInput);
  cost.ComputeOptimum_Nelder_Mead(start.data(), 1e-6, 1000, nullptr);
  EXPECT_EQ(cost.GetStopReason(), Reason::Converged);
  // Two first vertices of equal cost meet the tolerance at once; the one tried last is no number.
  RecordingCost hole({1.0, 2.0}, [](const double* x) { return x[0] > 1.2 && x[1] < 2.5 ? kNaN : 1.0; });
  Point beside = {1.0, 2.0};
  for (const int cap : {-1, 0, 5}) {
    EXPECT_TRUE(hole.ComputeOptimum_Nelder_Mead(beside.data(), 1e-3, cap, nullptr));
    EXPECT_EQ(hole.GetStopReason(), Reason::NotFinite) << cap;
  }
  cost.Compute_Optimum_Steepes(nullptr, 0.0, 5, nullptr);
  EXPECT_EQ(cost.GetStopReason(), Reason::BadInput);
  cost.Compute_Optimum_Steepes(start.data(), 1e-3, 1000, nullptr);
  EXPECT_EQ(cost.GetStopReason(), Reason::Converged);
  cost.ComputeOptimumPowell(start.data(), 50, 1e-8, nullptr, false);
  EXPECT_EQ(cost.GetStopReason(), Reason::Converged);
  cost.ComputeOptimumMarLev(nullptr);
  EXPECT_EQ(cost.GetStopReason(), Reason::Converged);
  cost.ComputeOptimumSimmulatedAnnealing(nullptr, nullptr, 0, 0.0, nullptr);
  EXPECT_EQ(cost.GetStopReason(), Reason::BadInput);
  SIMULATED_ANNEALING_PARAM settings = {};
  settings.initialTemperature = 1.0;
  settings.temperatureFactor = 0.5;
  settings.maximumStages = 2;
  settings.stagesWithoutImprovement = 10;
  for (const auto& [finalTemperature, reason] :
       {std::pair(0.0, Reason::IterationCap), std::pair(0.3, Reason::Converged)}) {
    settings.finalTemperature = finalTemperature;  // the second stage leaves 0.25: converged, also at the cap
    cost.ComputeOptimumSimmulatedAnnealing(&settings, nullptr, 0, 0.0, nullptr);
    EXPECT_EQ(cost.GetStopReason(), reason);
  }
}

}  // namespace
}  // namespace mth_test
