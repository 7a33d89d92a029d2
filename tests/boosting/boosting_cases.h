#pragma once

#include <memory>
#include <random>
#include <vector>

#include "mth/boosting/Mth_clustering_adaboost.h"
#include "support/matrices.h"

namespace mth_test {

using NodePtr = std::unique_ptr<MTH_CLUSTERING_TREE>;
using CellList = MTH_POINTER_LIST<MTH_CLUSTERING_TREE>;

/// A boosting that deletes the cells that it holds at its end, as a host has to.
class OwningBoosting : public MTH_CLUSTERING_ADABOOST {
 public:
  using MTH_CLUSTERING_ADABOOST::MTH_CLUSTERING_ADABOOST;
  OwningBoosting(const OwningBoosting&) = delete;
  OwningBoosting& operator=(const OwningBoosting&) = delete;
  ~OwningBoosting() { DeleteCells(GetCells()); }
};

/// Labelled samples: one row per feature, one column per sample.
struct LabelledSamples {
  MTH_MATRIX features;
  MTH_MATRIX labels;
  std::vector<double> weights;
};

/// Noisy samples of two classes. With `distinctValues` above 0 every feature has only so many values, and
/// ties abound; the weights are random and their sums round.
inline LabelledSamples NoisySamples(int features, int samples, int distinctValues, unsigned seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  LabelledSamples made{FromRule(features, samples, kDouble,
                                [&](int, int) {
                                  const double value = uniform(engine);
                                  return distinctValues > 0 ? std::floor(value * distinctValues) : value;
                                }),
                       MTH_MATRIX(1, samples, kDouble),
                       std::vector<double>(static_cast<std::size_t>(samples))};
  const double middle = distinctValues > 0 ? 0.5 * (distinctValues - 1) : 0.5;
  for (int i = 0; i < samples; ++i) {
    const bool isAbove = made.features.Get(0, i) > middle;
    const bool isNoise = uniform(engine) < 0.2;
    made.labels.Set(0, i, isAbove != isNoise ? 1.0 : -1.0);
    made.weights[static_cast<std::size_t>(i)] = uniform(engine);
  }
  return made;
}

/// What CalculOutput tells, as a vector.
inline std::vector<int> MembersOf(MTH_CLUSTERING_TREE* node, MTH_MATRIX& features) {
  const std::unique_ptr<int[]> output(MTH_CLUSTERING_TREE(1).CalculOutput(node, &features));
  return output ? std::vector<int>(output.get(), output.get() + features.GetNbCols()) : std::vector<int>();
}

/// Owns the cells of a list that Train returned.
inline std::vector<NodePtr> TakeCells(CellList* list) {
  const std::unique_ptr<CellList> owner(list);
  std::vector<NodePtr> cells;
  if (list != nullptr) {
    for (MTH_CLUSTERING_TREE* cell : *list) cells.emplace_back(cell);
  }
  return cells;
}

}  // namespace mth_test
