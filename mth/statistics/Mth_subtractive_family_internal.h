#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "mth/core/Mth_compiler_internal.h"
#include "mth/statistics/Mth_uniform_internal.h"

namespace mth_internal {

/// Streams of a family, numbered from 0.
inline constexpr int kStreamsCount = 5;

inline bool IsStream(short stream) {
  return stream >= 0 && stream < kStreamsCount;
}

/// Family of subtractive generators: five tables, one pair of cursors.
///
/// A stream that draws alone is a pass through its table ahead: the new entries and their deviates are
/// computed together, in vector lanes, and a draw only takes the next one. The table itself stays that of the
/// last pass until the pass is over or another stream moves the cursors; then it takes over the entries that
/// have been drawn.
class SubtractiveFamily {
 public:
  /// The next draw builds the table of the stream from this seed; 0 leaves a running stream alone.
  void Seed(short stream, std::int32_t seed) {
    EndPass();
    StreamOf(stream).seed = -seed;
  }

  /// Whether draws give anything but zeros.
  bool IsAlive(short stream) const {
    const Stream& state = streams_[static_cast<std::size_t>(stream)];
    return state.seed < 0 || state.hasTable;
  }

  /// A uniform deviate in [0, 1); -1 for a stream that does not exist.
  double Draw(short stream) {
    if (stream == ahead_ && next_ < kTableSize) [[likely]]
      return deviates_[++next_];
    return DrawSlowly(stream);
  }

 private:
  static constexpr std::size_t kTableSize = 55;
  static constexpr std::size_t kLag = 31;
  static constexpr std::int32_t kModulus = 1000000000;
  static constexpr std::int32_t kSeedOffset = 161803398;
  static constexpr double kFactor = 1e-9;
  static constexpr int kNoStream = std::numeric_limits<int>::min();  // equal to no short

  struct Stream {
    std::int32_t seed = 0;  // negative: what to build the table from
    bool hasTable = false;
    std::array<std::int32_t, kTableSize + 1> table{};  // from 1 on
  };

  Stream& StreamOf(short stream) { return streams_[static_cast<std::size_t>(stream)]; }

  static std::int32_t Wrap(std::int32_t difference) {
    return difference < 0 ? difference + kModulus : difference;
  }

  // Not inlined: the draws of a pass would have to save registers for it.
  MTH_NOINLINE double DrawSlowly(short stream) {
    if (!IsStream(stream)) return -1.0;
    const bool drewLast = stream == last_;
    EndPass();
    last_ = stream;
    Stream& state = StreamOf(stream);
    if (state.seed < 0) BuildTable(state);
    if (next_ == kTableSize) next_ = 0;
    if (next_ == 0 && drewLast) {
      BeginPass(stream);
      return deviates_[++next_];
    }
    return DrawAlone(state);
  }

  double DrawAlone(Stream& state) {
    ++next_;
    const std::size_t subtracted = next_ > kTableSize - kLag ? next_ - (kTableSize - kLag) : next_ + kLag;
    std::int32_t& entry = state.table[next_];
    entry = Wrap(entry - state.table[subtracted]);
    return Deviate(entry);
  }

  static double Deviate(std::int32_t entry) { return std::min(entry * kFactor, kLargestUniform); }

  // The entries of a whole pass. Those that are subtracted lie kLag ahead, or, from the 25th on, have been
  // made anew by this pass, 24 before: so many are independent of one another.
  void BeginPass(short stream) {
    constexpr std::size_t kSpan = kTableSize - kLag;
    const auto& table = StreamOf(stream).table;
    for (std::size_t i = 1; i <= kSpan; ++i) entries_[i] = Wrap(table[i] - table[i + kLag]);
    for (std::size_t i = kSpan + 1; i <= 2 * kSpan; ++i) entries_[i] = Wrap(table[i] - entries_[i - kSpan]);
    for (std::size_t i = 2 * kSpan + 1; i <= kTableSize; ++i)
      entries_[i] = Wrap(table[i] - entries_[i - kSpan]);
    for (std::size_t i = 1; i <= kTableSize; ++i) deviates_[i] = Deviate(entries_[i]);
    ahead_ = stream;
  }

  void EndPass() {
    if (ahead_ == kNoStream) return;
    std::copy_n(entries_.begin() + 1, next_, StreamOf(static_cast<short>(ahead_)).table.begin() + 1);
    ahead_ = kNoStream;
  }

  void BuildTable(Stream& state) {
    constexpr std::size_t kIndexStep = 21;
    constexpr int kMixingPasses = 4;
    auto& table = state.table;
    std::int32_t current = (kSeedOffset + state.seed) % kModulus;
    std::int32_t following = 1;
    table[kTableSize] = current;
    for (std::size_t i = 1; i < kTableSize; ++i) {
      const std::size_t place = kIndexStep * i % kTableSize;
      table[place] = following;
      following = Wrap(current - following);
      current = table[place];
    }
    for (int pass = 0; pass < kMixingPasses; ++pass) {
      for (std::size_t i = 1; i <= kTableSize; ++i) {
        table[i] = Wrap(table[i] - table[1 + (i + 30) % kTableSize]);
      }
    }
    next_ = 0;
    state.seed = 1;
    state.hasTable = true;
  }

  std::array<Stream, kStreamsCount> streams_{};
  // One cursor for two: the one of the subtracted entries goes kLag places ahead, for all streams alike.
  // Before there is any table all entries are 0, and places do not matter.
  std::size_t next_ = 0;
  int last_ = kNoStream;   // the stream that drew last
  int ahead_ = kNoStream;  // the stream whose pass is computed
  std::array<std::int32_t, kTableSize + 1> entries_{};
  std::array<double, kTableSize + 1> deviates_{};
};

}  // namespace mth_internal
