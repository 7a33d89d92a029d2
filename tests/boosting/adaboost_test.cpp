#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "boosting/boosting_cases.h"
#include "mth/boosting/Mth_clustering_adaboost.h"
#include "support/allocation_faults.h"
#include "support/recording_display.h"

namespace {

using mth_test::LabelledSamples;
using mth_test::Matrix;
using mth_test::MembersOf;
using mth_test::NodePtr;

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
       *c = 0.5 * std::log((w.positive + 2.2204e-16) / (w.negative + 2.2204e-16));
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

std::vector<double> ScoresOf(MTH_CLUSTERING_ADABOOST& boosting, MTH_MATRIX& features) {
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
      weights[i] = std::exp(-samples.labels.Get(0, static_cast<int>(i)) * model.scores[i]);
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
      MTH_CLUSTERING_ADABOOST boosting(&samples.features, &samples.labels, kRounds, &tree);
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
    MTH_CLUSTERING_ADABOOST boosting(&each.samples.features, &each.samples.labels, 1, &tree);
    ASSERT_TRUE((boosting.*each.variant.train)({}, nullptr, nullptr));
    ASSERT_EQ(boosting.GetConfidences().size(), each.confidences.size()) << each.variant.name;
    for (std::size_t i = 0; i < each.confidences.size(); ++i) {
      EXPECT_DOUBLE_EQ(boosting.GetConfidences()[i], each.confidences[i]) << each.variant.name;
    }
  }
}

TEST(AdaBoost, NeverIncreasesTheExponentialLossOfTheRealVariant) {
  for (const int distinctValues : {0, 8}) {
    LabelledSamples samples = mth_test::NoisySamples(4, 300, distinctValues, 21);
    MTH_CLUSTERING_TREE tree(2);
    MTH_CLUSTERING_ADABOOST boosting(&samples.features, &samples.labels, 1, &tree);
    std::vector<double> scores(300);
    double former = 300.0;  // of scores 0
    for (int round = 0; round < 25; ++round) {
      mth_test::CellList* const cells = boosting.GetCells();
      ASSERT_TRUE(boosting.RealAdaBoostClustering(boosting.GetConfidences(), cells, scores.data()));
      double loss = 0.0;
      for (int i = 0; i < 300; ++i)
        loss += std::exp(-samples.labels.Get(0, i) * scores[static_cast<std::size_t>(i)]);
      EXPECT_LE(loss, former * (1 + 1e-12)) << "round " << round;
      former = loss;
    }
    EXPECT_LT(former, 200.0);
  }
}

TEST(AdaBoost, WarmStartGoesOnBitForBit) {
  for (const Variant& variant : kVariants) {
    LabelledSamples samples = mth_test::NoisySamples(3, 90, 0, 4);
    MTH_CLUSTERING_TREE tree(3);
    MTH_CLUSTERING_ADABOOST atOnce(&samples.features, &samples.labels, 7, &tree);
    std::vector<double> expected(90);
    ASSERT_TRUE((atOnce.*variant.train)({}, nullptr, expected.data()));

    for (const bool givesScores : {true, false}) {
      std::vector<double> scores(90);
      double* const given = givesScores ? scores.data() : nullptr;
      MTH_CLUSTERING_ADABOOST first(&samples.features, &samples.labels, 3, &tree);
      ASSERT_TRUE((first.*variant.train)({}, nullptr, given));
      MTH_CLUSTERING_ADABOOST second(&samples.features, &samples.labels, 4, &tree);
      ASSERT_TRUE((second.*variant.train)(first.GetConfidences(), first.GetCells(), given));
      EXPECT_EQ(second.GetCells(), first.GetCells()) << "the list is adopted";
      EXPECT_EQ(second.GetConfidences(), atOnce.GetConfidences()) << variant.name << givesScores;
      EXPECT_EQ(ScoresOf(second, samples.features), expected) << variant.name << givesScores;
      EXPECT_EQ(scores, givesScores ? expected : std::vector<double>(90)) << variant.name;
    }
  }
}

// Confidences of separable classes push the scores on until every weight underflows to 0.
TEST(AdaBoost, KeepsItsModelWhenNoWeightIsLeft) {
  for (const Variant& variant : kVariants) {
    LabelledSamples samples{Matrix({{1, 2, 3, 4}}), Matrix({{-1, -1, 1, 1}}), {}};
    MTH_CLUSTERING_TREE tree(3);
    MTH_CLUSTERING_ADABOOST boosting(&samples.features, &samples.labels, 4000, &tree);
    ASSERT_TRUE((boosting.*variant.train)({}, nullptr, nullptr));
    const std::vector<double> scores = ScoresOf(boosting, samples.features);
    for (std::size_t i = 0; i < scores.size(); ++i) {
      EXPECT_GT(scores[i] * samples.labels.Get(0, static_cast<int>(i)), 700.0) << variant.name;
      EXPECT_TRUE(std::isfinite(scores[i])) << variant.name;
    }
    EXPECT_LT(boosting.GetCells()->GetCount(), 8000) << variant.name << ": cells without weight are skipped";
  }
}

TEST(AdaBoost, KeepsItsCellsThroughStartsOfEveryKind) {
  LabelledSamples samples = mth_test::NoisySamples(2, 60, 5, 8);
  MTH_CLUSTERING_TREE tree(2);
  MTH_CLUSTERING_ADABOOST boosting(&samples.features, &samples.labels, 2, &tree);
  ASSERT_TRUE(boosting.RealAdaBoostClustering({}, nullptr, nullptr));
  const std::vector<double> once = ScoresOf(boosting, samples.features);
  ASSERT_TRUE(
      boosting.RealAdaBoostClustering({1.0, 2.0}, nullptr, nullptr));  // cold: the confidences are not read
  EXPECT_EQ(ScoresOf(boosting, samples.features), once);

  NodePtr everything = std::make_unique<MTH_CLUSTERING_TREE>(1);
  mth_test::CellList foreign;
  foreign.Add(everything.get());
  foreign.Add(nullptr);
  MTH_CLUSTERING_ADABOOST none(&samples.features, &samples.labels, 0, &tree);
  ASSERT_TRUE(none.RealAdaBoostClustering({0.5}, &foreign, nullptr));
  EXPECT_EQ(ScoresOf(none, samples.features), std::vector<double>(60, 0.5));
  EXPECT_EQ(none.GetConfidences(), (std::vector<double>{0.5, 0.0}));

  ASSERT_TRUE(boosting.GentleAdaBoostClustering({0.5, 0.25}, &foreign, nullptr));
  EXPECT_GT(foreign.GetCount(), 2);
  ASSERT_TRUE(boosting.RealAdaBoostClustering({}, nullptr, nullptr));
  EXPECT_EQ(ScoresOf(boosting, samples.features), once);
  EXPECT_EQ(MembersOf(foreign.Get(2), samples.features).size(), 60U) << "cells in a host's list stay alive";
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
    EXPECT_EQ(boosting.Classify(&samples.features), nullptr);
  }
  ASSERT_EQ(display.messages.size(), 6U);
  EXPECT_EQ(display.messages[0], (mth_test::ShownMessage{"L'apprentissage n'a pas été fait!",
                                                         MessageKind::Information, "Information"}));

  MTH_CLUSTERING_ADABOOST boosting(&samples.features, &samples.labels, 2, &tree);
  ASSERT_TRUE(boosting.RealAdaBoostClustering({}, nullptr, nullptr));
  for (MTH_MATRIX* features : {static_cast<MTH_MATRIX*>(nullptr), &none, &floats}) {
    EXPECT_EQ(boosting.Classify(features), nullptr);
  }
  EXPECT_EQ(display.messages.size(), 6U);
  bool lastAnswer = false;
  EXPECT_GT(mth_test::ForEachAllocationFault(
                [&] {
                  MTH_CLUSTERING_ADABOOST frail(&samples.features, &samples.labels, 2, &tree);
                  return frail.ModestAdaBoostClustering({}, nullptr, nullptr);
                },
                [&](bool isTrained) { lastAnswer = isTrained; }),
            20);
  EXPECT_TRUE(lastAnswer);
}

}  // namespace
