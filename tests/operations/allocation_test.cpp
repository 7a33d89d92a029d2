#include <gtest/gtest.h>

#include <algorithm>
#include <exception>
#include <optional>

#include "operations/silent_display.h"
#include "support/allocation_faults.h"
#include "support/operations/operations.h"

// Every operation with its allocations failing in turn: nothing is thrown, nothing leaks, it comes to an end.

namespace mth_test {
namespace {

constexpr int kNone = 1 << 30;

// Allocations count, and fail, in the calls of the library alone.
class FaultTrial : public Trial {
 public:
  FaultTrial(int allowed, int failing) : faults_(allowed, failing) { pause_.emplace(); }

  bool HaveStruck() const { return faults_.HaveStruck(); }
  int Allocations() const { return faults_.Allocations(); }

 protected:
  void Arm() override { pause_.reset(); }
  void Disarm() override { pause_.emplace(); }

 private:
  AllocationFaults faults_;
  std::optional<AllocationPause> pause_;
};

// What a run with faults leaves behind: "" when all is well.
std::string Complaint(const Operation& operation, int allowed, int failing) {
  const std::int64_t before = LiveAllocations();
  try {
    FaultTrial trial(allowed, failing);
    operation.run(trial);
  } catch (const std::exception& error) {
    return std::string("throws ") + error.what();
  }
  const std::int64_t leaked = LiveAllocations() - before;
  return leaked == 0 ? "" : "leaks " + std::to_string(leaked) + " allocations";
}

int CountAllocations(const Operation& operation) {
  FaultTrial trial(kNone, kNone);
  operation.run(trial);
  return trial.Allocations();
}

TEST(EveryOperation, SurvivesEachAllocationThatFails) {
  constexpr int kAllUpTo = 12;  // beyond, fewer and fewer of those that a loop repeats
  const SilentDisplay display;
  int runs = 0;
  for (const Operation& operation : AllOperations()) {
    const int allocations = CountAllocations(operation);  // also lets it fill what it keeps for good
    for (int allowed = 0; allowed < allocations; allowed += allowed < kAllUpTo ? 1 : 1 + allowed / 4) {
      for (const int failing : {1, kNone}) {
        const std::string complaint = Complaint(operation, allowed, failing);
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
