#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "mth/core/Mth_compiler_internal.h"
#include "mth/statistics/Mth_congruence_internal.h"
#include "mth/statistics/Mth_uniform_internal.h"

namespace mth_internal {

/// Two congruential generators, combined and shuffled.
class CombinedGenerator {
 public:
  /// A uniform deviate in (0, 1) from the caller's seed, which is moved on.
  // Nearly every draw goes on where the last one ended and is plain. What tells so is only branched on, and
  // the next draw does not wait for branches that are guessed right.
  float Draw(long* idum) {
    const std::uint32_t output = Subtract(table_[index_], second_);
    const std::int64_t first = First::Guess(first_);
    const std::int64_t second = Second::Guess(second_);
    const bool isPlain = static_cast<unsigned long>(*idum) == first_ && first < First::kModulus &&
                         second < Second::kModulus && IsPlain(output);
    if (!isPlain) [[unlikely]]
      return DrawExactly(idum);
    Keep(idum, first, second, output >> kSpanBits);
    return static_cast<float>(kScale * output);
  }

 private:
  using First = FirstCongruence;
  using Second = SecondCongruence;
  static constexpr std::uint32_t kModulus = First::kModulus;
  static constexpr std::uint32_t kTableSize = 32;
  static constexpr std::uint32_t kEntrySpan = 1 + (kModulus - 1) / kTableSize;
  static constexpr int kSpanBits = 26;  // an entry's span is a little less than 2^26
  static constexpr double kScale = 1.0 / kModulus;

  // Not inlined: Draw would have to save registers for it.
  MTH_NOINLINE float DrawExactly(long* idum) {
    const std::uint32_t first = First::Step(Enter(*idum));
    const std::uint32_t output = Subtract(table_[index_], second_);
    Keep(idum, first, Second::Step(second_), output / kEntrySpan);
    first_ = std::max(first_, 1U);  // a caller that was left 0 restarts
    return static_cast<float>(std::min(kScale * output, kLargestUniform));
  }

  void Keep(long* idum, std::int64_t first, std::int64_t second, std::uint32_t index) {
    *idum = static_cast<long>(first);
    first_ = static_cast<std::uint32_t>(first);
    second_ = static_cast<std::uint32_t>(second);
    table_[index_] = first_;
    index_ = index;
  }

  static std::uint32_t Subtract(std::uint32_t entry, std::uint32_t second) {
    const std::uint32_t difference = entry - second;
    return entry > second ? difference : difference + (kModulus - 1);
  }

  // Whether an output is not near a multiple of 2^26: its high bits are then the index of its entry, and it
  // is not cut at the top.
  static bool IsPlain(std::uint32_t output) {
    constexpr std::uint32_t kMargin = 512;
    static_assert(((1U << kSpanBits) - kEntrySpan) * kTableSize < kMargin);
    static_assert(((kTableSize << kSpanBits) - kMargin) * kScale < kLargestUniform);
    return ((output + kMargin) & ((1U << kSpanBits) - 2 * kMargin)) != 0;
  }

  static std::uint32_t Reduce(unsigned long magnitude) {
    const bool fits = magnitude <= static_cast<unsigned long>(std::numeric_limits<std::int32_t>::max());
    return std::max(static_cast<std::uint32_t>(fits ? magnitude : magnitude % kModulus), 1U);
  }

  // The seed of another caller, a restart, or a magnitude beyond 32 bits.
  std::uint32_t Enter(long idum) {
    const auto magnitude = static_cast<unsigned long>(idum);
    return idum > 0 ? Reduce(magnitude) : Restart(Reduce(0UL - magnitude));
  }

  std::uint32_t Restart(std::uint32_t first) {
    constexpr std::size_t kWarmUp = 8;
    second_ = Second::Step(first);
    for (std::size_t j = kTableSize + kWarmUp; j-- > 0;) {
      first = First::Step(first);
      if (j < kTableSize) table_[j] = first;
    }
    index_ = table_[0] / kEntrySpan;
    return first;
  }

  std::uint32_t first_ = 1;                         // what the last draw left to its caller; never 0
  std::uint32_t second_ = Second::Step(123456789);  // what the next draw subtracts
  std::uint32_t index_ = 0;                         // of the entry that the next draw takes
  std::array<std::uint32_t, kTableSize> table_{};
};

}  // namespace mth_internal
