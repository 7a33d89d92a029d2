#include <algorithm>

#include "mth/statistics/Mth_subtractive_family_internal.h"

#define MTH_KERNEL_FILE "mth/statistics/Mth_subtractive_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

namespace mth_internal {

void SubtractiveFamily::Seed(short stream, std::int32_t seed) {
  EndPass();
  StreamOf(stream).seed = -seed;
}

double SubtractiveFamily::DrawSlowly(short stream, SubtractiveFamily& family) {
  if (!IsStream(stream)) return -1.0;
  return stream == family.ahead_ ? family.DrawNextPass(0) : family.DrawAfterOthers(stream);
}

double SubtractiveFamily::DrawAfterOthers(short stream) {
  EndPass();
  Stream& state = StreamOf(stream);
  if (state.seed < 0) BuildTable(state);
  if (stream == last_ && place_ == 0) return BeginPasses(stream);
  last_ = stream;
  return DrawAlone(state);
}

double SubtractiveFamily::DrawAlone(Stream& state) {
  std::int32_t& entry = state.table[place_];
  entry = Wrap(entry - state.table[place_ < kSpan ? place_ + kLag : place_ - kSpan]);
  place_ = (place_ + 1) % kTableSize;
  return Deviate(entry);
}

// The first one is short: what is drawn ahead for a stream that soon makes room for others is lost.
double SubtractiveFamily::BeginPasses(short stream) {
  constexpr std::size_t kFirst = kPassSize - kTableSize;
  const Table& table = StreamOf(stream).table;
  std::copy(table.begin(), table.end(), entries_.begin() + kFirst + 1);
  ahead_ = stream;
  drawPass_ = MTH_SELECT(DrawPass);
  return DrawNextPass(kFirst);
}

double SubtractiveFamily::DrawNextPass(std::size_t first) {
  drawPass_(first, entries_.data(), deviates_.data());
  taken_ = InRegister(first + 1);
  return deviates_[first];
}

void SubtractiveFamily::EndPass() {
  if (ahead_ == kNoStream) return;
  place_ = taken_ % kTableSize;
  const auto table = entries_.begin() + taken_ + 1;
  std::rotate_copy(table, table + (kTableSize - place_), table + kTableSize, StreamOf(ahead_).table.begin());
  taken_ = kPassSize;
  ahead_ = kNoStream;
}

void SubtractiveFamily::BuildTable(Stream& state) {
  constexpr std::size_t kIndexStep = 21;
  constexpr int kMixingPasses = 4;
  const auto entry = [&state](std::size_t number) -> std::int32_t& { return state.table[number - 1]; };
  std::int32_t current = (kSeedOffset + state.seed) % kModulus;
  std::int32_t following = 1;
  entry(kTableSize) = current;
  for (std::size_t i = 1; i < kTableSize; ++i) {
    const std::size_t number = kIndexStep * i % kTableSize;
    entry(number) = following;
    following = Wrap(current - following);
    current = entry(number);
  }
  for (int pass = 0; pass < kMixingPasses; ++pass) {
    for (std::size_t i = 1; i <= kTableSize; ++i)
      entry(i) = Wrap(entry(i) - entry(1 + (i + 30) % kTableSize));
  }
  place_ = 0;
  state.seed = 1;
  state.hasTable = true;
}

}  // namespace mth_internal
