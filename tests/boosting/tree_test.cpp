#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "boosting/boosting_cases.h"
#include "mth/statistics/Mth_sort.h"
#include "support/cancelling_display.h"
#include "support/values.h"

namespace {

using mth_test::kNaN;

using mth_test::LabelledSamples;
using mth_test::Matrix;
using mth_test::MembersOf;
using mth_test::NodePtr;

constexpr double kUnbounded = MTH_CLUSTERING_TREE::kUnbounded;

struct Sides {
  MTH_CLUSTERING_TREE left{3};
  MTH_CLUSTERING_TREE right{3};
  double error = 0.0;
};

std::unique_ptr<Sides> Split(LabelledSamples& samples, MTH_CLUSTERING_TREE* parent = nullptr) {
  auto sides = std::make_unique<Sides>();
  sides->error =
      MTH_CLUSTERING_TREE(3).DoTraining(nullptr, &samples.features, &samples.labels, samples.weights.data(),
                                        parent, &sides->left, &sides->right);
  return sides;
}

struct LiteralSplit {
  int feature = 0;
  double threshold = 0.0;
  double error = 0.0;
};

// Where the searches for the least error start: errors that are not below count as none.
constexpr double kBelowAllGroups = 100000.0;
constexpr double kBelowAllFeatures = 10000.0;

// The search written out step by step, each feature sorted with the library's companion sort.
LiteralSplit FindLiterally(const LabelledSamples& samples) {
  const int n = samples.features.GetNbCols();
  LiteralSplit best;
  double least = kBelowAllFeatures;
  for (int f = 0; f < samples.features.GetNbRows(); ++f) {
    std::vector<double> values, indices, distinct, positive, negative;
    for (int i = 0; i < n; ++i) {
      values.push_back(samples.features.Get(f, i));
      indices.push_back(i);
    }
    Mth_Sort(n, values.data(), indices.data());
    for (std::size_t i = 0; i < values.size(); ++i) {
      if (distinct.empty() || values[i] != distinct.back()) {
        distinct.push_back(values[i]);
        positive.push_back(0.0);
        negative.push_back(0.0);
      }
      const int sample = static_cast<int>(indices[i]);
      const double weight = samples.weights[static_cast<std::size_t>(sample)];
      (samples.labels.Get(0, sample) > 0.0 ? positive : negative).back() += weight;
    }
    std::partial_sum(positive.begin(), positive.end(), positive.begin());
    std::partial_sum(negative.begin(), negative.end(), negative.begin());
    double error[2] = {kBelowAllGroups, kBelowAllGroups};
    std::size_t group[2] = {0, 0};
    for (std::size_t g = 0; g < distinct.size(); ++g) {
      const double errorOf[2] = {positive[g] + negative.back() - negative[g],
                                 negative[g] + positive.back() - positive[g]};
      for (std::size_t polarity : {0U, 1U}) {
        if (errorOf[polarity] < error[polarity]) {
          error[polarity] = errorOf[polarity];
          group[polarity] = g;
        }
      }
    }
    const std::size_t polarity = error[1] <= error[0] ? 1 : 0;
    if (f == 0 || error[polarity] < least) {
      least = std::min(least, error[polarity]);
      const std::size_t k = group[polarity];
      best = {f, (distinct[k] + distinct[std::min(k + 1, distinct.size() - 1)]) * 0.5, error[polarity]};
    }
  }
  return best;
}

TEST(DecisionTree, SplitsWhereTheSearchWrittenOutDoes) {
  for (const int distinctValues : {0, 2, 5, 40}) {
    for (unsigned seed = 1; seed <= 12; ++seed) {
      LabelledSamples samples =
          mth_test::NoisySamples(4, 7 + 23 * static_cast<int>(seed), distinctValues, seed);
      const LiteralSplit expected = FindLiterally(samples);
      const auto sides = Split(samples);
      EXPECT_EQ(sides->error, expected.error) << distinctValues << " values, seed " << seed;
      EXPECT_EQ(sides->left.GetFeature(), expected.feature);
      EXPECT_EQ(sides->right.GetFeature(), expected.feature);
      EXPECT_EQ(sides->left.GetUpperBound(), expected.threshold);
      EXPECT_EQ(sides->right.GetLowerBound(), expected.threshold);
      EXPECT_EQ(sides->left.GetLowerBound(), kUnbounded);
      EXPECT_EQ(sides->right.GetUpperBound(), kUnbounded);
    }
  }
}

// Weights so large that errors reach the values that the searches start from: then the first feature, or its
// first group, stays.
TEST(DecisionTree, ErrorsBeyondTheStartingValuesAreNotFound) {
  int beyondFeatures = 0;
  int beyondGroups = 0;
  for (unsigned seed = 1; seed <= 30; ++seed) {
    LabelledSamples samples = mth_test::NoisySamples(3, 40, 6, seed);
    double* const values = samples.features.GetEDataAddress();
    std::swap_ranges(values, values + 40, values + 80);  // the feature that tells most comes last
    const double scale = 500.0 * std::pow(1.3, seed);
    for (double& weight : samples.weights) weight *= scale;
    const LiteralSplit expected = FindLiterally(samples);
    beyondFeatures += expected.error >= kBelowAllFeatures && expected.error < kBelowAllGroups ? 1 : 0;
    beyondGroups += expected.error == kBelowAllGroups ? 1 : 0;
    const auto sides = Split(samples);
    EXPECT_EQ(sides->error, expected.error) << seed;
    EXPECT_EQ(sides->left.GetFeature(), expected.feature) << seed;
    EXPECT_EQ(sides->left.GetUpperBound(), expected.threshold) << seed;
  }
  EXPECT_GT(beyondFeatures, 3);
  EXPECT_GT(beyondGroups, 3);
}

// Nodes are copies of the model, its bounds and its parent included; without a parent of the training's own
// they keep the model's.
TEST(DecisionTree, NodesAreCopiesOfTheModel) {
  LabelledSamples samples{Matrix({{1, 2, 3, 4, 5, 6}}), Matrix({{1, 1, -1, -1, 1, -1}}),
                          std::vector<double>(6, 1.0)};
  auto* const parent = new MTH_CLUSTERING_TREE(9);
  parent->SetUpperBound(5.5);
  MTH_CLUSTERING_TREE model(1);
  model.SetParent(parent);
  model.SetFeature(7);
  const auto cells =
      mth_test::TakeCells(model.Train(&model, &samples.features, &samples.labels, samples.weights.data()));
  ASSERT_EQ(cells.size(), 2U);
  for (const NodePtr& cell : cells) {
    EXPECT_EQ(cell->GetParent(), parent);
    EXPECT_EQ(cell->GetDepth(), 1);
    EXPECT_EQ(cell->GetFeature(), 0);
    EXPECT_EQ(MembersOf(cell.get(), samples.features)[5], 0) << "the parent's bound holds for the copies";
  }
  EXPECT_EQ(model.GetFeature(), 7);
  EXPECT_EQ(model.GetUpperBound(), kUnbounded);

  MTH_CLUSTERING_TREE left(model);
  MTH_CLUSTERING_TREE right(2);
  const MTH_CLUSTERING_TREE& trainer = model;
  EXPECT_GE(trainer.DoTraining(nullptr, &samples.features, &samples.labels, samples.weights.data(), nullptr,
                               &left, &right),
            0.0);
  EXPECT_EQ(left.GetParent(), parent) << "a null parent leaves the sides theirs";
  EXPECT_EQ(right.GetParent(), nullptr);
  auto* const other = new MTH_CLUSTERING_TREE(3);
  trainer.DoTraining(nullptr, &samples.features, &samples.labels, samples.weights.data(), other, &left,
                     &right);
  EXPECT_EQ(left.GetParent(), other);
  EXPECT_EQ(right.GetParent(), other);
}

TEST(DecisionTree, FollowsItsRulesForTiesAndPoles) {
  struct Case {
    const char* what;
    MTH_MATRIX features;
    MTH_MATRIX labels;
    int feature;
    double threshold;
    double error;
  };
  const Case cases[] = {
      {"a single value is its own threshold", Matrix({{2, 2, 2, 2}}), Matrix({{1, -1, -1, -1}}), 0, 2.0,
       0.25},
      {"the lower of two equal features", Matrix({{1, 2, 3, 4}, {1, 2, 3, 4}}), Matrix({{1, 1, -1, -1}}), 0,
       2.5, 0},
      {"the better feature", Matrix({{1, 1, 3, 3}, {4, 1, 5, 2}}), Matrix({{1, -1, 1, -1}}), 1, 3.0, 0},
      {"of equal polarities the lower half positive", Matrix({{1, 1, 2, 2}}), Matrix({{1, -1, -1, -1}}), 0,
       1.5, 0.25},
      {"labels of 0 are not positive", Matrix({{1, 2, 3, 4}}), Matrix({{0, 0, 0, 0.5}}), 0, 3.5, 0},
      {"zeros of both signs are one value", Matrix({{0.0, -0.0, 1, 1}}), Matrix({{1, 1, -1, -1}}), 0, 0.5, 0},
  };
  for (const Case& each : cases) {
    LabelledSamples samples{each.features, each.labels, {0.25, 0.25, 0.25, 0.25}};
    const auto sides = Split(samples);
    EXPECT_EQ(sides->left.GetFeature(), each.feature) << each.what;
    EXPECT_EQ(sides->left.GetUpperBound(), each.threshold) << each.what;
    EXPECT_EQ(sides->right.GetLowerBound(), each.threshold) << each.what;
    EXPECT_EQ(sides->error, each.error) << each.what;
  }
}

struct LiteralLeaf {
  NodePtr node;
  double error;
  double weight;
};

LiteralLeaf MakeLeaf(NodePtr node, LabelledSamples& samples) {
  const std::vector<int> isMember = MembersOf(node.get(), samples.features);
  double sums[2] = {0.0, 0.0};
  for (int i = 0; i < samples.features.GetNbCols(); ++i) {
    if (isMember[static_cast<std::size_t>(i)]) {
      sums[samples.labels.Get(0, i) > 0.0 ? 1 : 0] += samples.weights[static_cast<std::size_t>(i)];
    }
  }
  return {std::move(node), std::min(sums[0], sums[1]), sums[0] + sums[1]};
}

LabelledSamples Gather(const LabelledSamples& samples, const std::vector<int>& isMember) {
  const int count = static_cast<int>(std::count(isMember.begin(), isMember.end(), 1));
  LabelledSamples gathered{MTH_MATRIX(samples.features.GetNbRows(), count, 0), MTH_MATRIX(1, count, 0), {}};
  for (int i = 0; i < samples.features.GetNbCols(); ++i) {
    if (!isMember[static_cast<std::size_t>(i)]) continue;
    const int column = static_cast<int>(gathered.weights.size());
    for (int f = 0; f < samples.features.GetNbRows(); ++f)
      gathered.features.Set(f, column, samples.features.Get(f, i));
    gathered.labels.Set(0, column, samples.labels.Get(0, i));
    gathered.weights.push_back(samples.weights[static_cast<std::size_t>(i)]);
  }
  return gathered;
}

bool HasMembers(const LiteralLeaf& leaf, LabelledSamples& samples) {
  const std::vector<int> isMember = MembersOf(leaf.node.get(), samples.features);
  return std::find(isMember.begin(), isMember.end(), 1) != isMember.end();
}

// The growth level by level, each leaf gathered into matrices of its own and split by DoTraining.
std::vector<LiteralLeaf> GrowLiterally(LabelledSamples& samples, const MTH_CLUSTERING_TREE& tree) {
  const auto halves = [&](LabelledSamples& gathered, MTH_CLUSTERING_TREE* parent) {
    auto left = std::make_unique<MTH_CLUSTERING_TREE>(tree);
    auto right = std::make_unique<MTH_CLUSTERING_TREE>(tree);
    MTH_CLUSTERING_TREE(1).DoTraining(nullptr, &gathered.features, &gathered.labels, gathered.weights.data(),
                                      parent, left.get(), right.get());
    std::vector<LiteralLeaf> pair;
    pair.push_back(MakeLeaf(std::move(left), samples));
    pair.push_back(MakeLeaf(std::move(right), samples));
    return pair;
  };
  std::vector<LiteralLeaf> leaves = halves(samples, nullptr);
  const bool isPure = leaves[0].weight == 0.0 || leaves[1].weight == 0.0;
  for (int level = 1; level < tree.GetDepth() && !isPure; ++level) {
    std::vector<LiteralLeaf> grown;
    for (LiteralLeaf& leaf : leaves) {
      if (leaf.error != 0.0) {
        LabelledSamples gathered = Gather(samples, MembersOf(leaf.node.get(), samples.features));
        // The pair shares a copy of the leaf, so that a dropped pair takes the copy along.
        std::vector<LiteralLeaf> pair = halves(gathered, new MTH_CLUSTERING_TREE(*leaf.node));
        if (HasMembers(pair[0], samples) && HasMembers(pair[1], samples)) {
          for (LiteralLeaf& side : pair) grown.push_back(std::move(side));
          continue;
        }
      }
      grown.push_back(std::move(leaf));
    }
    leaves = std::move(grown);
  }
  std::stable_sort(leaves.begin(), leaves.end(), [](auto& a, auto& b) { return a.error < b.error; });
  std::reverse(leaves.begin(), leaves.end());
  return leaves;
}

TEST(DecisionTree, GrowsTheCellsOfTheFrameWrittenOut) {
  for (const int distinctValues : {0, 3, 12}) {
    for (const int depth : {-1, 1, 2, 3, 5, 60}) {
      LabelledSamples samples = mth_test::NoisySamples(3, 150, distinctValues, 77);
      MTH_CLUSTERING_TREE tree(depth);
      const std::vector<LiteralLeaf> expected = GrowLiterally(samples, tree);
      const std::vector<NodePtr> cells =
          mth_test::TakeCells(tree.Train(&tree, &samples.features, &samples.labels, samples.weights.data()));
      ASSERT_EQ(cells.size(), expected.size()) << distinctValues << " values, depth " << depth;
      for (std::size_t c = 0; c < cells.size(); ++c) {
        const MTH_CLUSTERING_TREE* other = expected[c].node.get();
        for (const MTH_CLUSTERING_TREE* node = cells[c].get(); node != nullptr; node = node->GetParent()) {
          ASSERT_NE(other, nullptr);
          EXPECT_EQ(node->GetFeature(), other->GetFeature());
          EXPECT_EQ(node->GetLowerBound(), other->GetLowerBound());
          EXPECT_EQ(node->GetUpperBound(), other->GetUpperBound());
          EXPECT_EQ(node->GetDepth(), depth);
          other = other->GetParent();
        }
        EXPECT_EQ(other, nullptr);
      }
    }
  }
}

TEST(DecisionTree, TellsTheColumnsThatMeetTheConditionsOfAChain) {
  MTH_MATRIX features = Matrix({{1, 2, 3, 4}, {8, 7, 6, 5}});
  auto* parent = new MTH_CLUSTERING_TREE(2);
  parent->SetUpperBound(4.0);  // feature 0 below 4
  MTH_CLUSTERING_TREE node(2);
  EXPECT_EQ(MembersOf(&node, features), (std::vector<int>{1, 1, 1, 1}));
  node.SetParent(parent);
  EXPECT_EQ(MembersOf(&node, features), (std::vector<int>{1, 1, 1, 0})) << "a bound itself is outside";
  node.SetFeature(1);
  node.SetLowerBound(6.0);
  node.SetUpperBound(8.0);
  EXPECT_EQ(MembersOf(&node, features), (std::vector<int>{0, 1, 0, 0}));
  for (const int feature : {-1, 2}) {
    node.SetFeature(feature);
    EXPECT_EQ(MembersOf(&node, features), (std::vector<int>{0, 0, 0, 0})) << "feature " << feature;
  }
  MTH_MATRIX floats = Matrix({{1, 2}}, mth_test::kFloat);
  MTH_MATRIX none;
  EXPECT_EQ(node.CalculOutput(&node, &floats), nullptr);
  EXPECT_EQ(node.CalculOutput(&node, &none), nullptr);
  EXPECT_EQ(node.CalculOutput(&node, nullptr), nullptr);
  EXPECT_EQ(node.CalculOutput(nullptr, &features), nullptr);
}

TEST(DecisionTree, LeavesSamplesOfNanOutOfEveryCell) {
  LabelledSamples samples{
      Matrix({{1, kNaN, 2, 3, 4}}), Matrix({{1, 1, 1, -1, -1}}), {0.2, 0.2, 0.2, 0.2, 0.2}};
  MTH_CLUSTERING_TREE tree(3);
  const auto cells =
      mth_test::TakeCells(tree.Train(&tree, &samples.features, &samples.labels, samples.weights.data()));
  ASSERT_GE(cells.size(), 2U);
  for (const NodePtr& cell : cells) EXPECT_EQ(MembersOf(cell.get(), samples.features)[1], 0);
}

// Peels one value off at a time, since no sum of weights is a number: the cells are 1, 2, 3 and 4.
TEST(DecisionTree, OrdersCellsWhoseErrorIsNoNumberFirst) {
  LabelledSamples samples{Matrix({{1, 1, 2, 2, 3, 3, 4, 4}}),
                          Matrix({{1, -1, 1, -1, 1, -1, 1, -1}}),
                          {0.1, 0.1, 0.3, 0.3, kNaN, kNaN, 0.2, 0.2}};
  MTH_CLUSTERING_TREE tree(4);
  const auto cells =
      mth_test::TakeCells(tree.Train(&tree, &samples.features, &samples.labels, samples.weights.data()));
  std::vector<int> firstMembers;
  for (const NodePtr& cell : cells) {
    const std::vector<int> isMember = MembersOf(cell.get(), samples.features);
    firstMembers.push_back(
        static_cast<int>(std::find(isMember.begin(), isMember.end(), 1) - isMember.begin()));
  }
  EXPECT_EQ(firstMembers, (std::vector<int>{4, 2, 6, 0}));
}

// The sides of a threshold that is no bound hold all samples each: they are not split again, or the cells
// would double with every level.
TEST(DecisionTree, DoesNotSplitAgainWhereTheThresholdIsNoBound) {
  struct Case {
    const char* what;
    MTH_MATRIX features;
  };
  const Case cases[] = {
      {"at once", Matrix({{kUnbounded - 1, kUnbounded - 1, kUnbounded + 1, kUnbounded + 1}})},
      {"on one side", Matrix({{1, kUnbounded, kUnbounded, kUnbounded}})},
  };
  for (const Case& each : cases) {
    LabelledSamples samples{each.features, Matrix({{1, -1, -1, 1}}), {0.25, 0.25, 0.25, 0.25}};
    for (const int depth : {2, 16, std::numeric_limits<int>::max()}) {
      MTH_CLUSTERING_TREE tree(depth);
      const auto cells =
          mth_test::TakeCells(tree.Train(&tree, &samples.features, &samples.labels, samples.weights.data()));
      EXPECT_EQ(cells.size(), 2U) << each.what << ", depth " << depth;
    }
  }
}

// Labels that alternate along a feature leave a sample or two with each split: as many levels as samples.
TEST(DecisionTree, OfEndlessDepthCanBeCancelledButNoRoundOfABoosting) {
  constexpr int kSamples = 4096;  // whose weights are exact
  MTH_MATRIX features(2, kSamples, mth_test::kDouble);
  MTH_MATRIX labels(1, kSamples, mth_test::kDouble);
  for (int i = 0; i < kSamples; ++i) {
    for (int f = 0; f < 2; ++f) features.Set(f, i, i);
    labels.Set(0, i, i % 2 == 0 ? 1.0 : -1.0);
  }
  const std::vector<double> weights(kSamples, 1.0 / kSamples);
  MTH_CLUSTERING_TREE tree(std::numeric_limits<int>::max());
  mth_test::CancellingDisplay display(1);
  EXPECT_EQ(tree.Train(&tree, &features, &labels, weights.data()), nullptr);
  EXPECT_EQ(display.questions, 1);
  MTH_CLUSTERING_ADABOOST boosting(&features, &labels, 1, &tree);
  EXPECT_TRUE(boosting.GentleAdaBoostClustering({}, nullptr, nullptr));
  EXPECT_EQ(boosting.GetStopReason(), MTH_STOP_REASON::Converged);
  EXPECT_GT(boosting.GetCells()->GetCount(), kSamples / 2);
  EXPECT_EQ(display.questions, 1);
  MTH_CLUSTERING_ADABOOST::DeleteCells(boosting.GetCells());
}

TEST(DecisionTree, SharesItsParents) {
  auto* root = new MTH_CLUSTERING_TREE(1);
  auto* middle = new MTH_CLUSTERING_TREE(2);
  middle->SetParent(root);
  auto leaf = std::make_unique<MTH_CLUSTERING_TREE>(3);
  leaf->SetParent(middle);
  leaf->SetFeature(7);
  leaf->SetLowerBound(-1.0);
  const auto copy = std::make_unique<MTH_CLUSTERING_TREE>(*leaf);
  EXPECT_EQ(copy->GetParent(), middle);
  EXPECT_EQ(copy->GetFeature(), 7);
  EXPECT_EQ(copy->GetLowerBound(), -1.0);
  EXPECT_EQ(copy->GetUpperBound(), kUnbounded);
  root->SetParent(leaf.get());  // would close a ring
  EXPECT_EQ(root->GetParent(), nullptr);
  root->SetParent(root);
  EXPECT_EQ(root->GetParent(), nullptr);
  leaf->SetParent(middle);  // already so
  leaf.reset();
  ASSERT_EQ(copy->GetParent(), middle);
  EXPECT_EQ(copy->GetParent()->GetParent()->GetDepth(), 1);  // alive as long as the copy

  auto* link = new MTH_CLUSTERING_TREE(0);
  for (int i = 1; i < 200; ++i) {
    auto* next = new MTH_CLUSTERING_TREE(i);
    next->SetParent(link);
    link = next;
  }
  copy->SetParent(link);  // lets go of the others
  EXPECT_EQ(copy->GetParent()->GetDepth(), 199);
}

TEST(DecisionTree, RefusesWhatDoesNotFit) {
  LabelledSamples samples = mth_test::NoisySamples(2, 40, 6, 3);
  MTH_MATRIX floats = Matrix({{1, 2}}, mth_test::kFloat);
  MTH_MATRIX none;
  MTH_MATRIX noSamples(2, 0, 0);
  MTH_MATRIX fewLabels(1, 39, 0);
  double* const weights = samples.weights.data();
  struct Case {
    MTH_MATRIX* features;
    MTH_MATRIX* labels;
    double* weights;
  };
  for (const Case& each :
       {Case{nullptr, &samples.labels, weights}, Case{&none, &samples.labels, weights},
        Case{&floats, &samples.labels, weights}, Case{&noSamples, &samples.labels, weights},
        Case{&samples.features, nullptr, weights}, Case{&samples.features, &none, weights},
        Case{&samples.features, &fewLabels, weights}, Case{&samples.features, &samples.labels, nullptr}}) {
    Sides sides;
    EXPECT_EQ(sides.left.DoTraining(nullptr, each.features, each.labels, each.weights, nullptr, &sides.left,
                                    &sides.right),
              -1.0);
    EXPECT_EQ(sides.left.GetUpperBound(), kUnbounded);
    MTH_CLUSTERING_TREE tree(3);
    EXPECT_EQ(tree.Train(&tree, each.features, each.labels, each.weights), nullptr);
  }
  MTH_CLUSTERING_TREE tree(4);
  EXPECT_EQ(tree.Train(nullptr, &samples.features, &samples.labels, weights), nullptr);
  EXPECT_EQ(tree.DoTraining(nullptr, &samples.features, &samples.labels, weights, nullptr, nullptr, &tree),
            -1.0);
}

}  // namespace
