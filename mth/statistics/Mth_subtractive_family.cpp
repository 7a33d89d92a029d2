#include <algorithm>

#include "mth/statistics/Mth_subtractive_family_internal.h"

#define MTH_KERNEL_FILE "mth/statistics/Mth_subtractive_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

namespace mth_internal {
namespace {

// Never in the widest vectors: the single numbers that a caller works with between two passes would be slower
// for a while, and a pass gains nothing from them.
auto SelectDrawPass() {
#if MTH_MULTIVERSION
  return SelectVersion(&baseline::DrawPass, &avx2::DrawPass, &avx2::DrawPass);
#else
  return MTH_SELECT(DrawPass);
#endif
}

}  // namespace

void SubtractiveFamily::Seed(short stream, std::int32_t seed) {
  EndPass();
  StreamOf(stream).seed = -seed;
}

double SubtractiveFamily::DrawSlowly(short stream, SubtractiveFamily& family) {
  if (!IsStream(stream)) return -1.0;
  return stream == family.ahead_ ? family.DrawNextPass(stream) : family.DrawAfterOthers(stream);
}

double SubtractiveFamily::DrawAfterOthers(short stream) {
  EndPass();
  Stream& state = StreamOf(stream);
  if (state.seed < 0) BuildTable(state);
  if (stream == last_ && place_ == 0) return DrawNextPass(stream);
  last_ = stream;
  return DrawAlone(state);
}

double SubtractiveFamily::DrawAlone(Stream& state) {
  constexpr std::size_t kSpan = kTableSize - kLag;
  std::int32_t& entry = state.table[place_];
  entry = Wrap(entry - state.table[place_ < kSpan ? place_ + kLag : place_ - kSpan]);
  place_ = (place_ + 1) % kTableSize;
  return Deviate(entry);
}

double SubtractiveFamily::DrawNextPass(short stream) {
  SelectDrawPass()(StreamOf(stream).table.data(), before_.data(), deviates_.data());
  ahead_ = stream;
  taken_ = InRegister(std::size_t{1});
  return deviates_[0];
}

void SubtractiveFamily::EndPass() {
  if (ahead_ == kNoStream) return;
  std::copy(before_.begin() + taken_, before_.end(), StreamOf(ahead_).table.begin() + taken_);
  place_ = taken_ % kTableSize;
  taken_ = kTableSize;
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
