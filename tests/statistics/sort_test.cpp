#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <functional>
#include <limits>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

#include "mth/statistics/Mth_sort.h"
#include "mth/statistics/Mth_sort_internal.h"
#include "mth/value/Mth_3d_double.h"
#include "support/allocation_faults.h"
#include "support/recording_display.h"
#include "support/values.h"

namespace {

using mth_test::kInfinity;
using mth_test::kNaN;

template <class T>
bool SameBits(const std::vector<T>& a, const std::vector<T>& b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0);
}

// The exchange sort, pair by pair.
std::vector<double> Exchanged(std::vector<double> a, bool ascending) {
  for (std::size_t i = 0; i < a.size(); ++i) {
    for (std::size_t j = i + 1; j < a.size(); ++j) {
      if (ascending ? a[i] > a[j] : a[i] < a[j]) std::swap(a[i], a[j]);
    }
  }
  return a;
}

// The companion quicksort one entry at a time, with recursion for its stack: parts are disjoint, so the order
// in which they are taken does not show. Answers how many parts wait at one time when the larger ones do.
template <class T>
int QuicksortPlainly(std::vector<T>& a, std::vector<T>& b, std::ptrdiff_t l, std::ptrdiff_t ir) {
  const auto swap = [&](std::ptrdiff_t i, std::ptrdiff_t j) {
    std::swap(a[static_cast<std::size_t>(i)], a[static_cast<std::size_t>(j)]);
    std::swap(b[static_cast<std::size_t>(i)], b[static_cast<std::size_t>(j)]);
  };
  const auto at = [&](std::ptrdiff_t i) { return a[static_cast<std::size_t>(i)]; };
  if (ir - l < 7) {
    for (std::ptrdiff_t j = l + 1; j <= ir; ++j) {
      for (std::ptrdiff_t i = j; i > l && at(i - 1) > at(i); --i) swap(i - 1, i);
    }
    return 0;
  }
  swap((l + ir) / 2, l + 1);
  if (at(l) > at(ir)) swap(l, ir);
  if (at(l + 1) > at(ir)) swap(l + 1, ir);
  if (at(l) > at(l + 1)) swap(l, l + 1);
  const T pivot = at(l + 1);
  std::ptrdiff_t i = l + 1;
  std::ptrdiff_t j = ir;
  for (;;) {
    do ++i;
    while (at(i) < pivot);
    do --j;
    while (at(j) > pivot);
    if (j < i) break;
    swap(i, j);
  }
  swap(l + 1, j);
  const int waitingBelow = QuicksortPlainly(a, b, l, j - 1);
  const int waitingAbove = QuicksortPlainly(a, b, i, ir);
  return ir - i + 1 >= j - l ? std::max(waitingBelow + 1, waitingAbove)
                             : std::max(waitingBelow, waitingAbove + 1);
}

template <class T>
std::vector<T> Numbered(std::size_t count) {
  std::vector<T> numbers(count);
  std::iota(numbers.begin(), numbers.end(), T{0});
  return numbers;
}

using Pattern = std::function<double(int i, int n, std::mt19937& engine)>;
const std::pair<const char*, Pattern> kPatterns[] = {
    {"random", [](int, int, std::mt19937& engine) { return std::ldexp(static_cast<double>(engine()), -32); }},
    {"many ties", [](int, int, std::mt19937& engine) { return static_cast<double>(engine() % 5) / 4.0; }},
    {"sorted", [](int i, int, std::mt19937&) { return i; }},
    {"reversed", [](int i, int n, std::mt19937&) { return n - i; }},
    {"equal", [](int, int, std::mt19937&) { return 7.0; }},
    {"organ pipe", [](int i, int n, std::mt19937&) { return std::min(i, n - i); }},
    {"saw", [](int i, int, std::mt19937&) { return i % 13; }},
    {"with NaN and zeros of both signs",
     [](int i, int, std::mt19937& engine) {
       const double values[] = {kNaN, 0.0, -0.0, -kInfinity, kInfinity, 1.0 * i};
       return values[engine() % 6];
     }},
};

TEST(Sort, OneArrayLiesAsTheExchangesLeaveIt) {
  std::mt19937 engine(11);
  const double alphabet[] = {-2.0, -1.0, -0.0, 0.0, 1.0, 2.0, kInfinity, -kInfinity, kNaN};
  for (std::size_t n = 0; n < 40; ++n) {
    for (const std::size_t letters : {4u, 6u, 9u, 9u, 9u}) {
      std::vector<double> a(n);
      std::generate(a.begin(), a.end(), [&] { return alphabet[engine() % letters]; });
      for (const bool ascending : {true, false}) {
        std::vector<double> sorted = a;
        Mth_Sort(static_cast<int>(n), sorted.data(), ascending);
        EXPECT_TRUE(SameBits(sorted, Exchanged(a, ascending))) << n << ' ' << letters << ' ' << ascending;
        std::vector<double> sortedWithoutMemory = a;
        {
          const mth_test::AllocationFaults faults(0);
          Mth_Sort(static_cast<int>(n), sortedWithoutMemory.data(), ascending);
        }
        EXPECT_TRUE(SameBits(sortedWithoutMemory, sorted));
      }
    }
  }
  std::vector<int> a = {5, std::numeric_limits<int>::max(), -3, 5, std::numeric_limits<int>::min(), 0};
  Mth_Sort(6, a.data(), false);
  EXPECT_TRUE(std::is_sorted(a.rbegin(), a.rend()));
  Mth_Sort(6, a.data(), true);
  EXPECT_TRUE(std::is_sorted(a.begin(), a.end()));
  const std::vector<int> before = a;
  for (const int n : {-1, 0, 1}) Mth_Sort(n, a.data(), false);
  EXPECT_EQ(a, before);
}

template <class T>
void CompareWithPlainQuicksort() {
  std::mt19937 engine(17);
  for (const auto& [name, pattern] : kPatterns) {
    for (const int n : {0, 1, 2, 7, 8, 9, 25, 26, 100, 257, 300, 1000, 5000}) {
      std::vector<T> a(static_cast<std::size_t>(n));
      for (int i = 0; i < n; ++i) a[static_cast<std::size_t>(i)] = static_cast<T>(pattern(i, n, engine));
      std::vector<T> b = Numbered<T>(a.size());
      std::vector<T> expected = a;
      std::vector<T> expectedCompanions = b;
      std::vector<T> alone = a;
      QuicksortPlainly(expected, expectedCompanions, 0, n - 1);
      EXPECT_TRUE(Mth_Sort(n, a.data(), b.data()));
      EXPECT_TRUE(SameBits(a, expected)) << name << ' ' << n;
      EXPECT_EQ(b, expectedCompanions) << name << ' ' << n;
      EXPECT_TRUE(Mth_Sort(n, alone.data(), alone.data()));
      EXPECT_TRUE(SameBits(alone, expected)) << name << ' ' << n;
    }
  }
}

TEST(Sort, CompanionsFollowThePlainQuicksortAlsoAmongEqualKeys) {
  CompareWithPlainQuicksort<double>();
  CompareWithPlainQuicksort<float>();
}

TEST(Sort, LargeArraysOfAnyPatternComeSortedWithTheirCompanions) {
  std::mt19937 engine(23);
  constexpr int kCount = 1 << 20;
  for (const auto& [name, pattern] : kPatterns) {
    std::vector<double> keys(kCount);
    for (int i = 0; i < kCount; ++i) keys[static_cast<std::size_t>(i)] = pattern(i, kCount, engine);
    std::replace_if(
        keys.begin(), keys.end(), [](double key) { return std::isnan(key); }, 0.5);
    std::vector<double> a = keys;
    std::vector<double> b = Numbered<double>(keys.size());
    ASSERT_TRUE(Mth_Sort(kCount, a.data(), b.data())) << name;
    EXPECT_TRUE(std::is_sorted(a.begin(), a.end())) << name;
    std::vector<bool> isMet(keys.size());
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < b.size(); ++i) {
      const auto from = static_cast<std::size_t>(b[i]);
      wrong += isMet[from] || keys[from] != a[i] ? 1 : 0;
      isMet[from] = true;
    }
    EXPECT_EQ(wrong, 0u) << name;
  }
}

TEST(Sort, RefusesMoreWaitingPartsThanItHoldsAndKeepsThePairs) {
  std::mt19937 engine(29);
  std::vector<double> a(1000);
  for (double& key : a) key = static_cast<double>(engine());
  const std::vector<double> keys = a;
  std::vector<double> b = Numbered<double>(a.size());
  const int waiting = QuicksortPlainly(a, b, 0, 999);
  a = keys;
  b = Numbered<double>(a.size());
  mth_test::RecordingDisplay display;
  EXPECT_FALSE(mth_internal::SortWithCompanions(1000, a.data(), b.data(), waiting - 1));
  EXPECT_EQ(display.messages, std::vector({mth_test::ShownMessage{"Augmenter nstack dans Mth_Sort",
                                                                  MessageKind::Information, "Quorvan"}}));
  for (std::size_t i = 0; i < a.size(); ++i) ASSERT_EQ(a[i], keys[static_cast<std::size_t>(b[i])]);
  EXPECT_FALSE(std::is_sorted(a.begin(), a.end()));
  a = keys;
  EXPECT_TRUE(mth_internal::SortWithCompanions(1000, a.data(), b.data(), waiting));
  EXPECT_TRUE(std::is_sorted(a.begin(), a.end()));
  EXPECT_EQ(display.messages.size(), 1u);
}

TEST(Sort, NullArraysChangeNothing) {
  double a[] = {2, 1};
  float b[] = {2, 1};
  double s = -1.0;
  Mth_Sort(2, static_cast<int*>(nullptr), true);
  Mth_Sort(2, static_cast<double*>(nullptr), false);
  EXPECT_FALSE(Mth_Sort(2, a, static_cast<double*>(nullptr)));
  EXPECT_FALSE(Mth_Sort(2, static_cast<float*>(nullptr), b));
  EXPECT_TRUE(Mth_Sort(0, static_cast<double*>(nullptr), static_cast<double*>(nullptr)));
  Mth_ReplaceByRank(2, a, nullptr);
  Mth_ReplaceByRank(2, nullptr, &s);
  EXPECT_EQ(s, 0.0);
  EXPECT_EQ(std::pair(a[0], b[0]), std::pair(2.0, 2.0f));
}

TEST(Sort, RanksStartAt0AndTiesShareTheirMean) {
  struct Case {
    std::vector<double> sorted;
    std::vector<double> ranks;
    double ties;
  };
  const Case cases[] = {
      {{}, {}, 0},
      {{4}, {0}, 0},
      {{1, 2, 2, 5}, {0, 1.5, 1.5, 3}, 6},
      {{3, 3, 3, 4, 4}, {1, 1, 1, 3.5, 3.5}, 24 + 6},
      {{-0.0, 0.0, 1}, {0.5, 0.5, 2}, 6},
      {{1, kNaN, kNaN}, {0, 1, 2}, 0},
      // 200,000 equal values: t^3 - t is beyond 32 bits, and exact in double.
      {std::vector<double>(200000, 2.0), std::vector<double>(200000, 99999.5), 8e15 - 2e5},
  };
  for (const Case& c : cases) {
    std::vector<double> w = c.sorted;
    double s = -1.0;
    Mth_ReplaceByRank(static_cast<int>(w.size()), w.data(), &s);
    EXPECT_EQ(w, c.ranks) << w.size();
    EXPECT_EQ(s, c.ties) << w.size();
  }
}

TEST(Sort, DistinctValuesComeLargestFirst) {
  const std::pair<std::vector<double>, std::vector<double>> cases[] = {
      {{}, {}}, {{2, 1, 2, 3}, {3, 2, 1}}, {{5, 5}, {5}}, {{-1, kInfinity, 0, -1}, {kInfinity, 0, -1}}};
  for (const auto& [values, distinct] : cases) EXPECT_EQ(Mth_SortVector(values), distinct);
  const std::vector<double> withNaN = Mth_SortVector({1, kNaN, 2, 1});
  ASSERT_EQ(withNaN.size(), 3u);
  EXPECT_TRUE(std::isnan(withNaN[0]));
  EXPECT_EQ(withNaN[1], 2.0);
  // Of zeros of both signs the last of the ascending exchanges: -1 has made the first zero the last one.
  std::mt19937 engine(31);
  const double alphabet[] = {0.0, -0.0, -1.0, 1.0};
  for (int i = 0; i < 300; ++i) {
    std::vector<double> values(engine() % 12 + 1);
    for (double& value : values) value = alphabet[engine() % 4];
    std::vector<double> expected = Exchanged(values, true);
    std::reverse(expected.begin(), expected.end());
    expected.erase(std::unique(expected.begin(), expected.end()), expected.end());
    EXPECT_TRUE(SameBits(Mth_SortVector(values), expected)) << i;
  }
}

// A second array that is no companion would be taken for the direction, and the first sorted alone.
template <class Keys, class Companions>
concept CanSort = requires(Keys keys, Companions companions) {
  Mth_Sort(1, keys, companions);
};
static_assert(CanSort<double*, double*> && CanSort<float*, float*> && CanSort<double*, bool>);
static_assert(!CanSort<double*, int*> && !CanSort<double*, float*> && !CanSort<float*, double*>);
static_assert(!CanSort<int*, int*> && !CanSort<double*, const double*>);

TEST(Sort, PointsCompareInThousandths) {
  constexpr int kMax = std::numeric_limits<int>::max();
  const std::pair<double, int> differences[] = {{0.0004, 0},  {0.002, 2},        {-0.0019, -1},
                                                {-0.0009, 0}, {12.5, 12500},     {1e9, kMax},
                                                {kNaN, 0},    {kInfinity, kMax}, {-1e300, -kMax - 1}};
  for (const auto& [difference, answer] : differences) {
    MTH_3D_DOUBLE origin(0.0, 0.0, 0.0);
    MTH_3D_DOUBLE alongX(difference, 7.0, 7.0);
    MTH_3D_DOUBLE alongY(7.0, difference, 7.0);
    MTH_3D_DOUBLE alongZ(7.0, 7.0, difference);
    EXPECT_EQ(Mth_SortXCroissant(&alongX, &origin), answer) << difference;
    EXPECT_EQ(Mth_SortYCroissant(&alongY, &origin), answer) << difference;
    EXPECT_EQ(Mth_SortZCroissant(&alongZ, &origin), answer) << difference;
    if (std::abs(difference) > 1e6) continue;  // the ends of int are not opposite
    EXPECT_EQ(Mth_SortXCroissant(&origin, &alongX), -answer) << difference;
    EXPECT_EQ(Mth_SortYCroissant(&origin, &alongY), -answer) << difference;
    EXPECT_EQ(Mth_SortZCroissant(&origin, &alongZ), -answer) << difference;
  }
  MTH_3D_DOUBLE a(1.0, 2.0, 3.0);
  MTH_3D_DOUBLE b(1.0, 5.0, -1.0);
  MTH_3D_DOUBLE undefined(kNaN, 0.0, 0.0);
  EXPECT_EQ(Mth_SortDist(&a, &b), 5000);
  EXPECT_EQ(Mth_SortDist(&b, &a), 5000);
  EXPECT_EQ(Mth_SortDist(&a, &a), 0);
  MTH_3D_DOUBLE near(1.0, 2.0019, 3.0);
  MTH_3D_DOUBLE nearer(1.0, 2.0, 2.9991);
  EXPECT_EQ(Mth_SortDist(&a, &near), 1);  // truncated
  EXPECT_EQ(Mth_SortDist(&a, &nearer), 0);
  EXPECT_EQ(Mth_SortDist(&a, &undefined), 0);
  for (auto* const compare : {Mth_SortDist, Mth_SortXCroissant, Mth_SortYCroissant, Mth_SortZCroissant}) {
    EXPECT_EQ(compare(nullptr, &a), 0);
    EXPECT_EQ(compare(&a, nullptr), 0);
  }
}

}  // namespace
