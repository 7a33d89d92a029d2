#include <gtest/gtest.h>

#include <deque>
#include <limits>
#include <set>

#include "mth/clustering/Mth_subsets.h"
#include "support/matrices.h"
#include "support/recording_display.h"

namespace {

using Subset = std::vector<int>;

// Containers with some former content, and the list of them.
struct Containers {
  explicit Containers(int count) {
    for (int i = 0; i < count; ++i) list.Add(&subsets.emplace_back(Subset{-1, -2}));
  }
  std::deque<Subset> subsets;
  MTH_POINTER_LIST<Subset> list;
};

MTH_MATRIX Elements(int count) {
  return mth_test::FromRule(1, count, mth_test::kDouble, [](int, int j) { return j + 1; });
}

TEST(GenerateSubsets, ListsAllSubsetsBySizeThenLexicographically) {
  mth_test::RecordingDisplay display;
  for (int n = 0; n <= 10; ++n) {
    MTH_MATRIX elements = Elements(n);
    Containers containers(1 << n);
    ASSERT_TRUE(Mth_GenerateSubsets(&elements, &containers.list)) << n;
    for (std::size_t i = 1; i < containers.subsets.size(); ++i) {
      const Subset& former = containers.subsets[i - 1];
      const Subset& subset = containers.subsets[i];
      EXPECT_TRUE(former.size() < subset.size() || (former.size() == subset.size() && former < subset)) << i;
      EXPECT_EQ(std::set<int>(subset.begin(), subset.end()).size(), subset.size()) << i;
    }
    EXPECT_TRUE(containers.subsets.front().empty());
    EXPECT_EQ(containers.subsets.back().size(), static_cast<std::size_t>(n));
  }
  EXPECT_TRUE(display.messages.empty());
}

TEST(GenerateSubsets, TruncatesTheElementsOfTheFirstRow) {
  MTH_MATRIX elements = mth_test::Matrix({{3.9, -3.9, 1e300}});
  Containers containers(8);
  ASSERT_TRUE(Mth_GenerateSubsets(&elements, &containers.list));
  EXPECT_EQ(containers.subsets[7], (Subset{3, -3, std::numeric_limits<int>::max()}));
  elements.Set(0, 0, std::numeric_limits<double>::quiet_NaN());
  ASSERT_TRUE(Mth_GenerateSubsets(&elements, &containers.list));
  EXPECT_EQ(containers.subsets[1], Subset{0});
}

TEST(GenerateSubsets, RefusesWithItsMessages) {
  const auto invalid = mth_test::Information("Mth_GenerateSubsets :: Arguments invalides!");
  const auto size = mth_test::Information("Erreur : La taille de l'ensemble de parties est incompatible!");
  const auto missing = mth_test::Information("Erreur : Tous les sous-ensembles doivent etre préalloués!");
  mth_test::RecordingDisplay display;
  MTH_MATRIX elements = Elements(2);
  MTH_MATRIX many = Elements(33);
  MTH_MATRIX unallocated;
  Containers four(4);
  Containers three(3);
  Containers holed(3);
  holed.list.Insert(1, nullptr);
  EXPECT_FALSE(Mth_GenerateSubsets(nullptr, &four.list));
  EXPECT_FALSE(Mth_GenerateSubsets(&elements, nullptr));
  EXPECT_FALSE(Mth_GenerateSubsets(&unallocated, &four.list));
  EXPECT_FALSE(Mth_GenerateSubsets(&elements, &three.list));
  EXPECT_FALSE(Mth_GenerateSubsets(&many, &four.list));
  EXPECT_FALSE(Mth_GenerateSubsets(&elements, &holed.list));
  EXPECT_EQ(display.messages,
            (std::vector<mth_test::ShownMessage>{invalid, invalid, invalid, size, size, missing}));
  EXPECT_EQ(four.subsets[0], (Subset{-1, -2}));
  EXPECT_EQ(holed.subsets[0], (Subset{-1, -2}));
}

}  // namespace
