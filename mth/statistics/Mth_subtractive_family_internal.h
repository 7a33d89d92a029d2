#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

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
/// computed together, in vector lanes, and a draw only takes the next one. When another stream moves the
/// cursors, the entries that have not been drawn are put back.
class SubtractiveFamily {
 public:
  static constexpr std::size_t kTableSize = 55;
  static constexpr std::size_t kPaddedSize = 56;  // whole vectors; nothing is drawn from the last place
  static constexpr std::size_t kLag = 31;

  /// The next draw builds the table of the stream from this seed; 0 leaves a running stream alone.
  void Seed(short stream, std::int32_t seed);

  /// Whether draws give anything but zeros.
  bool IsAlive(short stream) const {
    const Stream& state = streams_[static_cast<std::size_t>(stream)];
    return state.seed < 0 || state.hasTable;
  }

  /// A uniform deviate in [0, 1); -1 for a stream that does not exist.
  double Draw(short stream) {
    if (stream == ahead_ && taken_ < kTableSize) [[likely]]
      return deviates_[taken_++];
    return DrawSlowly(stream, *this);
  }

  /// Of a difference of two entries, the one in [0, kModulus).
  static std::int32_t Wrap(std::int32_t difference) { return difference + (difference >> 31 & kModulus); }

  static double Deviate(std::int32_t entry) { return std::min(entry * kFactor, kLargestUniform); }

 private:
  static constexpr std::int32_t kModulus = 1000000000;
  static constexpr std::int32_t kSeedOffset = 161803398;
  static constexpr double kFactor = 1e-9;
  static constexpr short kNoStream = -1;

  using Table = std::array<std::int32_t, kPaddedSize>;
  struct Stream {
    std::int32_t seed = 0;  // negative: what to build the table from
    bool hasTable = false;
    Table table{};
  };

  Stream& StreamOf(short stream) { return streams_[static_cast<std::size_t>(stream)]; }

  // Not inlined: the draws of a pass would have to save registers for it. The stream comes first, in the
  // register where Draw has it.
  MTH_NOINLINE static double DrawSlowly(short stream, SubtractiveFamily& family);
  double DrawAfterOthers(short stream);
  double DrawAlone(Stream& state);
  double DrawNextPass(short stream);
  void EndPass();
  void BuildTable(Stream& state);

  std::size_t taken_ = kTableSize;  // of the deviates of a pass that is computed; all of them without one
  short ahead_ = kNoStream;         // the stream whose pass that is
  short last_ = kNoStream;          // the stream that drew last without one
  // One cursor for two, without a pass: the one of the subtracted entries goes kLag places ahead, for all
  // streams alike. Before there is any table all entries are 0, and places do not matter.
  std::size_t place_ = 0;
  std::array<double, kPaddedSize> deviates_{};
  Table before_{};  // that stream's entries before the pass
  std::array<Stream, kStreamsCount> streams_{};
};

}  // namespace mth_internal
