#pragma once

#include <cstddef>
#include <utility>

namespace mth_test {

/// For its own life, lets that many allocations of this program succeed and every later one fail. Needs
/// allocation_faults.cpp among the sources of the test.
class AllocationFaults {
 public:
  explicit AllocationFaults(int allowedAllocations);
  ~AllocationFaults();
  AllocationFaults(const AllocationFaults&) = delete;
  AllocationFaults& operator=(const AllocationFaults&) = delete;

  /// Whether an allocation has failed.
  bool HaveStruck() const;
};

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
