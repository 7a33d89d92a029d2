#include "mth/clustering/Mth_tissue_clustering.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "mth/clustering/Mth_tissue_mixture_internal.h"
#include "mth/clustering/Mth_tissue_run_internal.h"

using namespace mth_internal;

namespace {

template <class T>
bool WriteFractions(const TissueResult& result, int tissue, T* fractions) {
  if (fractions == nullptr || tissue < 0 || tissue >= static_cast<int>(result.fractions.size())) return false;
  const auto& size = result.voxels.size;
  std::fill_n(fractions, std::int64_t{size[0]} * size[1] * size[2], T{0});
  const auto& values = result.fractions[static_cast<std::size_t>(tissue)];
  result.voxels.ForEachPlace(
      [&](std::size_t i, std::int64_t place) { fractions[place] = static_cast<T>(values[i]); });
  return true;
}

template <class T>
bool WriteField(const TissueResult& result, T* field, int channel) {
  if (field == nullptr || channel < 0 || channel >= static_cast<int>(result.fields.size())) return false;
  const TissueField& source = result.fields[static_cast<std::size_t>(channel)];
  const auto& size = result.voxels.size;
  const WorkArray<double> row(source.grid.RowWork());
  if (!row) return false;
  for (int z = 0; z < size[2]; ++z) {
    for (int y = 0; y < size[1]; ++y) {
      source.grid.FillRow(source.values.data(), y, z, row.Get());
      for (int x = 0; x < size[0]; ++x) *field++ = static_cast<T>(source.grid.AlongRow(row.Get(), x));
    }
  }
  return true;
}

}  // namespace

MTH_TISSUE_CLUSTERING::MTH_TISSUE_CLUSTERING(int tissues) : tissues_(tissues) {}

void MTH_TISSUE_CLUSTERING::SetVoxelSize(double x, double y, double z) {
  voxelSize_ = {x, y, z};
  for (double& length : voxelSize_) {
    if (!(length > 0.0) || !std::isfinite(length)) length = 1.0;
  }
}

void MTH_TISSUE_CLUSTERING::SetFieldWidth(double deviation) {
  constexpr double kUsual = 25.0;
  fieldWidth_ = deviation > 0.0 && std::isfinite(deviation) ? deviation : kUsual;
}

bool MTH_TISSUE_CLUSTERING::SetMeans(const double* means) {
  if (means != nullptr) {
    if (tissues_ < 1 || tissues_ > TissueMeans::kMostTissues) return false;
    for (int k = 0; k < tissues_; ++k) {
      const bool ascends = k == 0 ? means[k] >= 0.0 : means[k] > means[k - 1];
      if (!ascends || !std::isfinite(means[k])) return false;
    }
    std::copy_n(means, tissues_, means_.begin());
  }
  hasMeans_ = means != nullptr;
  return true;
}

template <class T>
bool MTH_TISSUE_CLUSTERING::Run(const T* const* channels, int count, const std::array<int, 3>& size,
                                const std::uint8_t* mask, const T* confidence) {
  const auto end = [this](MTH_STOP_REASON reason) {
    stopReason_ = reason;
    return reason == MTH_STOP_REASON::Converged;
  };
  if (hasMeans_ && count > 1) return end(MTH_STOP_REASON::BadInput);
  try {
    auto result = std::make_shared<TissueResult>();
    TissueInput input;
    MTH_STOP_REASON reason = TakeImages(channels, count, size, mask, confidence, tissues_, input, *result);
    if (reason != MTH_STOP_REASON::Converged) return end(reason);
    if (hasMeans_) input.MakeRoomFor(means_[static_cast<std::size_t>(tissues_ - 1)]);
    auto means = means_;
    for (double& mean : means) mean *= input.factors[0];
    const TissueSettings settings{tissues_,       voxelSize_,  estimatesField_,
                                  hasLocalMeans_, fieldWidth_, hasMeans_ ? means.data() : nullptr};
    RunWatch watch("Segmentation des tissus", kTissueSteps + (count > 1 ? kChannelSteps : 0));
    reason = DivideChannels(settings, input.strata, input.channels, watch, *result);
    if (reason != MTH_STOP_REASON::Converged) return end(reason);
    for (std::size_t c = 0; c < input.factors.size(); ++c) {
      for (double& centroid : result->centroids[c]) centroid /= input.factors[c];
    }
    if (hasMeans_)
      result->centroids[0].assign(means_.begin(), means_.begin() + tissues_);  // as they were given
    result_ = std::move(result);
    return end(reason);
  } catch (const std::bad_alloc&) {
    return end(MTH_STOP_REASON::NoMemory);
  }
}

bool MTH_TISSUE_CLUSTERING::Segment(const double* image, int nx, int ny, int nz, const std::uint8_t* mask,
                                    const double* confidence) {
  return Run(&image, 1, {nx, ny, nz}, mask, confidence);
}

bool MTH_TISSUE_CLUSTERING::Segment(const float* image, int nx, int ny, int nz, const std::uint8_t* mask,
                                    const float* confidence) {
  return Run(&image, 1, {nx, ny, nz}, mask, confidence);
}

bool MTH_TISSUE_CLUSTERING::SegmentChannels(const double* const* channels, int count, int nx, int ny, int nz,
                                            const std::uint8_t* mask) {
  return Run<double>(channels, count, {nx, ny, nz}, mask, nullptr);
}

bool MTH_TISSUE_CLUSTERING::SegmentChannels(const float* const* channels, int count, int nx, int ny, int nz,
                                            const std::uint8_t* mask) {
  return Run<float>(channels, count, {nx, ny, nz}, mask, nullptr);
}

int MTH_TISSUE_CLUSTERING::GetChannelsCount() const {
  return result_ ? static_cast<int>(result_->fields.size()) : 0;
}

double MTH_TISSUE_CLUSTERING::GetCentroid(int tissue, int channel) const {
  if (channel < 0 || channel >= GetChannelsCount()) return 0.0;
  const auto& centroids = result_->centroids[static_cast<std::size_t>(channel)];
  return tissue >= 0 && tissue < static_cast<int>(centroids.size())
             ? centroids[static_cast<std::size_t>(tissue)]
             : 0.0;
}

bool MTH_TISSUE_CLUSTERING::GetFractions(int tissue, double* fractions) const {
  return result_ && WriteFractions(*result_, tissue, fractions);
}

bool MTH_TISSUE_CLUSTERING::GetFractions(int tissue, float* fractions) const {
  return result_ && WriteFractions(*result_, tissue, fractions);
}

bool MTH_TISSUE_CLUSTERING::GetLabels(std::uint8_t* labels) const {
  if (!result_ || labels == nullptr) return false;
  const auto& size = result_->voxels.size;
  std::fill_n(labels, std::int64_t{size[0]} * size[1] * size[2], std::uint8_t{0});
  result_->voxels.ForEachPlace([&](std::size_t i, std::int64_t place) {
    std::size_t best = 0;
    for (std::size_t k = 1; k < result_->fractions.size(); ++k) {
      if (result_->fractions[k][i] > result_->fractions[best][i]) best = k;
    }
    labels[place] = static_cast<std::uint8_t>(best + 1);
  });
  return true;
}

bool MTH_TISSUE_CLUSTERING::GetField(double* field, int channel) const {
  return result_ && WriteField(*result_, field, channel);
}

bool MTH_TISSUE_CLUSTERING::GetField(float* field, int channel) const {
  return result_ && WriteField(*result_, field, channel);
}
