#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "mth/Mth_stop_reason.h"
#include "optimise/nist_problems.h"
#include "optimise/problems.h"
#include "std/Std_display.h"
#include "support/allocation_faults.h"

// How runs end: why, and what a cancelled one leaves.

namespace mth_test {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr int kManyIterations = 500;

using Reason = MTH_STOP_REASON;

// Says yes from its k-th question on, or throws; from the window or from the display.
class CancellingDisplay : public STD_DISPLAY {
 public:
  enum class Asks { Display, View };
  CancellingDisplay(int yesAt, Asks asks) : yesAt_(yesAt), asks_(asks) {}
  int ShowMessage(const std::string&, MessageKind, const std::string&) override { return 0; }
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override {
    return asks_ == Asks::View ? std::make_unique<View>(*this) : nullptr;
  }
  bool IsCancelRequested() const override { return asks_ == Asks::Display && Answer(); }

  mutable int questions = 0;

 private:
  class View : public STD_WAIT_BAR_VIEW {
   public:
    explicit View(const CancellingDisplay& display) : display_(display) {}
    void SetTitle(const std::string&) override {}
    void SetAction(const std::string&) override {}
    void SetMaximum(int) override {}
    void SetPosition(int) override {}
    void Show() override {}
    bool IsCancelRequested() const override { return display_.Answer(); }

   private:
    const CancellingDisplay& display_;
  };

  bool Answer() const { return ++questions >= yesAt_; }

  int yesAt_;
  Asks asks_;
  STD_DISPLAY_SCOPE scope_{this};
};

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
  Outcome (*run)(MTH_FUNCT& cost, double* start, int cap);
};

Outcome RunPowell(MTH_FUNCT& cost, double* start, int cap, bool showsProgress) {
  short iterations = -1;
  const bool result =
      cost.ComputeOptimumPowell(start, static_cast<short>(cap), 0.0, &iterations, showsProgress);
  return {result, iterations};
}

const Minimiser kMinimisers[] = {
    {"Powell", false,
     [](MTH_FUNCT& cost, double* start, int cap) { return RunPowell(cost, start, cap, false); }},
    {"Powell with a window", true,
     [](MTH_FUNCT& cost, double* start, int cap) { return RunPowell(cost, start, cap, true); }},
    {"BFGS", true,
     [](MTH_FUNCT& cost, double* start, int) {
       short iterations = -1;
       cost.SetGradientStep(1e-3);
       const bool result = cost.ComputeOptimumQNBFGS(start, 0.0, &iterations);
       return Outcome{result, iterations};
     }},
    {"Nelder-Mead", false,
     [](MTH_FUNCT& cost, double* start, int cap) {
       int iterations = -1;
       const bool result = cost.ComputeOptimum_Nelder_Mead(start, 0.0, cap, &iterations);
       return Outcome{result, iterations};
     }},
    {"steepest descent", false,
     [](MTH_FUNCT& cost, double* start, int cap) {
       int iterations = -1;
       const bool result = cost.Compute_Optimum_Steepes(start, 0.0, cap, &iterations);
       return Outcome{result, iterations};
     }},
};

// Rosenbrock's valley with a floor that keeps every run going for a while.
CostFunction Valley() {
  return CostOfProblem("Rosenbrock");
}

TEST(Stop, ACancelledRunLeavesTheBestPointItAccepted) {
  for (const Minimiser& minimiser : kMinimisers) {
    for (const auto asks : {CancellingDisplay::Asks::Display, CancellingDisplay::Asks::View}) {
      if (asks == CancellingDisplay::Asks::View && !minimiser.hasWindow) continue;
      for (const int yesAt : {1, 2, 5}) {
        SCOPED_TRACE(minimiser.name + std::string(" at question ") + std::to_string(yesAt));
        const CancellingDisplay display(yesAt, asks);
        Point start = {-1.2, 1.0};
        RecordingCost cost(start, Valley());
        const Outcome outcome = minimiser.run(cost, start.data(), kManyIterations);
        EXPECT_EQ(cost.GetStopReason(), Reason::Cancelled);
        EXPECT_EQ(outcome.iterations, yesAt);
        EXPECT_EQ(display.questions, yesAt);
        EXPECT_LE(cost.GetValue(), Valley()(start.data()));
        EXPECT_EQ(cost.GetValue(), Valley()(cost.GetParameters()));
        // What it returns at its limit of iterations.
        RecordingCost capped(start, Valley());
        const CancellingDisplay never(1 << 30, asks);
        const Outcome atLimit = minimiser.run(capped, start.data(), yesAt);
        const bool isLimited = minimiser.run != kMinimisers[2].run;
        EXPECT_EQ(outcome.result, isLimited ? atLimit.result : cost.GetValue() < Valley()(start.data()));
      }
    }
  }
}

TEST(Stop, AStartThatIsNeverImprovedIsWhatIsLeft) {
  for (const Minimiser& minimiser : kMinimisers) {
    const CancellingDisplay display(3, CancellingDisplay::Asks::Display);
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
    const CancellingDisplay display(yesAt, CancellingDisplay::Asks::View);
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
    const CancellingDisplay display(test.yesAt, CancellingDisplay::Asks::Display);
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
  for (const Minimiser& minimiser : kMinimisers) {
    SCOPED_TRACE(minimiser.name);
    const bool isBfgs = minimiser.run == kMinimisers[2].run;
    Point start = problem.start;
    RecordingCost cost(start, problem.cost);
    EXPECT_EQ(cost.GetStopReason(), Reason::NotRun);
    minimiser.run(cost, start.data(), isBfgs ? 1 : 0);
    EXPECT_EQ(cost.GetStopReason(), isBfgs                                ? Reason::Converged
                                    : minimiser.run == kMinimisers[4].run ? Reason::IterationCap
                                                                          : Reason::IterationCap);
    RecordingCost undefined(start, [](const double*) { return kNaN; });
    minimiser.run(undefined, start.data(), 20);
    EXPECT_EQ(undefined.GetStopReason(), Reason::NotFinite);
    RecordingCost faulty(start, [](const double*) -> double { throw std::runtime_error("host"); });
    EXPECT_THROW(minimiser.run(faulty, start.data(), 20), std::runtime_error);
    EXPECT_EQ(faulty.GetStopReason(), Reason::NotRun);
    ForEachAllocationFault(
        [&] {
          RecordingCost starved(start, problem.cost);
          const int parameters = starved.GetParametersCount();
          {
            const AllocationFaults faults(0);
            if (parameters > 0) minimiser.run(starved, start.data(), 1);
          }
          return starved.GetStopReason();
        },
        [](Reason) {});
  }
  RecordingCost cost(problem.start, problem.cost);
  Point start = problem.start;
  cost.ComputeOptimum_Nelder_Mead(nullptr, 0.0, 5, nullptr);
  EXPECT_EQ(cost.GetStopReason(), Reason::BadInput);
  cost.ComputeOptimum_Nelder_Mead(start.data(), 1e-6, 1000, nullptr);
  EXPECT_EQ(cost.GetStopReason(), Reason::Converged);
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
  const AllocationFaults faults(0);
  cost.ComputeOptimumPowell(nullptr, 1, 0.0, nullptr, false);
  EXPECT_EQ(cost.GetStopReason(), Reason::NoMemory);
}

}  // namespace
}  // namespace mth_test
