#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numbers>

#include "mth/clustering/Mth_tissue_cubes_internal.h"
#include "mth/clustering/Mth_tissue_mixture_internal.h"

#define MTH_KERNEL_FILE "mth/clustering/Mth_tissue_cubes_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

namespace mth_internal {

CubeGrid::CubeGrid(const MaskVoxels& voxels, int side) : side_(side), inverseSide_(1.0 / side) {
  std::array<int, 3> last{-1, -1, -1};
  first_ = voxels.size;
  ForEachRow(voxels, [&](int y, int z, std::int64_t first, std::int64_t end) {
    const std::array<int, 3> low{voxels.x[static_cast<std::size_t>(first)], y, z};
    const std::array<int, 3> high{voxels.x[static_cast<std::size_t>(end - 1)], y, z};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      first_[axis] = std::min(first_[axis], low[axis]);
      last[axis] = std::max(last[axis], high[axis]);
    }
  });
  for (std::size_t axis = 0; axis < 3; ++axis)
    counts_[axis] = std::max<std::int64_t>(1, (last[axis] - first_[axis]) / side + 1);
}

bool CubeGrid::Blur(const std::array<double, 3>& deviation, double* values, double* work,
                    LongIteration* run) const {
  const bool isWhole = BlurAxis(0, deviation[0] * inverseSide_, values, work, run) &&
                       BlurAxis(1, deviation[1] * inverseSide_, work, values, run) &&
                       BlurAxis(2, deviation[2] * inverseSide_, values, work, run);
  if (isWhole) std::copy_n(work, Count(), values);
  return isWhole;
}

// Planes and rows are added as a whole; along x, one cube after the other of a row.
bool CubeGrid::BlurAxis(std::size_t axis, double deviation, const double* from, double* to,
                        LongIteration* run) const {
  constexpr double kReach = 2.5;  // deviations, beyond which weights are below 5 per cent of the peak
  const std::int64_t count = counts_[axis];
  // Compared as doubles: a width may be beyond any whole number.
  const double widest = static_cast<double>(count - 1);
  const auto reach = static_cast<std::int64_t>(std::min(widest, kReach * deviation));
  const std::int64_t stride = axis == 0 ? 1 : (axis == 1 ? counts_[0] : counts_[0] * counts_[1]);
  const std::int64_t outer = stride * count;
  const auto weight = [deviation](std::int64_t distance) {
    const double ratio = static_cast<double>(distance) / deviation;
    return Exponential(-0.5 * ratio * ratio);
  };
  std::copy_n(from, Count(), to);
  for (std::int64_t distance = 1; distance <= reach; ++distance) {
    if (run != nullptr && run->IsGivenUp(static_cast<double>(Count()))) return false;
    const double factor = weight(distance);
    for (std::int64_t start = 0; start < Count(); start += outer) {
      // In the middle both neighbours exist; near the ends one does, as long as the other is outside.
      const double* const row = from + start;
      double* const sums = to + start;
      const std::int64_t low = std::min(distance, count - distance);
      const std::int64_t high = std::max(distance, count - distance);
      MTH_SELECT(AddWeighted)(row + distance * stride, factor, low * stride, sums);
      if (count - distance > distance) {
        MTH_SELECT(AddWeightedPair)
        (row, row + 2 * distance * stride, factor, (high - low) * stride, sums + distance * stride);
      }
      MTH_SELECT(AddWeighted)
      (row + (high - distance) * stride, factor, (count - high) * stride, sums + high * stride);
    }
  }
  return true;
}

void CubeGrid::FillRow(const double* values, int y, int z, double* row) const {
  const auto [cubeY, shareY] = PlaceOf(1, y);
  const auto [cubeZ, shareZ] = PlaceOf(2, z);
  const std::int64_t stepY = cubeY + 1 < counts_[1] ? counts_[0] : 0;
  const std::int64_t stepZ = cubeZ + 1 < counts_[2] ? counts_[0] * counts_[1] : 0;
  const double* const at = values + counts_[0] * (cubeY + counts_[1] * cubeZ);
  for (std::int64_t i = 0; i < counts_[0]; ++i) {
    const double low = at[i] + shareY * (at[i + stepY] - at[i]);
    const double high = at[i + stepZ] + shareY * (at[i + stepZ + stepY] - at[i + stepZ]);
    row[i] = low + shareZ * (high - low);
  }
  row[counts_[0]] = row[counts_[0] - 1];  // so that the last cube has a neighbour
}

}  // namespace mth_internal
