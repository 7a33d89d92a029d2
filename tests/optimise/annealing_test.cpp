#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "mth/statistics/Mth_random.h"
#include "optimise/problems.h"
#include "support/recording_display.h"

namespace mth_test {
namespace {

constexpr double kAcceptAll = 1e300;   // temperature: exp(-d / T) rounds to 1, above every random number
constexpr double kRejectAll = 1e-300;  // exp(-d / T) is 0, never above a random number

// Walks to the right by the step amplitude; its moves are written down as '>' and '<'.
class Walk : public RecordingCost {
 public:
  using RecordingCost::RecordingCost;
  void InitialiseSimAnn() override { moves += 'i'; }
  bool SimAnnComputeTransition() override { return Go('>', 1.0); }
  bool SimAnnComputeInverseTransition() override { return Go('<', -1.0); }

  std::string moves;

 private:
  bool Go(char move, double sign) {
    moves += move;
    GetParameters()[0] += sign * GetSimAnnParam()->stepAmplitude;
    return false;  // the answers of hooks are ignored
  }
};

SIMULATED_ANNEALING_PARAM Settings(double temperature, int transitions, int rejections, int stages) {
  return {.temperatureFactor = 0.5,
          .transitionsPerStage = transitions,
          .stagesWithoutImprovement = 100,
          .rejectionsPerStage = rejections,
          .maximumStages = stages,
          .initialTemperature = temperature,
          .finalTemperature = 0.0,
          .stepAmplitude = 1.0,
          .amplitudeFactor = 1.0,
          .spareInteger = 7,
          .spareDouble = 0.25};
}

struct AnnealingRun {
  bool result;
  short iterations = -1;
  std::string moves;
  double parameter;
  double value;
};

AnnealingRun Anneal(SIMULATED_ANNEALING_PARAM settings, const CostFunction& function) {
  Walk walk({9.0}, function);
  Point start = {0.0};
  AnnealingRun run;
  run.result = walk.ComputeOptimumSimmulatedAnnealing(&settings, start.data(), 3, 4.0, &run.iterations);
  run.moves = walk.moves;
  run.parameter = walk.GetParameters()[0];
  run.value = walk.GetValue();
  EXPECT_EQ(walk.visited.front(), start);
  return run;
}

TEST(Annealing, KeepsItsBooks) {
  const auto rising = [](const double* x) { return x[0]; };
  const auto falling = [](const double* x) { return -x[0]; };
  const auto level = [](const double*) { return 2.0; };
  const auto hill = [](const double* x) { return x[0] == 2.0 ? 3.0 : -x[0]; };  // down, up over 2, down
  struct {
    const char* what;
    SIMULATED_ANNEALING_PARAM settings;
    CostFunction cost;
    AnnealingRun expected;
  } const cases[] = {
      {"one move", Settings(kAcceptAll, 1, 9, 1), falling, {true, 1, "i>", 1.0, -1.0}},
      {"worse moves are undone", Settings(kRejectAll, 3, 9, 1), rising, {false, 3, "i><><><", 0.0, 0.0}},
      {"rejections end a stage", Settings(kRejectAll, 9, 2, 2), rising, {false, 4, "i><><><><", 0.0, 0.0}},
      {"accepted worse moves are no best point",
       Settings(kAcceptAll, 3, 9, 1),
       rising,
       {false, 3, "i>>>", 0.0, 0.0}},
      {"a stage starts from the best cost, not from the present one",
       Settings(kAcceptAll, 2, 9, 2),
       [](const double* x) {
         return std::array{0.0, -5.0, 0.0, -1.0, 3.0}[static_cast<std::size_t>(x[0])];
       },
       {true, 4, "i>>>>", 1.0, -5.0}},
      {"the best lies beyond a hill", Settings(kAcceptAll, 3, 9, 1), hill, {true, 3, "i>>>", 3.0, -3.0}},
      {"the best lies before a wall", Settings(kRejectAll, 3, 9, 1), hill, {true, 3, "i>><><", 1.0, -1.0}},
      {"ties move the best point, and are no improvement",
       Settings(kAcceptAll, 3, 9, 1),
       level,
       {false, 3, "i>>>", 3.0, 2.0}},
      {"an accepted move resets the rejections",
       Settings(kRejectAll, 4, 2, 1),
       [visits = 0](const double*) mutable { return ++visits % 2 == 0 ? 1.0 : -visits; },
       {true, 4, "i><>><>", 2.0, -5.0}},
      {"limits below one leave one move",
       Settings(kAcceptAll, 0, -1, 0),
       falling,
       {true, 1, "i>", 1.0, -1.0}},
      {"costs that are no number count for nothing",
       Settings(kAcceptAll, 4, 2, 1),
       [](const double* x) { return x[0] == 3.0  ? -9.0
                                    : x[0] > 0.0 ? std::nan("")
                                                 : 0.0; },
       {true, 4, "i>>>>", 3.0, -9.0}},
      {"iterations are a short",
       Settings(kAcceptAll, 40000, 9, 1),
       level,
       {false, static_cast<short>(40000 - 65536), "i" + std::string(40000, '>'), 40000.0, 2.0}},
  };
  for (const auto& test : cases) {
    const AnnealingRun run = Anneal(test.settings, test.cost);
    EXPECT_EQ(run.result, test.expected.result) << test.what;
    EXPECT_EQ(run.iterations, test.expected.iterations) << test.what;
    EXPECT_EQ(run.moves, test.expected.moves) << test.what;
    EXPECT_EQ(run.parameter, test.expected.parameter) << test.what;
    EXPECT_EQ(run.value, test.expected.value) << test.what;
  }
}

TEST(Annealing, EndsByStagesTemperatureOrStaleness) {
  const auto falling = [](const double* x) { return -x[0]; };
  SIMULATED_ANNEALING_PARAM settings = Settings(8.0, 1, 9, 50);
  EXPECT_EQ(Anneal(settings, falling).iterations, 50);
  settings.finalTemperature = 1.0;  // 8, 4, 2, 1: the fourth stage leaves 0.5
  EXPECT_EQ(Anneal(settings, falling).iterations, 4);
  settings.finalTemperature = 100.0;  // too cold from the start: one stage all the same
  EXPECT_EQ(Anneal(settings, falling).iterations, 1);
  settings.finalTemperature = 0.0;
  settings.stagesWithoutImprovement = 3;
  // Improves twice, then never again.
  EXPECT_EQ(Anneal(settings, [](const double* x) { return -std::min(x[0], 2.0); }).iterations, 5);
  // A tie is no improvement.
  EXPECT_EQ(Anneal(settings, [](const double*) { return 2.0; }).iterations, 3);
  // The amplitude shrinks with the stages: 1 + 1/2 + 1/4.
  settings = Settings(8.0, 1, 9, 3);
  settings.amplitudeFactor = 0.5;
  EXPECT_EQ(Anneal(settings, falling).parameter, 1.75);
}

// Settings, start, hook, seed, first evaluation; only then the first move.
TEST(Annealing, BeginsInItsOrder) {
  static std::string log;
  log.clear();
  class Logged : public RecordingCost {
   public:
    Logged() : RecordingCost({9.0}, [](const double* x) { return log += 'e', -x[0]; }) {}
    void InitialiseSimAnn() override {
      log += 'i';
      amplitude = GetSimAnnParam()->stepAmplitude;
      parameter = GetParameters()[0];
    }
    bool SimAnnComputeTransition() override {
      log += '>';
      return true;
    }
    double amplitude = 0.0;
    double parameter = 0.0;
  };
  int (*const former)() = Mth_SetRandomClock([] { return log += 's', 4711; });
  Logged cost;
  SIMULATED_ANNEALING_PARAM settings = Settings(1.0, 1, 9, 1);
  Point start = {2.5};
  cost.ComputeOptimumSimmulatedAnnealing(&settings, start.data(), 0, 0.0, nullptr);
  Mth_SetRandomClock(former);
  EXPECT_EQ(log, "ise>e");
  EXPECT_EQ(cost.amplitude, 1.0);
  EXPECT_EQ(cost.parameter, 2.5);
}

TEST(Annealing, KeepsItsOwnRecordAndShowsItsStages) {
  const RecordingDisplay display;
  Walk walk({0.0}, [](const double* x) { return -x[0]; });
  SIMULATED_ANNEALING_PARAM settings = Settings(1.0, 2, 9, 3);
  settings.amplitudeFactor = 0.5;
  EXPECT_TRUE(walk.ComputeOptimumSimmulatedAnnealing(&settings, nullptr, 0, 0.0, nullptr));
  EXPECT_EQ(settings.stepAmplitude, 1.0);
  EXPECT_EQ(walk.GetSimAnnParam()->stepAmplitude, 0.125);
  EXPECT_EQ(walk.GetSimAnnParam()->spareInteger, 7);
  EXPECT_EQ(walk.GetSimAnnParam()->spareDouble, 0.25);
  ASSERT_EQ(display.windows.size(), 1u);
  const ShownProgress& window = *display.windows[0];
  EXPECT_EQ(window.title, "Minimise par Recuit simulé");
  EXPECT_EQ(window.maximum, 15);
  EXPECT_EQ(window.actions, std::vector<std::string>(3, "  "));
  EXPECT_TRUE(window.wasShown && window.isClosed);
}

// exp(-d / T) equal to the number drawn: rejected. The clock decides what is drawn first.
TEST(Annealing, RejectsAtEquality) {
  static int hundredths;
  int (*const former)() = Mth_SetRandomClock([] { return hundredths; });
  double drawn = 0.0;
  for (hundredths = 1; hundredths < 1000; ++hundredths) {  // at midnight the stream would go on as it is
    Mth_InitRandom1(0);
    drawn = Mth_Random1(0);
    if (std::exp(std::log(drawn)) == drawn) break;
  }
  ASSERT_EQ(std::exp(std::log(drawn)), drawn);
  const double rise = -std::log(drawn);
  const AnnealingRun equal = Anneal(Settings(1.0, 1, 9, 1), [&](const double* x) { return rise * x[0]; });
  EXPECT_EQ(equal.moves, "i><");
  const AnnealingRun below =
      Anneal(Settings(1.0, 1, 9, 1), [&](const double* x) { return 0.999 * rise * x[0]; });
  EXPECT_EQ(below.moves, "i>");
  // A cost that stays is accepted without a draw.
  EXPECT_EQ(Anneal(Settings(1.0, 3, 9, 1), [](const double*) { return 2.0; }).moves, "i>>>");
  const double next = Mth_Random1(0);
  Mth_InitRandom1(0);
  EXPECT_EQ(next, Mth_Random1(0));
  Mth_SetRandomClock(former);
}

TEST(Annealing, RefusesNullSettings) {
  SIMULATED_ANNEALING_PARAM settings = Settings(1.0, 2, 9, 3);
  RecordingCost none({}, [](const double*) { return 0.0; });  // its moves change nothing
  short iterations = -1;
  EXPECT_FALSE(none.ComputeOptimumSimmulatedAnnealing(&settings, nullptr, 0, 0.0, &iterations));
  EXPECT_EQ(iterations, 6);
  Walk walk({0.0}, [](const double*) { return 0.0; });
  walk.SetSimAnnParam(nullptr);
  EXPECT_FALSE(walk.ComputeOptimumSimmulatedAnnealing(nullptr, nullptr, 0, 0.0, nullptr));
  EXPECT_EQ(walk.moves, "");
}

TEST(Annealing, PassesTheExceptionsOfTheHost) {
  const RecordingDisplay display;
  int calls = 0;
  Walk walk({0.0}, [&](const double*) -> double {
    if (++calls == 3) throw std::runtime_error("host");
    return 0.0;
  });
  SIMULATED_ANNEALING_PARAM settings = Settings(1.0, 2, 9, 3);
  EXPECT_THROW(walk.ComputeOptimumSimmulatedAnnealing(&settings, nullptr, 0, 0.0, nullptr),
               std::runtime_error);
  EXPECT_TRUE(display.windows.at(0)->isClosed);
  EXPECT_FALSE(walk.ComputeOptimumSimmulatedAnnealing(&settings, nullptr, 0, 0.0, nullptr));
}

// Random steps of a double well with its lower minimum at -1, started in the higher one.
TEST(Annealing, LeavesALocalMinimum) {
  class Jumps : public RecordingCost {
   public:
    Jumps() : RecordingCost({1.0}, [](const double* x) { return Square(Square(x[0]) - 1.0) + 0.3 * x[0]; }) {}
    bool SimAnnComputeTransition() override {
      former_ = GetParameters()[0];
      GetParameters()[0] += GetSimAnnParam()->stepAmplitude * (2.0 * Mth_Random1(1) - 1.0);
      return true;
    }
    bool SimAnnComputeInverseTransition() override {
      GetParameters()[0] = former_;
      return true;
    }

   private:
    double former_ = 0.0;
  };
  int (*const former)() = Mth_SetRandomClock([] { return 4321; });
  Mth_InitRandom1(1);
  Jumps jumps;
  SIMULATED_ANNEALING_PARAM settings = Settings(2.0, 200, 200, 60);
  settings.temperatureFactor = 0.9;
  EXPECT_TRUE(jumps.ComputeOptimumSimmulatedAnnealing(&settings, nullptr, 0, 0.0, nullptr));
  Mth_SetRandomClock(former);
  EXPECT_NEAR(jumps.GetParameters()[0], -1.0356, 0.05);  // 4 x^3 - 4 x + 0.3 = 0
  EXPECT_EQ(jumps.GetValue(),
            Square(Square(jumps.GetParameters()[0]) - 1.0) + 0.3 * jumps.GetParameters()[0]);
}

TEST(Annealing, MetropolisTestAgreesWithTheGeneratorOfTheCLibrary) {
  constexpr int kDraws = 300000;  // 1 is among them: it equals exp(0), which rejects
  RecordingCost cost({0.0}, [](const double*) { return 0.0; });
  for (const double change : {-1.0, 0.0, 0.5, 1.0, 3.0}) {
    std::srand(42);
    std::vector<bool> expected;
    for (int i = 0; i < kDraws; ++i) {
      expected.push_back(std::exp(-change / 2.0) > (std::rand() & 32767) / 32767.0);
    }
    std::srand(42);
    std::vector<bool> accepted;
    for (int i = 0; i < kDraws; ++i) accepted.push_back(cost.SimulatedAnnealingProba(2.0, change));
    EXPECT_EQ(accepted, expected) << change;
  }
}

}  // namespace
}  // namespace mth_test
