#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstring>
#include <random>
#include <vector>

#include "mth/image/Mth_laplacian.h"
#include "mth/matrix/Mth_matrix.h"

#ifdef MTH_HAS_OPENCV
#include <opencv2/imgproc.hpp>
#endif

// Laplacians of whole images and volumes into results that exist. The plain loops compute the interior in one
// pass and leave the borders out.

namespace {

using benchmark::State;

template <class T>
std::vector<T> RandomValues(std::size_t count) {
  std::mt19937 engine(1);
  std::uniform_real_distribution<T> uniform(T(-1), T(1));
  std::vector<T> values(count);
  for (T& value : values) value = uniform(engine);
  return values;
}

template <class T>
MTH_MATRIX RandomImage(int n) {
  MTH_MATRIX image(n, n, sizeof(T) == sizeof(double) ? 0 : 1);
  const std::vector<T> values = RandomValues<T>(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) image.Set(i, j, values[static_cast<std::size_t>(i * n + j)]);
  }
  return image;
}

template <class T>
T* ElementsOf(const MTH_MATRIX& matrix) {
  if constexpr (sizeof(T) == sizeof(double)) {
    return matrix.GetEDataAddress();
  } else {
    return matrix.GetFDataAddress();
  }
}

template <class T>
void Image(State& state) {
  const auto n = static_cast<int>(state.range(0));
  MTH_MATRIX in = RandomImage<T>(n);
  MTH_MATRIX out = in;
  for (auto _ : state) {
    Mth_ComputeLaplacien(&in, &out, in.GetType());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(Image<double>)->Name("Laplacian 2D double/mth")->Arg(1024)->Unit(benchmark::kMicrosecond);
BENCHMARK(Image<float>)->Name("Laplacian 2D float/mth")->Arg(1024)->Unit(benchmark::kMicrosecond);

template <class T>
void PlainImage(State& state) {
  const auto n = state.range(0);
  const MTH_MATRIX in = RandomImage<T>(static_cast<int>(n));
  MTH_MATRIX out = in;
  for (auto _ : state) {
    const T* const source = ElementsOf<T>(in);
    T* const __restrict target = ElementsOf<T>(out);
    for (std::ptrdiff_t i = 1; i < n - 1; ++i) {
      const T* const x = source + i * n;
      for (std::ptrdiff_t j = 1; j < n - 1; ++j)
        target[i * n + j] = (x[j - n] + x[j + n] + x[j - 1] + x[j + 1] - 4 * x[j]) * T(0.25);
    }
    benchmark::ClobberMemory();
  }
}
BENCHMARK(PlainImage<double>)
    ->Name("Laplacian 2D double/plain loop")
    ->Arg(1024)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(PlainImage<float>)->Name("Laplacian 2D float/plain loop")->Arg(1024)->Unit(benchmark::kMicrosecond);

// What reading and writing alone take.
template <class T>
void Copy(State& state, std::size_t count) {
  const std::vector<T> in = RandomValues<T>(count);
  std::vector<T> out(count);
  for (auto _ : state) {
    std::memcpy(out.data(), in.data(), count * sizeof(T));
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
}
template <class T>
void CopyImage(State& state) {
  Copy<T>(state, static_cast<std::size_t>(state.range(0) * state.range(0)));
}
void CopyVolume(State& state) {
  Copy<float>(state, static_cast<std::size_t>(state.range(0) * state.range(0) * state.range(0)));
}
BENCHMARK(CopyImage<double>)
    ->Name("Laplacian 2D double/limit, copy")
    ->Arg(1024)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(CopyImage<float>)->Name("Laplacian 2D float/limit, copy")->Arg(1024)->Unit(benchmark::kMicrosecond);
BENCHMARK(CopyVolume)->Name("Laplacian 3D float/limit, copy")->Arg(256)->Unit(benchmark::kMillisecond);

#ifdef MTH_HAS_OPENCV
template <class T>
void OpenCvImage(State& state) {
  const auto n = static_cast<int>(state.range(0));
  const MTH_MATRIX image = RandomImage<T>(n);
  constexpr int kType = sizeof(T) == sizeof(double) ? CV_64F : CV_32F;
  const cv::Mat in(n, n, kType, ElementsOf<T>(image));
  cv::Mat out(n, n, kType);
  cv::setNumThreads(1);
  for (auto _ : state) {
    cv::Laplacian(in, out, kType, 1, 0.25, 0.0, cv::BORDER_REPLICATE);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(OpenCvImage<double>)->Name("Laplacian 2D double/OpenCV")->Arg(1024)->Unit(benchmark::kMicrosecond);
BENCHMARK(OpenCvImage<float>)->Name("Laplacian 2D float/OpenCV")->Arg(1024)->Unit(benchmark::kMicrosecond);
#endif

void Volume(State& state) {
  const auto n = static_cast<int>(state.range(0));
  const auto count = static_cast<std::size_t>(n) * static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
  std::vector<float> in = RandomValues<float>(count);
  std::vector<float> out(count);
  for (auto _ : state) {
    Mth_ComputeLaplacien3DFloat(in.data(), out.data(), n, n, n);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(Volume)->Name("Laplacian 3D float/mth")->Arg(256)->Unit(benchmark::kMillisecond);

void PlainVolume(State& state) {
  const auto n = state.range(0);
  const std::vector<float> in = RandomValues<float>(static_cast<std::size_t>(n * n * n));
  std::vector<float> out(in.size());
  for (auto _ : state) {
    float* const __restrict target = out.data();
    for (std::ptrdiff_t z = 1; z < n - 1; ++z) {
      for (std::ptrdiff_t y = 1; y < n - 1; ++y) {
        const float* const v = in.data() + (z * n + y) * n;
        for (std::ptrdiff_t x = 1; x < n - 1; ++x) {
          target[(z * n + y) * n + x] =
              v[x - 1] + v[x + 1] + v[x - n] + v[x + n] + v[x - n * n] + v[x + n * n] - 6.0F * v[x];
        }
      }
    }
    benchmark::ClobberMemory();
  }
}
BENCHMARK(PlainVolume)->Name("Laplacian 3D float/plain loop")->Arg(256)->Unit(benchmark::kMillisecond);

void Averaged(State& state) {
  const auto n = static_cast<int>(state.range(0));
  const auto count = static_cast<std::size_t>(n) * static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
  std::vector<float> in = RandomValues<float>(count);
  std::vector<float> out(count);
  for (auto _ : state) {
    benchmark::DoNotOptimize(Mth_ComputeLaplacien3D(in.data(), out.data(), n, n, n));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(Averaged)->Name("averaged Laplacian 3D float/mth")->Arg(256)->Unit(benchmark::kMillisecond);

}  // namespace
