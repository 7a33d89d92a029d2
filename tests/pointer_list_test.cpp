#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>
#include <vector>

#include "mth/Mth_pointer_list.h"
#include "support/allocation_faults.h"

namespace mth_test {
namespace {

struct Item {
  int key = 0;
  int order = 0;
};
using List = MTH_POINTER_LIST<Item>;

std::vector<Item*> Entries(const List& list) {
  return {list.begin(), list.end()};
}

int ByKey(void* a, void* b) {
  return static_cast<Item*>(a)->key - static_cast<Item*>(b)->key;
}

TEST(PointerList, EveryIndexIsChecked) {
  Item a, b, c, d;
  List list;
  EXPECT_EQ(list.GetCount(), 0);
  EXPECT_EQ(list.Get(0), nullptr);
  EXPECT_FALSE(list.Delete(0));
  EXPECT_FALSE(list.Insert(1, &a));
  EXPECT_EQ(list.Add(&a), 0);
  EXPECT_EQ(list.Add(&c), 1);
  EXPECT_TRUE(list.Insert(1, &b));
  EXPECT_TRUE(list.Insert(0, nullptr));
  EXPECT_TRUE(list.Insert(4, &d));
  const std::vector<Item*> all{nullptr, &a, &b, &c, &d};
  EXPECT_EQ(Entries(list), all);
  for (int index : {-1, INT_MIN, 5, 6, INT_MAX}) {
    EXPECT_EQ(list.Get(index), nullptr);
    EXPECT_FALSE(list.Delete(index));
    EXPECT_EQ(list.Insert(index, &a), index == 5) << index;
    if (index == 5) {
      EXPECT_TRUE(list.Delete(5));
    }
  }
  EXPECT_EQ(Entries(list), all);
  for (int index = 0; index < 5; ++index) EXPECT_EQ(list.Get(index), all[static_cast<std::size_t>(index)]);
  EXPECT_TRUE(list.Delete(0));
  EXPECT_TRUE(list.Delete(3));
  EXPECT_EQ(Entries(list), (std::vector<Item*>{&a, &b, &c}));
  list.Clear();
  EXPECT_EQ(list.GetCount(), 0);
}

TEST(PointerList, SortAgreesWithTheStandardStableSort) {
  std::mt19937 engine(21);
  for (int count = 0; count <= 70; ++count) {
    std::vector<Item> items(static_cast<std::size_t>(count));
    List list;
    for (Item& item : items) {
      item = {static_cast<int>(engine() % 8), list.GetCount()};
      list.Add(&item);
    }
    std::vector<Item*> expected = Entries(list);
    std::stable_sort(expected.begin(), expected.end(), [](Item* a, Item* b) { return a->key < b->key; });
    for (const bool hasMemory : {false, true}) {
      List sorted = list;
      {
        const AllocationFaults faults(hasMemory ? 1 : 0);
        sorted.Sort(ByKey);
      }
      EXPECT_EQ(Entries(sorted), expected) << count;
    }
  }
}

TEST(PointerList, WithoutMemoryNothingIsAdded) {
  Item a;
  List list;
  const AllocationFaults faults(0);
  EXPECT_EQ(list.Add(&a), -1);
  EXPECT_FALSE(list.Insert(0, &a));
  EXPECT_FALSE(list.Reserve(1));
  EXPECT_EQ(list.GetCount(), 0);
}

TEST(PointerList, ReservedRoomNeedsNoMemory) {
  Item a;
  List list;
  EXPECT_TRUE(list.Reserve(-1));
  ASSERT_TRUE(list.Reserve(100));
  const AllocationFaults faults(0);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(list.Add(&a), i);
  EXPECT_FALSE(faults.HaveStruck());
}

// No comparison, however it contradicts itself, loses, doubles or invents an entry.
TEST(PointerList, SortSurvivesAnyComparison) {
  static std::mt19937 engine(22);
  using Compare = int (*)(void*, void*);
  const Compare comparisons[] = {
      [](void*, void*) { return -1; },
      [](void*, void*) { return 1; },
      [](void*, void*) { return INT_MIN; },
      [](void*, void*) { return static_cast<int>(engine() % 3) - 1; },
      [](void* a, void* b) { return (ByKey(a, b) % 3 + 3) % 3 == 1 ? -1 : 1; },  // scissors, paper, stone
      nullptr,
  };
  for (const Compare compare : comparisons) {
    for (int count : {1, 2, 3, 16, 17, 33, 500}) {
      std::vector<Item> items(static_cast<std::size_t>(count));
      List list;
      for (Item& item : items) item.key = list.Add(&item);
      std::vector<Item*> expected = Entries(list);
      std::sort(expected.begin(), expected.end());
      for (const bool hasMemory : {true, false}) {
        {
          const AllocationFaults faults(hasMemory ? 1 : 0);
          list.Sort(compare);
        }
        std::vector<Item*> actual = Entries(list);
        std::sort(actual.begin(), actual.end());
        EXPECT_EQ(actual, expected);
      }
    }
  }
}

}  // namespace
}  // namespace mth_test
