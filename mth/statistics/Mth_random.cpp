#include "mth/statistics/Mth_random.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <limits>

#include "mth/core/Mth_compiler_internal.h"
#include "mth/statistics/Mth_combined_generator_internal.h"
#include "mth/statistics/Mth_normal_pair_internal.h"
#include "mth/statistics/Mth_subtractive_family_internal.h"

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

using mth_internal::InRegister;
using mth_internal::IsStream;
using mth_internal::kStreamsCount;

constinit mth_internal::SubtractiveFamily family1{};
constinit mth_internal::SubtractiveFamily family2{};

struct Range {
  int low = 0;
  int end = 0;
};
constinit std::array<Range, kStreamsCount> rangesOfFamily2{};

constinit std::array<std::uint32_t, kStreamsCount> registersOfFamily3{};

constinit bool hasSavedDeviate = false;
constinit float savedDeviate = 0.0f;

constinit mth_internal::CombinedGenerator combinedGenerator{};

}  // namespace

int (*Mth_SetRandomClock(int (*hundredths)()))() {
  const Clock former = installedClock;
  installedClock = hundredths;
  return former;
}

float Mth_RandomGenerator(long* idum) {
  if (idum == nullptr) [[unlikely]]
    return 0.0f;
  return InRegister(&combinedGenerator)->Draw(idum);
}

bool Mth_InitRandom1(short stream) {
  if (!IsStream(stream)) return false;
  family1.Seed(stream, ReadClock());
  return true;
}

double Mth_Random1(short stream) {
  return InRegister(&family1)->Draw(stream);
}

bool Mth_InitRandom2(short stream, short low, short high) {
  if (!IsStream(stream)) return false;
  family2.Seed(stream, ReadClock());
  rangesOfFamily2[static_cast<std::size_t>(stream)] = {low, high + 1};
  return true;
}

int Mth_Random2(short stream) {
  if (!IsStream(stream)) return -1;
  const double uniform = InRegister(&family2)->Draw(stream);
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
  std::uint32_t& bits = *InRegister(&registersOfFamily3[static_cast<std::size_t>(stream)]);
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
