#include <array>
#include <optional>

#include "support/operations/engine_operations.h"

// Samples, hard and fuzzy clustering, subsets.

namespace mth_test {
namespace {

void AddSamples(Operations& list) {
  list.push_back({"clustering/sample", [](Trial& t) {
                    for (const auto& size : {std::pair(1, 1), std::pair(3, 4), std::pair(9, 5)}) {
                      const int features = size.first;
                      const int clusters = size.second;
                      auto values = Values(features, 1100);
                      auto memberships = Values(clusters, 1101, 0.0, 1.0);
                      std::optional<MTH_CLUSTERING_SAMPLE> sample;
                      t([&] { sample.emplace(values.data(), features, memberships.data(), clusters); });
                      sample->SetLabel(7);
                      t.Count(*sample);
                      std::optional<MTH_CLUSTERING_SAMPLE> copy;
                      t([&] { copy.emplace(*sample); });
                      t.Count(*copy);
                      t([&] { sample->ChangeParameters(memberships.data(), clusters); });
                      t([&] { sample->ChangeMembership(values.data(), features); });
                      t([&] { return sample->SetMembership(0, 0.25); });
                      t.Count(*sample);
                    }
                  }});
  list.push_back({"clustering/AddSample", [](Trial& t) {
                    MTH_CLUSTERING engine(3, 2);
                    for (unsigned i = 0; i < 5; ++i) {
                      auto features = Values(2, 1102 + i);
                      auto memberships = Values(3, 1112 + i, 0.0, 1.0);
                      MTH_CLUSTERING_SAMPLE sample(features.data(), 2, memberships.data(), 3);
                      t([&] { return engine.AddSample(&sample); });
                    }
                    MTH_CLUSTERING_SAMPLE misfit(nullptr, 2, nullptr, 2);
                    t([&] { return engine.AddSample(&misfit); });
                    CountEngine(t, engine);
                    std::optional<MTH_CLUSTERING> copy;
                    t([&] { copy.emplace(engine); });
                    CountEngine(t, *copy);
                  }});
}

using Run = double (MTH_CLUSTERING::*)();

// A run on blobs, from the memberships or from centroids.
void AddRun(Operations& list, const std::string& name, Run run, double m) {
  constexpr std::array<int, 3> kSizes[] = {{30, 2, 1}, {75, 3, 2}, {301, 4, 3}, {97, 5, 7}};
  for (const auto& [samples, clusters, dimensions] : kSizes) {
    for (const bool hasCentroids : {false, true}) {
      const std::string size = Shape(samples, clusters) + "x" + std::to_string(dimensions);
      list.push_back({"clustering/" + name + "/" + size + (hasCentroids ? "/centroids" : "/memberships"),
                      [=, samples = samples, clusters = clusters, dimensions = dimensions](Trial& t) {
                        const EngineInput input(samples, clusters, dimensions);
                        MTH_CLUSTERING engine(clusters, dimensions);
                        input.Fill(engine, hasCentroids);
                        engine.SetRegulationValue(m);
                        engine.SetTolerance(1e-6);
                        t([&] { return (engine.*run)(); }, kNoDistance);
                        CountEngine(t, engine);
                      }});
    }
  }
}

void AddBulk(Operations& list) {
  const std::pair<const char*, MTH_CENTROID_START> starts[] = {
      {"quantiles", MTH_CENTROID_START::Quantiles},
      {"farthest", MTH_CENTROID_START::FarthestFirst},
      {"plusplus", MTH_CENTROID_START::PlusPlus}};
  for (const auto& [name, start] : starts) {
    list.push_back(
        {std::string("clustering/InitialiseCentroidsFromSamples/") + name, [start = start](Trial& t) {
           const auto features = Values(3 * 97, 1130);
           MTH_CLUSTERING engine(4, 3);
           t([&] { return engine.AddSamples(features.data(), 97); });
           t([&] { return engine.InitialiseCentroidsFromSamples(start, 12); });
           CountEngine(t, engine);
           t([&] { return engine.ApplyFuzzyCMeanClustering(); }, kNoDistance);
           std::vector<double> memberships(4 * 97);
           std::vector<int> decisions(97);
           t([&] { return engine.GetMemberships(memberships.data()); });
           t([&] { return engine.GetDecisions(decisions.data()); });
           t.CountAll(memberships, decisions);
         }});
  }
}

// Both halves of some iterations over two parts.
void AddParts(Operations& list) {
  for (const double m : {0.0, 1.75, 2.0}) {  // 0: k-means
    list.push_back(
        {"clustering/MTH_CLUSTERING_PART/" +
             (m == 0.0 ? "k-means" : "m=" + Shape(static_cast<int>(100 * m), 100)),
         [m](Trial& t) {
           constexpr int kClusters = 3;
           constexpr int kDimensions = 2;
           auto centroids = Values(kClusters * kDimensions, 1140);
           std::optional<MTH_CLUSTERING_PART> parts[2];
           for (unsigned p = 0; p < 2; ++p) {
             const auto features = Values(kDimensions * 75, 1141 + p);
             t.Run([&] { parts[p].emplace(kClusters, kDimensions); });
             t([&] { return parts[p]->SetSamples(features.data(), 75); });
           }
           for (int iteration = 0; iteration < 4; ++iteration) {
             std::vector<double> total(kClusters * (kDimensions + 1));
             for (auto& part : parts) {
               std::vector<double> sums(total.size());
               double change = 0.0;
               t([&] {
                 return m == 0.0 ? part->StepKMeans(centroids.data(), sums.data(), &change)
                                 : part->StepFuzzyCMeans(centroids.data(), m, sums.data(), &change);
               });
               for (std::size_t i = 0; i < total.size(); ++i) total[i] += sums[i];
               t.Count(change);
             }
             t([&] { return Mth_MoveCentroids(total.data(), kClusters, kDimensions, centroids.data()); });
             t.CountAll(total, centroids);
           }
           std::vector<double> memberships(kClusters * 75);
           std::vector<int> decisions(75);
           t([&] { return parts[1]->GetMemberships(memberships.data()); });
           t([&] { return parts[1]->GetDecisions(decisions.data()); });
           t.CountAll(memberships, decisions);
         }});
  }
}

void AddDistances(Operations& list) {
  list.push_back({"clustering/distances", [](Trial& t) {
                    const EngineInput input(40, 3, 3);
                    MTH_CLUSTERING engine(3, 3);
                    input.Fill(engine, true);
                    MTH_MATRIX form = Matrix(3, 3, 0, 1120);
                    for (int i = 0; i < 40; ++i) {
                      for (int k = 0; k < 3; ++k) {
                        t([&] { return engine.GetSampleDistanceToCentroid(i, k); });
                        t([&] { return engine.GetSampleMahalanobisDistanceToCentroid(i, k, &form); },
                          kNoDistance);
                      }
                      t([&] { return engine.GetSampleDistanceToSample(i, 39 - i); });
                      t([&] { return engine.MaxMembershipDecision(i); });
                    }
                    t([&] { return engine.GetSampleDistanceToCentroid(40, 0); });
                    t([&] { engine.OutlierProportion(); });
                  }});
}

void AddSubsets(Operations& list) {
  list.push_back({"clustering/Mth_GenerateSubsets", [](Trial& t) {
                    for (const int count : {1, 3, 6}) {
                      MTH_MATRIX elements(1, count, 0);
                      for (int i = 0; i < count; ++i) elements.Set(0, i, 3.0 * i + 1.0);
                      std::vector<std::vector<int>> containers(std::size_t{1} << count);
                      MTH_POINTER_LIST<std::vector<int>> subsets;
                      for (auto& container : containers) subsets.Add(&container);
                      t([&] { return Mth_GenerateSubsets(&elements, &subsets); });
                      for (const auto& container : containers) t.Count(container);
                    }
                  }});
}

}  // namespace

void AddClusteringOperations(Operations& list) {
  AddSamples(list);
  AddRun(list, "ApplyKMeanClustering", &MTH_CLUSTERING::ApplyKMeanClustering, 2.0);
  AddRun(list, "ApplyFuzzyCMeanClustering/m=2", &MTH_CLUSTERING::ApplyFuzzyCMeanClustering, 2.0);
  AddRun(list, "ApplyFuzzyCMeanClustering/m=3", &MTH_CLUSTERING::ApplyFuzzyCMeanClustering, 3.0);
  AddRun(list, "ApplyFuzzyCMeanClustering/m=1.5", &MTH_CLUSTERING::ApplyFuzzyCMeanClustering, 1.5);
  AddRun(list, "ApplyFuzzyCMeanClustering/m=1.75", &MTH_CLUSTERING::ApplyFuzzyCMeanClustering, 1.75);
  AddBulk(list);
  AddParts(list);
  AddDistances(list);
  AddSubsets(list);
}

}  // namespace mth_test
