#pragma once

#include <memory>
#include <vector>

#include "mth/Mth_pointer_list.h"
#include "mth/Mth_stop_reason.h"
#include "mth/boosting/Mth_clustering_tree.h"
#include "mth/matrix/Mth_matrix.h"
#include "std/Std_export.h"

/// A two-class boosting classifier. Each round splits the feature space into the cells of a small decision
/// tree and gives every cell a confidence; the score of a sample is the sum of the confidences of the cells
/// that hold it, and its sign is the class.
///
/// Ownership: the features, the labels and the tree are borrowed and must live as long as they are used. The
/// cells are the host's, by intention: the destructor frees the confidences only, so that a host can keep
/// GetCells() and GetConfidences() beyond the object and start another training from them. What the object
/// holds at its end, when it is assigned to, or when it adopts another list, is the host's to delete with
/// DeleteCells; only a cold start deletes the list that the object holds, adopted or not, with its cells.
/// @see  Schapire & Singer, Improved Boosting Algorithms Using Confidence-rated Predictions, Machine
///       Learning 37 (1999); Friedman, Hastie & Tibshirani, Additive Logistic Regression, The Annals of
///       Statistics 28 (2000); Vezhnevets & Vezhnevets, Modest AdaBoost, Graphicon (2005).
class MTH_EXPORT MTH_CLUSTERING_ADABOOST {
 public:
  /// A list of trained cells.
  using CELLS = MTH_POINTER_LIST<MTH_CLUSTERING_TREE>;

  /// @param features  one row per feature, one column per training sample, in double storage; borrowed. They
  ///                  should be finite: one NaN beside the best threshold leaves a round without cells.
  /// @param labels    one row with +1.0 or -1.0 for each sample; borrowed.
  /// @param rounds    the number of rounds of one training; below 1 there are none.
  /// @param tree      the model of the weak learner's nodes, whose depth is that of each round's tree;
  ///                  borrowed.
  MTH_CLUSTERING_ADABOOST(MTH_MATRIX* features, MTH_MATRIX* labels, int rounds, MTH_CLUSTERING_TREE* tree);
  /// A deep copy: cells, parents and confidences of its own, the same borrowed matrices and tree, and NotRun
  /// as its stop reason. Without memory it is untrained.
  MTH_CLUSTERING_ADABOOST(const MTH_CLUSTERING_ADABOOST& other);
  /// Takes everything over; `other` then holds no cells and is untrained.
  MTH_CLUSTERING_ADABOOST(MTH_CLUSTERING_ADABOOST&& other) noexcept;
  /// A deep copy; the cells held so far are left to the host. Without memory nothing is changed.
  MTH_CLUSTERING_ADABOOST& operator=(const MTH_CLUSTERING_ADABOOST& other);
  /// Takes everything over; the cells held so far are left to the host.
  MTH_CLUSTERING_ADABOOST& operator=(MTH_CLUSTERING_ADABOOST&& other) noexcept;
  /// Deletes no cells.
  ~MTH_CLUSTERING_ADABOOST();
  /// Deletes a list of cells with the cells; null is ignored.
  static void DeleteCells(CELLS* cells);

  /// Trains with the confidence 1/2 ln((W+ + e) / (W- + e)), e = 2.2204e-16, where W+ and W- are the weights
  /// of the positive and the negative samples of a cell. A cell without weight is skipped, as in every
  /// variant. Where exp(-label score) is too large or too small for a double in so many samples that the
  /// weights have no finite sum above 0, their largest exponent is taken out first, which leaves their ratios
  /// as they are; a confidence that is not finite is never chosen.
  ///
  /// A cold start (null `cells`) begins with equal weights and without cells. A warm start goes on from a
  /// former training, with the results of one longer training bit for bit: the object adopts `cells`, to
  /// which it will append, and `confidences`.
  /// @param confidences  one for each of `cells`; of fewer the missing ones are 0. Not read in a cold start.
  /// @param cells        the cells to go on from, usually GetCells() of a former training.
  /// @param scores       one running score for each sample. In a warm start its values are where the training
  ///                     goes on, in a cold start it is zeroed first; it holds the scores afterwards. Null:
  ///                     an array of the object's own, which a warm start fills by Classify.
  /// @return  true after all rounds, and after whole rounds when the display asked to cancel; false when
  ///          features, labels or tree are null or do not fit (MTH_CLUSTERING_TREE::DoTraining), when a label
  ///          is neither +1 nor -1, or when a warm start's scores are not finite, all with nothing changed;
  ///          false without memory, with the cells selected so far. GetStopReason tells them apart.
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
  double* Classify(MTH_MATRIX* features) const;

  /// The selected cells in order of selection; null until a training has run. A list that a warm start
  /// adopted is the very one that it was given.
  CELLS* GetCells() const { return cells_; }
  /// One confidence per cell, in the same order.
  const std::vector<double>& GetConfidences() const { return confidences_; }
  /// How the last training ended: Converged after all rounds, IterationCap when none were allowed, Cancelled,
  /// NoMemory, BadInput, or NotFinite for scores that are no numbers; NotRun before the first one.
  MTH_STOP_REASON GetStopReason() const { return stopReason_; }

 private:
  struct Boosting;

  template <class Rule>
  bool Train(Rule rule, std::vector<double>& confidences, CELLS* cells, double* scores);
  template <class Rule>
  MTH_STOP_REASON StartAndRun(Rule rule, std::vector<double>& confidences, CELLS* cells, double* scores);
  template <class Rule>
  MTH_STOP_REASON RunRounds(Rule rule, Boosting& boosting);
  template <class Rule>
  MTH_STOP_REASON RunRound(Rule rule, Boosting& boosting);
  void StartCold();
  void Select(std::unique_ptr<MTH_CLUSTERING_TREE> cell, double confidence);

  int rounds_;
  MTH_MATRIX* features_;
  MTH_MATRIX* labels_;
  MTH_CLUSTERING_TREE* tree_;
  CELLS* cells_ = nullptr;
  std::vector<double> confidences_;
  MTH_STOP_REASON stopReason_ = MTH_STOP_REASON::NotRun;
};
