#include <algorithm>
#include <cmath>
#include <utility>

#include "mth/boosting/Mth_clustering_tree_internal.h"
#include "mth/statistics/Mth_sort.h"

namespace mth_internal {
namespace {

bool Meets(const MTH_CLUSTERING_TREE& node, const MTH_MATRIX& features, const std::size_t sample) {
  const bool isBoundedAbove = node.GetUpperBound() != MTH_CLUSTERING_TREE::kUnbounded;
  const bool isBoundedBelow = node.GetLowerBound() != MTH_CLUSTERING_TREE::kUnbounded;
  if (!isBoundedAbove && !isBoundedBelow) return true;
  if (node.GetFeature() < 0 || node.GetFeature() >= features.GetNbRows()) return false;
  const auto row =
      static_cast<std::size_t>(node.GetFeature()) * static_cast<std::size_t>(features.GetNbCols());
  const double value = features.GetEDataAddress()[row + sample];
  return (!isBoundedAbove || value < node.GetUpperBound()) &&
         (!isBoundedBelow || value > node.GetLowerBound());
}

// A stable ascending sort, then reversed: of equal errors the later leaf comes first. An error that is no
// number, of weights that are none, counts as the largest: the sort must not meet a contradiction.
template <class Leaves>
void OrderByDecreasingError(Leaves& leaves) {
  std::stable_sort(leaves.begin(), leaves.end(), [](const auto& a, const auto& b) {
    return a.error < b.error || (std::isnan(b.error) && !std::isnan(a.error));
  });
  std::reverse(leaves.begin(), leaves.end());
}

}  // namespace

bool Contains(const MTH_CLUSTERING_TREE& node, const MTH_MATRIX& features, const std::size_t sample) {
  for (const MTH_CLUSTERING_TREE* link = &node; link != nullptr; link = link->GetParent()) {
    if (!Meets(*link, features, sample)) return false;
  }
  return true;
}

bool TreeTraining::Accepts(const MTH_MATRIX* const features, const MTH_MATRIX* const labels) {
  return features != nullptr && features->GetEDataAddress() != nullptr && features->GetNbRows() > 0 &&
         features->GetNbCols() > 0 && labels != nullptr && labels->IsAllocated() && labels->GetNbRows() > 0 &&
         labels->GetNbCols() >= features->GetNbCols();
}

TreeTraining::TreeTraining(const MTH_MATRIX& features, const MTH_MATRIX& labels)
    : features_(features),
      values_(features.GetEDataAddress()),
      featuresCount_(static_cast<std::size_t>(features.GetNbRows())),
      samplesCount_(static_cast<std::size_t>(features.GetNbCols())),
      isPositive_(samplesCount_),
      positiveUpTo_(samplesCount_),
      negativeUpTo_(samplesCount_),
      isMember_(samplesCount_) {
  for (int i = 0; i < features.GetNbCols(); ++i)
    isPositive_[static_cast<std::size_t>(i)] = labels.Get(0, i) > 0.0;
}

bool TreeTraining::Prepare() {
  all_.members.resize(samplesCount_);
  for (std::size_t i = 0; i < samplesCount_; ++i) all_.members[i] = static_cast<int>(i);
  all_.orders.resize(featuresCount_);
  for (std::size_t f = 0; f < featuresCount_; ++f) {
    if (!SortMembers(f, all_.members, &all_.orders[f])) return false;
  }
  return true;
}

bool TreeTraining::SortMembers(const std::size_t feature, const Samples& members,
                               Samples* const order) const {
  const std::size_t count = members.size();
  std::vector<double> keys(count);
  std::vector<double> places(count);
  for (std::size_t i = 0; i < count; ++i) {
    keys[i] = Values(feature)[members[i]];
    places[i] = static_cast<double>(i);
  }
  if (!Mth_Sort(static_cast<int>(count), keys.data(), places.data())) return false;
  order->resize(count);
  for (std::size_t i = 0; i < count; ++i) (*order)[i] = members[static_cast<std::size_t>(places[i])];
  return true;
}

// The order of all the members of the parent, less those of the other side, is the order of a side, except
// within ties: there it is the sort of the side alone that decides, and with it the rounding of a group's
// sum.
bool TreeTraining::CarryOrders(const std::vector<Samples>& orders, Leaf* const leaf) {
  if (leaf->error == 0.0) return true;  // it is not split again, and needs none
  for (const int sample : leaf->members) isMember_[static_cast<std::size_t>(sample)] = 1;
  leaf->orders.resize(featuresCount_);
  bool isSorted = true;
  for (std::size_t f = 0; f < featuresCount_ && isSorted; ++f) {
    Samples& order = leaf->orders[f];
    order.resize(leaf->members.size() + 1);  // one more, which what comes after the last member is written to
    std::size_t kept = 0;
    for (const int sample : orders[f]) {  // counted, not branched upon: the sides are mixed at random
      order[kept] = sample;
      kept += static_cast<std::size_t>(isMember_[static_cast<std::size_t>(sample)]);
    }
    order.pop_back();
    const double* const values = Values(f);
    const auto isTieOrNan = [values](const int a, const int b) { return !(values[a] < values[b]); };
    if (std::adjacent_find(order.begin(), order.end(), isTieOrNan) != order.end()) {
      isSorted = SortMembers(f, leaf->members, &order);
    }
  }
  for (const int sample : leaf->members) isMember_[static_cast<std::size_t>(sample)] = 0;
  return isSorted;
}

// Fills the running sums of the groups of equal values; each group is summed on its own first.
void TreeTraining::AccumulateGroups(const std::size_t feature, const Samples& order,
                                    const double* const weights) {
  const double* const values = Values(feature);
  groupsCount_ = 0;
  double positiveSum = 0.0;
  double negativeSum = 0.0;
  for (std::size_t i = 0; i < order.size();) {
    const double value = values[order[i]];
    double positiveInGroup = 0.0;
    double negativeInGroup = 0.0;
    do {
      const auto sample = static_cast<std::size_t>(order[i]);
      const double weight = weights[sample];
      positiveInGroup +=
          isPositive_[sample] ? weight : 0.0;  // selected, not branched upon: labels are random
      negativeInGroup += isPositive_[sample] ? 0.0 : weight;
      ++i;
    } while (i < order.size() && values[order[i]] == value);
    positiveUpTo_[groupsCount_] = positiveSum += positiveInGroup;
    negativeUpTo_[groupsCount_] = negativeSum += negativeInGroup;
    ++groupsCount_;
  }
}

TreeTraining::GroupSplit TreeTraining::SplitOfFeature(const std::size_t feature, const Samples& order,
                                                      const double* const weights) {
  AccumulateGroups(feature, order, weights);
  const double positiveTotal = positiveUpTo_[groupsCount_ - 1];
  const double negativeTotal = negativeUpTo_[groupsCount_ - 1];
  constexpr double kAboveAnyError = 100000.0;
  GroupSplit positiveAbove = {0, kAboveAnyError};
  GroupSplit positiveBelow = {0, kAboveAnyError};
  for (std::size_t g = 0; g < groupsCount_; ++g) {
    const double errorAbove = positiveUpTo_[g] + negativeTotal - negativeUpTo_[g];
    const double errorBelow = negativeUpTo_[g] + positiveTotal - positiveUpTo_[g];
    if (errorAbove < positiveAbove.error) positiveAbove = {g, errorAbove};
    if (errorBelow < positiveBelow.error) positiveBelow = {g, errorBelow};
  }
  return positiveBelow.error <= positiveAbove.error ? positiveBelow : positiveAbove;
}

// Halfway between the values of a group and the next one; of the last group the value itself.
double TreeTraining::ThresholdAfter(const std::size_t feature, const Samples& order,
                                    const std::size_t group) const {
  const double* const values = Values(feature);
  const auto isOtherValue = [values](const int a, const int b) { return values[a] != values[b]; };
  auto last = order.begin();
  for (std::size_t g = 0; g < group; ++g) last = std::adjacent_find(last, order.end(), isOtherValue) + 1;
  const auto next = std::adjacent_find(last, order.end(), isOtherValue);
  const double value = values[*last];
  return (value + (next == order.end() ? value : values[*(next + 1)])) * 0.5;
}

TreeTraining::Split TreeTraining::BestSplit(const std::vector<Samples>& orders, const double* const weights) {
  constexpr double kAboveAnyError = 10000.0;
  double least = kAboveAnyError;
  std::size_t feature = 0;
  GroupSplit best;
  for (std::size_t f = 0; f < featuresCount_; ++f) {
    const GroupSplit split = SplitOfFeature(f, orders[f], weights);
    if (f == 0 || split.error < least) {
      feature = f;
      best = split;
    }
    least = std::min(least, split.error);
  }
  return {feature, ThresholdAfter(feature, orders[feature], best.group), best.error};
}

TreeTraining::Split TreeTraining::FindSplit(const double* const weights) {
  return BestSplit(all_.orders, weights);
}

// The leaf of those candidates that meet the node's conditions.
TreeTraining::Leaf TreeTraining::MakeLeaf(std::unique_ptr<MTH_CLUSTERING_TREE> node,
                                          const Samples& candidates, const double* const weights) const {
  Leaf leaf;
  leaf.node = std::move(node);
  double ofClass[2] = {0.0, 0.0};
  for (const int candidate : candidates) {
    const auto sample = static_cast<std::size_t>(candidate);
    if (!Contains(*leaf.node, features_, sample)) continue;
    leaf.members.push_back(candidate);
    ofClass[static_cast<std::size_t>(isPositive_[sample])] += weights[sample];
  }
  leaf.weight = ofClass[0] + ofClass[1];
  leaf.error = std::min(ofClass[0], ofClass[1]);
  return leaf;
}

// The left and the right side of a split; their nodes are copies of `tree`, its parent and bounds included.
std::array<TreeTraining::Leaf, 2> TreeTraining::MakeSides(const MTH_CLUSTERING_TREE& tree, const Split& split,
                                                          const Samples& candidates,
                                                          const double* const weights) const {
  auto left = std::make_unique<MTH_CLUSTERING_TREE>(tree);
  auto right = std::make_unique<MTH_CLUSTERING_TREE>(tree);
  left->SetFeature(static_cast<int>(split.feature));
  right->SetFeature(static_cast<int>(split.feature));
  left->SetUpperBound(split.threshold);
  right->SetLowerBound(split.threshold);
  return {MakeLeaf(std::move(left), candidates, weights), MakeLeaf(std::move(right), candidates, weights)};
}

// Appends the two sides of a leaf to `leaves`, or the leaf itself when it is final.
bool TreeTraining::SplitAgain(const MTH_CLUSTERING_TREE& tree, const double* const weights,
                              const bool isLastLevel, Leaf leaf, Leaves* const leaves) {
  const bool isTried = !leaf.isFinal && leaf.error != 0.0;
  const Split split = isTried ? BestSplit(leaf.orders, weights) : Split{};
  // A threshold that is no bound would give every sample to both sides, and to four of the next level.
  if (isTried && split.threshold != MTH_CLUSTERING_TREE::kUnbounded) {
    auto [left, right] = MakeSides(tree, split, leaf.members, weights);
    if (!left.members.empty() && !right.members.empty()) {
      const bool isCarried =
          isLastLevel || (CarryOrders(leaf.orders, &left) && CarryOrders(leaf.orders, &right));
      if (!isCarried) return false;
      leaves->reserve(leaves->size() + 2);
      MTH_CLUSTERING_TREE* const parent = leaf.node.release();
      left.node->SetParent(parent);
      right.node->SetParent(parent);
      leaves->push_back(std::move(left));
      leaves->push_back(std::move(right));
      return true;
    }
  }
  leaf.isFinal = true;
  leaves->push_back(std::move(leaf));
  return true;
}

bool TreeTraining::GrowLevel(const MTH_CLUSTERING_TREE& tree, const double* const weights,
                             const bool isLastLevel, Leaves* const leaves, LongIteration* const run) {
  constexpr double kWorkPerValue = 8.0;
  Leaves grown;
  grown.reserve(2 * leaves->size());
  for (Leaf& leaf : *leaves) {
    const std::size_t values = leaf.isFinal ? 1 : featuresCount_ * leaf.members.size();
    if (run != nullptr && run->IsGivenUp(kWorkPerValue * static_cast<double>(values))) return false;
    if (!SplitAgain(tree, weights, isLastLevel, std::move(leaf), &grown)) return false;
  }
  leaves->swap(grown);
  return true;
}

bool TreeTraining::Grow(const MTH_CLUSTERING_TREE& tree, const double* const weights, Cells* const cells,
                        LongIteration* const run) {
  const Split split = FindSplit(weights);
  Leaves leaves;
  for (Leaf& side : MakeSides(tree, split, all_.members, weights)) leaves.push_back(std::move(side));
  const bool isDone = leaves[0].weight == 0.0 || leaves[1].weight == 0.0 || tree.GetDepth() < 2;
  for (Leaf& leaf : leaves) {
    if (!isDone && !CarryOrders(all_.orders, &leaf)) return false;
  }
  std::size_t countBefore = isDone ? leaves.size() : 0;
  for (int level = 1; level < tree.GetDepth() && leaves.size() != countBefore; ++level) {
    countBefore = leaves.size();
    if (!GrowLevel(tree, weights, level + 1 == tree.GetDepth(), &leaves, run)) return false;
  }
  OrderByDecreasingError(leaves);
  for (Leaf& leaf : leaves) cells->push_back(std::move(leaf.node));
  return true;
}

}  // namespace mth_internal
