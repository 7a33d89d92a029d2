#include <algorithm>
#include <atomic>

#include "mth/core/Mth_instruction_set_internal.h"

namespace mth_internal {
namespace {

std::atomic<InstructionSet> highestAllowed{InstructionSet::Avx512};

InstructionSet DetectInstructionSet() {
#if MTH_MULTIVERSION
  if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma")) return InstructionSet::Baseline;
  const bool hasAvx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
                         __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl");
  return hasAvx512 ? InstructionSet::Avx512 : InstructionSet::Avx2;
#else
  return InstructionSet::Baseline;
#endif
}

}  // namespace

InstructionSet BestInstructionSet() {
  static const InstructionSet best = DetectInstructionSet();
  return best;
}

InstructionSet ActiveInstructionSet() {
  return std::min(BestInstructionSet(), highestAllowed.load(std::memory_order_relaxed));
}

InstructionSetScope::InstructionSetScope(InstructionSet highest)
    : former_(highestAllowed.exchange(highest)) {}

InstructionSetScope::~InstructionSetScope() {
  highestAllowed.store(former_);
}

}  // namespace mth_internal
