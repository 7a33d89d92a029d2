#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/clustering/Mth_tissue_mixture_internal.h"
#include "mth/clustering/Mth_tissue_run_internal.h"

// Images and masks as what a run on tissues looks at: values of voxels, and strata of them.

namespace mth_internal {
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

template <class T>
ChannelValues ValuesOf(const MaskVoxels& voxels, const T* channel) {
  ChannelValues values(voxels.x.size());
  voxels.ForEachPlace([&](std::size_t i, std::int64_t place) {
    values[i] = std::max(0.0, static_cast<double>(channel[place]));
  });
  return values;
}

// Strata of equal size by confidence; what is not a number is trusted least.
template <class T>
int DivideByConfidence(const T* confidence, MaskVoxels& voxels) {
  constexpr int kStrata = TissueMixture::kMostStrata;
  if (confidence == nullptr) return 1;
  std::vector<T> values(voxels.x.size());
  voxels.ForEachPlace([&](std::size_t i, std::int64_t place) {
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

}  // namespace

void TissueInput::TakeFactor(double factor) {
  const double ratio = factor / factors[0];
  for (double& value : channels[0]) value *= ratio;
  factors[0] = factor;
}

void TissueInput::MakeRoomFor(double value) {
  const double factor = value > 0.0 ? ScaleOf(value) : factors[0];
  if (factor < factors[0]) TakeFactor(factor);
}

template <class T>
MTH_STOP_REASON TakeImages(const T* const* images, int count, const std::array<int, 3>& size,
                           const std::uint8_t* mask, const T* confidence, int tissues, TissueInput& input,
                           TissueResult& result) {
  const bool isLegal = images != nullptr && count > 0 && IsLegal(size) && tissues >= 1 &&
                       tissues <= TissueMeans::kMostTissues &&
                       std::all_of(images, images + count, [](const T* image) { return image != nullptr; });
  if (!isLegal) return MTH_STOP_REASON::BadInput;
  result.voxels = FindVoxels(images, count, size, mask);
  if (result.voxels.Count() == 0) return MTH_STOP_REASON::BadInput;
  input.strata = DivideByConfidence(confidence, result.voxels);
  for (int c = 0; c < count; ++c) {
    ChannelValues& values = input.channels.emplace_back(ValuesOf(result.voxels, images[c]));
    const double factor = ScaleOf(*std::max_element(values.begin(), values.end()));
    for (double& value : values) value *= factor;
    input.factors.push_back(factor);
  }
  return MTH_STOP_REASON::Converged;
}

template MTH_STOP_REASON TakeImages(const double* const*, int, const std::array<int, 3>&, const std::uint8_t*,
                                    const double*, int, TissueInput&, TissueResult&);
template MTH_STOP_REASON TakeImages(const float* const*, int, const std::array<int, 3>&, const std::uint8_t*,
                                    const float*, int, TissueInput&, TissueResult&);

}  // namespace mth_internal
