#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/denoising/Mth_nonlocal_means_internal.h"

#define MTH_KERNEL_FILE "mth/denoising/Mth_nonlocal_means_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

namespace mth_internal {
namespace {

constexpr std::int64_t kReach = 2;
constexpr float kOwnWeight = 0.7F;  // of a voxel for itself; others of the same guide have 1

struct Shift {
  std::int64_t x;
  std::int64_t y;
  std::int64_t z;
};

// One shift of every pair of opposite ones, where the volume has such pairs at all.
template <class Body>
bool ForEachShift(const VolumeSize& size, Body body) {
  for (std::int64_t z = 0; z <= std::min(kReach, size.z - 1); ++z) {
    for (std::int64_t y = z == 0 ? 0 : -kReach; y <= kReach; ++y) {
      for (std::int64_t x = z == 0 && y == 0 ? 1 : -kReach; x <= kReach; ++x) {
        if (std::abs(x) >= size.x || std::abs(y) >= size.y) continue;
        if (!body(Shift{x, y, z})) return false;
      }
    }
  }
  return true;
}

// Sums over 3 x 3 voxels in the last three planes that were filled.
class BoxPlanes {
 public:
  explicit BoxPlanes(const VolumeSize& size)
      : row_(size.x + 2),
        rowSums_(size.x * size.y),
        sums_(3 * size.x * size.y),
        planeSize_(size.x * size.y) {}
  explicit operator bool() const { return row_ && rowSums_ && sums_; }

  // Plane z of rows x columns values; writeRow(y, target) writes a row of them.
  template <class WriteRow>
  void Fill(std::int64_t z, std::int64_t rows, std::int64_t columns, WriteRow writeRow) const {
    for (std::int64_t y = 0; y < rows; ++y) {
      writeRow(y, row_.Get() + 1);
      MTH_SELECT(SumNeighbours)(row_.Get(), columns, rowSums_.Get() + y * columns);
    }
    const auto row = [&](std::int64_t y) {
      return rowSums_.Get() + std::clamp<std::int64_t>(y, 0, rows - 1) * columns;
    };
    for (std::int64_t y = 0; y < rows; ++y)
      MTH_SELECT(AddThreeRows)(row(y - 1), row(y), row(y + 1), columns, Plane(z) + y * columns);
  }
  float* Plane(std::int64_t z) const { return sums_.Get() + z % 3 * planeSize_; }

 private:
  WorkArray<float> row_;
  WorkArray<float> rowSums_;
  WorkArray<float> sums_;
  std::int64_t planeSize_;
};

// All pairs of one shift.
class ShiftedPairs {
 public:
  ShiftedPairs(const VolumeSize& size, const Shift& shift)
      : size_(size),
        overlap_{size.x - std::abs(shift.x), size.y - std::abs(shift.y), size.z - shift.z},
        first_(std::max<std::int64_t>(0, -shift.x) + size.x * std::max<std::int64_t>(0, -shift.y)),
        distance_(shift.x + size.x * (shift.y + size.y * shift.z)) {}

  void Gather(const float* guide, const float* means, const float* magnitudes, float decay,
              const WeightedSums& sums, const BoxPlanes& boxes, float* weights) const {
    const auto fill = [&](std::int64_t z) {
      boxes.Fill(z, overlap_.y, overlap_.x, [&](std::int64_t y, float* row) {
        const float* const values = guide + Row(y, z);
        MTH_SELECT(SquareDifferences)(values, values + distance_, overlap_.x, row);
      });
    };
    fill(0);
    for (std::int64_t z = 0; z < overlap_.z; ++z) {
      if (z + 1 < overlap_.z) fill(z + 1);
      const float* const below = boxes.Plane(std::max<std::int64_t>(z - 1, 0));
      const float* const above = boxes.Plane(std::min(z + 1, overlap_.z - 1));
      for (std::int64_t y = 0; y < overlap_.y; ++y) {
        const std::int64_t at = Row(y, z);
        const std::int64_t box = y * overlap_.x;
        MTH_SELECT(WeighRow)
        ({guide + at,
          guide + at + distance_,
          means + at,
          means + at + distance_,
          {below + box, boxes.Plane(z) + box, above + box},
          decay},
         overlap_.x, weights);
        Give(at + distance_, at, weights, magnitudes, sums);
        Give(at, at + distance_, weights, magnitudes, sums);
      }
    }
  }

 private:
  std::int64_t Row(std::int64_t y, std::int64_t z) const { return first_ + size_.Row(y, z); }
  void Give(std::int64_t from, std::int64_t to, const float* weights, const float* magnitudes,
            const WeightedSums& sums) const {
    MTH_SELECT(GiveShares)
    (weights, magnitudes + from, overlap_.x, sums.weights + to, sums.squaredWeights + to, sums.shares + to);
  }

  VolumeSize size_;
  VolumeSize overlap_;
  std::int64_t first_;
  std::int64_t distance_;
};

// Means over 3 x 3 x 3 voxels, edges repeated.
void ComputeMeans(const VolumeSize& size, const float* values, const BoxPlanes& boxes, float* means) {
  const auto fill = [&](std::int64_t z) {
    boxes.Fill(z, size.y, size.x,
               [&](std::int64_t y, float* row) { std::copy_n(values + size.Row(y, z), size.x, row); });
  };
  const std::int64_t planeSize = size.x * size.y;
  fill(0);
  for (std::int64_t z = 0; z < size.z; ++z) {
    if (z + 1 < size.z) fill(z + 1);
    float* const plane = means + z * planeSize;
    MTH_SELECT(AddThreeRows)
    (boxes.Plane(std::max<std::int64_t>(z - 1, 0)), boxes.Plane(z), boxes.Plane(std::min(z + 1, size.z - 1)),
     planeSize, plane);
    for (std::int64_t i = 0; i < planeSize; ++i) plane[i] *= 1.0F / 27.0F;
  }
}

}  // namespace

MTH_STOP_REASON GatherSimilarVoxels(const VolumeSize& size, const float* guide, const float* magnitudes,
                                    float decay, float* means, const WeightedSums& sums, RunWatch& watch) {
  const BoxPlanes boxes(size);
  const WorkArray<float> weights(size.x);
  if (!boxes || !weights) return MTH_STOP_REASON::NoMemory;
  ComputeMeans(size, guide, boxes, means);
  std::fill_n(sums.weights, size.Count(), kOwnWeight);
  std::fill_n(sums.squaredWeights, size.Count(), kOwnWeight * kOwnWeight);
  std::transform(magnitudes, magnitudes + size.Count(), sums.shares,
                 [](float magnitude) { return kOwnWeight * magnitude; });
  const bool isWhole = ForEachShift(size, [&](const Shift& shift) {
    if (!watch.GoesOn()) return false;
    ShiftedPairs(size, shift).Gather(guide, means, magnitudes, decay, sums, boxes, weights.Get());
    return true;
  });
  return isWhole ? MTH_STOP_REASON::Converged : MTH_STOP_REASON::Cancelled;
}

std::int64_t CountShifts(const VolumeSize& size) {
  std::int64_t count = 0;
  ForEachShift(size, [&](const Shift&) { return ++count > 0; });
  return count;
}

}  // namespace mth_internal
