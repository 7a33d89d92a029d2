#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <type_traits>
#include <utility>

#include "boosting/boosting_cases.h"
#include "mth/core/Mth_elementary_internal.h"
#include "mth/core/Mth_instruction_set_internal.h"
#include "support/allocation_faults.h"
#include "support/cancelling_display.h"
#include "support/recording_display.h"
#include "support/values.h"

namespace {

using mth_test::kInfinity;
using mth_test::kNaN;

using mth_test::LabelledSamples;
using mth_test::Matrix;
using mth_test::MembersOf;
using mth_test::NodePtr;
using mth_test::OwningBoosting;

using Training = bool (MTH_CLUSTERING_ADABOOST::*)(std::vector<double>, mth_test::CellList*, double*);

struct Sums {
  double positive = 0.0, negative = 0.0, invertedPositive = 0.0, invertedNegative = 0.0;
};

struct Variant {
  const char* name;
  Training train;
  bool (*rule)(const Sums& w, double* c);  // answers whether the cell is accepted
};

const Variant kVariants[] = {
    {"real", &MTH_CLUSTERING_ADABOOST::RealAdaBoostClustering,
     [](const Sums& w, double* c) {
       *c = 0.5 * mth_internal::Logarithm((w.positive + 2.2204e-16) / (w.negative + 2.2204e-16));
       return true;
     }},
    {"gentle", &MTH_CLUSTERING_ADABOOST::GentleAdaBoostClustering,
     [](const Sums& w, double* c) {
       *c = (w.positive - w.negative) / (w.positive + w.negative);
       return true;
     }},
    {"modest", &MTH_CLUSTERING_ADABOOST::ModestAdaBoostClustering,
     [](const Sums& w, double* c) {
       *c = w.positive * (1 - w.invertedPositive) - w.negative * (1 - w.invertedNegative);
       if (*c > 0 && w.positive - w.negative < 0) return false;
       if (*c < 0 && w.positive - w.negative > 0) return false;
       return w.positive + w.negative != 0;
     }},
};

std::vector<double> ScoresOf(const MTH_CLUSTERING_ADABOOST& boosting, MTH_MATRIX& features) {
  const std::unique_ptr<double[]> scores(boosting.Classify(&features));
  return scores ? std::vector<double>(scores.get(), scores.get() + features.GetNbCols())
                : std::vector<double>();
}

void ScaleToSumOne(std::vector<double>& weights) {
  double sum = 0.0;
  for (double weight : weights) sum += weight;
  for (double& weight : weights) weight /= sum;
}

struct LiteralModel {
  std::vector<double> confidences;
  std::vector<double> scores;
  int rejected = 0;
};

// The frame written out: each round asks a new tree for its cells, which sorts the features anew.
LiteralModel BoostLiterally(const Variant& variant, LabelledSamples& samples, MTH_CLUSTERING_TREE& tree,
                            int rounds) {
  const auto n = static_cast<std::size_t>(samples.features.GetNbCols());
  LiteralModel model;
  model.scores.assign(n, 0.0);
  std::vector<double> weights(n, 1.0 / static_cast<double>(n));
  for (int round = 0; round < rounds; ++round) {
    std::vector<double> inverted(n, 0.0);
    for (std::size_t i = 0; i < n; ++i) inverted[i] = weights[i] != 0 ? 1 / weights[i] : 0;
    ScaleToSumOne(inverted);
    for (const NodePtr& cell :
         mth_test::TakeCells(tree.Train(&tree, &samples.features, &samples.labels, weights.data()))) {
      const std::vector<int> output = MembersOf(cell.get(), samples.features);
      Sums sums;
      for (std::size_t i = 0; i < n; ++i) {
        if (!output[i]) continue;
        const bool isPositive = samples.labels.Get(0, static_cast<int>(i)) == 1;
        (isPositive ? sums.positive : sums.negative) += weights[i];
        (isPositive ? sums.invertedPositive : sums.invertedNegative) += inverted[i];
      }
      double confidence = 0.0;
      if (sums.positive == 0 && sums.negative == 0) continue;
      if (!variant.rule(sums, &confidence)) {
        ++model.rejected;
        continue;
      }
      model.confidences.push_back(confidence);
      for (std::size_t i = 0; i < n; ++i) model.scores[i] += confidence * output[i];
    }
    for (std::size_t i = 0; i < n; ++i) {
      weights[i] = mth_internal::Exponential(-samples.labels.Get(0, static_cast<int>(i)) * model.scores[i]);
    }
    ScaleToSumOne(weights);
  }
  return model;
}

TEST(AdaBoost, TrainsLikeTheFrameWrittenOutBitForBit) {
  constexpr int kRounds = 30;
  int rejected = 0;
  for (const Variant& variant : kVariants) {
    for (const int distinctValues : {0, 4}) {
      LabelledSamples samples = mth_test::NoisySamples(3, 120, distinctValues, 9);
      MTH_CLUSTERING_TREE tree(3);
      const LiteralModel expected = BoostLiterally(variant, samples, tree, kRounds);
      rejected += expected.rejected;
      OwningBoosting boosting(&samples.features, &samples.labels, kRounds, &tree);
      std::vector<double> scores(120, -5.0);
      ASSERT_TRUE((boosting.*variant.train)({}, nullptr, scores.data())) << variant.name;
      EXPECT_EQ(boosting.GetConfidences(), expected.confidences) << variant.name;
      EXPECT_EQ(scores, expected.scores) << variant.name;
      EXPECT_EQ(ScoresOf(boosting, samples.features), expected.scores) << variant.name;
      EXPECT_EQ(boosting.GetCells()->GetCount(), static_cast<int>(expected.confidences.size()));
    }
  }
  EXPECT_GT(rejected, 0) << "no case rejects a cell";
}

TEST(AdaBoost, GivesTheConfidencesWorkedOutByHand) {
  constexpr double kEpsilon = 2.2204e-16;
  const double pure = 0.5 * std::log((0.5 + kEpsilon) / kEpsilon);
  // Of equal errors the right cell comes first; the second data leave a cell of one value and both classes.
  LabelledSamples separable{Matrix({{1, 2, 3, 4}}), Matrix({{-1, -1, 1, 1}}), {}};
  LabelledSamples mixed{Matrix({{1, 1, 2, 2}}), Matrix({{1, -1, -1, -1}}), {}};
  struct Case {
    const Variant& variant;
    LabelledSamples& samples;
    std::vector<double> confidences;
  };
  for (const Case& each :
       {Case{kVariants[0], separable, {pure, -pure}}, Case{kVariants[1], separable, {1.0, -1.0}},
        Case{kVariants[2], separable, {0.25, -0.25}}, Case{kVariants[0], mixed, {0.0, -pure}},
        Case{kVariants[1], mixed, {0.0, -1.0}}, Case{kVariants[2], mixed, {0.0, -0.25}}}) {
    MTH_CLUSTERING_TREE tree(3);
    OwningBoosting boosting(&each.samples.features, &each.samples.labels, 1, &tree);
    ASSERT_TRUE((boosting.*each.variant.train)({}, nullptr, nullptr));
    ASSERT_EQ(boosting.GetConfidences().size(), each.confidences.size()) << each.variant.name;
    for (std::size_t i = 0; i < each.confidences.size(); ++i) {
      EXPECT_DOUBLE_EQ(boosting.GetConfidences()[i], each.confidences[i]) << each.variant.name;
    }
  }
}

TEST(AdaBoost, WarmStartGoesOnBitForBit) {
  for (const Variant& variant : kVariants) {
    LabelledSamples samples = mth_test::NoisySamples(3, 90, 0, 4);
    MTH_CLUSTERING_TREE tree(3);
    OwningBoosting atOnce(&samples.features, &samples.labels, 7, &tree);
    std::vector<double> expected(90);
    ASSERT_TRUE((atOnce.*variant.train)({}, nullptr, expected.data()));

    for (const bool givesScores : {true, false}) {
      std::vector<double> scores(90);
      double* const given = givesScores ? scores.data() : nullptr;
      auto first = std::make_unique<MTH_CLUSTERING_ADABOOST>(&samples.features, &samples.labels, 3, &tree);
      ASSERT_TRUE(((*first).*variant.train)({}, nullptr, given));
      const std::vector<double> confidences = first->GetConfidences();
      mth_test::CellList* const cells = first->GetCells();
      first.reset();  // what it held is the host's
      OwningBoosting second(&samples.features, &samples.labels, 4, &tree);
      ASSERT_TRUE((second.*variant.train)(confidences, cells, given));
      EXPECT_EQ(second.GetCells(), cells) << "the list is adopted";
      EXPECT_EQ(second.GetConfidences(), atOnce.GetConfidences()) << variant.name << givesScores;
      EXPECT_EQ(ScoresOf(second, samples.features), expected) << variant.name << givesScores;
      EXPECT_EQ(scores, givesScores ? expected : std::vector<double>(90)) << variant.name;
    }
  }
}

// Confidences of separable classes push the scores on until every weight underflows: their ratios count then.
TEST(AdaBoost, TrainsOnWhenNoWeightIsLeft) {
  for (const Variant& variant : kVariants) {
    LabelledSamples samples{Matrix({{1, 2, 3, 4}}), Matrix({{-1, -1, 1, 1}}), {}};
    MTH_CLUSTERING_TREE tree(3);
    OwningBoosting boosting(&samples.features, &samples.labels, 4000, &tree);
    ASSERT_TRUE((boosting.*variant.train)({}, nullptr, nullptr));
    const std::vector<double> scores = ScoresOf(boosting, samples.features);
    const double perRound = boosting.GetConfidences()[0];
    for (std::size_t i = 0; i < scores.size(); ++i) {
      const double margin = scores[i] * samples.labels.Get(0, static_cast<int>(i));
      EXPECT_NEAR(margin, 4000 * perRound, 1e-9 * margin) << variant.name;
    }
    EXPECT_EQ(boosting.GetCells()->GetCount(), 8000) << variant.name;
  }
}

// One label corrected after the scores have grown so far that its weight is beyond every double.
TEST(AdaBoost, LearnsACorrectedLabelInAWarmStart) {
  for (const Variant& variant : kVariants) {
    const int rounds = variant.name == std::string("modest") ? 4000 : 800;
    LabelledSamples samples = mth_test::NoisySamples(1, 40, 0, 6);
    for (int i = 0; i < 40; ++i) samples.labels.Set(0, i, samples.features.Get(0, i) > 0.5 ? 1.0 : -1.0);
    MTH_CLUSTERING_TREE tree(3);
    MTH_CLUSTERING_ADABOOST first(&samples.features, &samples.labels, rounds, &tree);
    ASSERT_TRUE((first.*variant.train)({}, nullptr, nullptr));
    samples.labels.Set(0, 17, -samples.labels.Get(0, 17));
    OwningBoosting second(&samples.features, &samples.labels, rounds, &tree);
    const std::vector<double> before = first.GetConfidences();
    ASSERT_TRUE((second.*variant.train)(before, first.GetCells(), nullptr)) << variant.name;
    EXPECT_GT(second.GetConfidences().size(), before.size());
    for (const double confidence : second.GetConfidences()) ASSERT_TRUE(std::isfinite(confidence));
    const auto marginOf = [&](int i, const MTH_CLUSTERING_ADABOOST& boosting) {
      return ScoresOf(boosting, samples.features)[static_cast<std::size_t>(i)] * samples.labels.Get(0, i);
    };
    MTH_CLUSTERING_ADABOOST former(&samples.features, &samples.labels, 0, &tree);
    ASSERT_TRUE(former.RealAdaBoostClustering(before, first.GetCells(), nullptr));
    // Modest inverts the weights, of which only this one is left: it stands still.
    const bool stands = variant.name == std::string("modest");
    EXPECT_EQ(marginOf(17, second) > marginOf(17, former), !stands) << variant.name;
  }
}

TEST(AdaBoost, ModestWeighsInvertedWeightsOfAnySize) {
  LabelledSamples samples{Matrix({{1, 2, 3, 4}}), Matrix({{-1, -1, 1, 1}}), {}};
  MTH_CLUSTERING_TREE tree(1);
  OwningBoosting boosting(&samples.features, &samples.labels, 1, &tree);
  auto* const none = new mth_test::CellList;
  std::vector<double> scores{-745.0, -1.0, 744.0, 1.0};  // weights of 2^-1074 and about, and a half
  ASSERT_TRUE(boosting.ModestAdaBoostClustering({}, none, scores.data()));
  ASSERT_EQ(boosting.GetConfidences().size(), 2U);
  for (const double confidence : boosting.GetConfidences()) {
    EXPECT_TRUE(std::isfinite(confidence));
    EXPECT_GT(std::abs(confidence), 0.0);
  }
}

TEST(AdaBoost, LeavesItsCellsToTheHostAndDeletesThemInAColdStart) {
  LabelledSamples samples = mth_test::NoisySamples(2, 60, 5, 8);
  MTH_CLUSTERING_TREE tree(2);
  OwningBoosting boosting(&samples.features, &samples.labels, 2, &tree);
  ASSERT_TRUE(boosting.RealAdaBoostClustering({}, nullptr, nullptr));
  const std::vector<double> once = ScoresOf(boosting, samples.features);
  ASSERT_TRUE(
      boosting.RealAdaBoostClustering({1.0, 2.0}, nullptr, nullptr));  // cold: the confidences are not read
  EXPECT_EQ(ScoresOf(boosting, samples.features), once);

  auto* const foreign = new mth_test::CellList;
  foreign->Add(new MTH_CLUSTERING_TREE(1));
  foreign->Add(nullptr);
  MTH_CLUSTERING_ADABOOST none(&samples.features, &samples.labels, 0, &tree);
  ASSERT_TRUE(none.RealAdaBoostClustering({0.5}, foreign, nullptr));
  EXPECT_EQ(ScoresOf(none, samples.features), std::vector<double>(60, 0.5));
  EXPECT_EQ(none.GetConfidences(), (std::vector<double>{0.5, 0.0}));

  mth_test::CellList* const former = boosting.GetCells();
  ASSERT_TRUE(boosting.GentleAdaBoostClustering({0.5, 0.25}, foreign, nullptr));
  EXPECT_GT(foreign->GetCount(), 2);
  MTH_CLUSTERING_ADABOOST::DeleteCells(former);
  MTH_CLUSTERING_ADABOOST::DeleteCells(nullptr);
  ASSERT_TRUE(boosting.RealAdaBoostClustering({}, nullptr, nullptr));  // deletes the adopted list
  EXPECT_EQ(ScoresOf(boosting, samples.features), once);
}

static_assert(std::is_nothrow_move_constructible_v<MTH_CLUSTERING_ADABOOST> &&
              std::is_nothrow_move_assignable_v<MTH_CLUSTERING_ADABOOST>);

TEST(AdaBoost, CopiesDeeplyAndMovesWholly) {
  LabelledSamples samples = mth_test::NoisySamples(3, 60, 0, 8);
  MTH_CLUSTERING_TREE tree(4);
  auto original = std::make_unique<OwningBoosting>(&samples.features, &samples.labels, 3, &tree);
  ASSERT_TRUE(original->RealAdaBoostClustering({}, nullptr, nullptr));
  const std::vector<double> scores = ScoresOf(*original, samples.features);
  MTH_CLUSTERING_ADABOOST copy(*original);
  MTH_CLUSTERING_ADABOOST assigned(nullptr, nullptr, 0, nullptr);
  assigned = copy;
  const MTH_CLUSTERING_ADABOOST& same = assigned;
  assigned = same;
  for (int c = 0; c < copy.GetCells()->GetCount(); ++c) {
    std::set<const MTH_CLUSTERING_TREE*> chain;
    for (auto* node = original->GetCells()->Get(c); node != nullptr; node = node->GetParent())
      chain.insert(node);
    for (auto* node = copy.GetCells()->Get(c); node != nullptr; node = node->GetParent())
      EXPECT_EQ(chain.count(node), 0U);
  }
  original.reset();
  EXPECT_EQ(ScoresOf(copy, samples.features), scores);
  EXPECT_EQ(ScoresOf(assigned, samples.features), scores);
  EXPECT_EQ(copy.GetStopReason(), MTH_STOP_REASON::NotRun);
  ASSERT_TRUE(copy.RealAdaBoostClustering(copy.GetConfidences(), copy.GetCells(), nullptr));

  mth_test::CellList* const cells = copy.GetCells();
  MTH_CLUSTERING_ADABOOST moved(std::move(copy));
  EXPECT_EQ(copy.GetCells(), nullptr);  // NOLINT(bugprone-use-after-move): as it is before any training
  EXPECT_TRUE(copy.GetConfidences().empty());
  EXPECT_EQ(copy.GetStopReason(), MTH_STOP_REASON::NotRun);
  EXPECT_EQ(moved.GetCells(), cells);
  EXPECT_EQ(moved.GetStopReason(), MTH_STOP_REASON::Converged);
  MTH_CLUSTERING_ADABOOST& itself = moved;
  moved = std::move(itself);
  EXPECT_EQ(moved.GetCells(), cells);
  mth_test::CellList* const left = assigned.GetCells();
  assigned = std::move(moved);
  EXPECT_EQ(assigned.GetCells(), cells);
  MTH_CLUSTERING_ADABOOST::DeleteCells(left);
  MTH_CLUSTERING_ADABOOST::DeleteCells(cells);
}

// Scores by the cells' chains, one sample after the other: bounds on either side, on features that there are
// not, values that are no numbers, confidences of any kind.
TEST(AdaBoost, EveryInstructionSetGivesTheScoresOfThePlainLoop) {
  using mth_internal::InstructionSet;
  std::mt19937 random(3);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  for (const int samplesCount : {1, 7, 16, 255, 256, 523}) {
    MTH_MATRIX features = mth_test::FromRule(3, samplesCount, mth_test::kDouble, [&](int, int) {
      const double value = uniform(random);
      return value < 0.05 ? kNaN : value < 0.1 ? kInfinity : value;
    });
    LabelledSamples none{Matrix({{1.0}}), Matrix({{1.0}}), {}};
    MTH_CLUSTERING_TREE tree(1);
    OwningBoosting boosting(&none.features, &none.labels, 0, &tree);
    auto* const cells = new mth_test::CellList;
    std::vector<double> confidences;
    for (int c = 0; c < 40; ++c) {
      MTH_CLUSTERING_TREE* node = nullptr;
      for (unsigned depth = random() % 4 + 1; depth > 0; --depth) {
        auto* const child = new MTH_CLUSTERING_TREE(1);
        child->SetFeature(static_cast<int>(random() % 16 == 0 ? 3 : random() % 3));
        if (random() % 3 != 0) child->SetUpperBound(0.4 + uniform(random));
        if (random() % 3 != 0) child->SetLowerBound(0.6 - uniform(random));
        child->SetParent(node);
        node = child;
      }
      cells->Add(c == 11 ? nullptr : node);
      if (c == 11) delete node;
      confidences.push_back(c == 39 && samplesCount == 7 ? kInfinity : uniform(random) - 0.5);
    }
    ASSERT_TRUE(boosting.RealAdaBoostClustering(confidences, cells, std::vector<double>{0.0}.data()));
    std::vector<double> expected(static_cast<std::size_t>(samplesCount));
    for (int c = 0; c < 40; ++c) {
      const std::vector<int> isInside = MembersOf(cells->Get(c), features);
      for (std::size_t i = 0; i < isInside.size(); ++i)
        expected[i] += confidences[static_cast<std::size_t>(c)] * isInside[i];
    }
    for (auto set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
      const mth_internal::InstructionSetScope scope(set);
      const std::vector<double> scores = ScoresOf(boosting, features);
      for (std::size_t i = 0; i < expected.size(); ++i) {
        ASSERT_TRUE(scores[i] == expected[i] || (std::isnan(scores[i]) && std::isnan(expected[i])))
            << i << " of " << samplesCount;
      }
    }
  }
}

TEST(AdaBoost, TellsHowItEndedAndKeepsWholeRounds) {
  LabelledSamples samples = mth_test::NoisySamples(2, 60, 0, 8);
  MTH_CLUSTERING_TREE tree(2);
  for (const Variant& variant : kVariants) {
    OwningBoosting whole(&samples.features, &samples.labels, 6, &tree);
    EXPECT_EQ(whole.GetStopReason(), MTH_STOP_REASON::NotRun);
    std::vector<int> cellsAfter{0};
    std::vector<double> scores(60);
    {
      OwningBoosting stepwise(&samples.features, &samples.labels, 1, &tree);
      for (int round = 0; round < 6; ++round) {
        ASSERT_TRUE((stepwise.*variant.train)(stepwise.GetConfidences(), stepwise.GetCells(), scores.data()));
        cellsAfter.push_back(stepwise.GetCells()->GetCount());
      }
    }
    for (const int firstYes : {1, 2, 4, 6, 99}) {
      mth_test::CancellingDisplay display(firstYes);
      ASSERT_TRUE((whole.*variant.train)({}, nullptr, scores.data())) << variant.name;
      const int rounds = std::min(firstYes, 6);
      EXPECT_EQ(whole.GetStopReason(),
                firstYes < 6 ? MTH_STOP_REASON::Cancelled : MTH_STOP_REASON::Converged);
      EXPECT_EQ(whole.GetCells()->GetCount(), cellsAfter[static_cast<std::size_t>(rounds)]) << firstYes;
      EXPECT_EQ(ScoresOf(whole, samples.features), scores) << "whole rounds";
      EXPECT_EQ(display.messages, 0);
    }
    OwningBoosting none(&samples.features, &samples.labels, 0, &tree);
    EXPECT_TRUE((none.*variant.train)({}, nullptr, nullptr));
    EXPECT_EQ(none.GetStopReason(), MTH_STOP_REASON::IterationCap);
  }
}

TEST(AdaBoost, RefusesLabelsAndScoresThatAreNone) {
  mth_test::RecordingDisplay display;
  LabelledSamples samples = mth_test::NoisySamples(2, 30, 0, 8);
  MTH_CLUSTERING_TREE tree(3);
  OwningBoosting boosting(&samples.features, &samples.labels, 2, &tree);
  ASSERT_TRUE(boosting.RealAdaBoostClustering({}, nullptr, nullptr));
  const std::vector<double> confidences = boosting.GetConfidences();
  mth_test::CellList* const cells = boosting.GetCells();
  const int count = cells->GetCount();
  const auto expectUnchanged = [&](MTH_STOP_REASON reason) {
    EXPECT_EQ(boosting.GetStopReason(), reason);
    EXPECT_EQ(boosting.GetCells(), cells);
    EXPECT_EQ(cells->GetCount(), count);
    EXPECT_EQ(boosting.GetConfidences(), confidences);
  };
  for (const double label : {0.0, -2.0, 1.0000001, std::nan("")}) {
    samples.labels.Set(0, 29, label);
    for (const Variant& variant : kVariants) {
      std::vector<double> scores(30, 7.0);
      EXPECT_FALSE((boosting.*variant.train)({}, nullptr, scores.data())) << label;
      EXPECT_FALSE((boosting.*variant.train)({1.0}, cells, nullptr)) << label;
      EXPECT_EQ(scores, std::vector<double>(30, 7.0));
      expectUnchanged(MTH_STOP_REASON::BadInput);
    }
  }
  samples.labels.Set(0, 29, 1.0);
  for (const double score : {std::nan(""), std::numeric_limits<double>::infinity()}) {
    std::vector<double> scores(30, score);
    EXPECT_FALSE(boosting.GentleAdaBoostClustering(confidences, cells, scores.data()));
    expectUnchanged(MTH_STOP_REASON::NotFinite);
  }
  EXPECT_TRUE(display.messages.empty());
}

TEST(AdaBoost, RefusesWhatDoesNotFit) {
  mth_test::RecordingDisplay display;
  LabelledSamples samples = mth_test::NoisySamples(2, 30, 0, 8);
  MTH_CLUSTERING_TREE tree(3);
  MTH_MATRIX none;
  MTH_MATRIX fewLabels(1, 29, 0);
  MTH_MATRIX floats = Matrix({{1, 2}}, mth_test::kFloat);
  struct Case {
    MTH_MATRIX* features;
    MTH_MATRIX* labels;
    MTH_CLUSTERING_TREE* tree;
  };
  for (const Case& each :
       {Case{nullptr, &samples.labels, &tree}, Case{&none, &samples.labels, &tree},
        Case{&floats, &samples.labels, &tree}, Case{&samples.features, nullptr, &tree},
        Case{&samples.features, &fewLabels, &tree}, Case{&samples.features, &samples.labels, nullptr}}) {
    MTH_CLUSTERING_ADABOOST boosting(each.features, each.labels, 3, each.tree);
    for (const Variant& variant : kVariants) EXPECT_FALSE((boosting.*variant.train)({}, nullptr, nullptr));
    EXPECT_EQ(boosting.GetCells(), nullptr);
    EXPECT_EQ(boosting.GetStopReason(), MTH_STOP_REASON::BadInput);
    EXPECT_EQ(boosting.Classify(&samples.features), nullptr);
  }
  ASSERT_EQ(display.messages.size(), 6U);
  EXPECT_EQ(display.messages[0], (mth_test::ShownMessage{"L'apprentissage n'a pas été fait!",
                                                         MessageKind::Information, "Information"}));

  OwningBoosting boosting(&samples.features, &samples.labels, 2, &tree);
  ASSERT_TRUE(boosting.RealAdaBoostClustering({}, nullptr, nullptr));
  for (MTH_MATRIX* features : {static_cast<MTH_MATRIX*>(nullptr), &none, &floats}) {
    EXPECT_EQ(boosting.Classify(features), nullptr);
  }
  EXPECT_EQ(display.messages.size(), 6U);
}

// A long chain narrows few features again and again: its memory and time are those of the tightest bounds.
TEST(AdaBoost, ClassifiesByTheTightestBoundsOfALongChain) {
  MTH_MATRIX features = Matrix({{1, 2, 3, 4, 5, 6, kNaN}, {7, 6, 5, 4, 3, 2, 1}});
  MTH_MATRIX labels = Matrix({{1, 1, 1, -1, -1, -1, -1}});
  for (const double odd : {4.0, kNaN}) {  // no sample meets a bound that is none
    auto* node = new MTH_CLUSTERING_TREE(1);
    for (int i = 0; i < 2000; ++i) {
      auto* const next = new MTH_CLUSTERING_TREE(1);
      next->SetParent(node);
      node = next;
      node->SetFeature(i % 2);
      node->SetUpperBound(i == 500 ? 6.0 : i == 700 ? odd : 7.0 + i);
      node->SetLowerBound(i == 900 ? 1.5 : i == 901 ? 3.5 : -1.0 - i);
    }
    const std::vector<int> members = MembersOf(node, features);
    auto* const cells = new mth_test::CellList;
    cells->Add(node);
    MTH_CLUSTERING_TREE model(1);
    OwningBoosting boosting(&features, &labels, 0, &model);
    std::vector<double> scores(7, 0.0);
    ASSERT_TRUE(boosting.RealAdaBoostClustering({2.5}, cells, scores.data()));
    const mth_test::AllocationWatch watch;
    const std::vector<double> classified = ScoresOf(boosting, features);
    EXPECT_LT(watch.RequestedBytes(), 10000U);
    ASSERT_EQ(classified.size(), members.size());
    for (std::size_t i = 0; i < members.size(); ++i) EXPECT_EQ(classified[i], 2.5 * members[i]) << odd;
    EXPECT_EQ(members[2], odd == 4.0 ? 1 : 0);
  }
}

}  // namespace
