#include "mth/statistics/Mth_random.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <limits>

#include "mth/core/Mth_compiler_internal.h"
#include "mth/statistics/Mth_congruence_internal.h"
#include "mth/statistics/Mth_normal_pair_internal.h"

namespace {

using Clock = int (*)();

Clock installedClock = nullptr;

int TimeOfDay() {
  using namespace std::chrono;
  const auto now = system_clock::now();
  const std::time_t seconds = system_clock::to_time_t(now);
  std::tm local{};
#if defined(_WIN32)
  localtime_s(&local, &seconds);
#else
  localtime_r(&seconds, &local);
#endif
  const auto hundredths = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000 / 10;
  return local.tm_hour * 360000 + local.tm_min * 6000 + local.tm_sec * 100 + static_cast<int>(hundredths);
}

// Hundredths of a second since midnight.
std::int32_t ReadClock() {
  constexpr int kDay = 8640000;
  const int hundredths = (installedClock != nullptr ? installedClock() : TimeOfDay()) % kDay;
  return hundredths < 0 ? hundredths + kDay : hundredths;
}

constexpr double kLargestUniform = 0.99999988;  // 1 - 1.2e-7: uniform deviates stay below 1 as floats, too

constexpr int kStreamsCount = 5;

bool IsStream(short stream) {
  return stream >= 0 && stream < kStreamsCount;
}

// Family of subtractive generators: five tables, one pair of cursors.
//
// A stream that draws alone is a pass through its table ahead: the new entries and their deviates are
// computed together, in vector lanes, and a draw only takes the next one. The table itself stays that of the
// last pass until the pass is over or another stream moves the cursors; then it takes over the entries that
// have been drawn.
class SubtractiveFamily {
 public:
  void Seed(short stream) {
    EndPass();
    StreamOf(stream).seed = -ReadClock();
  }

  // Whether draws give anything but zeros.
  bool IsAlive(short stream) const {
    const Stream& state = streams_[static_cast<std::size_t>(stream)];
    return state.seed < 0 || state.hasTable;
  }

  // -1 for a stream that does not exist.
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

constinit SubtractiveFamily family1{};
constinit SubtractiveFamily family2{};

struct Range {
  int low = 0;
  int end = 0;
};
constinit std::array<Range, kStreamsCount> rangesOfFamily2{};

constinit std::array<std::uint32_t, kStreamsCount> registersOfFamily3{};

constinit bool hasSavedDeviate = false;
constinit float savedDeviate = 0.0f;

class CombinedGenerator {
 public:
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
  using First = mth_internal::FirstCongruence;
  using Second = mth_internal::SecondCongruence;
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

constinit CombinedGenerator combinedGenerator{};

}  // namespace

int (*Mth_SetRandomClock(int (*hundredths)()))() {
  const Clock former = installedClock;
  installedClock = hundredths;
  return former;
}

float Mth_RandomGenerator(long* idum) {
  if (idum == nullptr) [[unlikely]]
    return 0.0f;
  return combinedGenerator.Draw(idum);
}

bool Mth_InitRandom1(short stream) {
  if (!IsStream(stream)) return false;
  family1.Seed(stream);
  return true;
}

double Mth_Random1(short stream) {
  return family1.Draw(stream);
}

bool Mth_InitRandom2(short stream, short low, short high) {
  if (!IsStream(stream)) return false;
  family2.Seed(stream);
  rangesOfFamily2[static_cast<std::size_t>(stream)] = {low, high + 1};
  return true;
}

int Mth_Random2(short stream) {
  if (!IsStream(stream)) return -1;
  const double uniform = family2.Draw(stream);
  const Range range = rangesOfFamily2[static_cast<std::size_t>(stream)];
  // Truncated before low is added: a range below zero is then as even as any.
  return range.low + static_cast<int>((range.end - range.low) * uniform);
}

bool Mth_InitRandom3(short stream) {
  if (!IsStream(stream)) return false;
  registersOfFamily3[static_cast<std::size_t>(stream)] = static_cast<std::uint32_t>(ReadClock());
  return true;
}

short Mth_Random3(short stream) {
  if (!IsStream(stream)) return -1;
  std::uint32_t& bits = registersOfFamily3[static_cast<std::size_t>(stream)];
  const std::uint32_t newBit = (bits >> 17 ^ bits >> 4 ^ bits >> 1 ^ bits) & 1u;
  bits = bits << 1 | newBit;
  return static_cast<short>(newBit);
}

bool Mth_InitNormalRandom(short stream) {
  return Mth_InitRandom1(stream);
}

float Mth_NormalRandomGenerator(short stream) {
  if (!IsStream(stream)) return 0.0f;
  if (hasSavedDeviate) {
    hasSavedDeviate = false;
    return savedDeviate;
  }
  if (!family1.IsAlive(stream)) return 0.0f;
  const mth_internal::NormalPair pair = mth_internal::MakeNormalPair([=] { return family1.Draw(stream); });
  savedDeviate = pair.second;
  hasSavedDeviate = true;
  return pair.first;
}

bool Mth_Random_SelectAleat(short k, short n, short* out) {
  static constinit long seed = -10;
  if (k > n || (out == nullptr && k > 0)) return false;
  std::fill_n(out, std::max<short>(k, 0), short{0});
  std::bitset<std::numeric_limits<short>::max()> isTaken;
  for (short count = 0; count < k;) {
    const short drawn = static_cast<short>(static_cast<double>(Mth_RandomGenerator(&seed)) * n);
    const auto place = static_cast<std::size_t>(drawn);
    if (!isTaken[place]) out[count++] = drawn;
    isTaken[place] = true;
  }
  return true;
}
