#include "mth/boosting/Mth_clustering_adaboost.h"

#include <new>
#include <unordered_map>
#include <utility>

#include "mth/boosting/Mth_cell_scores_internal.h"
#include "mth/core/Mth_message_internal.h"
#include "mth/core/Mth_new_array_internal.h"

// What a boosting holds, and the scores of samples.

namespace {

using Cells = MTH_CLUSTERING_ADABOOST::CELLS;

struct DeleteWithCells {
  void operator()(Cells* cells) const { MTH_CLUSTERING_ADABOOST::DeleteCells(cells); }
};
using OwnedCells = std::unique_ptr<Cells, DeleteWithCells>;

std::unique_ptr<MTH_CLUSTERING_TREE> CopyWithoutParent(const MTH_CLUSTERING_TREE& node) {
  auto copy = std::make_unique<MTH_CLUSTERING_TREE>(node.GetDepth());
  copy->SetLowerBound(node.GetLowerBound());
  copy->SetUpperBound(node.GetUpperBound());
  copy->SetFeature(node.GetFeature());
  return copy;
}

// Copies a list with its cells and their parents: parents that cells share are shared by the copies, and
// nothing is shared with the original.
OwnedCells CopyCells(const Cells& cells) {
  OwnedCells copies(new Cells);
  std::unordered_map<const MTH_CLUSTERING_TREE*, MTH_CLUSTERING_TREE*> parents;
  for (const MTH_CLUSTERING_TREE* const cell : cells) {
    auto copy = cell != nullptr ? CopyWithoutParent(*cell) : nullptr;
    MTH_CLUSTERING_TREE* child = copy.get();
    const MTH_CLUSTERING_TREE* parent = cell != nullptr ? cell->GetParent() : nullptr;
    for (; parent != nullptr; parent = parent->GetParent()) {
      MTH_CLUSTERING_TREE*& parentCopy = parents[parent];
      const bool isKnown = parentCopy != nullptr;
      if (!isKnown) parentCopy = CopyWithoutParent(*parent).release();
      child->SetParent(parentCopy);
      if (isKnown) break;  // and so are its own parents
      child = parentCopy;
    }
    if (copies->Add(copy.get()) < 0) throw std::bad_alloc();
    static_cast<void>(copy.release());
  }
  return copies;
}

}  // namespace

MTH_CLUSTERING_ADABOOST::MTH_CLUSTERING_ADABOOST(MTH_MATRIX* const features, MTH_MATRIX* const labels,
                                                 const int rounds, MTH_CLUSTERING_TREE* const tree)
    : rounds_(rounds), features_(features), labels_(labels), tree_(tree) {}

MTH_CLUSTERING_ADABOOST::MTH_CLUSTERING_ADABOOST(const MTH_CLUSTERING_ADABOOST& other)
    : MTH_CLUSTERING_ADABOOST(other.features_, other.labels_, other.rounds_, other.tree_) {
  if (other.cells_ == nullptr) return;
  try {
    OwnedCells cells = CopyCells(*other.cells_);
    confidences_ = other.confidences_;
    cells_ = cells.release();
  } catch (const std::bad_alloc&) {  // the copy is untrained
  }
}

MTH_CLUSTERING_ADABOOST::MTH_CLUSTERING_ADABOOST(MTH_CLUSTERING_ADABOOST&& other) noexcept
    : rounds_(other.rounds_),
      features_(other.features_),
      labels_(other.labels_),
      tree_(other.tree_),
      cells_(std::exchange(other.cells_, nullptr)),
      confidences_(std::exchange(other.confidences_, {})),
      stopReason_(std::exchange(other.stopReason_, MTH_STOP_REASON::NotRun)) {}

MTH_CLUSTERING_ADABOOST& MTH_CLUSTERING_ADABOOST::operator=(const MTH_CLUSTERING_ADABOOST& other) {
  if (this == &other) return *this;
  MTH_CLUSTERING_ADABOOST copy(other);
  const bool isCopied = (copy.cells_ != nullptr) == (other.cells_ != nullptr);
  if (isCopied) *this = std::move(copy);
  return *this;
}

MTH_CLUSTERING_ADABOOST& MTH_CLUSTERING_ADABOOST::operator=(MTH_CLUSTERING_ADABOOST&& other) noexcept {
  if (this == &other) return *this;
  rounds_ = other.rounds_;
  features_ = other.features_;
  labels_ = other.labels_;
  tree_ = other.tree_;
  cells_ = std::exchange(other.cells_, nullptr);  // what it held is the host's
  confidences_ = std::exchange(other.confidences_, {});
  stopReason_ = std::exchange(other.stopReason_, MTH_STOP_REASON::NotRun);
  return *this;
}

MTH_CLUSTERING_ADABOOST::~MTH_CLUSTERING_ADABOOST() = default;  // the cells are the host's, by intention

void MTH_CLUSTERING_ADABOOST::DeleteCells(CELLS* const cells) {
  if (cells == nullptr) return;
  for (MTH_CLUSTERING_TREE* const cell : *cells) delete cell;
  delete cells;
}

double* MTH_CLUSTERING_ADABOOST::Classify(MTH_MATRIX* const features) const {
  if (cells_ == nullptr) {
    mth_internal::ShowInformation("L'apprentissage n'a pas été fait!");
    return nullptr;
  }
  if (features == nullptr || features->GetEDataAddress() == nullptr) return nullptr;
  try {
    auto scores = mth_internal::NewArray<double>(features->GetNbCols());
    if (scores) mth_internal::CellScores(*cells_, confidences_, *features).AddTo(scores.get());
    return scores.release();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
