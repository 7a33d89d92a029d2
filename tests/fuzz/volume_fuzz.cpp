// Volumes of any numbers: denoising and tissues with the same bits everywhere, fractions that are fractions,
// and nothing written by a run that was refused.

#include "fuzz/fuzz.h"

namespace mth_fuzz {
namespace {

struct Volume {
  int nx, ny, nz;
  std::vector<double> values;
};

// A few values of the input, repeated and roughened: the bytes of an input would not fill a volume.
std::vector<double> Voxels(Input& input, int count, bool isModerate) {
  std::vector<double> levels = input.Numbers(input.Size(1, 12), isModerate ? &Input::Moderate : &Input::Any);
  const double roughness = input.Byte() < 64 ? 0.0 : input.Moderate();
  const int stretch = input.Size(1, 40);  // voxels of the same level in a row
  auto state = input.Bits<std::uint32_t>();
  std::vector<double> values;
  for (int i = 0; i < count; ++i) {
    state = state * 1664525U + 1013904223U;
    const auto level = static_cast<std::size_t>(i / stretch) % levels.size();
    values.push_back(levels[level] + roughness * static_cast<double>(state >> 8) * 0x1p-24);
  }
  return values;
}

template <class T>
std::vector<T> As(const std::vector<double>& values) {
  std::vector<T> converted;
  for (const double value : values) {
    const double largest = static_cast<double>(std::numeric_limits<T>::max());
    converted.push_back(std::abs(value) > largest ? std::numeric_limits<T>::infinity()
                                                  : static_cast<T>(value));
  }
  return converted;
}

template <class T>
void TryDenoising(Input& input, const Volume& volume) {
  const std::vector<T> noisy = As<T>(volume.values);
  const double deviation = input.Byte() < 128 ? 0.0 : input.Any();
  RequireSameBits([&](Results& results) {
    MTH_VOLUME_DENOISING denoising(volume.nx, volume.ny, volume.nz);
    denoising.SetNoiseDeviation(deviation);
    std::vector<T> denoised(noisy.size());
    std::vector<T> confidence(noisy.size());
    Require(denoising.Denoise(noisy.data(), denoised.data(), confidence.data()));
    results.Add(denoising.GetUsedNoiseDeviation());
    for (std::size_t i = 0; i < noisy.size(); ++i) {
      Require(std::isfinite(denoised[i]) && denoised[i] >= 0);
      Require(confidence[i] >= 0 && confidence[i] <= T{1.0001F});
      results.Add(static_cast<double>(denoised[i]));
      results.Add(static_cast<double>(confidence[i]));
    }
  });
}

template <class T>
void RequireTissues(const MTH_TISSUE_CLUSTERING& engine, const std::vector<std::uint8_t>& mask,
                    Results& results) {
  std::vector<std::uint8_t> labels(mask.size());
  std::vector<double> sums(mask.size());
  std::vector<T> values(mask.size());
  Require(engine.GetLabels(labels.data()));
  for (int k = 0; k < engine.GetTissuesCount(); ++k) {
    Require(std::isfinite(engine.GetCentroid(k)) && engine.GetFractions(k, values.data()));
    results.Add(engine.GetCentroid(k));
    for (std::size_t i = 0; i < mask.size(); ++i) {
      Require(values[i] >= 0 && values[i] <= 1);
      sums[i] += static_cast<double>(values[i]);
      results.Add(static_cast<double>(values[i]));
    }
  }
  for (std::size_t i = 0; i < mask.size(); ++i) {
    Require(labels[i] <= engine.GetTissuesCount() && (labels[i] == 0 || mask[i] != 0));
    Require(std::abs(sums[i] - (labels[i] != 0 ? 1.0 : 0.0)) < 1e-5);
  }
  for (int channel = 0; channel < engine.GetChannelsCount(); ++channel) {
    Require(engine.GetField(values.data(), channel));
    for (const T value : values) {
      Require(value > 0 && std::isfinite(value));
      results.Add(static_cast<double>(value));
    }
  }
}

template <class T>
void TryTissues(Input& input, const Volume& volume, bool isModerate) {
  const std::vector<T> image = As<T>(volume.values);
  const int voxels = static_cast<int>(image.size());
  const bool hasSecond = input.Byte() < 80;
  const std::vector<T> second = As<T>(Voxels(input, hasSecond ? voxels : 0, isModerate));
  const std::vector<T> confidence = As<T>(Voxels(input, voxels, isModerate));
  const bool isConfident = input.Byte() < 128;
  std::vector<std::uint8_t> mask(image.size());
  for (std::uint8_t& inside : mask) inside = input.Byte() < 200 ? 1 : 0;
  const int tissues = input.Size(0, 17);
  const double size[3] = {input.Any(), input.Any(), input.Any()};
  const double width = input.Any();
  const int kind = input.Byte();
  RequireSameBits([&](Results& results) {
    MTH_TISSUE_CLUSTERING engine(tissues);
    if ((kind & 1) != 0) engine.SetVoxelSize(size[0], size[1], size[2]);
    if ((kind & 2) != 0) engine.SetFieldWidth(width);
    engine.SetFieldEstimation((kind & 4) != 0);
    engine.SetLocalMeans((kind & 8) != 0);
    const T* const channels[] = {image.data(), second.data()};
    const bool isDone =
        hasSecond ? engine.SegmentChannels(channels, 2, volume.nx, volume.ny, volume.nz, mask.data())
                  : engine.Segment(image.data(), volume.nx, volume.ny, volume.nz, mask.data(),
                                   isConfident ? confidence.data() : nullptr);
    Require(engine.GetStopReason() == (isDone ? MTH_STOP_REASON::Converged : MTH_STOP_REASON::BadInput));
    results.Add(isDone);
    if (isDone)
      RequireTissues<T>(engine, mask, results);
    else
      Require(engine.GetChannelsCount() == 0);
  });
}

}  // namespace

void TryInput(const std::uint8_t* bytes, std::size_t count) {
  Input input(bytes, count);
  const bool isModerate = input.Byte() < 160;
  const bool isFloat = input.Byte() < 128;
  const bool isDenoising = input.Byte() < 128;
  Volume volume{input.Size(1, 20), input.Size(1, 12), input.Byte() < 128 ? 1 : input.Size(1, 9), {}};
  volume.values = Voxels(input, volume.nx * volume.ny * volume.nz, isModerate);
  if (isDenoising) return isFloat ? TryDenoising<float>(input, volume) : TryDenoising<double>(input, volume);
  isFloat ? TryTissues<float>(input, volume, isModerate) : TryTissues<double>(input, volume, isModerate);
}

}  // namespace mth_fuzz
