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
/// A stream that draws alone is a pass of a few tables ahead: the new entries and their deviates are computed
/// together, in vector lanes, and a draw only takes the next one. When another stream moves the cursors, the
/// entries as they are by then make the stream's table again.
class SubtractiveFamily {
 public:
  static constexpr std::size_t kTableSize = 55;
  static constexpr std::size_t kLag = 31;
  static constexpr std::size_t kSpan = kTableSize - kLag;  // so many draws ago the subtracted entry was made
  // A few tables: what a pass reads of the one before has reached the cache by then.
  static constexpr std::size_t kPassSize = 3 * kTableSize;
  // Both in whole vectors, which hold at most so many entries.
  static constexpr std::size_t kPaddedTableSize = kTableSize + 1;
  static constexpr std::size_t kPaddedPassSize = kPassSize + 3;
  static constexpr std::size_t kLargestVector = 8;
  static constexpr std::int32_t kModulus = 1000000000;
  static constexpr double kFactor = 1e-9;

  /// The next draw builds the table of the stream from this seed; 0 leaves a running stream alone.
  void Seed(short stream, std::int32_t seed);

  /// Whether draws give anything but zeros.
  bool IsAlive(short stream) const {
    const Stream& state = streams_[static_cast<std::size_t>(stream)];
    return state.seed < 0 || state.hasTable;
  }

  /// A uniform deviate in [0, 1); -1 for a stream that does not exist.
  double Draw(short stream) {
    if (stream == ahead_ && taken_ < kPassSize) [[likely]]
      return deviates_[taken_++];
    return DrawSlowly(stream, *this);
  }

  /// Of a difference of two entries, the one in [0, kModulus).
  static std::int32_t Wrap(std::int32_t difference) { return difference + (difference >> 31 & kModulus); }

  static double Deviate(std::int32_t entry) { return std::min(entry * kFactor, kLargestUniform); }

 private:
  static constexpr std::int32_t kSeedOffset = 161803398;
  static constexpr short kNoStream = -1;

  using Table = std::array<std::int32_t, kTableSize>;
  struct Stream {
    std::int32_t seed = 0;  // negative: what to build the table from
    bool hasTable = false;
    Table table{};
  };

  Stream& StreamOf(short stream) { return streams_[static_cast<std::size_t>(stream)]; }

  // Not inlined: the draws of a pass would have to save registers for it. The stream comes first, in the
  // register where Draw has it.
  MTH_NOINLINE static double DrawSlowly(short stream, SubtractiveFamily& family);
  MTH_NOINLINE double DrawAfterOthers(short stream);
  double DrawAlone(Stream& state);
  double BeginPasses(short stream);
  double DrawNextPass(std::size_t first);
  void EndPass();
  void BuildTable(Stream& state);

  // Of the deviates of a pass that is computed; all of them without one. After so many draws the next one is
  // from that place of the table, counted on beyond its end.
  std::size_t taken_ = kPassSize;
  short ahead_ = kNoStream;                                          // the stream whose pass that is
  short last_ = kNoStream;                                           // the stream that drew last without one
  void (*drawPass_)(std::size_t, std::int32_t*, double*) = nullptr;  // for the stream's passes, chosen once
  // One cursor for two, without a pass: the one of the subtracted entries goes kLag places ahead, for all
  // streams alike. Before there is any table all entries are 0, and places do not matter.
  std::size_t place_ = 0;
  // In whole lines of the cache: a vector that lay across two would be stored twice.
  static constexpr std::size_t kLineBytes = 64;
  alignas(kLineBytes) std::array<double, kPaddedPassSize> deviates_{};
  // The table of the stream ahead and, behind it, what it draws: before a draw the table are the kTableSize
  // entries after the place of its deviate. Vectors are read beyond the end.
  alignas(
      kLineBytes) std::array<std::int32_t, kPaddedTableSize + kPaddedPassSize + kLargestVector> entries_{};
  std::array<Stream, kStreamsCount> streams_{};
};

}  // namespace mth_internal
