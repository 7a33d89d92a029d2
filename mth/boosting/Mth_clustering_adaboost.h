#pragma once

#include <memory>
#include <vector>

#include "mth/Mth_pointer_list.h"
#include "mth/boosting/Mth_clustering_tree.h"
#include "mth/matrix/Mth_matrix.h"
#include "std/Std_export.h"

/// A two-class boosting classifier. Each round splits the feature space into the cells of a small decision
/// tree and gives every cell a confidence; the score of a sample is the sum of the confidences of the cells
/// that hold it, and its sign is the class.
///
/// Ownership: the object owns the cells that it has trained. The features, the labels, the tree and a list of
/// cells that a training starts from are borrowed and must live as long as they are used.
/// @see  Schapire & Singer, Improved Boosting Algorithms Using Confidence-rated Predictions, Machine
///       Learning 37 (1999); Friedman, Hastie & Tibshirani, Additive Logistic Regression, The Annals of
///       Statistics 28 (2000); Vezhnevets & Vezhnevets, Modest AdaBoost, Graphicon (2005).
class MTH_EXPORT MTH_CLUSTERING_ADABOOST {
 public:
  using CELLS = MTH_POINTER_LIST<MTH_CLUSTERING_TREE>;

  /// @param features  one row per feature, one column per training sample, in double storage; borrowed.
  /// @param labels    one row with +1.0 or -1.0 for each sample; borrowed.
  /// @param rounds    the number of rounds of one training; below 1 there are none.
  /// @param tree      the model of the weak learner's nodes, whose depth is that of each round's tree;
  ///                  borrowed.
  MTH_CLUSTERING_ADABOOST(MTH_MATRIX* features, MTH_MATRIX* labels, int rounds, MTH_CLUSTERING_TREE* tree);
  ~MTH_CLUSTERING_ADABOOST();
  MTH_CLUSTERING_ADABOOST(const MTH_CLUSTERING_ADABOOST&) = delete;
  MTH_CLUSTERING_ADABOOST& operator=(const MTH_CLUSTERING_ADABOOST&) = delete;

  /// Trains with the confidence 1/2 ln((W+ + e) / (W- + e)), e = 2.2204e-16, where W+ and W- are the weights
  /// of the positive and the negative samples of a cell. A cell without weight is skipped, as in every
  /// variant; when the scores of separable classes grow so far that no sample has any weight left, the
  /// remaining rounds therefore add nothing.
  ///
  /// A cold start (null `cells`) begins with equal weights and without cells. A warm start goes on from a
  /// former training, with the results of one longer training bit for bit: the object adopts `cells`, to
  /// which it will append, and `confidences`.
  /// @param confidences  one for each of `cells`; of fewer the missing ones are 0. Not read in a cold start.
  /// @param cells        the cells to go on from, usually GetCells() of the former training; borrowed. Cells
  ///                     that this object appends live as long as it does, or until its next cold start.
  /// @param scores       one running score for each sample. In a warm start its values are where the training
  ///                     goes on, in a cold start it is zeroed first; it holds the scores afterwards. Null:
  ///                     an array of the object's own, which a warm start fills by Classify.
  /// @return  false when features, labels or tree are null or do not fit (MTH_CLUSTERING_TREE::DoTraining),
  ///          with nothing changed; false without memory, with the cells selected so far.
  bool RealAdaBoostClustering(std::vector<double> confidences, CELLS* cells, double* scores);
  /// Trains as RealAdaBoostClustering, with the confidence W+ (1 - V+) - W- (1 - V-), where V+ and V- are the
  /// cell's parts of the inverted weights, 1 / weight scaled to sum 1. A cell whose confidence contradicts
  /// the sign of W+ - W- is rejected.
  bool ModestAdaBoostClustering(std::vector<double> confidences, CELLS* cells, double* scores);
  /// Trains as RealAdaBoostClustering, with the confidence (W+ - W-) / (W+ + W-).
  bool GentleAdaBoostClustering(std::vector<double> confidences, CELLS* cells, double* scores);

  /// @return  a new array, owned by the caller, with the score of each column of `features`; null after a
  ///          message when no training has run; null when `features` is null, unallocated or not of doubles,
  ///          or without memory.
  double* Classify(MTH_MATRIX* features);

  /// The selected cells in order of selection; null until a training has run. The list is the object's, or
  /// the one that a warm start adopted.
  CELLS* GetCells() const { return cells_; }
  /// One confidence per cell, in the same order.
  const std::vector<double>& GetConfidences() const { return confidences_; }

 private:
  struct Boosting;

  template <class Rule>
  bool Train(Rule rule, std::vector<double>& confidences, CELLS* cells, double* scores);
  void StartCold();
  void Adopt(std::vector<double>& confidences, CELLS* cells);
  void Select(std::unique_ptr<MTH_CLUSTERING_TREE> cell, double confidence);
  template <class Rule>
  bool RunRound(Rule rule, Boosting& boosting);
  void AddScores(const MTH_MATRIX& features, double* scores) const;

  int rounds_;
  MTH_MATRIX* features_;
  MTH_MATRIX* labels_;
  MTH_CLUSTERING_TREE* tree_;
  CELLS* cells_ = nullptr;
  std::vector<double> confidences_;
  std::unique_ptr<CELLS> ownList_;
  std::vector<std::unique_ptr<MTH_CLUSTERING_TREE>> ownCells_;
};
