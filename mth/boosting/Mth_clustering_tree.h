#pragma once

#include <concepts>

#include "mth/Mth_pointer_list.h"
#include "mth/matrix/Mth_matrix.h"
#include "std/Std_export.h"

/// A node of a decision tree: an interval condition on one feature, chained to the conditions of its parents.
/// A leaf is a cell of the feature space, the weak learner of MTH_CLUSTERING_ADABOOST.
///
/// Ownership: nodes share their parent. A parent comes from `new`, and is deleted with the last node that has
/// it as parent; whoever deletes the leaves of a tree has thereby deleted the whole of it.
class MTH_EXPORT MTH_CLUSTERING_TREE {
 public:
  /// A bound of this value means that the side is unbounded.
  static constexpr double kUnbounded = 1e9;

  /// A node without conditions or parent: both bounds kUnbounded, feature 0.
  /// @param depth  the number of levels that Train grows, the first split included.
  explicit MTH_CLUSTERING_TREE(int depth);
  /// Copies every field; the copy shares the parent.
  MTH_CLUSTERING_TREE(const MTH_CLUSTERING_TREE& other);
  /// Deletes the chain of parents up to the first one that another node shares.
  ~MTH_CLUSTERING_TREE();
  MTH_CLUSTERING_TREE& operator=(const MTH_CLUSTERING_TREE&) = delete;

  /// The value above which the feature of the node's samples lies, or kUnbounded.
  double GetLowerBound() const { return lowerBound_; }
  /// The value below which it lies, or kUnbounded.
  double GetUpperBound() const { return upperBound_; }
  /// The row of the feature that the bounds are for.
  int GetFeature() const { return feature_; }
  /// The number of levels that Train grows, the first split included.
  int GetDepth() const { return depth_; }
  /// The node whose conditions hold as well; null at the root. It stays the nodes' own.
  MTH_CLUSTERING_TREE* GetParent() const { return parent_; }
  /// @copydoc GetLowerBound
  void SetLowerBound(const double bound) { lowerBound_ = bound; }
  /// @copydoc GetUpperBound
  void SetUpperBound(const double bound) { upperBound_ = bound; }
  /// @copydoc GetFeature
  void SetFeature(const int feature) { feature_ = feature; }
  /// @copydoc GetDepth
  void SetDepth(const int depth) { depth_ = depth; }
  /// Shares `parent`, which must come from `new`, and lets the former parent go. A parent whose own chain
  /// reaches this node is refused, since the chain would have no end.
  void SetParent(MTH_CLUSTERING_TREE* parent);

  /// Splits the samples at the threshold of the one feature with the least weighted error, and makes `left`
  /// the samples strictly below it and `right` those strictly above. A sample at the threshold itself, as
  /// where a feature has a single value, is on neither side: this is intended.
  ///
  /// The threshold lies halfway between neighbouring values. Of equal errors the lowest feature is taken. A
  /// threshold of exactly kUnbounded is no bound: each side then holds all samples. Scale features whose
  /// values lie on both sides of it.
  /// @param tree      not read; the node that the training is for.
  /// @param features  one row per feature, one column per sample, in double storage. A NaN is on neither
  ///                  side, and a threshold halfway between it and a value leaves no sample on either.
  /// @param labels    one row, a column per sample; above 0 is positive, anything else negative.
  /// @param weights   one non-negative weight per sample.
  /// @param parent    becomes the parent of both sides, which share it from then on; null leaves them theirs.
  /// @return  the weighted error of the split; -1 with nothing changed when `features`, `labels`, `weights`,
  ///          `left` or `right` is null, when a matrix is unallocated or empty, when the features are not
  ///          doubles, when there are fewer labels than samples, or without memory.
  double DoTraining(MTH_CLUSTERING_TREE* tree, MTH_MATRIX* features, MTH_MATRIX* labels, double* weights,
                    MTH_CLUSTERING_TREE* parent, MTH_CLUSTERING_TREE* left, MTH_CLUSTERING_TREE* right) const;
  /// As with weights that are not constant.
  template <std::same_as<double> T>
  double DoTraining(MTH_CLUSTERING_TREE* tree, MTH_MATRIX* features, MTH_MATRIX* labels, const T* weights,
                    MTH_CLUSTERING_TREE* parent, MTH_CLUSTERING_TREE* left,
                    MTH_CLUSTERING_TREE* right) const {
    return DoTraining(tree, features, labels, const_cast<T*>(weights), parent, left, right);
  }

  /// Grows the cells of one round of boosting. All samples are split once; then, level by level up to the
  /// depth of `tree`, every leaf whose error is not 0 is split again, unless one side would hold no sample
  /// or the threshold is no bound: then the leaf stays. When all the weight falls into one half of the first
  /// split, that split is the result.
  /// @param tree  the model of all nodes: each is a copy of it with bounds and feature set.
  /// @param features, labels, weights  as of DoTraining.
  /// @return  a new list of new cells, both owned by the caller, in order of decreasing error, where a cell's
  ///          error is the lesser weight of its positive and its negative samples; of equal errors the later
  ///          leaf stands first. Deleting every cell of the list deletes the tree. Null where DoTraining
  ///          answers -1, when `tree` is null, and when the display, which a long training asks, cancels.
  MTH_POINTER_LIST<MTH_CLUSTERING_TREE>* Train(MTH_CLUSTERING_TREE* tree, MTH_MATRIX* features,
                                               MTH_MATRIX* labels, double* weights) const;
  /// As with weights that are not constant.
  template <std::same_as<double> T>
  MTH_POINTER_LIST<MTH_CLUSTERING_TREE>* Train(MTH_CLUSTERING_TREE* tree, MTH_MATRIX* features,
                                               MTH_MATRIX* labels, const T* weights) const {
    return Train(tree, features, labels, const_cast<T*>(weights));
  }

  /// @return  a new array, owned by the caller, with 1 for each column of `features` that satisfies the
  ///          conditions of `node` and of its parents, else 0; null when an argument is null, the matrix is
  ///          unallocated or not of doubles, or without memory. A condition on a feature that the matrix does
  ///          not have is satisfied by no column.
  int* CalculOutput(MTH_CLUSTERING_TREE* node, MTH_MATRIX* features) const;

 private:
  void LeaveParent();

  double lowerBound_ = kUnbounded;
  double upperBound_ = kUnbounded;
  int feature_ = 0;
  int depth_;
  MTH_CLUSTERING_TREE* parent_ = nullptr;
  int childrenCount_ = 0;  // nodes that share this one as their parent
};
