#include "mth/boosting/Mth_clustering_tree.h"

#include <new>
#include <utility>

#include "mth/boosting/Mth_clustering_tree_internal.h"
#include "mth/core/Mth_new_array_internal.h"

using mth_internal::TreeTraining;

MTH_CLUSTERING_TREE::MTH_CLUSTERING_TREE(const int depth) : depth_(depth) {}

MTH_CLUSTERING_TREE::MTH_CLUSTERING_TREE(const MTH_CLUSTERING_TREE& other)
    : lowerBound_(other.lowerBound_),
      upperBound_(other.upperBound_),
      feature_(other.feature_),
      depth_(other.depth_) {
  SetParent(other.parent_);
}

MTH_CLUSTERING_TREE::~MTH_CLUSTERING_TREE() {
  LeaveParent();
}

void MTH_CLUSTERING_TREE::LeaveParent() {
  MTH_CLUSTERING_TREE* parent = std::exchange(parent_, nullptr);
  // In a loop, because a destructor per node would nest as deep as the chain is long.
  while (parent != nullptr && --parent->childrenCount_ == 0) {
    MTH_CLUSTERING_TREE* const next = std::exchange(parent->parent_, nullptr);
    delete parent;
    parent = next;
  }
}

void MTH_CLUSTERING_TREE::SetParent(MTH_CLUSTERING_TREE* const parent) {
  for (const MTH_CLUSTERING_TREE* node = parent; node != nullptr; node = node->parent_) {
    if (node == this) return;
  }
  if (parent != nullptr) ++parent->childrenCount_;  // before the former one goes: they may be the same
  LeaveParent();
  parent_ = parent;
}

double MTH_CLUSTERING_TREE::DoTraining(MTH_CLUSTERING_TREE* /*tree*/, MTH_MATRIX* const features,
                                       MTH_MATRIX* const labels, double* const weights,
                                       MTH_CLUSTERING_TREE* const parent, MTH_CLUSTERING_TREE* const left,
                                       MTH_CLUSTERING_TREE* const right) const {
  constexpr double kFailure = -1.0;
  if (!TreeTraining::Accepts(features, labels) || weights == nullptr || left == nullptr || right == nullptr) {
    return kFailure;
  }
  try {
    TreeTraining training(*features, *labels);
    if (!training.Prepare()) return kFailure;
    const TreeTraining::Split split = training.FindSplit(weights);
    for (MTH_CLUSTERING_TREE* const side : {left, right}) {
      if (parent != nullptr) side->SetParent(parent);
      side->SetFeature(static_cast<int>(split.feature));
    }
    left->SetUpperBound(split.threshold);
    right->SetLowerBound(split.threshold);
    return split.error;
  } catch (const std::bad_alloc&) {
    return kFailure;
  }
}

MTH_POINTER_LIST<MTH_CLUSTERING_TREE>* MTH_CLUSTERING_TREE::Train(MTH_CLUSTERING_TREE* const tree,
                                                                  MTH_MATRIX* const features,
                                                                  MTH_MATRIX* const labels,
                                                                  double* const weights) const {
  if (tree == nullptr || weights == nullptr || !TreeTraining::Accepts(features, labels)) return nullptr;
  try {
    TreeTraining training(*features, *labels);
    TreeTraining::Cells cells;
    mth_internal::LongIteration run;
    if (!training.Prepare() || !training.Grow(*tree, weights, &cells, &run)) return nullptr;
    auto list = std::make_unique<MTH_POINTER_LIST<MTH_CLUSTERING_TREE>>();
    for (const auto& cell : cells) {
      if (list->Add(cell.get()) < 0) return nullptr;
    }
    for (auto& cell : cells) static_cast<void>(cell.release());  // the list's receiver deletes them
    return list.release();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

int* MTH_CLUSTERING_TREE::CalculOutput(MTH_CLUSTERING_TREE* const node, MTH_MATRIX* const features) const {
  if (node == nullptr || features == nullptr || features->GetEDataAddress() == nullptr) return nullptr;
  auto isMember = mth_internal::NewArray<int>(features->GetNbCols());
  if (!isMember) return nullptr;
  const auto samplesCount = static_cast<std::size_t>(features->GetNbCols());
  for (std::size_t i = 0; i < samplesCount; ++i)
    isMember[i] = mth_internal::Contains(*node, *features, i) ? 1 : 0;
  return isMember.release();
}
