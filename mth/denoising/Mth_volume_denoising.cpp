#include "mth/denoising/Mth_volume_denoising.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/denoising/Mth_block_transform_internal.h"
#include "mth/denoising/Mth_noise_estimate_internal.h"
#include "mth/denoising/Mth_nonlocal_means_internal.h"
#include "mth/denoising/Mth_rician_internal.h"

using namespace mth_internal;

namespace {

constexpr double kThreshold = 2.5;    // of a coefficient, in deviations of the noise; below 2.3 noise stays
constexpr double kLeastNoise = 1e-6;  // over the greatest value: single precision does not resolve less
constexpr double kMostNoise =
    1e6;  // over the greatest value: nothing stands out long before, and squares stay finite

// The size without axes of a single voxel in front of longer ones, in memory the same.
VolumeSize WithoutSingleAxes(int nx, int ny, int nz) {
  std::array<std::int64_t, 3> sides{nx, ny, nz};
  std::stable_partition(sides.begin(), sides.end(), [](std::int64_t side) { return side > 1; });
  return {sides[0], sides[1], sides[2]};
}

bool FitsMemory(const VolumeSize& size) {
  constexpr std::int64_t kMost = std::int64_t{1} << 40;
  return size.x * size.y <= kMost / size.z;
}

template <class T>
double MagnitudeOf(T value) {
  return value > T{0} && value <= std::numeric_limits<T>::max() ? static_cast<double>(value) : 0.0;
}

// A power of two that brings the greatest value to between 512 and 1024; 1 when all values are 0.
template <class T>
double ScaleOf(const T* values, std::int64_t count) {
  double greatest = 0.0;
  for (std::int64_t i = 0; i < count; ++i) greatest = std::max(greatest, MagnitudeOf(values[i]));
  if (greatest == 0.0) return 1.0;
  int exponent = 0;
  std::frexp(greatest, &exponent);
  return std::ldexp(1.0, std::clamp(10 - exponent, -1000, 1000));
}

template <class T>
void CopyScaled(const T* values, std::int64_t count, double scale, float* scaled) {
  for (std::int64_t i = 0; i < count; ++i) scaled[i] = static_cast<float>(MagnitudeOf(values[i]) * scale);
}

std::int64_t CountSteps(const VolumeSize& size) {
  return CountBlockPlanes(size, BlockKind::Small) + CountBlockPlanes(size, BlockKind::Large) +
         CountBlockPlanes(size, BlockKind::Guided) + CountShifts(size);
}

// The steps on one scaled volume; each returns Converged unless the run must end.
class Denoiser {
 public:
  Denoiser(const VolumeSize& size, const RicianLaw& law, RunWatch& watch)
      : size_(size),
        count_(size.Count()),
        law_(law),
        watch_(watch),
        noisy_(count_),
        guide_(count_),
        work_{WorkArray<float>(count_), WorkArray<float>(count_), WorkArray<float>(count_),
              WorkArray<float>(count_)} {}
  explicit operator bool() const {
    return noisy_ && guide_ && std::all_of(work_.begin(), work_.end(), [](const auto& w) { return bool(w); });
  }

  float* Noisy() const { return noisy_.Get(); }
  float* Work() const { return work_[0].Get(); }

  MTH_STOP_REASON Run(double deviation) {
    deviation_ = deviation;
    FillVoid();
    MTH_STOP_REASON reason = ThresholdBlocks();
    if (reason != MTH_STOP_REASON::Converged) return reason;
    const double brightest = BrightestTissue();
    reason = FilterByGuide();
    return reason == MTH_STOP_REASON::Converged ? AverageSimilarVoxels(brightest) : reason;
  }

  // The results of a whole run.
  double Value(std::int64_t i) const {
    return deviation_ * law_.Signal(Element(2, i) / Element(0, i) / deviation_);
  }
  double Confidence(std::int64_t i) const { return std::sqrt(Element(1, i)) / Element(0, i); }

 private:
  double Element(std::size_t work, std::int64_t i) const { return static_cast<double>(work_[work][i]); }
  double SignalOf(float magnitude) const {
    return deviation_ * law_.Signal(static_cast<double>(magnitude) / deviation_);
  }

  // Where the surroundings were cut away they become the mean of air again: to the cosine coefficients the
  // edge to what is darker than air would be a signal.
  void FillVoid() {
    std::replace(Noisy(), Noisy() + count_, 0.0F, static_cast<float>(deviation_ * law_.Mean(0.0)));
  }

  // Leaves the first estimate in the guide.
  MTH_STOP_REASON ThresholdBlocks() {
    const auto threshold = static_cast<float>(kThreshold * deviation_);
    float* const result = work_[0].Get();
    float* const weights = work_[1].Get();
    watch_.SetAction("Transformée en cosinus, blocs de 4");
    MTH_STOP_REASON reason =
        FilterBlocksOfVolume(size_, BlockKind::Small, threshold, Noisy(), nullptr, result, weights, watch_);
    if (reason != MTH_STOP_REASON::Converged) return reason;
    for (std::int64_t i = 0; i < count_; ++i) guide_[i] = static_cast<float>(SignalOf(result[i]));
    watch_.SetAction("Transformée en cosinus, blocs de 6");
    reason =
        FilterBlocksOfVolume(size_, BlockKind::Large, threshold, Noisy(), nullptr, result, weights, watch_);
    if (reason != MTH_STOP_REASON::Converged) return reason;
    for (std::int64_t i = 0; i < count_; ++i)
      guide_[i] = static_cast<float>(0.5 * (static_cast<double>(guide_[i]) + SignalOf(result[i])));
    return reason;
  }

  // Of the first estimate; the deviation of the noise where nothing stands out from it.
  double BrightestTissue() const {
    constexpr double kQuantile = 0.95;
    constexpr double kSignal = 3.0;
    float* const values = work_[0].Get();
    float* end = values;
    for (std::int64_t i = 0; i < count_; ++i) {
      if (static_cast<double>(guide_[i]) > kSignal * deviation_) *end++ = guide_[i];
    }
    if (end == values) return deviation_;
    float* const quantile =
        values + static_cast<std::int64_t>(kQuantile * static_cast<double>(end - values - 1));
    std::nth_element(values, quantile, end);
    return static_cast<double>(*quantile);
  }

  // Leaves the second estimate in the guide.
  MTH_STOP_REASON FilterByGuide() {
    watch_.SetAction("Filtre de Wiener");
    float* const result = work_[0].Get();
    for (std::int64_t i = 0; i < count_; ++i)
      guide_[i] = static_cast<float>(deviation_ * law_.Mean(static_cast<double>(guide_[i]) / deviation_));
    const MTH_STOP_REASON reason =
        FilterBlocksOfVolume(size_, BlockKind::Guided, static_cast<float>(deviation_ * deviation_), Noisy(),
                             guide_.Get(), result, work_[1].Get(), watch_);
    for (std::int64_t i = 0; i < count_; ++i) guide_[i] = static_cast<float>(SignalOf(result[i]));
    return reason;
  }

  MTH_STOP_REASON AverageSimilarVoxels(double brightest) {
    constexpr double kNoise = 1.6;  // deviations of the noise
    constexpr double kFlat =
        0.066;  // of the brightest tissue: a difference that is no noise however strong that is
    watch_.SetAction("Moyennes non locales");
    const double inverse = 1.0 / (kNoise * deviation_) + 1.0 / (kFlat * brightest);
    return GatherSimilarVoxels(size_, guide_.Get(), Noisy(), static_cast<float>(0.25 * inverse * inverse),
                               work_[3].Get(), {work_[0].Get(), work_[1].Get(), work_[2].Get()}, watch_);
  }

  VolumeSize size_;
  std::int64_t count_;
  const RicianLaw& law_;
  RunWatch& watch_;
  double deviation_ = 0.0;
  WorkArray<float> noisy_;
  WorkArray<float> guide_;
  std::array<WorkArray<float>, 4> work_;
};

template <class T>
double Estimate(const T* noisy, const VolumeSize& size) {
  const std::int64_t count = size.Count();
  const WorkArray<float> scaled(count);
  double deviation = 0.0;
  if (!scaled) return deviation;
  const double scale = ScaleOf(noisy, count);
  CopyScaled(noisy, count, scale, scaled.Get());
  LongIteration run;
  EstimateRicianNoise(size, scaled.Get(), RicianLaw(), run, deviation);
  return deviation / scale;
}

}  // namespace

MTH_VOLUME_DENOISING::MTH_VOLUME_DENOISING(int nx, int ny, int nz) : nx_(nx), ny_(ny), nz_(nz) {}

void MTH_VOLUME_DENOISING::SetNoiseDeviation(double deviation) {
  deviation_ = deviation > 0.0 && std::isfinite(deviation) ? deviation : 0.0;
}

template <class T>
bool MTH_VOLUME_DENOISING::Run(const T* noisy, T* denoised, T* confidence) {
  const auto end = [this](MTH_STOP_REASON reason) {
    stopReason_ = reason;
    return reason == MTH_STOP_REASON::Converged;
  };
  if (noisy == nullptr || denoised == nullptr || !IsSizeLegal()) return end(MTH_STOP_REASON::BadInput);
  const VolumeSize size = WithoutSingleAxes(nx_, ny_, nz_);
  if (!FitsMemory(size)) return end(MTH_STOP_REASON::NoMemory);
  const std::int64_t count = size.Count();
  const RicianLaw law;
  RunWatch watch("Débruitage d'un volume", static_cast<int>(CountSteps(size)));
  Denoiser denoiser(size, law, watch);
  if (!denoiser) return end(MTH_STOP_REASON::NoMemory);

  const double scale = ScaleOf(noisy, count);
  CopyScaled(noisy, count, scale, denoiser.Noisy());
  const auto greatest = static_cast<double>(*std::max_element(denoiser.Noisy(), denoiser.Noisy() + count));
  double deviation = std::min(deviation_ * scale, kMostNoise * greatest);
  MTH_STOP_REASON reason = MTH_STOP_REASON::Converged;
  if (deviation_ == 0.0) reason = EstimateRicianNoise(size, denoiser.Noisy(), law, watch.Within(), deviation);
  if (reason != MTH_STOP_REASON::Converged) return end(reason);
  const bool isNoisy = deviation > kLeastNoise * greatest && greatest > 0.0;
  if (isNoisy) reason = denoiser.Run(deviation);
  if (reason != MTH_STOP_REASON::Converged) return end(reason);

  usedDeviation_ = deviation_ > 0.0 ? deviation_ : deviation / scale;
  constexpr auto kMost = static_cast<double>(std::numeric_limits<T>::max());  // rounding may go beyond
  for (std::int64_t i = 0; i < count; ++i) {
    denoised[i] =
        static_cast<T>(isNoisy ? std::min(denoiser.Value(i) / scale, kMost) : MagnitudeOf(noisy[i]));
    if (confidence != nullptr) confidence[i] = static_cast<T>(isNoisy ? denoiser.Confidence(i) : 1.0);
  }
  return end(MTH_STOP_REASON::Converged);
}

bool MTH_VOLUME_DENOISING::Denoise(const double* noisy, double* denoised, double* confidence) {
  return Run(noisy, denoised, confidence);
}

bool MTH_VOLUME_DENOISING::Denoise(const float* noisy, float* denoised, float* confidence) {
  return Run(noisy, denoised, confidence);
}

double MTH_VOLUME_DENOISING::EstimateNoiseDeviation(const double* noisy) const {
  if (noisy == nullptr || !IsSizeLegal()) return 0.0;
  const VolumeSize size = WithoutSingleAxes(nx_, ny_, nz_);
  return FitsMemory(size) ? Estimate(noisy, size) : 0.0;
}

double MTH_VOLUME_DENOISING::EstimateNoiseDeviation(const float* noisy) const {
  if (noisy == nullptr || !IsSizeLegal()) return 0.0;
  const VolumeSize size = WithoutSingleAxes(nx_, ny_, nz_);
  return FitsMemory(size) ? Estimate(noisy, size) : 0.0;
}
