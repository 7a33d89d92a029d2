#include "mth/statistics/Mth_random.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <limits>

namespace {

using Clock = int (*)();

Clock installedClock = nullptr;

int TimeOfDay() {
  std::timespec now{};
  std::timespec_get(&now, TIME_UTC);
  std::tm local{};
#if defined(_WIN32)
  localtime_s(&local, &now.tv_sec);
#else
  localtime_r(&now.tv_sec, &local);
#endif
  return local.tm_hour * 360000 + local.tm_min * 6000 + local.tm_sec * 100 +
         static_cast<int>(now.tv_nsec / 10000000);
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
class SubtractiveFamily {
 public:
  void Seed(short stream) { StreamOf(stream).seed = -ReadClock(); }

  // Whether draws give anything but zeros.
  bool IsAlive(short stream) const {
    const Stream& state = streams_[static_cast<std::size_t>(stream)];
    return state.seed < 0 || state.hasTable;
  }

  double Draw(short stream) {
    Stream& state = StreamOf(stream);
    if (state.seed < 0) BuildTable(state);
    next_ = next_ == kTableSize ? 1 : next_ + 1;
    nextSubtracted_ = nextSubtracted_ == kTableSize ? 1 : nextSubtracted_ + 1;
    std::int32_t& entry = state.table[next_];
    entry = Wrap(entry - state.table[nextSubtracted_]);
    return std::min(entry * kFactor, kLargestUniform);
  }

 private:
  static constexpr std::uint32_t kTableSize = 55;
  static constexpr std::uint32_t kLag = 31;
  static constexpr std::int32_t kModulus = 1000000000;
  static constexpr std::int32_t kSeedOffset = 161803398;
  static constexpr double kFactor = 1e-9;

  struct Stream {
    std::int32_t seed = 0;  // negative: what to build the table from
    bool hasTable = false;
    std::array<std::int32_t, kTableSize + 1> table{};  // from 1 on
  };

  Stream& StreamOf(short stream) { return streams_[static_cast<std::size_t>(stream)]; }

  static std::int32_t Wrap(std::int32_t difference) {
    return difference < 0 ? difference + kModulus : difference;
  }

  void BuildTable(Stream& state) {
    constexpr std::uint32_t kIndexStep = 21;
    constexpr int kMixingPasses = 4;
    auto& table = state.table;
    std::int32_t current = (kSeedOffset + state.seed) % kModulus;
    std::int32_t following = 1;
    table[kTableSize] = current;
    for (std::uint32_t i = 1; i < kTableSize; ++i) {
      const std::uint32_t place = kIndexStep * i % kTableSize;
      table[place] = following;
      following = Wrap(current - following);
      current = table[place];
    }
    for (int pass = 0; pass < kMixingPasses; ++pass) {
      for (std::uint32_t i = 1; i <= kTableSize; ++i) {
        table[i] = Wrap(table[i] - table[1 + (i + 30) % kTableSize]);
      }
    }
    next_ = 0;
    nextSubtracted_ = kLag;
    state.seed = 1;
    state.hasTable = true;
  }

  std::array<Stream, kStreamsCount> streams_;
  std::uint32_t next_ = 0;
  std::uint32_t nextSubtracted_ = 0;
};

constinit SubtractiveFamily family1;
constinit SubtractiveFamily family2;

struct Range {
  int low = 0;
  int end = 0;
};
constinit std::array<Range, kStreamsCount> rangesOfFamily2;

constinit std::array<std::uint32_t, kStreamsCount> registersOfFamily3{};

constinit bool hasSavedDeviate = false;
constinit float savedDeviate = 0.0f;

// One of the two congruential generators that are combined: multiplier, remainder step and modulus.
template <std::int32_t multiplier, std::int32_t quotient, std::int32_t remainder, std::int32_t modulus>
std::int32_t Step(std::int32_t seed) {
  const std::int32_t k = seed / quotient;
  const std::int32_t next = multiplier * (seed - k * quotient) - k * remainder;
  return next < 0 ? next + modulus : next;
}

class CombinedGenerator {
 public:
  float Draw(long* idum) {
    std::int32_t first = *idum > 0 ? Reduce(static_cast<unsigned long>(*idum)) : Restart(*idum);
    first = StepFirst(first);
    *idum = first;
    second_ = Step<40692, 52774, 3791, 2147483399>(second_);
    std::int32_t& entry = table_[static_cast<std::size_t>(output_ / kEntrySpan)];
    output_ = entry - second_;
    entry = first;
    if (output_ < 1) output_ += kModulus - 1;
    return static_cast<float>(std::min(kScale * output_, kLargestUniform));
  }

 private:
  static constexpr std::int32_t kModulus = 2147483563;
  static constexpr std::int32_t kTableSize = 32;
  static constexpr std::int32_t kEntrySpan = 1 + (kModulus - 1) / kTableSize;
  static constexpr double kScale = 1.0 / kModulus;

  static std::int32_t StepFirst(std::int32_t seed) { return Step<40014, 53668, 12221, kModulus>(seed); }

  static std::int32_t Reduce(unsigned long magnitude) {
    const bool fits = magnitude <= static_cast<unsigned long>(std::numeric_limits<std::int32_t>::max());
    return static_cast<std::int32_t>(fits ? magnitude : magnitude % kModulus);
  }

  std::int32_t Restart(long idum) {
    constexpr int kWarmUp = 8;
    std::int32_t first = std::max(Reduce(0UL - static_cast<unsigned long>(idum)), std::int32_t{1});
    second_ = first;
    for (std::int32_t j = kTableSize + kWarmUp - 1; j >= 0; --j) {
      first = StepFirst(first);
      if (j < kTableSize) table_[static_cast<std::size_t>(j)] = first;
    }
    output_ = table_[0];
    return first;
  }

  std::int32_t second_ = 123456789;
  std::int32_t output_ = 0;
  std::array<std::int32_t, kTableSize> table_{};
};

constinit CombinedGenerator combinedGenerator;

}  // namespace

int (*Mth_SetRandomClock(int (*hundredths)()))() {
  const Clock former = installedClock;
  installedClock = hundredths;
  return former;
}

float Mth_RandomGenerator(long* idum) {
  return combinedGenerator.Draw(idum);
}

bool Mth_InitRandom1(short stream) {
  if (!IsStream(stream)) return false;
  family1.Seed(stream);
  return true;
}

double Mth_Random1(short stream) {
  return IsStream(stream) ? family1.Draw(stream) : -1.0;
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
  float v1 = 0.0f;
  float v2 = 0.0f;
  float square = 0.0f;
  do {
    v1 = static_cast<float>(2.0 * family1.Draw(stream) - 1.0);
    v2 = static_cast<float>(2.0 * family1.Draw(stream) - 1.0);
    square = v1 * v1 + v2 * v2;
  } while (!(square < 1.0f));
  const float factor = static_cast<float>(std::sqrt(-2.0 * std::log(static_cast<double>(square)) / square));
  savedDeviate = v1 * factor;
  hasSavedDeviate = true;
  return v2 * factor;
}

bool Mth_Random_SelectAleat(short k, short n, short* out) {
  static constinit long seed = -10;
  if (k > n) return false;
  std::fill_n(out, std::max<short>(k, 0), short{0});
  for (short count = 0; count < k;) {
    const short drawn = static_cast<short>(static_cast<double>(Mth_RandomGenerator(&seed)) * n);
    if (std::find(out, out + count, drawn) == out + count) out[count++] = drawn;
  }
  return true;
}
