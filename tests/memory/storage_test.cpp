#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <thread>
#include <vector>

#include "mth/core/Mth_storage_internal.h"
#include "support/allocation_faults.h"
#include "support/kept_blocks.h"

// Which freed blocks are kept for later results, and which results they are given to.

namespace mth_test {
namespace {

using mth_internal::AllocateStorage;
using mth_internal::FreeStorage;

constexpr std::size_t kKiB = 1024;
constexpr std::size_t kMiB = 1024 * kKiB;

// Blocks of these sizes that exist together and are freed in this order, the only ones that may be kept.
void MakeAndFree(const std::vector<std::size_t>& sizes) {
  GiveBackKeptBlocks();
  std::vector<void*> blocks;
  for (const std::size_t bytes : sizes) blocks.push_back(AllocateStorage(bytes));
  for (std::size_t i = 0; i < sizes.size(); ++i) FreeStorage(blocks[i], sizes[i]);
}

// Whether so many bytes come from what is kept; they are given back.
bool IsKept(std::size_t bytes) {
  const AllocationWatch watch;
  void* const block = AllocateStorage(bytes);
  const bool isKept = watch.Requests() == 0;
  static_cast<char*>(block)[0] = static_cast<char*>(block)[bytes - 1] = 1;  // is there, the sanitizer sees
  FreeStorage(block, bytes);
  return isKept;
}

TEST(Storage, KeepsTheBlocksFreedLastWithinALimit) {
  const struct {
    std::vector<std::size_t> freed;
    int kept;  // the last of them, so many
  } cases[] = {
      {{31 * kKiB}, 0},
      {{32 * kKiB}, 1},
      {{64 * kMiB}, 1},
      {{64 * kMiB + 1}, 0},
      {{64 * kMiB, 32 * kKiB}, 1},
      {{1 * kMiB, 64 * kMiB}, 1},
      {{33 * kMiB, 25 * kMiB, 7 * kMiB}, 2},
      {{31 * kMiB, 25 * kMiB, 7 * kMiB, 1 * kMiB}, 4},
      {{17 * kMiB, 3 * kMiB, 40 * kMiB, 10 * kMiB, 1 * kMiB}, 4},
      {{1 * kMiB, 2 * kMiB, 3 * kMiB, 4 * kMiB, 5 * kMiB, 6 * kMiB, 7 * kMiB, 8 * kMiB, 9 * kMiB}, 8},
  };
  for (const auto& [freed, kept] : cases) {
    GiveBackKeptBlocks();
    const std::int64_t before = LiveAllocations();
    MakeAndFree(freed);
    EXPECT_EQ(LiveAllocations() - before, kept) << freed.size() << " blocks, the first of " << freed[0];
    for (std::size_t i = freed.size() - static_cast<std::size_t>(kept); i < freed.size(); ++i)
      EXPECT_TRUE(IsKept(freed[i])) << freed[i];
    GiveBackKeptBlocks();
    EXPECT_EQ(LiveAllocations(), before);
  }
}

TEST(Storage, GivesAKeptBlockToAResultOfAboutItsSize) {
  for (const std::size_t freed : {36 * kKiB, 1800 * kKiB, 36 * kMiB}) {
    const std::size_t least = freed / 9 * 8;
    const struct {
      std::size_t asked;
      bool isGiven;
    } cases[] = {{freed, true}, {freed - 1, true}, {least, true}, {least - 1, false}, {freed + 1, false}};
    for (const auto& [asked, isGiven] : cases) {
      MakeAndFree({freed});
      EXPECT_EQ(IsKept(asked), isGiven) << asked << " of " << freed;
    }
  }
}

TEST(Storage, GivesWhatAnotherThreadHasFreed) {
  for (const std::size_t bytes : {40 * kKiB, 3 * kMiB}) {
    GiveBackKeptBlocks();
    void* const block = AllocateStorage(bytes);
    std::thread([&] { FreeStorage(block, bytes); }).join();
    EXPECT_TRUE(IsKept(bytes)) << bytes;
  }
}

TEST(Storage, GivesAKeptBlockOnce) {
  MakeAndFree({3 * kMiB, 5 * kMiB, 3 * kMiB});
  const AllocationWatch watch;
  void* const blocks[] = {AllocateStorage(3 * kMiB), AllocateStorage(3 * kMiB), AllocateStorage(3 * kMiB)};
  EXPECT_EQ(watch.Requests(), 1);
  EXPECT_TRUE(blocks[0] != blocks[1] && blocks[1] != blocks[2] && blocks[0] != blocks[2]);
  for (void* block : blocks) FreeStorage(block, 3 * kMiB);
}

}  // namespace
}  // namespace mth_test
