#pragma once

/// @file
/// The hot loops are compiled once per instruction set and chosen when they are called.
///
/// A kernel file is plain code without includes. One source includes it through
/// Mth_for_each_instruction_set_internal.h, which compiles it in the namespaces mth_internal::baseline,
/// ::avx2 and ::avx512; MTH_SELECT(Name) is the version for this machine. Every version gives the same bits:
/// lanes run across independent outputs, never along a sum, and nothing is fused that the contract does not
/// fuse.

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "mth/core/Mth_compiler_internal.h"

namespace mth_internal {

/// Ordered: a machine that has one has those before it.
enum class InstructionSet { Baseline, Avx2, Avx512 };

/// The best set that this machine, and this build, has.
InstructionSet BestInstructionSet();

/// The set that kernels are chosen from: the best one, unless an InstructionSetScope says otherwise.
InstructionSet ActiveInstructionSet();

/// Keeps kernels to a lower instruction set for the life of this object; tests compare the versions with it.
class InstructionSetScope {
 public:
  explicit InstructionSetScope(InstructionSet highest);
  ~InstructionSetScope();
  InstructionSetScope(const InstructionSetScope&) = delete;
  InstructionSetScope& operator=(const InstructionSetScope&) = delete;

 private:
  InstructionSet former_;
};

template <class Function>
Function SelectVersion(Function baseline, Function avx2, Function avx512) {
  switch (ActiveInstructionSet()) {
    case InstructionSet::Avx512:
      return avx512;
    case InstructionSet::Avx2:
      return avx2;
    default:
      return baseline;
  }
}

}  // namespace mth_internal

// The name of a template may have commas. MTH_SELECT_NARROW never gives the widest vectors: for rows too
// short for them, whose ends cost more than the vectors gain, and for what waits for the second cache.
#if MTH_MULTIVERSION
#define MTH_SELECT(...)                                                                                     \
  ::mth_internal::SelectVersion(&::mth_internal::baseline::__VA_ARGS__, &::mth_internal::avx2::__VA_ARGS__, \
                                &::mth_internal::avx512::__VA_ARGS__)
#define MTH_SELECT_NARROW(...)                                                                              \
  ::mth_internal::SelectVersion(&::mth_internal::baseline::__VA_ARGS__, &::mth_internal::avx2::__VA_ARGS__, \
                                &::mth_internal::avx2::__VA_ARGS__)
#else
#define MTH_SELECT(...) (&::mth_internal::baseline::__VA_ARGS__)
#define MTH_SELECT_NARROW(...) MTH_SELECT(__VA_ARGS__)
#endif
