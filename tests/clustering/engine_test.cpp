#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "mth/clustering/Mth_clustering.h"
#include "support/allocation_faults.h"
#include "support/matrices.h"
#include "support/recording_display.h"

namespace mth_test {
namespace {

constexpr double kNoDistance = static_cast<double>(std::numeric_limits<float>::max());

MTH_CLUSTERING_SAMPLE Sample(std::vector<double> features, std::vector<double> memberships) {
  return {features.data(), static_cast<int>(features.size()), memberships.data(),
          static_cast<int>(memberships.size())};
}

void Add(MTH_CLUSTERING& engine, std::vector<double> features, std::vector<double> memberships) {
  MTH_CLUSTERING_SAMPLE sample = Sample(std::move(features), std::move(memberships));
  ASSERT_TRUE(engine.AddSample(&sample));
}

TEST(ClusteringSample, KeepsItsSizesAndCopiesAllButTheLabel) {
  MTH_CLUSTERING_SAMPLE sample = Sample({1.0, 2.0, 3.0}, {0.25, 0.75});
  sample.SetLabel(7);
  double values[] = {9.0, 8.0, 7.0, 6.0};
  sample.ChangeParameters(values, 2);
  sample.ChangeMembership(values, 4);
  sample.ChangeParameters(nullptr, 3);
  sample.ChangeMembership(values, -1);
  MTH_CLUSTERING_SAMPLE copy(&sample);
  EXPECT_EQ(sample.GetLabel(), 7);
  EXPECT_EQ(copy.GetLabel(), 0);
  EXPECT_TRUE(copy.SetMembership(1, 0.5));
  for (int outside : {-1, 2, 100}) EXPECT_FALSE(copy.SetMembership(outside, 1.0)) << outside;
  const double features[] = {9.0, 8.0, 3.0};
  for (int d = 0; d < 3; ++d) EXPECT_EQ(copy.GetParameter(d), features[d]);
  EXPECT_EQ(copy.GetMembership(0), 9.0);
  EXPECT_EQ(copy.GetMembership(1), 0.5);
  EXPECT_EQ(sample.GetMembership(1), 8.0);
  for (int outside : {-1, 3}) EXPECT_EQ(copy.GetParameter(outside), 0.0) << outside;
  EXPECT_EQ(copy.GetMembership(2), 0.0);
  EXPECT_EQ(copy.GetParametersCount(), 3);
  EXPECT_EQ(copy.GetMembershipsCount(), 2);
}

TEST(ClusteringSample, IsSmallAndWholeOrEmpty) {
  EXPECT_LE(sizeof(MTH_CLUSTERING_SAMPLE), 80U);
  MTH_CLUSTERING_SAMPLE small = Sample({1.0, 2.0, 3.0, 4.0}, {0.0, 0.0, 0.0, 0.5});
  const MTH_CLUSTERING_SAMPLE large = Sample(std::vector<double>(5, 2.0), std::vector<double>(4, 0.25));
  const AllocationFaults faults(0);
  const MTH_CLUSTERING_SAMPLE copy(&small);  // features and memberships are inside the object
  EXPECT_FALSE(faults.HaveStruck());
  EXPECT_EQ(copy.GetMembership(3), 0.5);
  const MTH_CLUSTERING_SAMPLE none(large);
  EXPECT_EQ(none.GetParametersCount() + none.GetMembershipsCount(), 0);
  EXPECT_EQ(none.GetParameter(0), 0.0);
  const MTH_CLUSTERING_SAMPLE nothing(nullptr, -3, nullptr, 2);
  EXPECT_EQ(nothing.GetParametersCount(), 0);
  EXPECT_EQ(nothing.GetMembership(1), 0.0);
}

struct Reported {
  const char* name;
  std::function<bool(MTH_CLUSTERING&)> fails;  // does it, and answers whether it gave its failure value
  std::vector<std::string> texts;
};

TEST(ClusteringEngine, EveryFailureHasItsTextAndValue) {
  const std::string sampleText =
      "MTH_CLUSTERING::GetSampleDistanceToCentroid : Indice de l'échantillon hors limite!";
  const std::string clusterText =
      "MTH_CLUSTERING::GetSampleDistanceToCentroid : Indice du cluste hors limite!";
  const std::string membershipsText = "MTH_CLUSTERING::AddSample : le nombre de Clusters est incompatible!";
  const std::string featuresText = "MTH_CLUSTERING::AddSample : le nombre de dimensions est incompatible!";
  const auto refuses = [](std::vector<double> features, std::vector<double> memberships) {
    return [=](MTH_CLUSTERING& engine) {
      MTH_CLUSTERING_SAMPLE sample = Sample(features, memberships);
      return !engine.AddSample(&sample) && engine.GetSamplesCount() == 2;
    };
  };
  const auto noDistance = [](auto distance) {
    return [=](MTH_CLUSTERING& engine) { return distance(engine) == kNoDistance; };
  };
  static MTH_MATRIX identity = Matrix({{1.0, 0.0}, {0.0, 1.0}});
  const std::vector<Reported> table = {
      {"both wrong", refuses({1.0}, {1.0}), {membershipsText}},
      {"features wrong", refuses({1.0}, {1.0, 0.0, 0.0}), {featuresText}},
      {"null sample", [](MTH_CLUSTERING& engine) { return !engine.AddSample(nullptr); }, {}},
      {"sample 2", [](MTH_CLUSTERING& engine) { return engine.GetSample(2) == nullptr; }, {}},
      {"sample -1", [](MTH_CLUSTERING& engine) { return engine.GetSample(-1) == nullptr; }, {}},
      {"centroid 3", [](MTH_CLUSTERING& engine) { return engine.GetCentroid(3) == nullptr; }, {clusterText}},
      {"centroid -1",
       [](MTH_CLUSTERING& engine) { return engine.GetCentroid(-1) == nullptr; },
       {clusterText}},
      {"both", noDistance([](auto& e) { return e.GetSampleDistanceToCentroid(2, 3); }), {sampleText}},
      {"cluster", noDistance([](auto& e) { return e.GetSampleDistanceToCentroid(0, -1); }), {clusterText}},
      {"form",
       noDistance([](auto& e) { return e.GetSampleMahalanobisDistanceToCentroid(-1, 0, &identity); }),
       {sampleText}},
      {"form 3",
       noDistance([](auto& e) { return e.GetSampleMahalanobisDistanceToCentroid(0, 3, &identity); }),
       {clusterText}},
      {"no form",
       noDistance([](auto& e) { return e.GetSampleMahalanobisDistanceToCentroid(0, 0, nullptr); }),
       {}},
      {"first", noDistance([](auto& e) { return e.GetSampleDistanceToSample(-1, 0); }), {sampleText}},
      {"second", noDistance([](auto& e) { return e.GetSampleDistanceToSample(0, 2); }), {sampleText}},
      {"decision", [](MTH_CLUSTERING& engine) { return engine.MaxMembershipDecision(9) == 0; }, {}},
  };
  for (const Reported& reported : table) {
    SCOPED_TRACE(reported.name);
    RecordingDisplay display;
    MTH_CLUSTERING engine(3, 2);
    Add(engine, {0.0, 0.0}, {0.0, 0.0, 0.0});
    Add(engine, {3.0, 4.0}, {0.0, 0.0, 0.0});
    EXPECT_TRUE(reported.fails(engine));
    std::vector<ShownMessage> expected;
    for (const std::string& text : reported.texts) expected.push_back(Information(text));
    EXPECT_EQ(display.messages, expected);
  }
}

TEST(ClusteringEngine, MeasuresDistancesAndDecidesForTheLastOfEqualMemberships) {
  MTH_CLUSTERING engine(3, 2);
  double centroid[] = {1.0, 2.0, 99.0};
  engine.InitialiseCentroid(1, centroid, 3);
  Add(engine, {4.0, 6.0}, {0.4, 0.4, 0.2});
  Add(engine, {1.0, 2.0}, {0.2, 0.1, 0.1});
  EXPECT_EQ(engine.GetSampleDistanceToCentroid(0, 1), 5.0);
  EXPECT_EQ(engine.GetSampleDistanceToSample(0, 1), 5.0);
  MTH_MATRIX weights = Matrix({{2.0, 1.0}, {0.0, 3.0}});
  EXPECT_EQ(engine.GetSampleMahalanobisDistanceToCentroid(0, 1, &weights), 2.0 * 9.0 + 12.0 + 3.0 * 16.0);
  EXPECT_EQ(engine.MaxMembershipDecision(0), 1);
  EXPECT_EQ(engine.MaxMembershipDecision(1), 0);
  engine.InitialiseCentroid(1, centroid + 2, 1);
  EXPECT_EQ(engine.GetCentroid(1)->Get(0, 0), 99.0);
  EXPECT_EQ(engine.GetCentroid(1)->Get(1, 0), 2.0);
}

// A product that is refused reads as 0, and says nothing.
TEST(ClusteringEngine, AFormThatDoesNotFitIsZero) {
  RecordingDisplay display;
  MTH_CLUSTERING engine(1, 2);
  Add(engine, {3.0, 4.0}, {1.0});
  MTH_MATRIX misfits[] = {Matrix({{1.0}}), Matrix({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}}),
                          Matrix({{1.0, 2.0}, {3.0, 4.0}, {5.0, 6.0}}),
                          Matrix({{1.0, 0.0}, {0.0, 1.0}}, kFloat), MTH_MATRIX()};
  for (MTH_MATRIX& misfit : misfits) {
    EXPECT_EQ(engine.GetSampleMahalanobisDistanceToCentroid(0, 0, &misfit), 0.0);
  }
  MTH_MATRIX identity = Matrix({{1.0, 0.0}, {0.0, 1.0}});
  engine.GetCentroid(0)->Allocate(3, 1, 0);
  EXPECT_EQ(engine.GetSampleMahalanobisDistanceToCentroid(0, 0, &identity), 0.0);
  EXPECT_TRUE(display.messages.empty());
}

// The lists are the host's to change: what it leaves there is copied as it is, without a word.
TEST(ClusteringEngine, ACopyTakesSamplesOfEverySizeAndSkipsNulls) {
  RecordingDisplay display;
  MTH_CLUSTERING engine(2, 1);
  Add(engine, {1.0}, {0.25, 0.75});
  engine.GetSamples()->Add(nullptr);
  engine.GetSamples()->Add(new MTH_CLUSTERING_SAMPLE(Sample({7.0, 8.0}, {0.5})));
  Add(engine, {5.0}, {0.5, 0.5});
  const MTH_CLUSTERING copy(engine);
  ASSERT_EQ(copy.GetSamplesCount(), 3);
  const double firstFeatures[] = {1.0, 7.0, 5.0};
  const int featuresCounts[] = {1, 2, 1};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(copy.GetSample(i)->GetParameter(0), firstFeatures[i]);
    EXPECT_EQ(copy.GetSample(i)->GetParametersCount(), featuresCounts[i]);
  }
  EXPECT_EQ(copy.GetSample(1)->GetMembershipsCount(), 1);
  EXPECT_TRUE(display.messages.empty());
}

TEST(ClusteringEngine, NullEntriesOfItsListsAreHarmless) {
  RecordingDisplay display;
  MTH_CLUSTERING engine(2, 1);
  Add(engine, {1.0}, {0.25, 0.75});
  engine.GetSamples()->Add(nullptr);
  MTH_MATRIX identity = Matrix({{1.0}});
  const auto expectNone = [&](int sample, int cluster) {
    EXPECT_EQ(engine.GetSampleDistanceToCentroid(sample, cluster), kNoDistance);
    EXPECT_EQ(engine.GetSampleMahalanobisDistanceToCentroid(sample, cluster, &identity), kNoDistance);
    EXPECT_EQ(engine.ApplyKMeanClustering(), kNoDistance);
    EXPECT_EQ(engine.ApplyFuzzyCMeanClustering(), kNoDistance);
  };
  expectNone(1, 0);
  EXPECT_EQ(engine.GetSampleDistanceToSample(1, 0), kNoDistance);
  EXPECT_EQ(engine.GetSampleDistanceToSample(0, 1), kNoDistance);
  EXPECT_EQ(engine.MaxMembershipDecision(1), 0);
  EXPECT_EQ(engine.GetSampleDistanceToCentroid(0, 0), 1.0);
  engine.GetSamples()->Delete(1);
  delete engine.GetCentroids()->Get(1);
  engine.GetCentroids()->Delete(1);
  engine.GetCentroids()->Add(nullptr);
  expectNone(0, 1);
  EXPECT_TRUE(display.messages.empty());
}

TEST(ClusteringEngine, ParametersHaveTheirBounds) {
  MTH_CLUSTERING engine(5, 1);
  EXPECT_EQ(engine.GetHypothesesCount(), 32);
  EXPECT_EQ(MTH_CLUSTERING(40, 1).GetHypothesesCount(), std::numeric_limits<int>::max());
  EXPECT_EQ(engine.GetIterationsCount(), 20);
  engine.SetRegulationValue(3.0);
  engine.SetRegulationValue(1.0);
  engine.SetRegulationValue(std::nan(""));
  EXPECT_EQ(engine.GetRegulationValue(), 3.0);
  engine.SetParams(0.0, 1.5, 4.0);
  EXPECT_EQ(engine.GetAlpha(), 0.0);
  EXPECT_EQ(engine.GetRegulationValue(), 1.5);
  EXPECT_EQ(engine.GetRho(), 4.0);
  engine.SetParams(-1.0, 1.0, 0.0);
  EXPECT_EQ(engine.GetAlpha(), 2.0);
  EXPECT_EQ(engine.GetRegulationValue(), 2.0);
  EXPECT_EQ(engine.GetRho(), 2.0);
}

TEST(ClusteringEngine, ACopyHasTheSamplesButNoCentroidsAndDefaultParameters) {
  auto engine = std::make_unique<MTH_CLUSTERING>(2, 1);
  Add(*engine, {1.0}, {0.25, 0.75});
  Add(*engine, {5.0}, {0.5, 0.5});
  engine->GetSample(0)->SetLabel(3);
  engine->SetIterationsCount(4);
  engine->SetParams(5.0, 6.0, 7.0);
  engine->SetTolerance(0.5);
  MTH_CLUSTERING copy(engine.get());
  MTH_CLUSTERING second(copy);
  engine.reset();
  ASSERT_EQ(second.GetSamplesCount(), 2);
  EXPECT_EQ(second.GetSample(1)->GetParameter(0), 5.0);
  EXPECT_EQ(second.GetSample(0)->GetMembership(1), 0.75);
  EXPECT_EQ(second.GetSample(0)->GetLabel(), 0);
  EXPECT_EQ(second.GetIterationsCount(), 20);
  EXPECT_EQ(second.GetTolerance(), 0.001);
  EXPECT_EQ(second.GetAlpha(), 2.0);
  EXPECT_EQ(second.GetRegulationValue(), 2.0);
  EXPECT_EQ(second.GetRho(), 2.0);
  EXPECT_EQ(second.GetCentroids(), nullptr);
  EXPECT_EQ(second.GetCentroid(0), nullptr);
  EXPECT_EQ(second.GetSampleDistanceToCentroid(0, 0), kNoDistance);
  EXPECT_EQ(second.GetSampleDistanceToSample(0, 1), 4.0);
  EXPECT_FALSE(second.IsEvidential());
  EXPECT_EQ(second.GetCredalPartition(), nullptr);
  double value = 1.0;
  second.InitialiseCentroid(0, &value, 1);  // no centroid to set, and no harm
}

// The flag that InitialiseCentroid sets outlives the run, and is set even by a cluster that there is not.
TEST(ClusteringEngine, InitialisedCentroidsAreKeptByEveryLaterFirstIteration) {
  MTH_CLUSTERING engine(2, 1);
  for (double x : {0.0, 1.0, 8.0, 9.0}) Add(engine, {x}, {0.0, 1.0});
  double centroid = 100.0;
  engine.InitialiseCentroid(5, &centroid, 1);
  engine.SetIterationsCount(1);
  EXPECT_EQ(engine.ApplyKMeanClustering(), 4.0);  // both centroids still at the origin: all go to the first
  EXPECT_EQ(engine.GetCentroid(0)->Get(0, 0), 0.0);
  EXPECT_EQ(engine.ApplyKMeanClustering(), 0.0);
  EXPECT_EQ(engine.GetCentroid(0)->Get(0, 0), 0.0);
}

// Centroids that come one by one would be granted until the machine ends the host.
TEST(ClusteringEngine, AsksForTheMemoryOfVeryManyCentroidsAtOnce) {
  {
    const mth_test::AllocationWatch watch;
    const AllocationFaults faults(1);  // the list
    MTH_CLUSTERING many(1'000'000, 12);
    EXPECT_GE(watch.LargestRequest(), 1'000'000 * (sizeof(MTH_MATRIX) + 12 * sizeof(double)));
  }
  for (int size : {2'000'000'000, std::numeric_limits<int>::max()}) {
    MTH_CLUSTERING more(size, size);
    EXPECT_EQ(more.GetCentroids()->GetCount(), 0);
    EXPECT_EQ(more.ApplyKMeanClustering(), kNoDistance);
  }
}

}  // namespace
}  // namespace mth_test
