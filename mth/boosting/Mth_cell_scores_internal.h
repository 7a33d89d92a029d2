#pragma once

#include <cstdint>
#include <vector>

#include "mth/boosting/Mth_clustering_tree.h"

// What the cells of a boosting add to the scores of many samples. The loops are in
// Mth_cell_scores_loops_internal.h.

namespace mth_internal {

/// One bound on one feature, whose values stand one sample after the other.
struct CellBound {
  const double* values;
  double bound;
};

/// A cell as the loops read it: bounds that its samples lie strictly below and strictly above, and what a
/// sample inside, and one outside, adds to its score.
struct ScoredCell {
  const CellBound* below;
  const CellBound* above;
  const CellBound* end;
  double inside;
  double outside;
};

/// The cells with finite or any other confidences, ready to be applied to the columns of one matrix.
class CellScores {
 public:
  /// @param confidences  one per cell; cells beyond their number, and null ones, add nothing. Borrows the
  ///                     features. May throw std::bad_alloc.
  CellScores(const MTH_POINTER_LIST<MTH_CLUSTERING_TREE>& cells, const std::vector<double>& confidences,
             const MTH_MATRIX& features);
  /// Adds the confidences to the score of every column, cell by cell: the order in which a training adds
  /// them.
  void AddTo(double* scores) const;

 private:
  void AddBounds(const MTH_CLUSTERING_TREE& cell, const MTH_MATRIX& features, bool areUpper);

  std::int64_t samplesCount_;
  std::vector<CellBound> bounds_;
  std::vector<ScoredCell> cells_;
};

}  // namespace mth_internal
