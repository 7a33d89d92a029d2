#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <numeric>
#include <vector>

#include "mth/clustering/Mth_clustering.h"
#include "support/allocation_faults.h"
#include "support/recording_display.h"

// How an engine keeps its samples, and how they come in and out in bulk.

namespace mth_test {
namespace {

std::vector<double> Ramp(int count) {
  std::vector<double> values(static_cast<std::size_t>(count));
  std::iota(values.begin(), values.end(), 1.0);
  return values;
}

// Sizes inside the object, behind it in its slab, and on its own.
TEST(ClusteringSamples, HostsMayTakeThemOutAndKeepThem) {
  for (const int dimensions : {1, 7, 40, 300}) {
    SCOPED_TRACE(dimensions);
    const std::vector<double> features = Ramp(dimensions * 1000);
    auto engine = std::make_unique<MTH_CLUSTERING>(2, dimensions);
    ASSERT_TRUE(engine->AddSamples(features.data(), 1000));
    const auto takeOut = [&](int index) {
      std::unique_ptr<MTH_CLUSTERING_SAMPLE> sample(engine->GetSamples()->Get(index));
      engine->GetSamples()->Delete(index);
      return sample;
    };
    takeOut(500).reset();
    std::unique_ptr<MTH_CLUSTERING_SAMPLE> kept = takeOut(10);
    const double first = kept->GetParameter(0);
    MTH_CLUSTERING other(2, dimensions);
    other.GetSamples()->Add(takeOut(997).release());
    other.GetSamples()->Add(new MTH_CLUSTERING_SAMPLE(*kept));
    const int left = engine->GetSamplesCount();
    EXPECT_EQ(left, 997);
    for (int i = 0; i < left; ++i) {
      const double place = i < 10 ? i : i < 499 ? i + 1 : i + 2;
      ASSERT_EQ(engine->GetSample(i)->GetParameter(0), place * dimensions + 1.0) << i;
    }
    engine.reset();
    EXPECT_EQ(kept->GetParameter(0), first);
    EXPECT_TRUE(kept->SetMembership(1, 0.5));
    EXPECT_EQ(other.GetSample(0)->GetParameter(dimensions - 1), 1000.0 * dimensions);
    EXPECT_EQ(other.GetSample(1)->GetMembership(1), 0.0);
  }
}

TEST(ClusteringSamples, ComeInAndGoOutInBulk) {
  const std::vector<double> features{1.0, 2.0, 3.0, 4.0, 5.0, 6.0};
  MTH_CLUSTERING engine(3, 2);
  std::vector<double> memberships(9, -1.0);
  std::vector<int> decisions(3, -1);
  EXPECT_FALSE(engine.GetMemberships(memberships.data()));
  EXPECT_FALSE(engine.GetDecisions(decisions.data()));
  EXPECT_FALSE(engine.AddSamples(nullptr, 1));
  EXPECT_FALSE(engine.AddSamples(features.data(), -1));
  EXPECT_TRUE(engine.AddSamples(features.data(), 0));
  EXPECT_EQ(engine.GetSamplesCount(), 0);
  ASSERT_TRUE(engine.AddSamples(features.data(), 3));
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(engine.GetSample(i)->GetParameter(0), 2.0 * i + 1.0);
    EXPECT_EQ(engine.GetSample(i)->GetParameter(1), 2.0 * i + 2.0);
    EXPECT_EQ(engine.GetSample(i)->GetMembershipsCount(), 3);
    EXPECT_EQ(engine.GetSample(i)->GetMembership(2), 0.0);
  }
  engine.GetSample(0)->SetMembership(1, 0.75);
  engine.GetSample(2)->SetMembership(0, 0.25);
  EXPECT_FALSE(engine.GetMemberships(nullptr));
  EXPECT_FALSE(engine.GetDecisions(nullptr));
  EXPECT_EQ(memberships, std::vector<double>(9, -1.0));
  delete engine.GetSamples()->Get(1);  // a host's null, and a sample of another size
  engine.GetSamples()->Delete(1);
  engine.GetSamples()->Insert(1, nullptr);
  const double two[] = {0.5, 0.5};
  engine.GetSamples()->Add(new MTH_CLUSTERING_SAMPLE(two, 2, two, 2));
  memberships.assign(12, -1.0);
  decisions.assign(4, -1);
  EXPECT_TRUE(engine.GetMemberships(memberships.data()));
  EXPECT_TRUE(engine.GetDecisions(decisions.data()));
  EXPECT_EQ(memberships, (std::vector<double>{0.0, 0.75, 0.0, 0.0, 0.0, 0.0, 0.25, 0.0, 0.0, 0.5, 0.5, 0.0}));
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(decisions[static_cast<std::size_t>(i)], engine.MaxMembershipDecision(i)) << i;
}

TEST(ClusteringSamples, ComeAllOrNone) {
  RecordingDisplay display;
  // Samples that fit into an object come from one slab, made at once; others need more.
  for (const auto& [dimensions, fewerFaults] : {std::array{2, 1}, {20, 2}, {200, 2}}) {
    const std::vector<double> features = Ramp(dimensions * 100);
    MTH_CLUSTERING engine(3, dimensions);
    ASSERT_TRUE(engine.AddSamples(features.data(), 5));
    int expected = 5;
    EXPECT_GT(ForEachAllocationFault([&] { return engine.AddSamples(features.data(), 100); },
                                     [&](bool areAdded) {
                                       expected += areAdded ? 100 : 0;
                                       EXPECT_EQ(engine.GetSamplesCount(), expected);
                                     }),
              fewerFaults);
    EXPECT_EQ(expected, 105);
    EXPECT_EQ(engine.GetSample(104)->GetParameter(dimensions - 1), 100.0 * dimensions);
  }
  EXPECT_TRUE(display.messages.empty());
}

}  // namespace
}  // namespace mth_test
