#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_clustering_part.h"
#include "mth/clustering/Mth_tissue_part.h"

// Iterations whose halves are apart: a part alone is the engine, to the last bit.

namespace {

using Values = std::vector<double>;

struct Setting {
  double m;  // 0: k-means
  int samples;
  int clusters;
  int dimensions;
};

constexpr Setting kSettings[] = {{0.0, 1, 1, 1},    {0.0, 75, 3, 2}, {0.0, 200, 5, 7}, {2.0, 33, 2, 1},
                                 {1.75, 130, 4, 3}, {3.0, 97, 6, 4}, {2.0, 64, 3, 3}};

Values Features(const Setting& setting, unsigned seed) {
  std::mt19937 engine(seed);
  Values values;
  for (int i = 0; i < setting.samples * setting.dimensions; ++i)
    values.push_back(static_cast<double>(engine() % 10007) / 100.0 +
                     40.0 * (i / setting.dimensions % setting.clusters));
  return values;
}

// The last cluster is nobody's: it goes to the origin.
Values Start(const Setting& setting) {
  Values centroids;
  for (int k = 0; k < setting.clusters; ++k)
    centroids.insert(centroids.end(), static_cast<std::size_t>(setting.dimensions),
                     k > 1 && k + 1 == setting.clusters ? 1e9 : 45.0 * k);
  return centroids;
}

bool Step(MTH_CLUSTERING_PART& part, const Setting& setting, const Values& centroids, Values& sums,
          double& change) {
  return setting.m == 0.0 ? part.StepKMeans(centroids.data(), sums.data(), &change)
                          : part.StepFuzzyCMeans(centroids.data(), setting.m, sums.data(), &change);
}

struct Found {
  Values centroids;
  Values former;  // one iteration before
  Values sums;    // of the last part
  double change = 0.0;
};

Found Iterate(std::vector<MTH_CLUSTERING_PART*> parts, const Setting& setting, int iterations) {
  Found found{
      Start(setting), {}, Values(static_cast<std::size_t>(setting.clusters * (setting.dimensions + 1))), 0.0};
  Values total;
  for (int iteration = 0; iteration < iterations; ++iteration) {
    found.former = found.centroids;
    if (iteration > 0) {
      EXPECT_TRUE(
          Mth_MoveCentroids(total.data(), setting.clusters, setting.dimensions, found.centroids.data()));
    }
    total.assign(found.sums.size(), 0.0);
    for (MTH_CLUSTERING_PART* part : parts) {
      EXPECT_TRUE(Step(*part, setting, found.centroids, found.sums, found.change));
      for (std::size_t i = 0; i < total.size(); ++i) total[i] += found.sums[i];
    }
  }
  return found;
}

TEST(ClusteringPart, IsTheEngineWhenItIsAlone) {
  for (const Setting& setting : kSettings) {
    const Values features = Features(setting, 3);
    MTH_CLUSTERING engine(setting.clusters, setting.dimensions);
    ASSERT_TRUE(engine.AddSamples(features.data(), setting.samples));
    Values start = Start(setting);
    for (int k = 0; k < setting.clusters; ++k)
      engine.InitialiseCentroid(k, &start[static_cast<std::size_t>(k * setting.dimensions)],
                                setting.dimensions);
    engine.SetIterationsCount(5);
    engine.SetTolerance(-1.0);
    engine.SetRegulationValue(setting.m);
    const double answer =
        setting.m == 0.0 ? engine.ApplyKMeanClustering() : engine.ApplyFuzzyCMeanClustering();
    MTH_CLUSTERING_PART part(setting.clusters, setting.dimensions);
    ASSERT_TRUE(part.SetSamples(features.data(), setting.samples));
    const Found found = Iterate({&part}, setting, 5);
    EXPECT_EQ(found.change, answer);
    for (int k = 0; k < setting.clusters; ++k) {
      for (int d = 0; d < setting.dimensions; ++d)
        EXPECT_EQ(found.centroids[static_cast<std::size_t>(k * setting.dimensions + d)],
                  engine.GetCentroid(k)->Get(d, 0));
    }
    const auto count = static_cast<std::size_t>(setting.samples);
    Values ofEngine(count * static_cast<std::size_t>(setting.clusters));
    Values ofPart(ofEngine.size());
    std::vector<int> decisions(count);
    std::vector<int> partDecisions(count);
    ASSERT_TRUE(engine.GetMemberships(ofEngine.data()) && part.GetMemberships(ofPart.data()));
    ASSERT_TRUE(engine.GetDecisions(decisions.data()) && part.GetDecisions(partDecisions.data()));
    EXPECT_EQ(ofPart, ofEngine);
    EXPECT_EQ(partDecisions, decisions);

    // The same samples twice weigh twice as much, and move nothing.
    MTH_CLUSTERING_PART first(setting.clusters, setting.dimensions);
    MTH_CLUSTERING_PART second(setting.clusters, setting.dimensions);
    ASSERT_TRUE(first.SetSamples(features.data(), setting.samples) &&
                second.SetSamples(features.data(), setting.samples));
    EXPECT_EQ(Iterate({&first, &second}, setting, 5).centroids, found.centroids);

    // One that was lost is made again by a step for the former centroids.
    MTH_CLUSTERING_PART again(setting.clusters, setting.dimensions);
    ASSERT_TRUE(again.SetSamples(features.data(), setting.samples));
    Values sums(found.sums.size());
    double change = 0.0;
    ASSERT_TRUE(Step(again, setting, found.former, sums, change) &&
                Step(again, setting, found.centroids, sums, change));
    EXPECT_EQ(sums, found.sums);
    EXPECT_EQ(change, found.change);
  }
}

TEST(ClusteringPart, RefusesWhatDoesNotFitAndPassesOnWhatIsNotFinite) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const Values features{1.0, nan, 3.0};
  Values sums(4, -1.0);
  const Values centroids{1.0, 2.0};
  double change = -1.0;
  MTH_CLUSTERING_PART part(2, 1);
  EXPECT_FALSE(part.SetSamples(nullptr, 3) || part.SetSamples(features.data(), 0) ||
               part.SetSamples(features.data(), -1));
  EXPECT_FALSE(part.StepKMeans(centroids.data(), sums.data(), &change));
  EXPECT_FALSE(MTH_CLUSTERING_PART(0, 1).SetSamples(features.data(), 3) ||
               MTH_CLUSTERING_PART(2, -1).SetSamples(features.data(), 3) ||
               MTH_CLUSTERING_PART(2000000000, 2000000000).SetSamples(features.data(), 1));
  ASSERT_TRUE(part.SetSamples(features.data(), 3));
  EXPECT_FALSE(part.GetMemberships(sums.data()));
  EXPECT_FALSE(part.StepKMeans(nullptr, sums.data(), &change) ||
               part.StepKMeans(centroids.data(), nullptr, &change) ||
               part.StepFuzzyCMeans(centroids.data(), 2.0, sums.data(), nullptr));
  for (const double m : {1.0, 0.0, -2.0, nan})
    EXPECT_FALSE(part.StepFuzzyCMeans(centroids.data(), m, sums.data(), &change));
  EXPECT_FALSE(Mth_MoveCentroids(nullptr, 2, 1, sums.data()) ||
               Mth_MoveCentroids(sums.data(), 0, 1, sums.data()));
  EXPECT_EQ(sums, Values(4, -1.0));
  EXPECT_EQ(change, -1.0);
  ASSERT_TRUE(part.StepFuzzyCMeans(centroids.data(), 2.0, sums.data(), &change));
  EXPECT_TRUE(std::isnan(sums[1]));
  ASSERT_TRUE(part.StepKMeans(centroids.data(), sums.data(), &change));
  EXPECT_EQ(change, 3.0);
}

constexpr int kSide = 14;
constexpr std::size_t kVoxels = std::size_t{kSide} * kSide * kSide;

// Three boxes under a slope.
Values Scan(unsigned seed, double slope) {
  std::mt19937 engine(seed);
  Values image;
  for (std::size_t i = 0; i < kVoxels; ++i) {
    const auto x = static_cast<int>(i % kSide);
    const double tissue = x < 4 ? 200.0 : (x < 9 ? 500.0 : 800.0);
    image.push_back((tissue + static_cast<double>(engine() % 101) - 50.0) *
                    (1.0 + slope * (static_cast<double>(i / kSide % kSide) - 6.5)));
  }
  return image;
}

void Fit(const std::vector<MTH_TISSUE_PART*>& parts, MTH_TISSUE_MEANS& means) {
  std::array<double, 3> range{};
  for (MTH_TISSUE_PART* part : parts)
    EXPECT_TRUE(part->GetRange(range.data()) && means.AddRange(range.data()));
  std::array<double, 6> sums{};
  while (!means.IsDone()) {
    std::array<double, 6> total{};
    for (MTH_TISSUE_PART* part : parts) {
      ASSERT_TRUE(part->Step(means, sums.data()));
      for (std::size_t i = 0; i < total.size(); ++i) total[i] += sums[i];
    }
    ASSERT_TRUE(means.Move(total.data()));
  }
}

struct Divided {
  std::array<Values, 4> images;  // fractions and the field
  std::array<double, 3> means;
  bool operator==(const Divided&) const = default;
};

Divided ResultsOf(const MTH_TISSUE_CLUSTERING& engine) {
  Divided results;
  results.images.fill(Values(kVoxels));
  for (int k = 0; k < 3; ++k) {
    EXPECT_TRUE(engine.GetFractions(k, results.images[static_cast<std::size_t>(k)].data()));
    results.means[static_cast<std::size_t>(k)] = engine.GetCentroid(k);
  }
  EXPECT_TRUE(engine.GetField(results.images[3].data()));
  return results;
}

TEST(TissuePart, IsTheEngineWhenItIsAlone) {
  const Values image = Scan(1, 0.01);
  const Values confidence = Scan(2, 0.0);
  for (const double* const share : {static_cast<const double*>(nullptr), confidence.data()}) {
    MTH_TISSUE_CLUSTERING engine;
    ASSERT_TRUE(engine.Segment(image.data(), kSide, kSide, kSide, nullptr, share));
    MTH_TISSUE_PART part(engine);
    MTH_TISSUE_PART second(engine);
    MTH_TISSUE_CLUSTERING results(2);
    ASSERT_TRUE(results.SetMeans(std::array{200.0, 800.0}.data()));
    MTH_TISSUE_MEANS means;
    ASSERT_TRUE(part.SetImage(image.data(), kSide, kSide, kSide, nullptr, share));
    Fit({&part}, means);
    ASSERT_TRUE(part.Finish(means, &results));
    EXPECT_TRUE(ResultsOf(results) == ResultsOf(engine));
    EXPECT_FALSE(part.Finish(means, &results)) << "it is without an image";
    ASSERT_TRUE(results.Segment(image.data(), kSide, kSide, kSide, nullptr, share));
    EXPECT_TRUE(ResultsOf(results) == ResultsOf(engine)) << "means of two tissues are not those of three";

    MTH_TISSUE_MEANS ofTwo;
    ASSERT_TRUE(part.SetImage(image.data(), kSide, kSide, kSide, nullptr, share) &&
                second.SetImage(image.data(), kSide, kSide, kSide, nullptr, share));
    Fit({&part, &second}, ofTwo);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(ofTwo.GetMean(k), engine.GetCentroid(k));
  }
}

TEST(TissuePart, SharesMeansOfScansWithFieldsOfTheirOwn) {
  MTH_TISSUE_CLUSTERING engine;
  engine.SetVoxelSize(3.0, 3.0, 3.0);
  MTH_TISSUE_PART first(engine);
  MTH_TISSUE_PART second(engine);
  MTH_TISSUE_MEANS means;
  const Values images[] = {Scan(4, 0.02), Scan(5, -0.02)};
  ASSERT_TRUE(first.SetImage(images[0].data(), kSide, kSide, kSide, nullptr) &&
              second.SetImage(images[1].data(), kSide, kSide, kSide, nullptr));
  Fit({&first, &second}, means);
  std::array<double, 3> found{};
  for (int k = 0; k < 3; ++k) {
    found[static_cast<std::size_t>(k)] = means.GetMean(k);
    EXPECT_NEAR(means.GetMean(k), 200.0 + 300.0 * k, 30.0);
  }
  // Given the means, a scan alone finds the same as among the others.
  for (int p = 0; p < 2; ++p) {
    ASSERT_TRUE((p == 0 ? first : second).Finish(means, &engine));
    const Divided among = ResultsOf(engine);
    MTH_TISSUE_CLUSTERING given;
    given.SetVoxelSize(3.0, 3.0, 3.0);
    ASSERT_TRUE(given.SetMeans(found.data()));
    ASSERT_TRUE(given.Segment(images[p].data(), kSide, kSide, kSide, nullptr));
    const Divided alone = ResultsOf(given);
    EXPECT_EQ(alone.means, found);
    for (std::size_t i = 0; i < kVoxels; ++i) {
      for (const auto& [one, other] : {std::pair(alone.images[1][i], among.images[1][i]),
                                       std::pair(alone.images[3][i], among.images[3][i])})
        ASSERT_NEAR(one, other, 0.05);
    }
  }
}

TEST(TissuePart, RefusesWhatDoesNotFit) {
  const Values image = Scan(1, 0.0);
  MTH_TISSUE_CLUSTERING engine;
  MTH_TISSUE_PART part(engine);
  MTH_TISSUE_MEANS means;
  MTH_TISSUE_MEANS ofFour(4);
  MTH_TISSUE_MEANS none(17);
  std::array<double, 3> range{};
  std::array<double, 6> sums{};
  EXPECT_FALSE(part.GetRange(range.data()) || part.Step(means, sums.data()) || part.Finish(means, &engine));
  EXPECT_FALSE(part.SetImage(image.data(), 0, kSide, kSide, nullptr));
  EXPECT_EQ(part.GetStopReason(), MTH_STOP_REASON::BadInput);
  ASSERT_TRUE(part.SetImage(image.data(), kSide, kSide, kSide, nullptr) && part.GetRange(range.data()));
  EXPECT_FALSE(part.Step(means, sums.data()) || means.Move(sums.data())) << "there is no range";
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const auto& wrong : {std::array{2.0, 1.0, 3.0}, {-1.0, 1.0, 3.0}, {nan, 1.0, 3.0}, {0.0, 4.0, 3.0}})
    EXPECT_FALSE(means.AddRange(wrong.data()));
  EXPECT_FALSE(means.AddRange(nullptr) || none.AddRange(range.data()) || none.GetRange(range.data()));
  ASSERT_TRUE(means.AddRange(range.data()) && ofFour.AddRange(range.data()));
  EXPECT_FALSE(part.Step(ofFour, sums.data()) || part.Step(means, nullptr));
  ASSERT_TRUE(part.Step(means, sums.data()));
  EXPECT_FALSE(part.Step(means, sums.data())) << "the means have not moved";
  EXPECT_FALSE(part.Finish(means, &engine));
  EXPECT_FALSE(means.Move(std::array{1.0, 1.0, 1.0, 1.0, nan, 1.0}.data()));
  ASSERT_TRUE(means.Move(sums.data()));
  EXPECT_FALSE(means.AddRange(range.data()));
  EXPECT_EQ(engine.GetStopReason(), MTH_STOP_REASON::NotRun);
  for (const auto& wrong : {std::array{3.0, 2.0, 5.0}, {1.0, 1.0, 2.0}, {-1.0, 1.0, 2.0}, {1.0, nan, 2.0}})
    EXPECT_FALSE(engine.SetMeans(wrong.data()));
  const std::array given{100.0, 200.0, 300.0};
  for (const double unit :
       {1.0, 1e305, 1e-320}) {  // also where products with what the image needs would overflow
    const std::array far{100.0 * unit, 200.0 * unit, 300.0 * unit};
    ASSERT_TRUE(engine.SetMeans(far.data()) && engine.Segment(image.data(), kSide, kSide, kSide, nullptr));
    const Divided results = ResultsOf(engine);
    EXPECT_EQ(results.means, far);
    for (std::size_t i = 0; i < kVoxels; ++i)
      ASSERT_NEAR(results.images[0][i] + results.images[1][i] + results.images[2][i], 1.0, 1e-6);
    engine = MTH_TISSUE_CLUSTERING();
  }
  ASSERT_TRUE(engine.SetMeans(given.data()));
  const double* const channels[] = {image.data(), image.data()};
  EXPECT_FALSE(engine.SegmentChannels(channels, 2, kSide, kSide, kSide, nullptr));
  EXPECT_EQ(engine.GetStopReason(), MTH_STOP_REASON::BadInput);
  EXPECT_TRUE(engine.SetMeans(nullptr) && engine.SegmentChannels(channels, 2, kSide, kSide, kSide, nullptr));
}

}  // namespace
