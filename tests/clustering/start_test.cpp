#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <vector>

#include "mth/clustering/Mth_clustering.h"
#include "support/allocation_faults.h"
#include "support/cancelling_display.h"
#include "support/recording_display.h"
#include "support/values.h"

// Centroids taken from the samples.

namespace mth_test {
namespace {

using Rows = std::vector<std::vector<double>>;
using Start = MTH_CENTROID_START;

constexpr Start kStarts[] = {Start::Quantiles, Start::FarthestFirst, Start::PlusPlus};

void Fill(MTH_CLUSTERING& engine, const Rows& samples) {
  for (const auto& sample : samples) ASSERT_TRUE(engine.AddSamples(sample.data(), 1));
}

Rows CentroidRows(const MTH_CLUSTERING& engine) {
  Rows rows;
  for (int k = 0; k < engine.GetClustersCount(); ++k) {
    rows.emplace_back();
    for (int d = 0; d < engine.GetDimensionsCount(); ++d)
      rows.back().push_back(engine.GetCentroid(k)->Get(d, 0));
  }
  return rows;
}

Rows StartOf(const Rows& samples, int clusters, Start start, int seed = 1) {
  MTH_CLUSTERING engine(clusters, static_cast<int>(samples[0].size()));
  Fill(engine, samples);
  EXPECT_TRUE(engine.InitialiseCentroidsFromSamples(start, seed));
  return CentroidRows(engine);
}

double Square(const std::vector<double>& a, const std::vector<double>& b) {
  double sum = 0.0;
  for (std::size_t d = 0; d < a.size(); ++d) sum += (a[d] - b[d]) * (a[d] - b[d]);
  return sum;
}

double NearestSquare(const std::vector<double>& sample, const Rows& chosen) {
  double nearest = kInfinity;
  for (const auto& other : chosen) nearest = std::min(nearest, Square(sample, other));
  return nearest;
}

TEST(CentroidStart, QuantilesAreThoseOfTheirRanks) {
  Rows ramp;
  for (int i = 0; i < 100; ++i) ramp.push_back({static_cast<double>((i * 37) % 100), 5.0 * ((i * 11) % 100)});
  EXPECT_EQ(StartOf(ramp, 4, Start::Quantiles),
            (Rows{{12.0, 60.0}, {37.0, 185.0}, {62.0, 310.0}, {87.0, 435.0}}));
  EXPECT_EQ(StartOf({{1.0}, {4.0}}, 1, Start::Quantiles), (Rows{{2.5}}));  // the median
  EXPECT_EQ(StartOf({{3.0}, {1.0}, {2.0}}, 3, Start::Quantiles), (Rows{{1.0}, {2.0}, {3.0}}));
  EXPECT_EQ(StartOf({{-1e308}, {1e308}}, 1, Start::Quantiles), (Rows{{0.0}}));
}

TEST(CentroidStart, FarthestFirstIsWhatItSays) {
  std::mt19937 random(4);
  for (int n = 0; n < 20; ++n) {
    Rows samples;
    for (int i = 0; i < 60; ++i)
      samples.push_back({static_cast<double>(random() % 9), static_cast<double>(random() % 1000) * 0.25});
    Rows expected;
    std::vector<double> mean(2);
    for (const auto& sample : samples) {
      for (std::size_t d = 0; d < 2; ++d) mean[d] += sample[d] / 60.0;
    }
    expected.push_back(*std::min_element(samples.begin(), samples.end(), [&](const auto& a, const auto& b) {
      return Square(a, mean) < Square(b, mean);
    }));
    while (expected.size() < 5) {
      expected.push_back(*std::max_element(samples.begin(), samples.end(), [&](const auto& a, const auto& b) {
        return NearestSquare(a, expected) < NearestSquare(b, expected);
      }));
    }
    EXPECT_EQ(StartOf(samples, 5, Start::FarthestFirst), expected) << n;
  }
}

// Of 0, 1 and 3 the first is any, and after 0 comes 3 nine times in ten.
TEST(CentroidStart, PlusPlusChoosesBySquaredDistance) {
  constexpr int kSeeds = 30000;
  int firsts[4] = {};
  int farAfterZero = 0;
  for (int seed = -kSeeds / 2; seed < kSeeds / 2; ++seed) {
    const Rows chosen = StartOf({{0.0}, {1.0}, {3.0}}, 2, Start::PlusPlus, seed);
    ++firsts[static_cast<int>(chosen[0][0])];
    if (chosen[0][0] == 0.0) farAfterZero += chosen[1][0] == 3.0 ? 1 : 0;
  }
  for (const int value : {0, 1, 3})
    EXPECT_NEAR(firsts[value], kSeeds / 3.0, 5.0 * std::sqrt(kSeeds * 2.0 / 9.0));
  EXPECT_NEAR(farAfterZero, 0.9 * firsts[0], 5.0 * std::sqrt(0.09 * firsts[0]));
  Rows many;
  for (int i = 0; i < 4000; ++i) many.push_back({static_cast<double>(i)});
  std::set<double> seen;
  for (const int seed : {0, 1, 2, -1, -2, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    EXPECT_EQ(StartOf(many, 6, Start::PlusPlus, seed), StartOf(many, 6, Start::PlusPlus, seed));
    for (const auto& row : StartOf(many, 6, Start::PlusPlus, seed)) seen.insert(row[0]);
  }
  EXPECT_GT(seen.size(), 38U) << "seeds share their numbers";
}

// Different samples give different centroids, however far apart or close together.
TEST(CentroidStart, TakesEverySampleThatDiffersAndIsFinite) {
  const Rows cases[] = {{{0.0}, {0.0}, {1e-200}, {0.0}, {1.0}},
                        {{1e308}, {-1e308}, {0.0}, {1e308}},
                        {{5e-324}, {0.0}, {1e-310}},
                        {{7.0}, {std::nan("")}, {8.0}, {kInfinity}, {-kInfinity}, {7.0}, {9.0}}};
  for (const Rows& samples : cases) {
    std::set<double> different;
    for (const auto& sample : samples) {
      if (std::isfinite(sample[0])) different.insert(sample[0]);
    }
    const int count = static_cast<int>(different.size());
    ASSERT_EQ(count, 3);
    for (const Start start : {Start::FarthestFirst, Start::PlusPlus}) {
      std::set<double> chosen;
      for (const auto& row : StartOf(samples, count, start)) chosen.insert(row[0]);
      EXPECT_EQ(chosen, different);
    }
    EXPECT_EQ(StartOf(samples, 1, Start::Quantiles).size(), 1U);
    for (const Start start : kStarts) {
      MTH_CLUSTERING engine(count + 1, 1);
      Fill(engine, samples);
      engine.GetSamples()->Add(nullptr);
      const Rows before = CentroidRows(engine);
      EXPECT_FALSE(engine.InitialiseCentroidsFromSamples(start));
      EXPECT_EQ(CentroidRows(engine), before);
    }
  }
}

TEST(CentroidStart, OfManyClustersCanBeCancelled) {
  constexpr int kSamples = 20000;
  std::vector<double> features(kSamples);
  for (int i = 0; i < kSamples; ++i) features[static_cast<std::size_t>(i)] = std::fmod(i * 0.618, 1.0) + i;
  MTH_CLUSTERING engine(1200, 1);
  ASSERT_TRUE(engine.AddSamples(features.data(), kSamples));
  const Rows origin = CentroidRows(engine);
  for (const Start start : {Start::FarthestFirst, Start::PlusPlus}) {
    const CancellingDisplay display(1);
    EXPECT_FALSE(engine.InitialiseCentroidsFromSamples(start));
    EXPECT_EQ(display.questions, 1);
    EXPECT_EQ(CentroidRows(engine), origin);
  }
}

TEST(CentroidStart, CountsAsInitialisedAndFailsWhole) {
  RecordingDisplay display;
  const Rows samples{{0.0, 1.0}, {2.0, 3.0}, {4.0, 9.0}, {8.0, 8.0}};
  for (const Start start : kStarts) {
    MTH_CLUSTERING engine(2, 2);
    EXPECT_FALSE(engine.InitialiseCentroidsFromSamples(start));
    Fill(engine, samples);
    MTH_CLUSTERING copy(engine);
    EXPECT_FALSE(copy.InitialiseCentroidsFromSamples(start));
    const Rows origin = CentroidRows(engine);
    bool isLastStarted = false;
    EXPECT_GT(ForEachAllocationFault([&] { return engine.InitialiseCentroidsFromSamples(start); },
                                     [&](bool isStarted) {
                                       isLastStarted = isStarted;
                                       EXPECT_TRUE(isStarted || CentroidRows(engine) == origin);
                                     }),
              2);
    EXPECT_TRUE(isLastStarted);
    const Rows started = CentroidRows(engine);
    engine.SetIterationsCount(1);
    engine.ApplyKMeanClustering();
    EXPECT_EQ(CentroidRows(engine), started);  // the first iteration keeps them
  }
  EXPECT_TRUE(display.messages.empty());
}

}  // namespace
}  // namespace mth_test
