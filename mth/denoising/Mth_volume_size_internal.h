#pragma once

#include <cstdint>

namespace mth_internal {

/// A volume's voxels along x, y and z, x being the fastest; one without planes in depth has z = 1.
struct VolumeSize {
  std::int64_t x;
  std::int64_t y;
  std::int64_t z;

  std::int64_t Count() const { return x * y * z; }
  std::int64_t Row(std::int64_t row, std::int64_t plane) const { return x * (row + y * plane); }
};

/// Index in [0, count) of a sample of the mirror image that goes on beyond both ends, edge sample repeated.
inline std::int64_t MirroredIndex(std::int64_t index, std::int64_t count) {
  const std::int64_t period = 2 * count;
  index %= period;
  if (index < 0) index += period;
  return index < count ? index : period - 1 - index;
}

}  // namespace mth_internal
