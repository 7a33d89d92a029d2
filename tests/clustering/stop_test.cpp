#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "clustering/credal_cases.h"
#include "support/allocation_faults.h"
#include "support/cancelling_display.h"
#include "support/recording_display.h"

// How runs end: by themselves, cancelled, or refused.

namespace mth_test {
namespace {

using Apply = double (MTH_CLUSTERING::*)();
using Fusion = MTH_MATRIX* (MTH_CLUSTERING::*)(MTH_MATRIX*) const;

constexpr Apply kRuns[] = {&MTH_CLUSTERING::ApplyKMeanClustering, &MTH_CLUSTERING::ApplyFuzzyCMeanClustering,
                           &MTH_CLUSTERING::ApplyEvidentialFuzzyCMeanClustering};
constexpr Fusion kFusions[] = {&MTH_CLUSTERING::CredalConjFusion, &MTH_CLUSTERING::CredalConjFusionExact,
                               &MTH_CLUSTERING::DempsterFusion, &MTH_CLUSTERING::DempsterFusionExact};

Engine Blobs() {
  std::mt19937 random(2);
  std::normal_distribution<double> noise(0.0, 2.0);
  auto engine = std::make_unique<MTH_CLUSTERING>(3, 2);
  for (int i = 0; i < 200; ++i) {
    const double sample[] = {i % 3 * 4.0 + noise(random), i % 2 * 3.0 + noise(random)};
    EXPECT_TRUE(engine->AddSamples(sample, 1));
  }
  for (int k = 0; k < 3; ++k) {
    const double centroid[] = {0.1 * k, 1.0};
    engine->InitialiseCentroid(k, centroid, 2);
  }
  engine->SetTolerance(1e-9);
  return engine;
}

std::vector<double> MembershipsOf(const MTH_CLUSTERING& engine) {
  std::vector<double> memberships(
      static_cast<std::size_t>(engine.GetSamplesCount() * engine.GetClustersCount()));
  EXPECT_TRUE(engine.GetMemberships(memberships.data()));
  return memberships;
}

// What a run leaves when it is cancelled at its k-th question is what one of k iterations leaves.
TEST(ClusteringStop, ACancelledRunEndsAfterAWholeIteration) {
  for (const Apply apply : kRuns) {
    for (const int questions : {1, 2, 5}) {
      SCOPED_TRACE(questions);
      const Engine capped = Blobs();
      EXPECT_EQ(capped->GetStopReason(), MTH_STOP_REASON::NotRun);
      capped->SetIterationsCount(questions);
      const double expected = ((*capped).*apply)();
      EXPECT_EQ(capped->GetStopReason(), MTH_STOP_REASON::IterationCap);

      const CancellingDisplay display(questions);
      const Engine cancelled = Blobs();
      cancelled->SetIterationsCount(50);
      EXPECT_EQ(((*cancelled).*apply)(), expected);
      EXPECT_EQ(cancelled->GetStopReason(), MTH_STOP_REASON::Cancelled);
      EXPECT_EQ(display.questions, questions);
      EXPECT_EQ(display.messages, 0);
      EXPECT_EQ(cancelled->GetIterationsCount(), 50);
      EXPECT_TRUE(SameBits(CentroidsOf(*cancelled), CentroidsOf(*capped)));
      EXPECT_EQ(MembershipsOf(*cancelled), MembershipsOf(*capped));
      EXPECT_FALSE(cancelled->IsEvidential());
      if (capped->GetCredalPartition() != nullptr) {
        EXPECT_TRUE(SameBits(*cancelled->GetCredalPartition(), *capped->GetCredalPartition()));
      }
      EXPECT_EQ(MTH_CLUSTERING(*cancelled).GetStopReason(), MTH_STOP_REASON::NotRun);
    }
  }
}

TEST(ClusteringStop, ACancelledFusionGivesNothing) {
  MTH_MATRIX masses = RandomMasses(305, 3, 5);
  const Engine engine = WithMasses(masses, 3);
  for (const Fusion fuse : kFusions) {
    for (const int questions : {1, 2, 4, 5}) {
      const CancellingDisplay display(questions);
      const MatrixPtr fused(((*engine).*fuse)(&masses));
      EXPECT_EQ(fused == nullptr, questions <= 4) << questions;  // it asks after samples 0, 100, 200 and 300
      EXPECT_EQ(engine->GetStopReason(),
                questions <= 4 ? MTH_STOP_REASON::Cancelled : MTH_STOP_REASON::Converged);
    }
    EXPECT_TRUE(SameBits(*engine->GetCredalPartition(), masses));
    EXPECT_EQ(((*engine).*fuse)(nullptr), nullptr);
    EXPECT_EQ(engine->GetStopReason(), MTH_STOP_REASON::BadInput);
  }
}

// Samples of many hypotheses last: runs that have nothing to step ask all the same.
TEST(ClusteringStop, ManyHypothesesAreAskedAboutBetweenSteps) {
  const std::pair<int, std::vector<Fusion>> cases[] = {
      {10, {&MTH_CLUSTERING::CredalConjFusion, &MTH_CLUSTERING::DempsterFusion}},
      {13, {&MTH_CLUSTERING::CredalConjFusionExact, &MTH_CLUSTERING::DempsterFusionExact}}};
  for (const auto& [clusters, fusions] : cases) {
    MTH_MATRIX masses = RandomMasses(90, clusters, 5);
    const Engine engine = WithMasses(masses, clusters);
    for (const Fusion fuse : fusions) {
      const CancellingDisplay display(2);  // the window steps after the first sample only
      EXPECT_EQ(((*engine).*fuse)(&masses), nullptr);
      EXPECT_EQ(engine->GetStopReason(), MTH_STOP_REASON::Cancelled);
      EXPECT_EQ(display.questions, 2);
    }
  }
}

TEST(ClusteringStop, ACancelledPartitionIsTheFormerOne) {
  constexpr int kClusters = 10;
  const MTH_MATRIX masses = RandomMasses(3400, kClusters, 5);
  const Engine engine = WithMasses(masses, kClusters);
  using Init = bool (MTH_CLUSTERING::*)();
  for (const Init init :
       {&MTH_CLUSTERING::initPignisticPartition, &MTH_CLUSTERING::initPlausibilityPartition}) {
    ASSERT_TRUE(((*engine).*init)());
    const MTH_MATRIX* const pignistic = engine->GetPignisticPartition();
    const MTH_MATRIX* const plausibilities = engine->GetPlausibilityPartition();
    const CancellingDisplay display(1);
    EXPECT_FALSE(((*engine).*init)());
    EXPECT_EQ(display.questions, 1);
    EXPECT_EQ(engine->GetPignisticPartition(), pignistic);
    EXPECT_EQ(engine->GetPlausibilityPartition(), plausibilities);
  }
}

TEST(ClusteringStop, EveryEndHasItsReason) {
  RecordingDisplay display;
  for (const Apply apply : kRuns) {
    const auto reasonOf = [&](MTH_CLUSTERING& engine) {
      (engine.*apply)();
      return engine.GetStopReason();
    };
    const Engine engine = Blobs();
    engine->SetTolerance(1e-3);
    engine->SetIterationsCount(500);
    EXPECT_EQ(reasonOf(*engine), MTH_STOP_REASON::Converged);
    engine->SetIterationsCount(0);
    EXPECT_EQ(reasonOf(*engine), MTH_STOP_REASON::IterationCap);
    MTH_CLUSTERING empty(3, 2);
    EXPECT_EQ(reasonOf(empty), MTH_STOP_REASON::BadInput);
    MTH_CLUSTERING copy(*engine);
    EXPECT_EQ(reasonOf(copy), MTH_STOP_REASON::BadInput);
    const Engine withNull = Blobs();
    withNull->GetSamples()->Add(nullptr);
    EXPECT_EQ(reasonOf(*withNull), MTH_STOP_REASON::BadInput);
    for (const double value : {std::nan(""), std::numeric_limits<double>::infinity()}) {
      const Engine strange = Blobs();
      const double sample[] = {value, 1.0};
      ASSERT_TRUE(strange->AddSamples(sample, 1));
      EXPECT_EQ(reasonOf(*strange), MTH_STOP_REASON::NotFinite) << value;
    }
    const Engine frail = Blobs();
    frail->SetIterationsCount(2);
    frail->SetTolerance(-1.0);
    int withoutMemory = 0;
    ForEachAllocationFault([&] { return reasonOf(*frail); },
                           [&](MTH_STOP_REASON reason) {
                             EXPECT_NE(reason, MTH_STOP_REASON::BadInput);
                             EXPECT_NE(reason, MTH_STOP_REASON::NotFinite);
                             withoutMemory += reason == MTH_STOP_REASON::NoMemory ? 1 : 0;
                           });
    EXPECT_GT(withoutMemory, 2);
  }
  MTH_CLUSTERING many(21, 1);
  const double value = 1.0;
  ASSERT_TRUE(many.AddSamples(&value, 1));
  many.ApplyEvidentialFuzzyCMeanClustering();
  EXPECT_EQ(many.GetStopReason(), MTH_STOP_REASON::BadInput);
}

// Equal memberships put all centroids into one place, and so do weights that a large fuzzifier makes vanish:
// nothing moves any more, but nothing is found.
TEST(ClusteringStop, CentroidsThatAllCoincideAreNoAnswer) {
  const Engine equal = Blobs();
  auto fresh = std::make_unique<MTH_CLUSTERING>(3, 2);
  for (int i = 0; i < equal->GetSamplesCount(); ++i) {
    const double features[] = {equal->GetSample(i)->GetParameter(0), equal->GetSample(i)->GetParameter(1)};
    const double memberships[] = {1.0 / 3, 1.0 / 3, 1.0 / 3};
    const MTH_CLUSTERING_SAMPLE sample(features, 2, memberships, 3);
    fresh->GetSamples()->Add(new MTH_CLUSTERING_SAMPLE(sample));
  }
  EXPECT_EQ(fresh->ApplyFuzzyCMeanClustering(), 0.0);
  EXPECT_EQ(fresh->GetStopReason(), MTH_STOP_REASON::BadInput);
  equal->SetRegulationValue(60.0);
  equal->SetIterationsCount(1000);
  EXPECT_LE(equal->ApplyFuzzyCMeanClustering(), 1e-9);
  EXPECT_EQ(equal->GetStopReason(), MTH_STOP_REASON::BadInput);
  EXPECT_EQ(equal->GetCentroid(0)->Get(0, 0), 0.0);
}

// Evidential c-means that moves its centroids onto samples that are all one: the last masses are 0 / 0.
TEST(ClusteringStop, MassesThatAreNoNumbersAreNoAnswer) {
  MTH_CLUSTERING engine(1, 1);
  const double samples[] = {0.0, 0.0, 0.0};
  const double besideThem = 1e-4;  // within the tolerance
  ASSERT_TRUE(engine.AddSamples(samples, 3));
  engine.InitialiseCentroid(0, &besideThem, 1);
  EXPECT_EQ(engine.ApplyEvidentialFuzzyCMeanClustering(), 1.0);
  EXPECT_EQ(engine.GetStopReason(), MTH_STOP_REASON::NotFinite);
  EXPECT_TRUE(engine.IsEvidential());  // it has converged all the same
  EXPECT_TRUE(std::isnan(engine.GetBeliefValue(0, 1)));
}

// The change at which a run stops is the tolerance itself, too.
TEST(ClusteringStop, AChangeOfExactlyTheToleranceEndsARun) {
  const Engine fuzzy = Blobs();
  fuzzy->SetIterationsCount(15);
  const double delta = fuzzy->ApplyFuzzyCMeanClustering();
  const Engine equal = Blobs();
  equal->SetTolerance(delta);
  equal->SetIterationsCount(50);
  EXPECT_EQ(equal->ApplyFuzzyCMeanClustering(), delta);
  EXPECT_EQ(equal->GetStopReason(), MTH_STOP_REASON::Converged);
  EXPECT_TRUE(SameBits(CentroidsOf(*equal), CentroidsOf(*fuzzy)));

  const auto centroidsAfter = [](int iterations) {
    const Engine engine = Blobs();
    engine->SetIterationsCount(iterations);
    engine->ApplyEvidentialFuzzyCMeanClustering();
    return CentroidsOf(*engine);
  };
  const MTH_MATRIX before = centroidsAfter(14);
  const MTH_MATRIX after = centroidsAfter(15);
  double movement = 0.0;
  for (int k = 0; k < 3; ++k) {
    double squares = 0.0;
    for (int d = 0; d < 2; ++d)
      squares += (before.Get(k, d) - after.Get(k, d)) * (before.Get(k, d) - after.Get(k, d));
    movement += std::sqrt(squares);
  }
  const Engine evidential = Blobs();
  evidential->SetTolerance(1.0 / 3 * movement);
  evidential->SetIterationsCount(50);
  EXPECT_EQ(evidential->ApplyEvidentialFuzzyCMeanClustering(), 1.0);
  EXPECT_EQ(evidential->GetIterationsCount(), 15);
  // A run that reaches its cap afterwards leaves the flag of the former one.
  evidential->SetIterationsCount(1);
  evidential->SetTolerance(-1.0);
  EXPECT_EQ(evidential->ApplyEvidentialFuzzyCMeanClustering(), 1.0);
  EXPECT_EQ(evidential->GetStopReason(), MTH_STOP_REASON::IterationCap);
  EXPECT_TRUE(evidential->IsEvidential());
}

// Weights count by their magnitude: negative ones make centroids, too, and the smallest that counts is above
// 1e-6.
TEST(ClusteringStop, NegativeWeightsMakeCentroids) {
  const auto centroidOf = [](Apply apply, double m, std::vector<double> memberships) {
    MTH_CLUSTERING engine(1, 1);
    double feature = 3.0;
    for (double membership : memberships) {
      const MTH_CLUSTERING_SAMPLE sample(&feature, 1, &membership, 1);
      engine.GetSamples()->Add(new MTH_CLUSTERING_SAMPLE(sample));
      feature += 4.0;
    }
    engine.SetRegulationValue(m);
    engine.SetIterationsCount(1);
    (engine.*apply)();
    return engine.GetCentroid(0)->Get(0, 0);
  };
  EXPECT_EQ(centroidOf(kRuns[0], 2.0, {-1.0, -3.0}), 6.0);
  EXPECT_EQ(centroidOf(kRuns[1], 3.0, {-1.0, -1.0}), 5.0);
  EXPECT_EQ(centroidOf(kRuns[0], 2.0, {1e-6, 0.0}), 0.0);
  EXPECT_EQ(centroidOf(kRuns[0], 2.0, {-1e-6, 0.0}), 0.0);
  EXPECT_EQ(centroidOf(kRuns[0], 2.0, {std::nextafter(1e-6, 1.0), 0.0}), 3.0);
}

}  // namespace
}  // namespace mth_test
