#include "support/denoising.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <string>

#include "mth/denoising/Mth_volume_denoising.h"
#include "mth/statistics/Mth_random.h"
#include "mth/wavelet/Mth_wavelet_denoising.h"
#include "std/Std_wait_bar.h"
#include "support/cancellation.h"
#include "support/failure.h"

namespace example {

namespace {

constexpr int kGreyBits = 14;

void RequireMagnitude(const GreyImage& image) {
  const bool isMagnitude =
      std::all_of(image.values.begin(), image.values.end(), [](double value) { return value >= 0.0; });
  if (!isMagnitude) throw Failure("the image has values below 0: only magnitude images can be denoised");
}

bool IsWhole(const GreyImage& image) {
  return std::all_of(image.values.begin(), image.values.end(),
                     [](double value) { return value == std::floor(value); });
}

// The denoising answers in whole grey levels: values with fractions are spread over many of them first, by a
// power of two that is told by its exponent.
int GreyExponent(const GreyImage& image) {
  if (IsWhole(image)) return 0;
  int exponent = 0;
  std::frexp(*std::max_element(image.values.begin(), image.values.end()), &exponent);
  return kGreyBits - exponent;
}

// Calls visit(voxel, row, column) for every voxel of a plane.
template <class Visit>
void ForEachVoxel(const PlaneLayout& layout, int rows, int columns, Visit visit) {
  for (int row = 0; row < rows; ++row) {
    for (int column = 0; column < columns; ++column) {
      visit(layout.start + static_cast<std::size_t>(column) * layout.step[0] +
                static_cast<std::size_t>(row) * layout.step[1],
            row, column);
    }
  }
}

void ThrowIfAsked() {
  if (Std_IsCancelRequested()) throw Cancelled();
}

double DenoisePlane(GreyImage& image, int index, int exponent, const DenoisingOptions& options) {
  const PlaneLayout layout = LayoutOfPlane(image.size, options.axis, index);
  const int columns = image.size[static_cast<std::size_t>(layout.axes[0])];
  const int rows = image.size[static_cast<std::size_t>(layout.axes[1])];
  MTH_MATRIX plane(rows, columns, 0);
  if (!plane.IsAllocated()) throw std::bad_alloc();
  ForEachVoxel(layout, rows, columns, [&](std::size_t voxel, int row, int column) {
    plane.Set(row, column, std::ldexp(image.values[voxel], exponent));
  });
  MTH_WAVELET_DENOISING wavelet(&plane);
  wavelet.SetThrFactor(options.factor);
  wavelet.SetWindowSize(options.window);
  const double deviation = std::ldexp(wavelet.EstimateNoiseDeviation(), -exponent);
  if (!wavelet.ApplyDenoisingMRImage()) {
    ThrowIfAsked();
    throw std::bad_alloc();
  }
  const MTH_MATRIX& result = *wavelet.GetImage();
  ForEachVoxel(layout, rows, columns, [&](std::size_t voxel, int row, int column) {
    image.values[voxel] = std::ldexp(result.Get(row, column), -exponent);
  });
  return deviation;
}

DenoisingResult DenoisePlanes(GreyImage& image, const DenoisingOptions& options) {
  const int exponent = GreyExponent(image);
  const int planes = image.size[static_cast<std::size_t>(options.axis)];
  TSTD_WAIT_BAR progress;
  progress.SetTitle("Denoising");
  progress.SetStepsCount(planes);
  progress.Show();
  DenoisingResult result;
  for (int index = 0; index < planes; ++index) {
    if (progress.IsCancelRequested()) throw Cancelled();
    result.deviations.push_back(DenoisePlane(image, index, exponent, options));
    progress.StepAction("plane " + std::to_string(index + 1));
  }
  return result;
}

DenoisingResult DenoiseBlocks(GreyImage& image, const DenoisingOptions& options) {
  DenoisingResult result;
  result.confidence.resize(image.values.size());
  MTH_VOLUME_DENOISING denoising(image.size[0], image.size[1], image.size[2]);
  denoising.SetNoiseDeviation(options.deviation);
  if (!denoising.Denoise(image.values.data(), image.values.data(), result.confidence.data())) {
    ThrowIfAsked();
    if (denoising.GetStopReason() == MTH_STOP_REASON::Cancelled) throw Cancelled();
    throw std::bad_alloc();
  }
  result.deviations.push_back(denoising.GetUsedNoiseDeviation());
  return result;
}

// Each plane across the axis on its own.
DenoisingResult DenoiseStack(GreyImage& image, int axis, const DenoisingOptions& options) {
  DenoisingResult result;
  result.confidence.resize(image.values.size());
  for (int index = 0; index < image.size[static_cast<std::size_t>(axis)]; ++index) {
    GreyImage plane = ExtractPlane(image, axis, index);
    const DenoisingResult found = DenoiseBlocks(plane, options);
    const PlaneLayout layout = LayoutOfPlane(image.size, axis, index);
    const int columns = image.size[static_cast<std::size_t>(layout.axes[0])];
    const int rows = image.size[static_cast<std::size_t>(layout.axes[1])];
    ForEachVoxel(layout, rows, columns, [&](std::size_t voxel, int row, int column) {
      const auto place = static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
                         static_cast<std::size_t>(column);
      image.values[voxel] = plane.values[place];
      result.confidence[voxel] = found.confidence[place];
    });
    result.deviations.push_back(found.deviations.front());
  }
  return result;
}

// Across two or three planes a block would see little but their mirror image.
DenoisingResult DenoiseVolume(GreyImage& image, const DenoisingOptions& options) {
  for (int axis = 0; axis < 3; ++axis) {
    const int length = image.size[static_cast<std::size_t>(axis)];
    if (length == 2 || length == 3) return DenoiseStack(image, axis, options);
  }
  return DenoiseBlocks(image, options);
}

}  // namespace

DenoisingResult Denoise(GreyImage& image, const DenoisingOptions& options) {
  RequireMagnitude(image);
  return options.isPlaneByPlane ? DenoisePlanes(image, options) : DenoiseVolume(image, options);
}

DenoisingResult DenoiseInside(GreyImage& image, const DenoisingOptions& options) {
  const std::vector<double> noisy = image.values;
  DenoisingResult result = Denoise(image, options);
  for (std::size_t voxel = 0; voxel < noisy.size(); ++voxel) {
    if (noisy[voxel] == 0.0) image.values[voxel] = 0.0;
  }
  return result;
}

void AddNoise(GreyImage& image, double deviation) {
  RequireMagnitude(image);
  constexpr short kStream = 0;
  const auto noon = [] { return 12 * 360000; };
  const auto clock = Mth_SetRandomClock(noon);
  Mth_InitNormalRandom(kStream);
  Mth_SetRandomClock(clock);
  const bool isWhole = IsWhole(image);
  for (double& value : image.values) {
    const double real = value + deviation * Mth_NormalRandomGenerator(kStream);
    const double magnitude = std::hypot(real, deviation * Mth_NormalRandomGenerator(kStream));
    value = isWhole ? std::round(magnitude) : magnitude;
  }
}

}  // namespace example
