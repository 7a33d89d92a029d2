#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <future>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "mth/core/Mth_work_array_internal.h"
#include "support/operations/operations.h"
#include "support/silent_display.h"

namespace mth_test {
namespace {

// The random streams, and what draws from them, are the process's own.
bool UsesStreams(const std::string& name) {
  const char* const parts[] = {"andom", "nneal"};
  return std::any_of(std::begin(parts), std::end(parts),
                     [&](const char* part) { return name.find(part) != std::string::npos; });
}

std::vector<Operation> Separate() {
  std::vector<Operation> operations;
  for (const Operation& operation : AllOperations()) {
    if (!UsesStreams(operation.name)) operations.push_back(operation);
  }
  return operations;
}

std::vector<std::uint64_t> HashesOf(const std::vector<Operation>& operations) {
  std::vector<std::uint64_t> hashes;
  for (const Operation& operation : operations) {
    Trial trial;
    operation.run(trial);
    hashes.push_back(trial.Hash());
  }
  return hashes;
}

// Objects are used by one thread at a time; separate objects need no lock. The thread sanitizer watches.
TEST(Threads, SeparateObjectsAnswerAsInOneThread) {
  const SilentDisplay display;
  const std::vector<Operation> forward = Separate();
  std::vector<Operation> backward(forward.rbegin(), forward.rend());
  const std::vector<std::uint64_t> expected = HashesOf(forward);
  std::vector<std::uint64_t> first;
  std::vector<std::uint64_t> second;
  std::thread one([&] { first = HashesOf(forward); });
  std::thread other([&] { second = HashesOf(backward); });
  one.join();
  other.join();
  std::reverse(second.begin(), second.end());
  ASSERT_GT(expected.size(), 500U);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(first[i], expected[i]) << forward[i].name;
    EXPECT_EQ(second[i], expected[i]) << forward[i].name;
  }
}

// How many of many work arrays of some sizes, several of them there at a time, do not keep what was written
// into them.
int CountOverwritten(double firstNumber) {
  constexpr int kLiving = 5;
  constexpr std::int64_t kSizes[] = {20000,  70000,   66000, 260000, 20000,  2000000,
                                     262145, 4100000, 1,     250000, 9000000};
  struct Written {
    std::unique_ptr<mth_internal::WorkArray<double>> array;
    std::int64_t last;
    double number;
  };
  std::deque<Written> living;
  int overwritten = 0;
  const auto free = [&] {
    const auto& [array, last, number] = living.front();
    overwritten += (*array)[0] == number && (*array)[last / 2] == number && (*array)[last] == number ? 0 : 1;
    living.pop_front();
  };
  for (int i = 0; i < 2000; ++i) {
    const std::int64_t count = kSizes[static_cast<std::size_t>(i * 7 % 29) % std::size(kSizes)];
    auto array = std::make_unique<mth_internal::WorkArray<double>>(count);
    const double number = firstNumber + i;
    for (const std::int64_t place : {std::int64_t{0}, (count - 1) / 2, count - 1}) (*array)[place] = number;
    living.push_back({std::move(array), count - 1, number});
    if (living.size() > kLiving) free();
  }
  while (!living.empty()) free();
  return overwritten;
}

// Freed blocks are kept for each of eight threads: the ninth to free one shares those of the first.
TEST(Threads, KeptBlocksBelongToOneThread) {
  const auto freeABlock = [] { const mth_internal::WorkArray<double> block(20000); };
  std::promise<void> firstHasFreed;
  std::promise<void> ninthHasFreed;
  int overwritten[2] = {-1, -1};
  std::thread first([&] {
    freeABlock();
    firstHasFreed.set_value();
    ninthHasFreed.get_future().wait();
    overwritten[0] = CountOverwritten(1e6);
  });
  firstHasFreed.get_future().wait();
  for (int i = 0; i < 7; ++i) std::thread(freeABlock).join();
  std::thread ninth([&] {
    freeABlock();
    ninthHasFreed.set_value();
    overwritten[1] = CountOverwritten(2e6);
  });
  first.join();
  ninth.join();
  EXPECT_EQ(overwritten[0], 0);
  EXPECT_EQ(overwritten[1], 0);
}

}  // namespace
}  // namespace mth_test
