#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

#include "mth/boosting/Mth_clustering_tree.h"
#include "mth/core/Mth_give_up_internal.h"

namespace mth_internal {

/// Whether a sample, a column of `features`, satisfies the conditions of a node and of its parents.
bool Contains(const MTH_CLUSTERING_TREE& node, const MTH_MATRIX& features, std::size_t sample);

/// The labelled samples of a training, with their features sorted once for all splits and rounds.
/// Every member may throw std::bad_alloc.
class TreeTraining {
 public:
  using Cells = std::vector<std::unique_ptr<MTH_CLUSTERING_TREE>>;

  struct Split {
    std::size_t feature = 0;
    double threshold = 0.0;
    double error = 0.0;
  };

  /// Whether the matrices fit each other and hold what a training reads.
  static bool Accepts(const MTH_MATRIX* features, const MTH_MATRIX* labels);

  /// Borrows the features for its own life, and takes what it needs of the labels.
  TreeTraining(const MTH_MATRIX& features, const MTH_MATRIX& labels);

  /// Sorts the samples by each feature, which every other member needs.
  /// @return  false when a sort failed.
  bool Prepare();
  /// The best split of all samples.
  Split FindSplit(const double* weights);
  /// The cells of one round, as MTH_CLUSTERING_TREE::Train states them.
  /// @param run  is asked whether to give up, since deep trees may last; null for a round that must be whole.
  /// @return  false when a sort failed or the host gave up.
  bool Grow(const MTH_CLUSTERING_TREE& tree, const double* weights, Cells* cells, LongIteration* run);

 private:
  using Samples = std::vector<int>;

  struct Leaf {
    std::unique_ptr<MTH_CLUSTERING_TREE> node;
    Samples members;              // ascending
    std::vector<Samples> orders;  // for each feature, the members by ascending value
    double weight = 0.0;
    double error = 0.0;
    bool isFinal = false;
  };
  using Leaves = std::vector<Leaf>;

  /// The split of one feature after one of its groups of equal values.
  struct GroupSplit {
    std::size_t group = 0;
    double error = 0.0;
  };

  const double* Values(std::size_t feature) const { return values_ + feature * samplesCount_; }
  bool SortMembers(std::size_t feature, const Samples& members, Samples* order) const;
  bool CarryOrders(const std::vector<Samples>& orders, Leaf* leaf);

  void AccumulateGroups(std::size_t feature, const Samples& order, const double* weights);
  GroupSplit SplitOfFeature(std::size_t feature, const Samples& order, const double* weights);
  double ThresholdAfter(std::size_t feature, const Samples& order, std::size_t group) const;
  Split BestSplit(const std::vector<Samples>& orders, const double* weights);

  Leaf MakeLeaf(std::unique_ptr<MTH_CLUSTERING_TREE> node, const Samples& candidates,
                const double* weights) const;
  std::array<Leaf, 2> MakeSides(const MTH_CLUSTERING_TREE& tree, const Split& split,
                                const Samples& candidates, const double* weights) const;
  bool SplitAgain(const MTH_CLUSTERING_TREE& tree, const double* weights, bool isLastLevel, Leaf leaf,
                  Leaves* leaves);
  bool GrowLevel(const MTH_CLUSTERING_TREE& tree, const double* weights, bool isLastLevel, Leaves* leaves,
                 LongIteration* run);

  const MTH_MATRIX& features_;
  const double* values_;
  std::size_t featuresCount_;
  std::size_t samplesCount_;
  std::vector<char> isPositive_;
  Leaf all_;

  // Scratch of a search: weights of the positive and of the other samples up to and including each group.
  std::vector<double> positiveUpTo_;
  std::vector<double> negativeUpTo_;
  std::size_t groupsCount_ = 0;
  std::vector<char> isMember_;
};

}  // namespace mth_internal
