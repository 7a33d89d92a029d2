#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "mth/clustering/Mth_clustering.h"

namespace mth_benchmark {

constexpr int kClusters = 4;
constexpr int kIterations = 20;

/// Four centroids, `first` in all dimensions and then every `step`.
inline std::vector<double> StartCentroids(int dimensions, double first, double step) {
  std::vector<double> centroids;
  for (int k = 0; k < kClusters; ++k)
    centroids.insert(centroids.end(), static_cast<std::size_t>(dimensions), first + step * k);
  return centroids;
}

/// An engine over the samples whose features follow each other, for kIterations iterations.
inline std::unique_ptr<MTH_CLUSTERING> MakeEngine(std::vector<double>& features, int dimensions,
                                                  double tolerance) {
  auto engine = std::make_unique<MTH_CLUSTERING>(kClusters, dimensions);
  double memberships[kClusters] = {};
  for (std::size_t i = 0; i < features.size(); i += static_cast<std::size_t>(dimensions)) {
    MTH_CLUSTERING_SAMPLE sample(&features[i], dimensions, memberships, kClusters);
    engine->AddSample(&sample);
  }
  engine->SetIterationsCount(kIterations);
  engine->SetTolerance(tolerance);
  return engine;
}

}  // namespace mth_benchmark
