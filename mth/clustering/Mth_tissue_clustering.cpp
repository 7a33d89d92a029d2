#include "mth/clustering/Mth_tissue_clustering.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <utility>
#include <vector>

#include "mth/clustering/Mth_tissue_mixture_internal.h"
#include "mth/clustering/Mth_tissue_run_internal.h"

using namespace mth_internal;

namespace {

bool IsLegal(const std::array<int, 3>& size) {
  constexpr double kMost = 1e12;
  return std::all_of(size.begin(), size.end(), [](int side) { return side > 0; }) &&
         static_cast<double>(size[0]) * size[1] * size[2] < kMost;
}

template <class T>
bool IsFinite(T value) {
  return std::abs(value) <= std::numeric_limits<T>::max();
}

// The voxels that are finite, and inside the mask or above 0, in every channel.
template <class T>
MaskVoxels FindVoxels(const T* const* channels, int count, const std::array<int, 3>& size,
                      const std::uint8_t* mask) {
  MaskVoxels voxels;
  voxels.size = size;
  voxels.rows.reserve(static_cast<std::size_t>(size[1]) * static_cast<std::size_t>(size[2]) + 1);
  voxels.rows.push_back(0);
  const std::int64_t rows = std::int64_t{size[1]} * size[2];
  for (std::int64_t row = 0; row < rows; ++row) {
    for (int x = 0; x < size[0]; ++x) {
      const std::int64_t i = row * size[0] + x;
      if (mask != nullptr && mask[i] == 0) continue;
      const auto belongs = [&](const T* channel) {
        return IsFinite(channel[i]) && (mask != nullptr || channel[i] > 0);
      };
      if (std::all_of(channels, channels + count, belongs)) voxels.x.push_back(x);
    }
    voxels.rows.push_back(voxels.Count());
  }
  voxels.stratum.assign(voxels.x.size(), 0);
  return voxels;
}

// Calls body(index in the list, index in the volume).
template <class Body>
void ForEachPlace(const MaskVoxels& voxels, Body body) {
  for (std::size_t row = 0; row + 1 < voxels.rows.size(); ++row) {
    for (std::int64_t i = voxels.rows[row]; i < voxels.rows[row + 1]; ++i)
      body(static_cast<std::size_t>(i),
           static_cast<std::int64_t>(row) * voxels.size[0] + voxels.x[static_cast<std::size_t>(i)]);
  }
}

template <class T>
ChannelValues ValuesOf(const MaskVoxels& voxels, const T* channel) {
  ChannelValues values(voxels.x.size());
  ForEachPlace(voxels, [&](std::size_t i, std::int64_t place) {
    values[i] = std::max(0.0, static_cast<double>(channel[place]));
  });
  return values;
}

// Brings the greatest value to between 512 and 1024, so that squares are neither 0 nor infinite.
/// @return  the power of two that the values were multiplied by.
double Scale(ChannelValues& values) {
  int exponent = 0;
  std::frexp(*std::max_element(values.begin(), values.end()), &exponent);
  const double factor = std::ldexp(1.0, std::clamp(10 - exponent, -1000, 1000));
  for (double& value : values) value *= factor;
  return factor;
}

// Strata of equal size by confidence; what is not a number is trusted least.
template <class T>
int DivideByConfidence(const T* confidence, MaskVoxels& voxels) {
  constexpr int kStrata = TissueMixture::kMostStrata;
  if (confidence == nullptr) return 1;
  std::vector<T> values(voxels.x.size());
  ForEachPlace(voxels, [&](std::size_t i, std::int64_t place) {
    values[i] = confidence[place] == confidence[place] ? confidence[place] : std::numeric_limits<T>::max();
  });
  std::array<T, kStrata - 1> limits;
  std::vector<T> sorted = values;
  for (std::size_t s = 0; s < limits.size(); ++s) {
    const auto at = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() * (s + 1) / kStrata);
    std::nth_element(sorted.begin(), at, sorted.end());
    limits[s] = *at;
  }
  for (std::size_t i = 0; i < values.size(); ++i) {
    int stratum = 0;
    for (const T limit : limits) stratum += values[i] >= limit ? 1 : 0;
    voxels.stratum[i] = static_cast<std::uint8_t>(stratum);
  }
  return kStrata;
}

template <class T>
bool WriteFractions(const TissueResult& result, int tissue, T* fractions) {
  if (fractions == nullptr || tissue < 0 || tissue >= static_cast<int>(result.fractions.size())) return false;
  const auto& size = result.voxels.size;
  std::fill_n(fractions, std::int64_t{size[0]} * size[1] * size[2], T{0});
  const auto& values = result.fractions[static_cast<std::size_t>(tissue)];
  ForEachPlace(result.voxels,
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

template <class T>
bool MTH_TISSUE_CLUSTERING::Run(const T* const* channels, int count, const std::array<int, 3>& size,
                                const std::uint8_t* mask, const T* confidence) {
  const auto end = [this](MTH_STOP_REASON reason) {
    stopReason_ = reason;
    return reason == MTH_STOP_REASON::Converged;
  };
  const bool isLegal =
      channels != nullptr && count > 0 && IsLegal(size) && tissues_ >= 1 &&
      tissues_ <= TissueMixture::kMostTissues &&
      std::all_of(channels, channels + count, [](const T* channel) { return channel != nullptr; });
  if (!isLegal) return end(MTH_STOP_REASON::BadInput);
  try {
    auto result = std::make_shared<TissueResult>();
    result->voxels = FindVoxels(channels, count, size, mask);
    if (result->voxels.Count() == 0) return end(MTH_STOP_REASON::BadInput);
    const int strata = DivideByConfidence(confidence, result->voxels);
    std::vector<ChannelValues> values;
    std::vector<double> factors;
    for (int c = 0; c < count; ++c) {
      values.push_back(ValuesOf(result->voxels, channels[c]));
      factors.push_back(Scale(values.back()));
    }
    const TissueSettings settings{tissues_, voxelSize_, estimatesField_, hasLocalMeans_, fieldWidth_};
    RunWatch watch("Segmentation des tissus", kTissueSteps + (count > 1 ? kChannelSteps : 0));
    const MTH_STOP_REASON reason = DivideChannels(settings, strata, values, watch, *result);
    if (reason != MTH_STOP_REASON::Converged) return end(reason);
    for (std::size_t c = 0; c < factors.size(); ++c) {
      for (double& centroid : result->centroids[c]) centroid /= factors[c];
    }
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
  ForEachPlace(result_->voxels, [&](std::size_t i, std::int64_t place) {
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
