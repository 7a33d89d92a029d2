// The wavelet transform and the denoising of a 512 x 512 image, against OpenCV's separable filters.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <random>
#include <vector>

#include "mth/wavelet/Mth_wavelet_denoising.h"

#ifdef MTH_HAS_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using benchmark::State;

constexpr int kSide = 512;
constexpr int kLevels = 4;
constexpr std::size_t kCount = std::size_t{kSide} * kSide;

// Tissue-like blobs in noise of 5 %.
MTH_MATRIX MakeImage() {
  std::mt19937 engine(1);
  std::normal_distribution<double> noise(0.0, 5.0);
  MTH_MATRIX image(kSide, kSide, 0);
  for (int r = 0; r < kSide; ++r) {
    for (int c = 0; c < kSide; ++c) {
      const double tissue = std::sin(r / 23.0) * std::cos(c / 31.0) > 0.2 ? 100.0 : 60.0;
      image.Set(r, c, std::hypot(tissue + noise(engine), noise(engine)));
    }
  }
  return image;
}

// The subbands of all levels, from the image on.
void Transform(State& state) {
  MTH_MATRIX image = MakeImage();
  const MTH_WAVELET_DENOISING wavelet(nullptr);
  std::vector<MTH_MATRIX> approximations(kLevels, image);
  std::vector<std::vector<double>> details(3 * kLevels, std::vector<double>(kCount));
  for (auto _ : state) {
    MTH_MATRIX* source = &image;
    for (int level = 0; level < kLevels; ++level) {
      const auto first = static_cast<std::size_t>(3 * level);
      MTH_MATRIX& target = approximations[static_cast<std::size_t>(level)];
      wavelet.RedundantWaveletTransform(source, target.GetEDataAddress(), details[first].data(),
                                        details[first + 1].data(), details[first + 2].data(), level, kSide,
                                        kSide);
      source = &target;
    }
    benchmark::DoNotOptimize(source->GetEDataAddress());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(Transform)->Name("Transform/mth")->Unit(benchmark::kMicrosecond);

void Denoise(State& state) {
  MTH_MATRIX image = MakeImage();
  for (auto _ : state) {
    MTH_WAVELET_DENOISING wavelet(&image);
    wavelet.ApplyDenoisingMRImage();
    benchmark::DoNotOptimize(wavelet.GetImage()->GetEDataAddress());
  }
}
BENCHMARK(Denoise)->Name("Denoise/mth")->Unit(benchmark::kMicrosecond);

#ifdef MTH_HAS_OPENCV
// The filter with the zeros between its taps, in the order of a correlation, so that the outputs are those of
// the transform.
cv::Mat Dilated(const std::vector<double>& taps, int level) {
  const int step = 1 << level;
  cv::Mat kernel = cv::Mat::zeros(1, (static_cast<int>(taps.size()) - 1) * step + 1, CV_64F);
  for (int k = 0; k < static_cast<int>(taps.size()); ++k)
    kernel.at<double>(0, kernel.cols - 1 - k * step) = taps[static_cast<std::size_t>(k)];
  return kernel;
}

void OpenCv(State& state) {
  cv::setNumThreads(1);
  MTH_MATRIX image = MakeImage();
  const cv::Mat source(kSide, kSide, CV_64F, image.GetEDataAddress());
  std::vector<cv::Mat> bands(4 * kLevels);
  for (auto _ : state) {
    cv::Mat current = source;
    for (int level = 0; level < kLevels; ++level) {
      const cv::Mat low = Dilated({0.125, 0.375, 0.375, 0.125, 0.0}, level);
      const cv::Mat high = Dilated({0.0, 0.5, -0.5, 0.0, 0.0}, level);
      const auto first = static_cast<std::size_t>(4 * level);
      cv::sepFilter2D(current, bands[first], CV_64F, low, low, {-1, -1}, 0, cv::BORDER_REFLECT);
      cv::sepFilter2D(current, bands[first + 1], CV_64F, low, high, {-1, -1}, 0, cv::BORDER_REFLECT);
      cv::sepFilter2D(current, bands[first + 2], CV_64F, high, low, {-1, -1}, 0, cv::BORDER_REFLECT);
      cv::sepFilter2D(current, bands[first + 3], CV_64F, high, high, {-1, -1}, 0, cv::BORDER_REFLECT);
      current = bands[first];
    }
    benchmark::DoNotOptimize(current.data);
    benchmark::ClobberMemory();
  }
  // The same numbers, but for rounding.
  MTH_MATRIX approximation(image);
  std::vector<double> details(3 * kCount);
  const MTH_WAVELET_DENOISING wavelet(nullptr);
  wavelet.RedundantWaveletTransform(&image, approximation.GetEDataAddress(), details.data(),
                                    details.data() + kCount, details.data() + 2 * kCount, 0, kSide, kSide);
  const cv::Mat rows(kSide, kSide, CV_64F, details.data());
  if (cv::norm(bands[1], rows, cv::NORM_INF) > 1e-9) state.SkipWithError("the transforms differ");
}
BENCHMARK(OpenCv)->Name("Transform/OpenCV sepFilter2D")->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
