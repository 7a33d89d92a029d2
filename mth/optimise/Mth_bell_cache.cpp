#include <algorithm>
#include <limits>

#include "mth/core/Mth_elementary_internal.h"
#include "mth/optimise/Mth_bell_cache_internal.h"

namespace mth_internal {
namespace {

constexpr int kPlaces = 2;
constexpr int kSegment = 4096;  // samples at a time where nothing is kept

bool IsWorthKeeping(int gaussians, int count) {
  constexpr std::int64_t kLargestSize = std::int64_t{1} << 21;  // 16 MiB of doubles
  return std::int64_t{kPlaces} * gaussians * count <= kLargestSize;
}

}  // namespace

BellCache::BellCache(int gaussians, int count)
    : count_(std::max(count, 0)),
      areKept_(IsWorthKeeping(std::max(gaussians, 1), count_)),
      segment_(areKept_ ? count_ : kSegment),
      shapes_(areKept_ ? std::int64_t{kPlaces} * gaussians : 0),
      last_(areKept_ ? gaussians : 0),
      bells_(areKept_ ? std::int64_t{kPlaces} * gaussians * segment_ : segment_),
      model_(segment_) {
  if (!areKept_ || !IsAllocated()) return;
  std::fill_n(last_.Get(), gaussians, 0);
  std::fill_n(shapes_.Get(), kPlaces * std::int64_t{gaussians},
              Shape{std::numeric_limits<double>::quiet_NaN(), 0.0});
}

const double* BellCache::Bells(int g, double centre, double width) {
  if (!areKept_) {
    Compute(centre, width, Row(0));
    return Row(0);
  }
  const std::int64_t places = std::int64_t{kPlaces} * g;
  int& last = last_[g];
  if (Holds(places + last, centre, width)) return Row(places + last);
  last = 1 - last;  // keeps the place used last: it is what the minimiser comes back to
  if (!Holds(places + last, centre, width)) {
    Compute(centre, width, Row(places + last));
    shapes_[places + last] = {centre, width};
  }
  return Row(places + last);
}

void BellCache::Compute(double centre, double width, double* bells) const {
  const int length = std::min(segment_, count_ - first_);
  for (int i = 0; i < length; ++i) {
    const double z = ((first_ + i) - centre) / width;
    bells[i] = -0.5 * (z * z);
  }
  Exponentials(bells, length, bells);
}

}  // namespace mth_internal
