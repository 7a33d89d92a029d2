#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "mth/boosting/Mth_cell_scores_internal.h"

#define MTH_KERNEL_FILE "mth/boosting/Mth_cell_scores_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

namespace mth_internal {
namespace {

bool IsBounded(double bound) {
  return bound != MTH_CLUSTERING_TREE::kUnbounded;
}

// Whether the matrix has every feature that the chain has a bound on; no column meets a bound on another one.
bool HasFeatures(const MTH_MATRIX& features, const MTH_CLUSTERING_TREE& cell) {
  for (const MTH_CLUSTERING_TREE* node = &cell; node != nullptr; node = node->GetParent()) {
    const bool isBounded = IsBounded(node->GetLowerBound()) || IsBounded(node->GetUpperBound());
    if (isBounded && (node->GetFeature() < 0 || node->GetFeature() >= features.GetNbRows())) return false;
  }
  return true;
}

}  // namespace

CellScores::CellScores(const MTH_POINTER_LIST<MTH_CLUSTERING_TREE>& cells,
                       const std::vector<double>& confidences, const MTH_MATRIX& features)
    : samplesCount_(features.GetNbCols()) {
  struct Extent {
    std::size_t below, above, end;
    double confidence;
  };
  std::vector<Extent> extents;  // the bounds may move while they are gathered
  std::size_t entry = 0;
  for (const MTH_CLUSTERING_TREE* const cell : cells) {
    if (entry == confidences.size()) break;  // the list grew behind its object's back
    const double confidence = confidences[entry++];
    if (cell == nullptr) continue;
    const bool canHold = HasFeatures(features, *cell);
    Extent extent{bounds_.size(), 0, 0, canHold ? confidence : confidence * 0.0};
    if (canHold) AddBounds(*cell, features, true);
    extent.above = bounds_.size();
    if (canHold) AddBounds(*cell, features, false);
    extent.end = bounds_.size();
    extents.push_back(extent);
  }
  cells_.reserve(extents.size());
  for (const Extent& extent : extents) {
    const CellBound* const bounds = bounds_.data();
    // A sample outside adds the confidence times 0, which is no number where the confidence is none.
    cells_.push_back({bounds + extent.below, bounds + extent.above, bounds + extent.end, extent.confidence,
                      extent.confidence * 0.0});
  }
}

// The tightest bound on each feature of a chain: the others then hold by themselves, and a chain may be as
// long as there are samples.
void CellScores::AddBounds(const MTH_CLUSTERING_TREE& cell, const MTH_MATRIX& features, bool areUpper) {
  const auto first = static_cast<std::ptrdiff_t>(bounds_.size());
  for (const MTH_CLUSTERING_TREE* node = &cell; node != nullptr; node = node->GetParent()) {
    const double bound = areUpper ? node->GetUpperBound() : node->GetLowerBound();
    if (!IsBounded(bound)) continue;
    const double* const values = features.GetEDataAddress() + node->GetFeature() * samplesCount_;
    const auto known = std::find_if(bounds_.begin() + first, bounds_.end(),
                                    [values](const CellBound& other) { return other.values == values; });
    if (known == bounds_.end()) {
      bounds_.push_back({values, bound});
    } else if (std::isnan(bound) || (areUpper ? bound < known->bound : bound > known->bound)) {
      known->bound = bound;  // a NaN is met by no sample
    }
  }
}

// In parts whose scores and features stay in the nearest cache while all cells pass over them.
void CellScores::AddTo(double* scores) const {
  constexpr std::int64_t kSamplesTogether = 256;
  const auto count = static_cast<std::int64_t>(cells_.size());
  for (std::int64_t first = 0; first < samplesCount_; first += kSamplesTogether) {
    const std::int64_t last = std::min(samplesCount_, first + kSamplesTogether);
    MTH_SELECT(AddCellScores)(cells_.data(), count, first, last, scores);
  }
}

}  // namespace mth_internal
