#pragma once

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include "clustering/evidential_engine.h"

namespace mth_test {

/// Built hypotheses for so many clusters, on a sample or two.
inline Engine BuiltEngine(int clusters) {
  LiteralEvidential start;
  for (int k = 0; k < clusters; ++k) start.centroids.push_back({std::pow(2.0, k), 3.0 * k});
  start.samples = {{0.5, 0.5}, {7.0, -1.0}};
  Engine engine = MakeEvidentialEngine(start);
  engine->SetIterationsCount(0);
  EXPECT_EQ(engine->ApplyEvidentialFuzzyCMeanClustering(), 1.0);
  return engine;
}

/// An evidential engine whose credal partition is that matrix: a copy of an engine with a partition is one.
inline Engine WithMasses(const MTH_MATRIX& masses, int clusters) {
  MTH_CLUSTERING source(clusters, 1);
  std::vector<double> memberships(static_cast<std::size_t>(clusters));
  double feature = 1.0;
  MTH_CLUSTERING_SAMPLE sample(&feature, 1, memberships.data(), clusters);
  for (int i = 0; i < masses.GetNbRows(); ++i) EXPECT_TRUE(source.AddSample(&sample));
  MTH_MATRIX copy = masses;
  source.SetCredalPartition(&copy);
  EXPECT_FALSE(source.IsEvidential());
  auto engine = std::make_unique<MTH_CLUSTERING>(source);
  EXPECT_TRUE(engine->IsEvidential());
  return engine;
}

/// Random rows of masses that sum to 1; some are 0, but never that of the whole set.
inline MTH_MATRIX RandomMasses(int rows, int clusters, unsigned seed, int type = kDouble) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> uniform(-0.5, 1.0);
  MTH_MATRIX masses(rows, 1 << clusters, type);
  for (int i = 0; i < rows; ++i) {
    double sum = 0.0;
    for (int j = 0; j < masses.GetNbCols(); ++j) {
      masses.Set(i, j, std::max(j + 1 == masses.GetNbCols() ? 0.05 : 0.0, uniform(random)));
      sum += masses.Get(i, j);
    }
    for (int j = 0; j < masses.GetNbCols(); ++j) masses.Set(i, j, masses.Get(i, j) / sum);
  }
  return masses;
}

inline double RowSum(const MTH_MATRIX& matrix, int row, int first = 0) {
  double sum = 0.0;
  for (int j = first; j < matrix.GetNbCols(); ++j) sum += matrix.Get(row, j);
  return sum;
}

inline Subset Shared(const Subset& a, const Subset& b) {
  Subset shared;
  std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(shared));
  return shared;
}

enum class Loss { None, OfLaterSubsets };

/// The conjunctive rule over sets of numbers: no tables, no pairs. The contract's rule loses the mass of a
/// set of several numbers unless it is {1 ... size}.
inline std::map<Subset, double> Fused(const MTH_MATRIX& first, const MTH_MATRIX& second, int row, Loss loss) {
  int clusters = 0;
  while (1 << clusters < first.GetNbCols()) ++clusters;
  const std::vector<Subset> subsets = SortedSubsets(clusters);
  std::map<Subset, double> fused;
  for (std::size_t j = 0; j < subsets.size(); ++j) {
    for (std::size_t k = 0; k < subsets.size(); ++k) {
      const Subset shared = Shared(subsets[j], subsets[k]);
      const bool isLost = shared.size() > 1 && shared.back() != static_cast<int>(shared.size());
      if (isLost && loss == Loss::OfLaterSubsets) continue;
      fused[shared] += first.Get(row, static_cast<int>(j)) * second.Get(row, static_cast<int>(k));
    }
  }
  return fused;
}

}  // namespace mth_test
