#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>

#include "clustering/credal_cases.h"
#include "mth/core/Mth_instruction_set_internal.h"
#include "support/recording_display.h"

namespace mth_test {
namespace {

TEST(Hypotheses, ComeBySizeThenInLexicographicOrder) {
  EXPECT_EQ(MTH_CLUSTERING(3, 1).GetHypotheses()->GetCount(), 0);
  for (int clusters = 1; clusters <= 6; ++clusters) {
    SCOPED_TRACE(clusters);
    const Engine engine = BuiltEngine(clusters);
    std::vector<Subset> subsets = SortedSubsets(clusters);
    subsets[0] = {0};
    const int count = static_cast<int>(subsets.size());
    ASSERT_EQ(engine->GetHypotheses()->GetCount(), count);
    for (int j = 0; j < count; ++j) {
      Subset& subset = subsets[static_cast<std::size_t>(j)];
      EXPECT_EQ(*engine->GetHypotheses()->Get(j), subset);
      EXPECT_EQ(engine->GetCardH()[j], j == 0 ? 0 : static_cast<int>(subset.size()));
      EXPECT_EQ(engine->FindHypothesisIndex(&subset), j);
      const bool isFirstOfSize =
          j == 0 || (subset.size() > 1 && subsets[static_cast<std::size_t>(j - 1)].size() < subset.size());
      EXPECT_EQ(engine->findHypothese(&subset), isFirstOfSize ? j : -1);
      for (int k = -1; k <= clusters; ++k) {
        EXPECT_EQ(engine->BelongsToHypothese(j, k), k >= 0 && Contains(subset, k + 1));
        EXPECT_EQ(engine->BelongsToHypothese(j, k, 0),
                  k >= 0 && Contains(subset, k + 1) && Contains(subset, 1));
      }
      for (int k = 0; k < count; ++k) {
        Subset expected = Shared(subset, subsets[static_cast<std::size_t>(k)]);
        Subset shared;
        EXPECT_EQ(engine->HypotheseIntersection(j, k), static_cast<int>(expected.size()));
        EXPECT_EQ(engine->HypotheseIntersection(j, k, &shared), static_cast<int>(expected.size()));
        EXPECT_EQ(shared, expected);
        EXPECT_EQ(engine->HypotheseIntersection(j, k, &shared),
                  static_cast<int>(2 * expected.size()));  // appended
      }
      const double size = static_cast<double>(subset.size());
      for (int d = 0; d < 2; ++d) {
        double sum = 0.0;
        for (int number : subset) sum += number == 0 ? 0.0 : engine->GetCentroid(number - 1)->Get(d, 0);
        EXPECT_DOUBLE_EQ(engine->GethypothesesCenters()->Get(j, d), sum / size);
      }
    }
    Subset unknown{clusters, clusters + 1};
    EXPECT_EQ(engine->FindHypothesisIndex(&unknown), -1);
    for (int outside : {-1, count}) {
      EXPECT_FALSE(engine->BelongsToHypothese(outside, 0));
      EXPECT_EQ(engine->HypotheseIntersection(outside, 0), 0);
    }
    EXPECT_EQ(engine->HypotheseIntersection(1, 1, nullptr), 0);
    EXPECT_EQ(engine->findHypothese(nullptr), -1);
    EXPECT_EQ(engine->FindHypothesisIndex(nullptr), -1);
  }
}

TEST(Hypotheses, DistancesHaveTheirValuesAndTexts) {
  RecordingDisplay display;
  const Engine engine = BuiltEngine(2);  // centroids (1, 0) and (2, 3)
  MTH_MATRIX weights = Matrix({{2.0, 1.0}, {0.0, 3.0}});
  EXPECT_DOUBLE_EQ(engine->GetSampleDistanceToHypothese(0, 0), std::sqrt(0.5));
  EXPECT_DOUBLE_EQ(engine->GetSampleDistanceToHypothese(1, 3), std::hypot(5.5, -2.5));
  EXPECT_DOUBLE_EQ(engine->GetSampleMahalanobisDistanceToHypothese(1, 3, &weights),
                   2.0 * 5.5 * 5.5 - 5.5 * 2.5 + 3.0 * 2.5 * 2.5);
  double moved[] = {5.0, 6.0};
  engine->InitialiseCentroid(0, moved, 2);
  EXPECT_DOUBLE_EQ(engine->GetSampleDistanceToHypothese(0, 1), std::sqrt(0.5));  // the centres wait
  engine->CalculCentresHypotheses();
  EXPECT_DOUBLE_EQ(engine->GetSampleDistanceToHypothese(0, 1), std::hypot(4.5, 5.5));
  engine->OutlierProportion();
  double sum = 0.0;
  for (int i = 0; i < 2; ++i) {
    for (int k = 0; k < 2; ++k) sum += engine->GetSampleDistanceToCentroid(i, k);
  }
  EXPECT_DOUBLE_EQ(engine->GetDelta(), 2.0 * sum / 4.0);
  EXPECT_TRUE(display.messages.empty());

  const std::string sampleText =
      "MTH_CLUSTERING::GetSampleDistanceToHypothese : Indice de l'échantillon hors limite!";
  const std::string hypothesisText =
      "MTH_CLUSTERING::GetSampleDistanceToHypothese : Indice de l'hypothese hors limite!";
  const struct {
    int i;
    int j;
    std::string text;
  } cases[] = {{2, 4, sampleText}, {-1, 0, sampleText}, {0, 4, hypothesisText}, {1, -1, hypothesisText}};
  for (const auto& [i, j, text] : cases) {
    display.messages.clear();
    EXPECT_EQ(engine->GetSampleDistanceToHypothese(i, j), kNoDistance);
    EXPECT_EQ(engine->GetSampleMahalanobisDistanceToHypothese(i, j, &weights), kNoDistance);
    EXPECT_EQ(display.messages, (std::vector<ShownMessage>(2, Information(text))));
  }
  display.messages.clear();
  EXPECT_EQ(engine->GetSampleMahalanobisDistanceToHypothese(0, 0, nullptr), kNoDistance);
  const Engine unbuilt = WithMasses(RandomMasses(2, 2, 1), 2);
  EXPECT_EQ(unbuilt->GetSampleDistanceToHypothese(0, 1), kNoDistance);
  EXPECT_TRUE(display.messages.empty());
}

TEST(Hypotheses, EvidentialSamplesBringOneMassEach) {
  RecordingDisplay display;
  MTH_CLUSTERING engine(3, 2);
  double values[8] = {};
  const auto add = [&](int features, int masses) {
    MTH_CLUSTERING_SAMPLE sample(values, features, values, masses);
    return engine.AddEvidentialSample(&sample);
  };
  EXPECT_TRUE(add(2, 8));
  EXPECT_FALSE(add(1, 3));
  EXPECT_FALSE(add(1, 8));
  EXPECT_FALSE(engine.AddEvidentialSample(nullptr));
  EXPECT_EQ(engine.GetSamplesCount(), 1);
  const std::vector<ShownMessage> expected{
      Information(
          "MTH_CLUSTERING::AddEvidentialSample : la masse mi() associée à l'echantillon est incompatible!"),
      Information("MTH_CLUSTERING::AddSample : le nombre de dimensions est incompatible!")};
  EXPECT_EQ(display.messages, expected);
}

TEST(Beliefs, PartitionsKeepTheirIdentities) {
  for (int clusters = 1; clusters <= 5; ++clusters) {
    SCOPED_TRACE(clusters);
    const MTH_MATRIX masses = RandomMasses(40, clusters, static_cast<unsigned>(clusters));
    const Engine engine = WithMasses(masses, clusters);
    ASSERT_TRUE(engine->initPignisticPartition());
    ASSERT_TRUE(engine->initPlausibilityPartition());
    const std::vector<Subset> subsets = SortedSubsets(clusters);
    const MTH_MATRIX& pignistic = *engine->GetPignisticPartition();
    const MTH_MATRIX& plausibility = *engine->GetPlausibilityPartition();
    ASSERT_EQ(pignistic.GetNbCols(), clusters);
    ASSERT_EQ(plausibility.GetNbCols(), 1 << clusters);
    for (int i = 0; i < 40; ++i) {
      EXPECT_EQ(plausibility.Get(i, 0), 0.0);
      EXPECT_NEAR(RowSum(pignistic, i), 1.0, 1e-14);
      EXPECT_NEAR(plausibility.Get(i, (1 << clusters) - 1), 1.0 - masses.Get(i, 0), 1e-14);
      for (int j = 1; j < 1 << clusters; ++j) {
        double contained = 0.0;  // in the complement: what j is not plausible of
        for (std::size_t k = 1; k < subsets.size(); ++k) {
          if (Shared(subsets[k], subsets[static_cast<std::size_t>(j)]).empty())
            contained += masses.Get(i, static_cast<int>(k));
        }
        EXPECT_NEAR(plausibility.Get(i, j), 1.0 - masses.Get(i, 0) - contained, 1e-14);
        EXPECT_GE(plausibility.Get(i, j), masses.Get(i, j));
      }
      for (int k = 0; k < clusters; ++k) {
        double share = 0.0;
        for (std::size_t j = 1; j < subsets.size(); ++j) {
          if (Contains(subsets[j], k + 1))
            share += masses.Get(i, static_cast<int>(j)) / static_cast<double>(subsets[j].size());
        }
        EXPECT_NEAR(pignistic.Get(i, k), share / (1.0 - masses.Get(i, 0)), 1e-14);
        EXPECT_LE(pignistic.Get(i, k), plausibility.Get(i, k + 1) / (1.0 - masses.Get(i, 0)) + 1e-14);
      }
    }
  }
}

// The sum over all sets that meet a set, set by set. Sums of other orders, so that only rounding differs; but
// 0 where nothing meets, and never less than a part.
TEST(Beliefs, PlausibilitiesAreTheSumsOfWhatMeets) {
  using mth_internal::InstructionSet;
  for (const auto& [clusters, rows] :
       {std::pair(0, 2), std::pair(1, 3), std::pair(2, 8), std::pair(5, 9), std::pair(7, 1)}) {
    SCOPED_TRACE(clusters);
    MTH_MATRIX masses = RandomMasses(rows, clusters, 8);
    if (clusters == 2) {
      for (int j = 0; j < 4; ++j) masses.Set(3, j, j == 1 ? 1.0 : 0.0);
      masses.Set(4, 1, std::nan(""));
    }
    const Engine engine = WithMasses(masses, clusters);
    ASSERT_TRUE(engine->initPlausibilityPartition());
    const MTH_MATRIX plausibility = *engine->GetPlausibilityPartition();
    const std::vector<Subset> subsets = SortedSubsets(clusters);
    for (int i = 0; i < rows; ++i) {
      for (std::size_t j = 0; j < subsets.size(); ++j) {
        double expected = 0.0;
        for (std::size_t k = 1; k < subsets.size(); ++k) {
          if (!Shared(subsets[j], subsets[k]).empty()) expected += masses.Get(i, static_cast<int>(k));
        }
        const double actual = plausibility.Get(i, static_cast<int>(j));
        if (std::isnan(expected)) {
          EXPECT_TRUE(std::isnan(actual)) << i << " " << j;
        } else {
          EXPECT_NEAR(actual, expected, 1e-15 * expected * std::max(clusters, 1)) << i << " " << j;
        }
      }
    }
    for (auto set : {InstructionSet::Baseline, InstructionSet::Avx2}) {
      const mth_internal::InstructionSetScope scope(set);
      ASSERT_TRUE(engine->initPlausibilityPartition());
      EXPECT_TRUE(SameBits(*engine->GetPlausibilityPartition(), plausibility));
    }
  }
}

TEST(Beliefs, DecisionsTakeTheLastOfEqualOnes) {
  const MTH_MATRIX masses = Matrix({{0.3, 0.3, 0.2, 0.2},      // pignistic 4/7, 3/7
                                    {0.25, 0.25, 0.25, 0.25},  // 1/2, 1/2
                                    {1.0, 0.0, 0.0, 0.0},      // not finite
                                    {0.0, 0.0, 0.75, 0.25}});
  const Engine engine = WithMasses(masses, 2);
  const int largest[] = {1, 3, 0, 2};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(engine->MaxBeliefDecision(i), largest[i]) << i;
  EXPECT_EQ(engine->GetBeliefValue(3, 2), 0.75);
  EXPECT_EQ(engine->GetBeliefValue(4, 0) + engine->GetBeliefValue(0, -1), 0.0);
  EXPECT_EQ(engine->MaxPignisticDecision(0), -1);
  EXPECT_EQ(engine->PignisticDecision(0, 0.1), -1);
  ASSERT_TRUE(engine->initPignisticPartition());
  EXPECT_EQ(engine->MaxPignisticDecision(0), 0);
  EXPECT_EQ(engine->MaxPignisticDecision(1), 1);
  EXPECT_EQ(engine->MaxPignisticDecision(3), 1);
  EXPECT_TRUE(std::isnan(engine->GetPignisticPartition()->Get(2, 0)));
  const struct {
    int sample;
    double threshold;
    int decision;
  } cases[] = {{0, 0.5, 0}, {0, 0.4, 1}, {0, 0.9, 0}, {1, 0.5, 1}, {3, 0.8, 1}, {3, 0.95, 0}};
  for (const auto& [sample, threshold, decision] : cases) {
    EXPECT_EQ(engine->PignisticDecision(sample, threshold), decision) << sample << " at " << threshold;
  }
  for (int outside : {-1, 4}) {
    EXPECT_EQ(engine->MaxBeliefDecision(outside), -1);
    EXPECT_EQ(engine->MaxPignisticDecision(outside), -1);
    EXPECT_EQ(engine->PignisticDecision(outside, 0.0), -1);
  }
  MTH_CLUSTERING fresh(2, 1);
  EXPECT_EQ(fresh.MaxBeliefDecision(0), -1);
  EXPECT_EQ(fresh.GetBeliefValue(0, 0), 0.0);
  EXPECT_FALSE(fresh.initPignisticPartition());
  EXPECT_FALSE(fresh.initPlausibilityPartition());
}

TEST(Beliefs, OnlyAPartitionOfTheSamplesIsTaken) {
  const MTH_MATRIX masses = RandomMasses(3, 2, 1);
  const Engine engine = WithMasses(masses, 2);
  for (const auto& [rows, columns] : {std::pair(2, 4), std::pair(3, 3), std::pair(4, 3), std::pair(0, 0)}) {
    MTH_MATRIX misfit(rows, columns, kDouble);
    misfit.SetZero();
    engine->SetCredalPartition(&misfit);
  }
  engine->SetCredalPartition(nullptr);
  EXPECT_TRUE(SameBits(*engine->GetCredalPartition(), masses));
  MTH_MATRIX floats = RandomMasses(3, 2, 2, kFloat);
  engine->SetCredalPartition(&floats);
  EXPECT_EQ(engine->GetBeliefValue(2, 1), floats.Get(2, 1));
  EXPECT_TRUE(engine->initPlausibilityPartition());
  engine->GetCredalPartition()->Desallocate();  // nothing that a host does to it is worse than having none
  EXPECT_FALSE(engine->initPignisticPartition());
  EXPECT_EQ(engine->CredalConjFusion(&floats), nullptr);
}

TEST(Beliefs, DiscountingMovesMassToTheWholeSet) {
  const MTH_MATRIX masses = RandomMasses(5, 3, 7);
  const Engine engine = WithMasses(masses, 3);
  for (double refused : {0.0, 1.0, -0.5, 1.5, std::nan("")})
    EXPECT_FALSE(engine->WeakenCredalPartition(refused));
  EXPECT_TRUE(SameBits(*engine->GetCredalPartition(), masses));
  EXPECT_TRUE(engine->WeakenCredalPartition(0.75));
  for (int i = 0; i < 5; ++i) {
    MTH_MATRIX row(1, 8, kFloat);
    for (int j = 0; j < 8; ++j) row.Set(0, j, masses.Get(i, j));
    EXPECT_TRUE(engine->WeakenCredalFunction(&row, 0.75));
    for (int j = 0; j < 8; ++j) {
      const double expected = 0.75 * masses.Get(i, j) + (j == 7 ? 0.25 : 0.0);
      EXPECT_NEAR(engine->GetBeliefValue(i, j), expected, 1e-15);
      EXPECT_NEAR(row.Get(0, j), expected, 1e-7);
    }
    EXPECT_FALSE(engine->WeakenCredalFunction(&row, 1.0));
  }
  MTH_MATRIX two(2, 8, kDouble);
  MTH_MATRIX four(1, 4, kDouble);
  for (MTH_MATRIX* misfit : {&two, &four, static_cast<MTH_MATRIX*>(nullptr)}) {
    EXPECT_FALSE(engine->WeakenCredalFunction(misfit, 0.5));
  }
}

}  // namespace
}  // namespace mth_test
