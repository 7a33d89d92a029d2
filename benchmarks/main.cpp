// The main function of every benchmark: Google Benchmark's, and --instruction_set=baseline|avx2|avx512, which
// keeps the library's kernels to that set. Peers choose by themselves; OPENBLAS_CORETYPE=Haswell keeps
// OpenBLAS to AVX2.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <optional>

#include "mth/core/Mth_instruction_set_internal.h"

namespace {

using mth_internal::InstructionSet;

constexpr std::pair<const char*, InstructionSet> kSets[] = {{"baseline", InstructionSet::Baseline},
                                                            {"avx2", InstructionSet::Avx2},
                                                            {"avx512", InstructionSet::Avx512}};

const char* NameOf(InstructionSet set) {
  for (const auto& [name, known] : kSets) {
    if (known == set) return name;
  }
  return "";
}

// Takes the flag out of the arguments. Nothing for a set that there is not.
std::optional<InstructionSet> TakeInstructionSet(int& count, char** arguments) {
  constexpr const char* kFlag = "--instruction_set=";
  InstructionSet chosen = mth_internal::BestInstructionSet();
  int kept = 1;
  for (int i = 1; i < count; ++i) {
    if (std::strncmp(arguments[i], kFlag, std::strlen(kFlag)) != 0) {
      arguments[kept++] = arguments[i];
      continue;
    }
    const char* const wanted = arguments[i] + std::strlen(kFlag);
    bool isKnown = false;
    for (const auto& [name, set] : kSets) {
      if (std::strcmp(name, wanted) != 0) continue;
      chosen = set;
      isKnown = true;
    }
    if (!isKnown) return std::nullopt;
  }
  count = kept;
  return chosen;
}

}  // namespace

int main(int count, char** arguments) {
  const std::optional<InstructionSet> set = TakeInstructionSet(count, arguments);
  if (!set || *set > mth_internal::BestInstructionSet()) {
    std::fputs("--instruction_set=baseline|avx2|avx512: no such set on this machine\n", stderr);
    return 2;
  }
  const mth_internal::InstructionSetScope scope(*set);
  benchmark::AddCustomContext("instruction_set", NameOf(*set));
  benchmark::Initialize(&count, arguments);
  if (benchmark::ReportUnrecognizedArguments(count, arguments)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
