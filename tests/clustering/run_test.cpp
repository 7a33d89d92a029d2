#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cfenv>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <string>

#include "clustering/iris.h"
#include "clustering/literal_clustering.h"
#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_clustering_kernel_internal.h"
#include "mth/core/Mth_instruction_set_internal.h"
#include "support/recording_display.h"

namespace mth_test {
namespace {

using Engine = std::unique_ptr<MTH_CLUSTERING>;

Engine MakeEngine(const LiteralClustering& start) {
  const int clusters = static_cast<int>(start.centroids.size());
  const int dimensions = static_cast<int>(start.centroids[0].size());
  auto engine = std::make_unique<MTH_CLUSTERING>(clusters, dimensions);
  for (std::size_t i = 0; i < start.samples.size(); ++i) {
    std::vector<double> features = start.samples[i];
    std::vector<double> memberships = start.memberships[i];
    MTH_CLUSTERING_SAMPLE sample(features.data(), dimensions, memberships.data(), clusters);
    EXPECT_TRUE(engine->AddSample(&sample));
  }
  for (int k = 0; start.keepsFirstCentroids && k < clusters; ++k) {
    std::vector<double> centroid = start.centroids[static_cast<std::size_t>(k)];
    engine->InitialiseCentroid(k, centroid.data(), dimensions);
  }
  return engine;
}

::testing::AssertionResult SameBits(double actual, double expected, const char* what, std::size_t row) {
  const bool isSame =
      std::memcmp(&actual, &expected, sizeof actual) == 0 || (std::isnan(actual) && std::isnan(expected));
  if (isSame) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << what << " " << row << ": " << actual << ", expected " << expected;
}

// compare(actual, expected, what, row) of all centroids and memberships; what is expected may be changed by
// it.
template <class Expected, class Compare>
void ForEachValue(const MTH_CLUSTERING& engine, Expected& expected, Compare compare) {
  for (std::size_t k = 0; k < expected.centroids.size(); ++k) {
    for (std::size_t d = 0; d < expected.centroids[k].size(); ++d) {
      const double actual = engine.GetCentroid(static_cast<int>(k))->Get(static_cast<int>(d), 0);
      ASSERT_TRUE(compare(actual, expected.centroids[k][d], "centroid", k));
    }
  }
  for (std::size_t i = 0; i < expected.samples.size(); ++i) {
    for (std::size_t k = 0; k < expected.centroids.size(); ++k) {
      const double actual = engine.GetSample(static_cast<int>(i))->GetMembership(static_cast<int>(k));
      ASSERT_TRUE(compare(actual, expected.memberships[i][k], "sample", i));
    }
  }
}

void ExpectSameState(const MTH_CLUSTERING& engine, const LiteralClustering& expected) {
  ForEachValue(engine, expected, SameBits);
}

// The same to rounding; what was expected then is what came.
void ExpectNearState(const MTH_CLUSTERING& engine, LiteralClustering& expected) {
  ForEachValue(engine, expected, [](double actual, double& value, const char* what, std::size_t row) {
    const bool isNear = std::abs(actual - value) <= 1e-12 * std::max(1.0, std::abs(value));
    const auto result = isNear ? ::testing::AssertionSuccess() : SameBits(actual, value, what, row);
    value = actual;
    return result;
  });
}

enum class Data { Smooth, WholeNumbers, Strange };

// Random samples, memberships and, sometimes, start centroids. Whole numbers make ties and samples on
// centroids; strange ones are infinite, NaN, huge or tiny.
LiteralClustering RandomStart(int samples, int clusters, int dimensions, Data data, unsigned seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> uniform(0.0, 8.0);
  const std::array<double, 6> strange{
      std::numeric_limits<double>::infinity(), std::nan(""), 1e200, -1e200, 1e-200, -0.0};
  const auto draw = [&] {
    const double value = uniform(engine);
    if (data == Data::Smooth) return value;
    if (data == Data::Strange && value < 0.3) return strange[engine() % strange.size()];
    return std::floor(value);
  };
  const auto fill = [](std::size_t rows, int columns, auto value) {
    Rows filled(rows, std::vector<double>(static_cast<std::size_t>(columns)));
    for (auto& row : filled) std::generate(row.begin(), row.end(), value);
    return filled;
  };
  LiteralClustering start;
  start.samples = fill(static_cast<std::size_t>(samples), dimensions, draw);
  start.memberships =
      fill(static_cast<std::size_t>(samples), clusters, [&] { return uniform(engine) / 8.0; });
  start.centroids = fill(static_cast<std::size_t>(clusters), dimensions, [] { return 0.0; });
  start.keepsFirstCentroids = seed % 2 == 1;
  if (start.keepsFirstCentroids) start.centroids = fill(static_cast<std::size_t>(clusters), dimensions, draw);
  return start;
}

struct Case {
  int samples;
  int clusters;
  int dimensions;
  double m;
};

// Sizes around one block of samples and one group of clusters; fuzzifiers whose exponents are products, and
// not.
constexpr Case kCases[] = {{1, 1, 1, 2.0},   {7, 2, 1, 2.0},   {33, 2, 2, 2.0},  {96, 3, 3, 2.0},
                           {65, 4, 2, 2.0},  {31, 3, 1, 2.0},  {256, 4, 1, 2.0}, {257, 4, 3, 2.0},
                           {300, 5, 2, 3.0}, {515, 3, 4, 1.5}, {40, 9, 7, 1.7},  {64, 8, 1, 2.0},
                           {20, 4, 5, 1.05}, {700, 4, 2, 2.5}};

TEST(ClusteringRun, EveryInstructionSetGivesTheBitsOfThePlainLoops) {
  using mth_internal::InstructionSet;
  unsigned seed = 0;
  for (const Case& shape : kCases) {
    for (Data data : {Data::Smooth, Data::WholeNumbers, Data::Strange}) {
      for (int start = 0; start < 2; ++start, ++seed) {
        SCOPED_TRACE(::testing::Message()
                     << "seed " << seed << ", " << shape.samples << " samples, " << shape.clusters
                     << " clusters, " << shape.dimensions << " dimensions, m " << shape.m);
        const LiteralClustering initial =
            RandomStart(shape.samples, shape.clusters, shape.dimensions, data, seed);
        LiteralClustering hard = initial;
        const double changes = hard.RunKMeans(6);
        LiteralClustering fuzzy = initial;
        double delta = fuzzy.RunFuzzyCMeans(6, 0.001, shape.m);
        bool isRounded =
            mth_internal::FuzzyRule(shape.m).shared.has_value();  // by shared powers, not literally
        for (auto set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
          const mth_internal::InstructionSetScope scope(set);
          const Engine engine = MakeEngine(initial);
          engine->SetIterationsCount(6);
          EXPECT_EQ(engine->ApplyKMeanClustering(), changes);
          ExpectSameState(*engine, hard);
          const Engine fuzzyEngine = MakeEngine(initial);
          fuzzyEngine->SetIterationsCount(6);
          fuzzyEngine->SetRegulationValue(shape.m);
          const double change = fuzzyEngine->ApplyFuzzyCMeanClustering();
          if (isRounded) {  // and then the same bits on every instruction set
            ExpectNearState(*fuzzyEngine, fuzzy);
            EXPECT_NEAR(change, delta, 1e-12);
            delta = change;
            isRounded = false;
          }
          EXPECT_TRUE(SameBits(change, delta, "delta", 0));
          ExpectSameState(*fuzzyEngine, fuzzy);
        }
      }
    }
  }
}

// Distances of 0 or near 1e-6, sums near 0.001, and samples so far away that they have no powers: what those
// weigh moves the centroids of the second iteration, and a step that repeats itself changes nothing.
TEST(ClusteringRun, SharedPowersKeepTheRulesOfSmallAndFarDistances) {
  for (const double m : {1.8, 2.5}) {
    for (const int iterations : {1, 2}) {
      LiteralClustering start;
      start.samples = {{0.0},   {5e-7},   {1e-6}, {std::nextafter(1e-6, 1.0)}, {9e-7}, {2e-6}, {1e-3}, {0.5},
                       {1e100}, {-1e100}, {1e200}};
      start.memberships.assign(start.samples.size(), {0.0, 0.0});
      start.centroids = {{0.0}, {m < 2.0 ? 1.3e-5 : 1e-4}};
      start.keepsFirstCentroids = true;
      LiteralClustering expected = start;
      expected.RunFuzzyCMeans(iterations, 0.0, m);
      EXPECT_EQ(expected.memberships[8][0], 0.5);
      const Engine engine = MakeEngine(start);
      engine->SetRegulationValue(m);
      engine->SetIterationsCount(iterations);
      engine->ApplyFuzzyCMeanClustering();
      ExpectNearState(*engine, expected);
      if (iterations > 1) continue;
      start.memberships = expected.memberships;
      const Engine again = MakeEngine(start);
      again->SetRegulationValue(m);
      again->SetIterationsCount(1);
      EXPECT_EQ(again->ApplyFuzzyCMeanClustering(), 0.0);
    }
  }
}

// Tables of powers end where a double does, and powers of ratios are infinite near m = 1: a host may have
// unmasked the overflow.
TEST(ClusteringRun, RaisesNoExceptionForAnyFuzzifier) {
  using mth_internal::InstructionSet;
  const double samples[] = {1.0, 2.0, 3.0, 11.0, 12.5, 13.0};
  for (const auto set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
    const mth_internal::InstructionSetScope scope(set);
    for (const double m : {1.0 + 1e-12, 1.0001, 1.003, 1.02, 1.05, 1.1, 1.15, 1.3, 1.7, 2.0, 2.7, 3.5, 4.7,
                           6.0, 10.0, 11.0, 20.5}) {
      MTH_CLUSTERING engine(2, 1);
      ASSERT_TRUE(engine.AddSamples(samples, 6));
      ASSERT_TRUE(engine.InitialiseCentroidsFromSamples(MTH_CENTROID_START::Quantiles));
      engine.SetRegulationValue(m);
      std::feclearexcept(FE_ALL_EXCEPT);
      engine.ApplyFuzzyCMeanClustering();
      EXPECT_EQ(std::fetestexcept(FE_INVALID | FE_DIVBYZERO | FE_OVERFLOW), 0) << m;
    }
  }
}

// A first assignment is no change where the caller gave that cluster a membership of exactly 1, be it one of
// several.
TEST(ClusteringRun, CountsChangesFromWhateverMembershipsThereWere) {
  using mth_internal::InstructionSet;
  const double choices[] = {0.0, 1.0, 1.0, 0.5};
  for (unsigned seed = 0; seed < 20; ++seed) {
    LiteralClustering start = RandomStart(70, 3, 1, Data::Smooth, seed);
    std::mt19937 random(seed);
    for (auto& memberships : start.memberships) {
      for (double& membership : memberships) membership = choices[random() % 4];
    }
    LiteralClustering expected = start;
    const double changes = expected.RunKMeans(1);
    for (auto set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
      const mth_internal::InstructionSetScope scope(set);
      const Engine engine = MakeEngine(start);
      engine->SetIterationsCount(1);
      EXPECT_EQ(engine->ApplyKMeanClustering(), changes) << seed;
      ExpectSameState(*engine, expected);
    }
  }
}

// Squares that differ where their roots do not: the first of the equal distances must win.
TEST(ClusteringRun, DistancesDecideNotTheirSquares) {
  const double near = 1.0 + 2.0 * 2.220446049250313e-16;
  const double y = 3.0;
  LiteralClustering start;
  start.keepsFirstCentroids = true;
  start.centroids = {{0.0, 0.0}, {0.0, 0.0}};
  int ties = 0;
  std::mt19937 random(5);
  for (int i = 0; i < 4000; ++i) {
    const double x = 1.0 + static_cast<double>(random() % 1000) / 1000.0;
    start.centroids[0] = {x * near, y};
    start.centroids[1] = {x, y};
    start.samples = {{0.0, 0.0}};
    start.memberships = {{0.0, 0.0}};
    LiteralClustering expected = start;
    expected.RunKMeans(1);
    const Engine engine = MakeEngine(start);
    engine->SetIterationsCount(1);
    engine->ApplyKMeanClustering();
    ASSERT_EQ(engine->MaxMembershipDecision(0), expected.memberships[0][1] == 1.0 ? 1 : 0);
    const double first = x * near * (x * near) + y * y;
    const double second = x * x + y * y;
    ties += second < first && std::sqrt(second) == std::sqrt(first);
  }
  EXPECT_GT(ties, 100);
}

TEST(ClusteringRun, StopsAndReportsAsTheIterationsTell) {
  const LiteralClustering start = RandomStart(50, 3, 2, Data::Smooth, 1);
  struct Expectation {
    int iterations;
    double kMeans;
    double fuzzy;
  };
  for (const Expectation& expected :
       {Expectation{0, 2147483647.0, kNoDistance}, Expectation{-3, 2147483647.0, kNoDistance}}) {
    const Engine engine = MakeEngine(start);
    engine->SetIterationsCount(expected.iterations);
    EXPECT_EQ(engine->ApplyKMeanClustering(), expected.kMeans);
    EXPECT_EQ(engine->ApplyFuzzyCMeanClustering(), expected.fuzzy);
    ExpectSameState(*engine, start);
  }
  const Engine engine = MakeEngine(start);
  engine->SetIterationsCount(1000);
  const double delta = engine->ApplyFuzzyCMeanClustering();
  EXPECT_GT(delta, 0.0);
  EXPECT_LE(delta, 0.001);
}

TEST(ClusteringRun, RefusesWithoutSamplesClustersDimensionsOrCentroids) {
  RecordingDisplay display;
  double one = 1.0;
  MTH_CLUSTERING empty(2, 1);
  MTH_CLUSTERING noClusters(0, 1);
  MTH_CLUSTERING noDimensions(1, 0);
  MTH_CLUSTERING negative(-4, -2);
  MTH_CLUSTERING_SAMPLE withoutMemberships(&one, 1, nullptr, 0);
  MTH_CLUSTERING_SAMPLE withoutFeatures(nullptr, 0, &one, 1);
  EXPECT_TRUE(noClusters.AddSample(&withoutMemberships));
  EXPECT_TRUE(noDimensions.AddSample(&withoutFeatures));
  const Engine full = MakeEngine(RandomStart(3, 2, 1, Data::Smooth, 0));
  MTH_CLUSTERING copy(full.get());
  for (MTH_CLUSTERING* engine : {&empty, &noClusters, &noDimensions, &negative, &copy}) {
    EXPECT_EQ(engine->ApplyKMeanClustering(), kNoDistance);
    EXPECT_EQ(engine->ApplyFuzzyCMeanClustering(), kNoDistance);
  }
  EXPECT_TRUE(display.windows.empty());
  EXPECT_TRUE(display.messages.empty());
}

TEST(ClusteringRun, ShowsEveryIteration) {
  RecordingDisplay display;
  const Engine engine =
      MakeEngine({{{0.0}, {1.0}, {9.0}}, {{0.0, 0.0}, {0.0, 0.0}, {0.0, 0.0}}, {{0.0}, {9.0}}, true});
  engine->SetIterationsCount(7);
  EXPECT_EQ(engine->ApplyKMeanClustering(), 0.0);
  engine->SetIterationsCount(1);
  engine->ApplyFuzzyCMeanClustering();

  ASSERT_EQ(display.windows.size(), 2u);
  const ShownProgress& hard = *display.windows[0];
  EXPECT_EQ(hard.title, "K Means en cours...");
  EXPECT_EQ(hard.maximum, 35);
  EXPECT_TRUE(hard.wasShown && hard.isClosed);
  const std::vector<std::string> actions{"Nombre de changements de configuration : 3",
                                         "Nombre de changements de configuration : 0"};
  EXPECT_EQ(hard.actions, actions);
  EXPECT_EQ(hard.positions.back(), 10);
  const ShownProgress& fuzzy = *display.windows[1];
  EXPECT_EQ(fuzzy.title, "Fuzzy C Means en cours...");
  // The centroids kept in the first iteration are 0.5 and 9: the sample at 9 lies on one and gets 0 there.
  EXPECT_EQ(fuzzy.actions, std::vector<std::string>{"Evolution du delta : 1.000000"});
}

// All memberships 0: every centroid starts at the origin, so that the first cluster takes all samples.
TEST(ClusteringRun, WeightlessClustersGoToTheOrigin) {
  const Engine engine = MakeEngine({{{2.0}, {4.0}}, {{0.0, 0.0}, {0.0, 0.0}}, {{0.0}, {0.0}}, false});
  EXPECT_EQ(engine->ApplyKMeanClustering(), 0.0);
  EXPECT_EQ(engine->GetCentroid(1)->Get(0, 0), 0.0);
  EXPECT_EQ(engine->GetCentroid(0)->Get(0, 0), 3.0);
  EXPECT_EQ(engine->MaxMembershipDecision(0), 0);
}

TEST(ClusteringRun, MoreThan1024ClustersWork) {
  const LiteralClustering start = RandomStart(3, 1100, 1, Data::Smooth, 3);
  LiteralClustering expected = start;
  const double delta = expected.RunFuzzyCMeans(2, 0.001, 2.0);
  const Engine engine = MakeEngine(start);
  engine->SetIterationsCount(2);
  EXPECT_EQ(engine->ApplyFuzzyCMeanClustering(), delta);
  ExpectSameState(*engine, expected);
}

LiteralClustering Iris() {
  LiteralClustering iris;
  iris.samples = ReadIris();
  iris.memberships.assign(iris.samples.size(), {0.0, 0.0, 0.0});
  iris.centroids = {iris.samples.at(0), iris.samples.at(50), iris.samples.at(100)};
  iris.keepsFirstCentroids = true;
  return iris;
}

TEST(ClusteringRun, FindsTheClustersOfFishersIris) {
  const LiteralClustering iris = Iris();
  ASSERT_EQ(iris.samples.size(), 150u);
  const Engine hard = MakeEngine(iris);
  hard->SetIterationsCount(100);
  EXPECT_EQ(hard->ApplyKMeanClustering(), 0.0);
  std::array<int, 3> sizes{};
  for (int i = 0; i < 150; ++i) ++sizes[static_cast<std::size_t>(hard->MaxMembershipDecision(i))];
  EXPECT_EQ(sizes, (std::array<int, 3>{50, 62, 38}));

  const Engine fuzzy = MakeEngine(iris);
  fuzzy->SetIterationsCount(1000);
  fuzzy->SetTolerance(1e-9);
  EXPECT_LE(fuzzy->ApplyFuzzyCMeanClustering(), 1e-9);
  // Centroids of fuzzy c-means with m = 2, converged, as independent programs give them.
  constexpr double kCentroids[3][4] = {{5.00396596, 3.41408886, 1.48281553, 0.25354632},
                                       {5.88893236, 2.76106936, 4.36395164, 1.39731504},
                                       {6.77501122, 3.05238227, 5.64678178, 2.05354666}};
  for (int k = 0; k < 3; ++k) {
    for (int d = 0; d < 4; ++d)
      EXPECT_NEAR(fuzzy->GetCentroid(k)->Get(d, 0), kCentroids[k][d], 1e-8) << k << d;
  }
}

}  // namespace
}  // namespace mth_test
