#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "mth/matrix/Mth_matrix.h"
#include "std/Std.h"
#include "support/operations/operations.h"

namespace mth_test {
namespace {

// Takes messages from any thread and keeps none.
class SilentDisplay : public STD_DISPLAY {
 public:
  int ShowMessage(const std::string&, MessageKind, const std::string&) override { return 1; }
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override { return nullptr; }
};

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
  SilentDisplay display;
  const STD_DISPLAY_SCOPE scope(&display);
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

// How many of a few large results, two of them there at a time, do not keep what was written into them.
int CountOverwritten(double number) {
  int overwritten = 0;
  MTH_MATRIX former;
  for (const int rows : {4100, 4100, 3950, 4600, 4100, 1, 4090, 9000, 4100}) {
    MTH_MATRIX matrix(rows, 1000, 0);
    double* const elements = matrix.GetEDataAddress();
    std::fill(elements, elements + rows * 1000, ++number);
    if (former.IsAllocated()) {
      const double* const kept = former.GetEDataAddress();
      const auto count = static_cast<std::ptrdiff_t>(former.GetNbRows()) * 1000;
      overwritten += std::any_of(kept, kept + count, [&](double x) { return x != number - 1.0; }) ? 1 : 0;
    }
    former = std::move(matrix);
  }
  return overwritten;
}

// One freed block of many megabytes is kept for the next result, whichever thread asks for it.
TEST(Threads, LargeResultsBelongToOneThread) {
  int overwritten[2] = {-1, -1};
  std::thread one([&] { overwritten[0] = CountOverwritten(1e3); });
  std::thread other([&] { overwritten[1] = CountOverwritten(2e3); });
  one.join();
  other.join();
  EXPECT_EQ(overwritten[0], 0);
  EXPECT_EQ(overwritten[1], 0);
}

}  // namespace
}  // namespace mth_test
