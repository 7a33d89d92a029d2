#include <algorithm>
#include <numbers>

#include "mth/clustering/Mth_tissue_mixture_internal.h"
#include "mth/clustering/Mth_tissue_run_internal.h"
#include "mth/core/Mth_elementary_internal.h"

namespace mth_internal {

VoxelSample::VoxelSample(const MaskVoxels& all) {
  constexpr std::int64_t kMany = 50000;
  constexpr std::int64_t kFewest = 32;  // one voxel of so many; every second one an axis is one of eight
  voxels.size = all.size;
  if (all.Count() > kMany) Take(all, 2);
  // A mask may lie between the places: all on odd planes, rows or columns.
  if (indices.size() < static_cast<std::size_t>(all.Count() / kFewest + 1)) Take(all, 1);
}

void VoxelSample::Take(const MaskVoxels& all, int step) {
  voxels.x.clear();
  voxels.stratum.clear();
  voxels.rows.assign(1, 0);
  indices.clear();
  std::size_t row = 0;
  for (int z = 0; z < all.size[2]; ++z) {
    for (int y = 0; y < all.size[1]; ++y, ++row) {
      for (std::int64_t i = all.rows[row]; i < all.rows[row + 1]; ++i) {
        const auto at = static_cast<std::size_t>(i);
        if (all.x[at] % step != 0 || y % step != 0 || (z % step != 0 && all.size[2] > step)) continue;
        voxels.x.push_back(all.x[at]);
        voxels.stratum.push_back(all.stratum[at]);
        indices.push_back(i);
      }
      voxels.rows.push_back(voxels.Count());
    }
  }
}

ChannelValues VoxelSample::Of(const ChannelValues& values) const {
  ChannelValues sampled;
  sampled.reserve(indices.size());
  for (const std::int64_t i : indices) sampled.push_back(values[static_cast<std::size_t>(i)]);
  return sampled;
}

FieldEstimate::FieldEstimate(const MaskVoxels& voxels, const MaskVoxels& sample,
                             const TissueSettings& settings)
    : sample_(sample), deviation_(), field_{CubeGrid(voxels, 4), {}} {
  for (std::size_t axis = 0; axis < 3; ++axis)
    deviation_[axis] = settings.fieldWidth / settings.voxelSize[axis];
  const auto count = static_cast<std::size_t>(field_.grid.Count());
  field_.values.assign(count, 1.0);
  logField_.assign(count, 0.0);
  voxelCounts_.assign(count, 0.0);
  weights_.resize(count);
  logarithms_.resize(count);
  work_.resize(std::max<std::size_t>(count, static_cast<std::size_t>(field_.grid.RowWork())));
  field_.grid.ForEachVoxel(
      sample, [&](std::int64_t, std::int64_t cube) { voxelCounts_[static_cast<std::size_t>(cube)] += 1.0; });
}

void FieldEstimate::Clear() {
  std::fill(weights_.begin(), weights_.end(), 0.0);
  std::fill(logarithms_.begin(), logarithms_.end(), 0.0);
}

bool FieldEstimate::Update(LongIteration* run) {
  constexpr double kMostLogarithm = 20.0;  // far beyond any coil: next to nothing stays next to nothing
  const bool isWhole = field_.grid.Blur(deviation_, weights_.data(), work_.data(), run) &&
                       field_.grid.Blur(deviation_, logarithms_.data(), work_.data(), run);
  if (!isWhole) return false;
  // Cubes that hardly see a voxel of a tissue keep what they have.
  const double least = 1e-9 * *std::max_element(weights_.begin(), weights_.end());
  double sum = 0.0;
  for (std::size_t i = 0; i < logField_.size(); ++i) {
    if (weights_[i] > least) logField_[i] += logarithms_[i] / weights_[i];
    sum += voxelCounts_[i] * logField_[i];
  }
  const double mean = sum / static_cast<double>(sample_.Count());
  for (std::size_t i = 0; i < logField_.size(); ++i) {
    logField_[i] = std::clamp(logField_[i] - mean, -kMostLogarithm, kMostLogarithm);
    field_.values[i] = Exponential(logField_[i]);
  }
  return true;
}

void FieldEstimate::Correct(const MaskVoxels& voxels, const ChannelValues& values, ChannelValues& corrected) {
  corrected.resize(values.size());
  field_.grid.Interpolate(
      voxels, field_.values.data(), 1, work_.data(), [&](std::int64_t i, const double* field) {
        corrected[static_cast<std::size_t>(i)] = values[static_cast<std::size_t>(i)] / field[0];
      });
}

}  // namespace mth_internal
