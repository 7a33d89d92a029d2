#include <gtest/gtest.h>

#include <exception>
#include <optional>

#include "support/allocation_faults.h"
#include "support/kept_blocks.h"
#include "support/operations/operations.h"
#include "support/silent_display.h"

// Every operation with its allocations failing in turn: nothing is thrown, nothing leaks, it comes to an end,
// and the call in which one fails answers what it would have, or what its documentation says.

namespace mth_test {
namespace {

constexpr int kNone = 1 << 30;

// Allocations count, and fail, in the calls of the library alone.
class FaultTrial : public Trial {
 public:
  FaultTrial(int allowed, int failing, const std::vector<std::uint64_t>* expected = nullptr)
      : expected_(expected), faults_(allowed, failing) {
    pause_.emplace();
  }

  int Allocations() const { return faults_.Allocations(); }
  const std::vector<std::uint64_t>& Results() const { return results_; }
  /// The call, counted from 1, that answered neither; 0 for none.
  int UndocumentedCall() const { return undocumentedCall_; }

 protected:
  void Arm() override {
    hadStruck_ = faults_.HaveStruck();
    pause_.reset();
  }
  void Disarm() override { pause_.emplace(); }
  void Judge(std::uint64_t hash, bool isFailure) override {
    if (expected_ == nullptr) results_.push_back(hash);
    ++calls_;
    // Later calls work on what the failed one left.
    if (expected_ == nullptr || hadStruck_ || !faults_.HaveStruck()) return;
    if (!isFailure && hash != (*expected_)[calls_ - 1]) undocumentedCall_ = static_cast<int>(calls_);
  }

 private:
  const std::vector<std::uint64_t>* expected_;
  std::vector<std::uint64_t> results_;
  std::size_t calls_ = 0;
  int undocumentedCall_ = 0;
  bool hadStruck_ = false;
  AllocationFaults faults_;
  std::optional<AllocationPause> pause_;
};

// What a run with faults leaves behind: "" when all is well.
std::string Complaint(const Operation& operation, int allowed, int failing,
                      const std::vector<std::uint64_t>& expected) {
  GiveBackKeptBlocks();
  const std::int64_t before = LiveAllocations();
  int undocumented = 0;
  try {
    FaultTrial trial(allowed, failing, &expected);
    operation.run(trial);
    undocumented = trial.UndocumentedCall();
  } catch (const std::exception& error) {
    return std::string("throws ") + error.what();
  }
  GiveBackKeptBlocks();
  const std::int64_t leaked = LiveAllocations() - before;
  if (leaked != 0) return "leaks " + std::to_string(leaked) + " allocations";
  return undocumented == 0 ? "" : "call " + std::to_string(undocumented) + " answers what is not documented";
}

struct WholeRun {
  int allocations;
  std::vector<std::uint64_t> results;
};

WholeRun RunWhole(const Operation& operation) {
  GiveBackKeptBlocks();
  FaultTrial trial(kNone, kNone);  // also lets the operation fill what it keeps for good
  operation.run(trial);
  return {trial.Allocations(), trial.Results()};
}

TEST(EveryOperation, SurvivesEachAllocationThatFails) {
  constexpr int kAllUpTo = 12;  // beyond, fewer and fewer of those that a loop repeats
  const SilentDisplay display;
  int runs = 0;
  for (const Operation& operation : AllOperations()) {
    const auto [allocations, results] = RunWhole(operation);
    for (int allowed = 0; allowed < allocations; allowed += allowed < kAllUpTo ? 1 : 1 + allowed / 4) {
      for (const int failing : {1, kNone}) {
        const std::string complaint = Complaint(operation, allowed, failing, results);
        ++runs;
        EXPECT_EQ(complaint, "") << operation.name << ": allocation " << allowed + 1 << " of " << allocations
                                 << (failing == 1 ? " fails" : " and all later ones fail");
        if (!complaint.empty()) break;
      }
    }
  }
  EXPECT_GT(runs, 1000);
}

}  // namespace
}  // namespace mth_test
