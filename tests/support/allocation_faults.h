#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

namespace mth_test {

/// For its own life, lets that many allocations of this program succeed and the next ones fail: every later
/// one, or so many. Needs allocation_faults.cpp among the sources of the test.
class AllocationFaults {
 public:
  explicit AllocationFaults(int allowedAllocations, int failingAllocations = std::numeric_limits<int>::max());
  ~AllocationFaults();
  AllocationFaults(const AllocationFaults&) = delete;
  AllocationFaults& operator=(const AllocationFaults&) = delete;

  /// Whether an allocation has failed.
  bool HaveStruck() const;
  /// How many there were so far.
  int Allocations() const;
};

/// For its own life, nothing fails and nothing counts for AllocationFaults.
class AllocationPause {
 public:
  AllocationPause();
  ~AllocationPause();
  AllocationPause(const AllocationPause&) = delete;
  AllocationPause& operator=(const AllocationPause&) = delete;
};

/// Allocations of this program that have not been freed.
std::int64_t LiveAllocations();

/// For its own life, watches the sizes that are asked for; nothing fails.
class AllocationWatch {
 public:
  AllocationWatch();
  /// Bytes of the largest request so far, granted or not.
  std::size_t LargestRequest() const;
  /// Bytes of all requests together, and their number, so far.
  std::size_t RequestedBytes() const;
  int Requests() const;
};

/// Runs `operation` with no allocation granted, then one, then two ... until it needs no more, and gives
/// `check(result)` the result of each run.
/// @return  the number of runs that met a failure.
template <class Operation, class Check>
int ForEachAllocationFault(Operation operation, Check check) {
  for (int allowed = 0;; ++allowed) {
    const auto [result, hasFailed] = [&] {
      const AllocationFaults faults(allowed);
      auto made = operation();
      return std::pair(made, faults.HaveStruck());
    }();
    check(result);
    if (!hasFailed) return allowed;
  }
}

}  // namespace mth_test
