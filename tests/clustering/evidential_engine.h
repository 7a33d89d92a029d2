#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "clustering/literal_evidential.h"
#include "mth/clustering/Mth_clustering.h"
#include "support/matrices.h"

namespace mth_test {

using Engine = std::unique_ptr<MTH_CLUSTERING>;

/// An engine with these samples, centroids and parameters.
inline Engine MakeEvidentialEngine(const LiteralEvidential& start) {
  const int clusters = static_cast<int>(start.centroids.size());
  const int dimensions = static_cast<int>(start.centroids[0].size());
  auto engine = std::make_unique<MTH_CLUSTERING>(clusters, dimensions);
  std::vector<double> masses(static_cast<std::size_t>(engine->GetHypothesesCount()));
  for (std::vector<double> features : start.samples) {
    MTH_CLUSTERING_SAMPLE sample(features.data(), dimensions, masses.data(), static_cast<int>(masses.size()));
    EXPECT_TRUE(engine->AddEvidentialSample(&sample));
  }
  for (int k = 0; k < clusters; ++k) {
    std::vector<double> centroid = start.centroids[static_cast<std::size_t>(k)];
    engine->InitialiseCentroid(k, centroid.data(), dimensions);
  }
  engine->SetParams(start.alpha, start.beta, start.rho);
  engine->SetTolerance(start.tolerance);
  return engine;
}

inline MTH_MATRIX ToMatrix(const Rows& rows) {
  return FromRule(
      static_cast<int>(rows.size()), static_cast<int>(rows.at(0).size()), kDouble,
      [&](int i, int j) { return rows[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)]; });
}

inline MTH_MATRIX CentroidsOf(const MTH_CLUSTERING& engine) {
  return FromRule(engine.GetClustersCount(), engine.GetDimensionsCount(), kDouble,
                  [&](int k, int d) { return engine.GetCentroid(k)->Get(d, 0); });
}

/// The diamond with a point between its halves (5) and an outlier (11) of Masson and Denoeux, Pattern
/// Recognition 41, 2008.
inline LiteralEvidential Butterfly() {
  LiteralEvidential start;
  start.samples = {{-5.0, 0.0}, {-3.34, 1.67}, {-3.34, 0.0}, {-3.34, -1.67}, {-1.67, 0.0}, {0.0, 0.0},
                   {1.67, 0.0}, {3.34, 1.67},  {3.34, 0.0},  {3.34, -1.67},  {5.0, 0.0},   {0.0, 10.0}};
  start.centroids = {{-2.0, 0.5}, {2.0, 0.0}};
  start.alpha = 1.0;
  start.rho = 1.0;
  return start;
}

}  // namespace mth_test
