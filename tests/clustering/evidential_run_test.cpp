#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <random>
#include <string>

#include "clustering/evidential_engine.h"
#include "clustering/iris.h"
#include "mth/clustering/Mth_evidential_kernel_internal.h"
#include "mth/core/Mth_instruction_set_internal.h"
#include "support/recording_display.h"
#include "support/text_file.h"
#include "support/values.h"

namespace mth_test {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

// Against powers in long double. The product e ln|x| is rounded once and ln is not exact: both count as often
// as the exponential magnifies them.
TEST(EvidentialPower, IsThatOfTheLogarithm) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> exponent(-300.0, 300.0);
  const double exponents[] = {-16.0, -4.0, -2.0, -1.0, -0.5, 0.25, 1.0, 1.5, 2.0, 3.0, 7.3};
  for (int n = 0; n < 20000; ++n) {
    const double x = n < 10000 ? std::pow(10.0, exponent(random)) : 1.0 + exponent(random) / 350.0;
    const double e = exponents[n % 11];
    const long double expected = std::pow(static_cast<long double>(x), static_cast<long double>(e));
    const double actual = mth_internal::EvidentialPower(x, e);
    const bool isNormal = expected > 2.3e-308L && expected < 1.7e308L;
    if (!isNormal) continue;
    const double error = static_cast<double>(std::abs(actual - expected) / expected);
    ASSERT_LE(error, (1.0 + 0.5 * std::abs(e) + 1.5 * std::abs(e * std::log(x))) * kEpsilon) << x << "^" << e;
  }
}

TEST(EvidentialPower, HasItsEdges) {
  const struct {
    double x;
    double e;
    double expected;
  } cases[] = {{0.0, 0.0, 1.0},        {-0.0, -2.0, 0.0},           {0.0, 3.0, 0.0},
               {kInfinity, -2.0, 0.0}, {kInfinity, 2.0, kInfinity}, {1.0, 1e300, 1.0},
               {1.0, -2.0, 1.0},       {1e-200, -2.0, kInfinity},   {1e200, -2.0, 0.0},
               {-2.0, 0.0, 1.0},       {std::nan(""), 0.0, 1.0},    {-1.0, 2.0, -1.0}};
  for (const auto& [x, e, expected] : cases)
    EXPECT_EQ(mth_internal::EvidentialPower(x, e), expected) << x << "^" << e;
  EXPECT_TRUE(std::isnan(mth_internal::EvidentialPower(std::nan(""), 2.0)));
  EXPECT_NEAR(mth_internal::EvidentialPower(-3.0, 2.0), -9.0, 1e-14);  // the sign is the base's
  EXPECT_NEAR(mth_internal::EvidentialPower(5e-324, 0.5) / std::sqrt(5e-324), 1.0, 1e-13);
  EXPECT_NEAR(mth_internal::EvidentialPower(1e-155, 2.0) / 1e-310, 1.0, 1e-12);  // below the normal numbers
}

LiteralEvidential Iris() {
  LiteralEvidential start;
  start.samples = ReadIris();
  start.centroids = {start.samples.at(0), start.samples.at(50), start.samples.at(100)};
  return start;
}

LiteralEvidential RandomStart(int samples, int clusters, int dimensions, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> uniform(0.0, 8.0);
  LiteralEvidential start;
  const auto fill = [&](Rows& rows, int count) {
    rows.assign(static_cast<std::size_t>(count), std::vector<double>(static_cast<std::size_t>(dimensions)));
    for (auto& row : rows) {
      for (double& value : row) value = seed % 3 == 0 ? std::floor(uniform(random)) : uniform(random);
    }
  };
  fill(start.samples, samples);
  fill(start.centroids, clusters);
  return start;
}

// Iris, the butterfly and random points against a program of its own: other subsets, powers and solver.
TEST(EvidentialRun, AgreesWithAnIndependentImplementation) {
  std::vector<LiteralEvidential> starts{Iris(), Butterfly()};
  starts.push_back(Iris());
  starts.back().alpha = 1.0;
  starts.back().beta = 1.6;
  starts.back().rho = 0.7;
  starts.push_back(RandomStart(90, 5, 2, 1));
  starts.back().beta = 3.0;
  starts.push_back(RandomStart(40, 1, 3, 2));
  starts.push_back(RandomStart(33, 4, 1, 4));
  starts.back().alpha = 0.0;
  for (std::size_t n = 0; n < starts.size(); ++n) {
    SCOPED_TRACE(n);
    LiteralEvidential expected = starts[n];
    expected.tolerance = 1e-6;
    const Engine engine = MakeEvidentialEngine(expected);
    expected.Run(300);
    engine->SetIterationsCount(300);
    ASSERT_GE(expected.convergedAt, 1);
    EXPECT_EQ(engine->ApplyEvidentialFuzzyCMeanClustering(), 1.0);
    EXPECT_EQ(engine->GetIterationsCount(), expected.convergedAt);
    EXPECT_TRUE(engine->IsEvidential());
    EXPECT_NEAR(engine->GetDelta(), expected.delta, 1e-9 * expected.delta);
    EXPECT_TRUE(Near(CentroidsOf(*engine), ToMatrix(expected.centroids), 1e-8));
    EXPECT_TRUE(Near(*engine->GetCredalPartition(), ToMatrix(expected.masses), 1e-9));
  }
}

TEST(EvidentialRun, EveryInstructionSetGivesTheBitsOfThePlainLoops) {
  using mth_internal::InstructionSet;
  const auto solve = [](const Rows& h, const Rows& b) {
    const MTH_MATRIX cross = ToMatrix(h);
    const MatrixPtr solution(cross.SolveLinearSystemBySVD(ToMatrix(b)));
    Rows rows = b;
    for (std::size_t k = 0; k < rows.size(); ++k) {
      for (std::size_t q = 0; q < rows[k].size(); ++q)
        rows[k][q] = solution->Get(static_cast<int>(k), static_cast<int>(q));
    }
    return rows;
  };
  const auto powerOfRoot = [](double square, double e) {
    const bool isEven = std::abs(e) <= 16.0 && std::fmod(e, 2.0) == 0.0;
    return isEven ? mth_internal::EvidentialPower(square, e / 2.0)
                  : mth_internal::EvidentialPower(std::sqrt(square), e);
  };
  const struct {
    int samples, clusters, dimensions;
    double alpha, beta, rho;
  } cases[] = {{1, 2, 1, 2.0, 2.0, 2.0},  {32, 4, 1, 2.0, 2.0, 2.0},      {65, 4, 3, 1.0, 2.0, 0.5},
               {97, 3, 2, 2.5, 1.5, 2.0}, {40, 5, 4, 0.0, 3.0, 1.0},      {31, 1, 2, 2.0, 2.7, 2.0},
               {50, 6, 1, 2.0, 1.1, 2.0}, {20, 2, 5, 2.0, kInfinity, 1.0}};
  unsigned seed = 0;
  for (const auto& shape : cases) {
    for (int repeat = 0; repeat < 3; ++repeat, ++seed) {
      SCOPED_TRACE(::testing::Message() << "seed " << seed << ", " << shape.samples << " samples, "
                                        << shape.clusters << " clusters, beta " << shape.beta);
      LiteralEvidential expected = RandomStart(shape.samples, shape.clusters, shape.dimensions, seed);
      expected.alpha = shape.alpha;
      expected.beta = shape.beta;
      expected.rho = shape.rho;
      expected.power = mth_internal::EvidentialPower;
      expected.powerOfRoot = powerOfRoot;
      expected.solve = solve;
      const LiteralEvidential start = expected;
      RecordingDisplay display;  // systems of few samples may be singular, which the solver tells
      expected.Run(5);
      for (auto set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
        const mth_internal::InstructionSetScope scope(set);
        const Engine engine = MakeEvidentialEngine(start);
        engine->SetIterationsCount(5);
        ASSERT_EQ(engine->ApplyEvidentialFuzzyCMeanClustering(), 1.0);
        ASSERT_TRUE(SameBits(*engine->GetCredalPartition(), ToMatrix(expected.masses)));
        ASSERT_TRUE(SameBits(CentroidsOf(*engine), ToMatrix(expected.centroids)));
        ASSERT_EQ(engine->GetDelta(), expected.delta);
      }
    }
  }
}

// A run that reaches its cap leaves flag, count and files alone, and masses one movement older than the
// centroids.
TEST(EvidentialRun, OnlyConvergenceLeavesItsTraces) {
  RecordingDisplay display;
  const ScratchFile trace("trace_centres.txt");
  const std::string path = trace.Path();
  const Engine engine = MakeEvidentialEngine(Butterfly());
  engine->SetDiagnosticPrefix(path.substr(0, path.size() - std::string("centres.txt").size()));
  engine->SetIterationsCount(3);
  EXPECT_EQ(engine->ApplyEvidentialFuzzyCMeanClustering(), 1.0);
  EXPECT_FALSE(engine->IsEvidential());
  EXPECT_EQ(engine->GetIterationsCount(), 3);
  EXPECT_FALSE(std::filesystem::exists(trace.Path()));
  ASSERT_NE(engine->GetCredalPartition(), nullptr);
  EXPECT_FALSE(engine->WeakenCredalPartition(0.5));

  ASSERT_EQ(display.windows.size(), 1U);
  const ShownProgress& window = *display.windows[0];
  EXPECT_EQ(window.title, "Evidential Fuzzy C-Means en cours...");
  EXPECT_EQ(window.maximum, 15);
  EXPECT_EQ(window.actions, (std::vector<std::string>{"0", "1", "2"}));
  EXPECT_TRUE(window.wasShown && window.isClosed);

  LiteralEvidential expected = Butterfly();
  expected.Run(3);
  EXPECT_TRUE(Near(*engine->GetCredalPartition(), ToMatrix(expected.masses), 1e-12));
  EXPECT_TRUE(Near(CentroidsOf(*engine), ToMatrix(expected.centroids), 1e-12));

  engine->SetIterationsCount(0);
  EXPECT_EQ(engine->ApplyEvidentialFuzzyCMeanClustering(), 1.0);
  EXPECT_EQ(engine->GetBeliefValue(0, 1), 0.0);
  engine->SetIterationsCount(100);
  EXPECT_EQ(engine->ApplyEvidentialFuzzyCMeanClustering(), 1.0);
  EXPECT_TRUE(engine->IsEvidential());
  EXPECT_LT(engine->GetIterationsCount(), 100);
  EXPECT_EQ(display.windows.back()->actions.back(), std::to_string(engine->GetIterationsCount()));
  for (const char* name : {"centres", "credal_partition", "oox", "ooy", "ooz", "cpx", "cpy", "cpz", "ctx",
                           "cty", "ctz", "cox", "coy", "coz"}) {
    const std::string file = engine->GetDiagnosticPrefix() + name + ".txt";
    EXPECT_TRUE(std::filesystem::remove(file)) << file;
  }
}

std::string Printed(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%f", value);
  return text;
}

TEST(EvidentialRun, DiagnosticFilesAreByteExactUnderEveryLocale) {
  const std::filesystem::path folder = ScratchFile("evidential").Path();  // a name of this process
  for (const char* locale : {"C", "fr_FR.UTF-8"}) {
    SCOPED_TRACE(locale);
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    std::filesystem::create_directory(folder / "cpy.txt");  // cannot be opened, and is skipped
    const Engine engine = MakeEvidentialEngine(Butterfly());
    engine->SetIterationsCount(200);
    engine->SetDiagnosticPrefix((folder / "").string());
    std::setlocale(LC_ALL, locale);
    engine->ApplyEvidentialFuzzyCMeanClustering();
    std::setlocale(LC_ALL, "C");
    ASSERT_TRUE(engine->IsEvidential());

    std::map<std::string, std::string> expected;
    for (const char* stem : {"oo", "cp", "ct", "co"}) {
      for (const char* axis : {"x", "y", "z"}) expected[std::string(stem) + axis + ".txt"] = "";
    }
    for (int k = 0; k < 2; ++k) {
      for (int d = 0; d < 2; ++d)
        expected["centres.txt"] += Printed(engine->GetCentroid(k)->Get(d, 0)) + "\t";
      expected["centres.txt"] += "\n";
    }
    for (int i = 0; i < 12; ++i) {
      for (int j = 0; j < 4; ++j)
        expected["credal_partition.txt"] += Printed(engine->GetBeliefValue(i, j)) + "\t";
      expected["credal_partition.txt"] += "\n";
    }
    const char* const stems[] = {"oo", "cp", "ct", "co"};
    for (int i = 0; i < 12; i += 3) {
      const std::string stem = stems[engine->MaxBeliefDecision(i)];
      const char* const axes[] = {"x.txt", "y.txt", "z.txt"};  // with two features the third is 0
      for (int d = 0; d < 3; ++d)
        expected[stem + axes[d]] += Printed(engine->GetSample(i)->GetParameter(d)) + "\n";
    }
    expected.erase("cpy.txt");
    std::filesystem::remove(folder / "cpy.txt");
    std::map<std::string, std::string> written;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      std::ifstream file(entry.path(), std::ios::binary);
      written[entry.path().filename().string()] = {std::istreambuf_iterator<char>(file), {}};
    }
    EXPECT_EQ(written, expected);
    EXPECT_EQ(written["oox.txt"] + written["ctx.txt"] + written["cox.txt"], "1.670000\n3.340000\n");
  }
  std::filesystem::remove_all(folder);
}

TEST(EvidentialRun, RefusesWithItsValueAndText) {
  RecordingDisplay display;
  double one = 1.0;
  MTH_CLUSTERING empty(2, 1);
  MTH_CLUSTERING noClusters(0, 1);
  MTH_CLUSTERING_SAMPLE withoutMemberships(&one, 1, nullptr, 0);
  EXPECT_TRUE(noClusters.AddSample(&withoutMemberships));
  const Engine full = MakeEvidentialEngine(Butterfly());
  MTH_CLUSTERING copy(full.get());
  EXPECT_EQ(copy.GetSamplesCount(), 12);
  for (MTH_CLUSTERING* engine : {&empty, &noClusters, &copy}) {
    EXPECT_EQ(engine->ApplyEvidentialFuzzyCMeanClustering(), kNoDistance);
  }
  EXPECT_TRUE(display.messages.empty());

  MTH_CLUSTERING tooMany(21, 1);
  std::vector<double> memberships(21);
  MTH_CLUSTERING_SAMPLE sample(&one, 1, memberships.data(), 21);
  EXPECT_TRUE(tooMany.AddSample(&sample));
  EXPECT_EQ(tooMany.ApplyEvidentialFuzzyCMeanClustering(), kNoDistance);
  const std::vector<ShownMessage> expected{
      Information("MTH_CLUSTERING:: Erreur de creation des hypotheses!")};
  EXPECT_EQ(display.messages, expected);
  EXPECT_TRUE(display.windows.empty());
  EXPECT_EQ(tooMany.GetHypotheses()->GetCount(), 0);

  LiteralEvidential notFinite = Butterfly();
  notFinite.samples[3][1] = std::nan("");
  const Engine undefined = MakeEvidentialEngine(notFinite);
  EXPECT_EQ(undefined->ApplyEvidentialFuzzyCMeanClustering(), kNoDistance);
  EXPECT_TRUE(SameBits(CentroidsOf(*undefined), ToMatrix(notFinite.centroids)));  // as they were
  EXPECT_TRUE(display.windows.back()->isClosed);
}

// Samples of both kinds, any order of running, copying and destroying.
TEST(EvidentialRun, CanBeRepeatedCopiedAndMixed) {
  auto engine = MakeEvidentialEngine(Butterfly());
  double features[] = {1.0, 1.0};
  double memberships[] = {0.0, 1.0};
  MTH_CLUSTERING_SAMPLE plain(features, 2, memberships, 2);
  EXPECT_TRUE(engine->AddSample(&plain));
  engine->SetIterationsCount(100);
  engine->ApplyEvidentialFuzzyCMeanClustering();
  const MTH_MATRIX first = *engine->GetCredalPartition();
  engine->SetIterationsCount(100);
  engine->ApplyEvidentialFuzzyCMeanClustering();
  EXPECT_EQ(engine->GetIterationsCount(), 1);  // nothing moves any more
  EXPECT_TRUE(Near(*engine->GetCredalPartition(), first, 1e-3));
  const MTH_MATRIX second = *engine->GetCredalPartition();
  const auto copy = std::make_unique<MTH_CLUSTERING>(*engine);
  const auto copyOfCopy = std::make_unique<MTH_CLUSTERING>(copy.get());
  engine.reset();
  EXPECT_TRUE(copyOfCopy->IsEvidential());
  EXPECT_TRUE(SameBits(*copyOfCopy->GetCredalPartition(), second));
  EXPECT_EQ(*copyOfCopy->GetHypotheses()->Get(3), (std::vector<int>{1, 2}));
  EXPECT_EQ(copyOfCopy->GetCardH()[3], 2);
  EXPECT_EQ(copyOfCopy->GetSamplesCount(), 13);
  EXPECT_EQ(copyOfCopy->GetPignisticPartition(), nullptr);
  EXPECT_TRUE(copyOfCopy->initPignisticPartition());
  EXPECT_TRUE(copyOfCopy->WeakenCredalPartition(0.5));
}

}  // namespace
}  // namespace mth_test
