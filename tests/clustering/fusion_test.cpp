#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>

#include "clustering/credal_cases.h"
#include "mth/core/Mth_instruction_set_internal.h"
#include "support/recording_display.h"

namespace mth_test {
namespace {

void ExpectFused(const MTH_MATRIX& actual, const MTH_MATRIX& first, const MTH_MATRIX& second, Loss loss,
                 bool isDempster) {
  ASSERT_EQ(actual.GetNbRows(), first.GetNbRows());
  ASSERT_EQ(actual.GetNbCols(), first.GetNbCols());
  int clusters = 0;
  while (1 << clusters < first.GetNbCols()) ++clusters;
  const std::vector<Subset> subsets = SortedSubsets(clusters);
  for (int i = 0; i < first.GetNbRows(); ++i) {
    std::map<Subset, double> expected = Fused(first, second, i, loss);
    const double conflict = expected[Subset()];
    for (std::size_t j = 0; j < subsets.size(); ++j) {
      double mass = expected[subsets[j]];
      if (isDempster) mass = j == 0 ? 0.0 : mass / (1.0 - conflict);
      ASSERT_NEAR(actual.Get(i, static_cast<int>(j)), mass, 1e-14 / (1.0 - conflict)) << i << " " << j;
    }
  }
}

TEST(Fusion, AgreesWithTheRuleOverSets) {
  for (int clusters = 1; clusters <= 5; ++clusters) {
    SCOPED_TRACE(clusters);
    const MTH_MATRIX first = RandomMasses(30, clusters, 1);
    MTH_MATRIX second = RandomMasses(30, clusters, 2);
    const Engine engine = WithMasses(first, clusters);
    const MatrixPtr conjunctive(engine->CredalConjFusion(&second));
    const MatrixPtr conjunctiveExact(engine->CredalConjFusionExact(&second));
    const MatrixPtr dempster(engine->DempsterFusion(&second));
    const MatrixPtr dempsterExact(engine->DempsterFusionExact(&second));
    ExpectFused(*conjunctive, first, second, Loss::OfLaterSubsets, false);
    ExpectFused(*conjunctiveExact, first, second, Loss::None, false);
    ExpectFused(*dempster, first, second, Loss::OfLaterSubsets, true);
    ExpectFused(*dempsterExact, first, second, Loss::None, true);
    double lost = 0.0;
    for (int i = 0; i < 30; ++i) {
      EXPECT_NEAR(RowSum(*conjunctiveExact, i), 1.0, 1e-14);
      EXPECT_NEAR(RowSum(*dempsterExact, i), 1.0, 1e-13);
      lost += 1.0 - RowSum(*conjunctive, i);
    }
    EXPECT_EQ(lost > 0.1, clusters >= 3) << lost;
    EXPECT_GT(lost, -1e-12);
  }
}

// Beyond five clusters the exact rules go by sums over subsets: the same masses to rounding, none below 0, on
// every instruction set the same bits.
TEST(Fusion, ExactRulesOfManyClustersAgreeWithTheRuleOverSets) {
  using mth_internal::InstructionSet;
  for (const auto& [clusters, rows] : {std::pair(6, 3), std::pair(7, 1), std::pair(11, 9)}) {
    SCOPED_TRACE(clusters);
    const MTH_MATRIX first = RandomMasses(rows, clusters, 1);
    MTH_MATRIX second = RandomMasses(rows, clusters, 2);
    const Engine engine = WithMasses(first, clusters);
    const MatrixPtr conjunctive(engine->CredalConjFusionExact(&second));
    const MatrixPtr dempster(engine->DempsterFusionExact(&second));
    if (clusters < 8) {
      ExpectFused(*conjunctive, first, second, Loss::None, false);
      ExpectFused(*dempster, first, second, Loss::None, true);
    }
    for (int i = 0; i < rows; ++i) {
      EXPECT_NEAR(RowSum(*conjunctive, i), 1.0, 1e-12);
      EXPECT_NEAR(RowSum(*dempster, i), 1.0, 1e-12);
      for (int j = 0; j < 1 << clusters; ++j) ASSERT_GE(conjunctive->Get(i, j), 0.0);
    }
    for (auto set : {InstructionSet::Baseline, InstructionSet::Avx2}) {
      const mth_internal::InstructionSetScope scope(set);
      EXPECT_TRUE(SameBits(*MatrixPtr(engine->CredalConjFusionExact(&second)), *conjunctive));
      EXPECT_TRUE(SameBits(*MatrixPtr(engine->DempsterFusionExact(&second)), *dempster));
    }
  }
}

// Half of the mass on the whole set, a quarter on each of two clusters: known without sums over sets.
TEST(Fusion, TakesTheMostClustersThatThereCanBe) {
  constexpr int kClusters = 20;
  constexpr int kAll = (1 << kClusters) - 1;
  constexpr int kBoth = kClusters + 1;
  MTH_MATRIX masses = FromRule(1, kAll + 1, kDouble, [](int, int j) {
    return j == kAll ? 0.5 : j == 1 || j == 2 ? 0.25 : 0.0;
  });
  const Engine engine = WithMasses(masses, kClusters);
  const MatrixPtr fused(engine->CredalConjFusionExact(&masses));
  const MTH_MATRIX expected = FromRule(1, kAll + 1, kDouble, [](int, int j) {
    return j == kAll ? 0.25 : j == 1 || j == 2 ? 0.3125 : j == 0 ? 0.125 : 0.0;
  });
  EXPECT_TRUE(Near(*fused, expected, 1e-12));
  ASSERT_TRUE(engine->initPlausibilityPartition());
  for (const auto& [set, plausibility] : {std::pair(0, 0.0), {1, 0.75}, {3, 0.5}, {kBoth, 1.0}, {kAll, 1.0}})
    EXPECT_NEAR(engine->GetPlausibilityPartition()->Get(0, set), plausibility, 1e-12) << set;
}

// All four rules in the order that fixes their roundings, on every instruction set and around the kernels'
// sizes.
TEST(Fusion, EveryInstructionSetGivesTheBitsOfThePlainLoop) {
  using mth_internal::InstructionSet;
  for (int rows : {1, 7, 8, 9, 101, 203}) {
    const int clusters = 2 + rows % 3;
    const MTH_MATRIX first = RandomMasses(rows, clusters, 3);
    MTH_MATRIX second = RandomMasses(rows, clusters, 4);
    const Engine engine = WithMasses(first, clusters);
    const Engine names = BuiltEngine(clusters);
    for (const bool isExact : {false, true}) {
      for (const bool isDempster : {false, true}) {
        MTH_MATRIX expected(rows, 1 << clusters, kDouble);
        expected.SetZero();
        for (int i = 0; i < rows; ++i) {
          const auto product = [&](int j, int k) { return first.Get(i, j) * second.Get(i, k); };
          double conflict = 0.0;
          for (int j = 0; j < 1 << clusters; ++j) {
            for (int k = j; k < 1 << clusters; ++k) {
              std::vector<int> shared;
              if (names->HypotheseIntersection(j, k, &shared) == 0) conflict += product(j, k) + product(k, j);
              if (shared.empty() || j == 0) continue;
              const int target = shared.size() == 1 ? shared[0]
                                 : isExact          ? names->FindHypothesisIndex(&shared)
                                                    : names->findHypothese(&shared);
              if (target < 0) continue;
              expected.Set(i, target, expected.Get(i, target) + product(j, k));
              if (j != k) expected.Set(i, target, expected.Get(i, target) + product(k, j));
            }
          }
          conflict = product(0, 0) + conflict;
          expected.Set(i, 0, isDempster ? 0.0 : conflict);
          for (int j = 1; isDempster && j < 1 << clusters; ++j)
            expected.Set(i, j, expected.Get(i, j) * (1.0 / (1.0 - conflict)));
        }
        for (auto set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
          const mth_internal::InstructionSetScope scope(set);
          const MatrixPtr fused(
              isDempster
                  ? (isExact ? engine->DempsterFusionExact(&second) : engine->DempsterFusion(&second))
                  : (isExact ? engine->CredalConjFusionExact(&second) : engine->CredalConjFusion(&second)));
          ASSERT_TRUE(SameBits(*fused, expected)) << rows << isExact << isDempster;
        }
      }
    }
  }
}

// Zadeh's, 1979: two doctors who agree only on what both hold for improbable. And two sources that are partly
// undecided, worked out by hand.
TEST(Fusion, KnownExamples) {
  const MTH_MATRIX meningitis = Matrix({{0.0, 0.99, 0.01, 0.0, 0.0, 0.0, 0.0, 0.0}});
  MTH_MATRIX concussion = Matrix({{0.0, 0.0, 0.01, 0.99, 0.0, 0.0, 0.0, 0.0}});
  const Engine doctors = WithMasses(meningitis, 3);
  const MatrixPtr unanimous(doctors->DempsterFusionExact(&concussion));
  EXPECT_NEAR(unanimous->Get(0, 2), 1.0, 1e-11);
  const MatrixPtr conflict(doctors->CredalConjFusionExact(&concussion));
  EXPECT_NEAR(conflict->Get(0, 0), 0.9999, 1e-15);
  EXPECT_NEAR(conflict->Get(0, 2), 0.0001, 1e-15);

  const MTH_MATRIX first = Matrix({{0.0, 0.6, 0.0, 0.4}});
  MTH_MATRIX second = Matrix({{0.0, 0.0, 0.7, 0.3}});
  const Engine sources = WithMasses(first, 2);
  const MatrixPtr fused(sources->DempsterFusion(&second));
  EXPECT_TRUE(Near(*fused, Matrix({{0.0, 0.18 / 0.58, 0.28 / 0.58, 0.12 / 0.58}}), 1e-15));

  // A source that knows nothing changes nothing; total conflict has no answer.
  MTH_MATRIX nothing = Matrix({{0.0, 0.0, 0.0, 1.0}});
  EXPECT_TRUE(Near(*MatrixPtr(sources->DempsterFusionExact(&nothing)), first, 1e-15));
  MTH_MATRIX outlier = Matrix({{1.0, 0.0, 0.0, 0.0}});
  const MatrixPtr undefined(sources->DempsterFusionExact(&outlier));
  EXPECT_TRUE(std::isnan(undefined->Get(0, 1)));
  EXPECT_EQ(undefined->Get(0, 0), 0.0);

  // A sample that came after the partition has no row.
  const double late = 0.0;
  ASSERT_TRUE(sources->AddSamples(&late, 1));
  MTH_MATRIX three = RandomMasses(3, 2, 1);
  for (const MatrixPtr& rows :
       {MatrixPtr(sources->CredalConjFusion(&three)), MatrixPtr(sources->DempsterFusion(&second))})
    EXPECT_EQ(rows->GetNbRows(), 1);
  EXPECT_EQ(MatrixPtr(sources->DempsterFusion(&three)), nullptr);
}

TEST(Fusion, ShowsAStepEveryHundredSamples) {
  RecordingDisplay display;
  MTH_MATRIX masses = RandomMasses(301, 2, 5);
  const Engine engine = WithMasses(masses, 2);
  const MatrixPtr conjunctive(engine->CredalConjFusion(&masses));
  const MatrixPtr dempster(engine->DempsterFusionExact(&masses));
  const char* const titles[] = {"Fusion Conjonctive...", "Fusion de Dempster..."};
  ASSERT_EQ(display.windows.size(), 2U);
  for (std::size_t n = 0; n < 2; ++n) {
    const ShownProgress& window = *display.windows[n];
    EXPECT_EQ(window.title, titles[n]);
    EXPECT_EQ(window.maximum, 15);
    EXPECT_EQ(window.actions, (std::vector<std::string>{"0", "100", "200", "300"}));
    EXPECT_TRUE(window.wasShown && window.isClosed);
  }
}

TEST(Fusion, RefusesOrFillsWhatDoesNotFit) {
  RecordingDisplay display;
  const MTH_MATRIX masses = RandomMasses(4, 2, 6);
  const Engine engine = WithMasses(masses, 2);
  MTH_MATRIX floats = RandomMasses(4, 2, 7, kFloat);
  MTH_MATRIX doubles(4, 4, kDouble);
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) doubles.Set(i, j, floats.Get(i, j));
  }
  EXPECT_TRUE(
      SameBits(*MatrixPtr(engine->DempsterFusion(&floats)), *MatrixPtr(engine->DempsterFusion(&doubles))));
  MTH_MATRIX small = Matrix({{0.2, 0.3, 0.5}});
  MTH_MATRIX filled =
      Matrix({{0.2, 0.3, 0.5, 0.0}, {0.0, 0.0, 0.0, 0.0}, {0.0, 0.0, 0.0, 0.0}, {0.0, 0.0, 0.0, 0.0}});
  EXPECT_TRUE(
      SameBits(*MatrixPtr(engine->CredalConjFusion(&small)), *MatrixPtr(engine->CredalConjFusion(&filled))));
  EXPECT_EQ(engine->DempsterFusion(&small), nullptr);
  EXPECT_EQ(engine->DempsterFusionExact(&small), nullptr);
  MTH_MATRIX unallocated;
  for (MTH_MATRIX* missing : {&unallocated, static_cast<MTH_MATRIX*>(nullptr)}) {
    EXPECT_EQ(engine->CredalConjFusion(missing), nullptr);
    EXPECT_EQ(engine->CredalConjFusionExact(missing), nullptr);
    EXPECT_EQ(engine->DempsterFusion(missing), nullptr);
  }
  const Engine unconverged = BuiltEngine(2);
  MTH_MATRIX two = RandomMasses(2, 2, 8);
  EXPECT_EQ(unconverged->DempsterFusion(&two), nullptr);
  EXPECT_NE(MatrixPtr(unconverged->CredalConjFusion(&two)), nullptr);
  EXPECT_TRUE(display.messages.empty());
}

}  // namespace
}  // namespace mth_test
