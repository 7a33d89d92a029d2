#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <random>
#include <vector>

#include "mth/image/Mth_fft.h"

#ifdef MTH_HAS_FFTW
#include <fftw3.h>
#endif
#ifdef MTH_HAS_GSL
#include <gsl/gsl_fft_complex.h>
#endif

// Forward transforms in place. Every run first copies its input, so that values do not grow from run to run;
// the copy is part of every time. FFTW plans once, with FFTW_MEASURE, outside the time; it is measured with
// complex numbers and with real and imaginary parts in arrays of their own, as Mth_FFT takes them. All
// work arrays begin on a cache line.

namespace {

using benchmark::State;

std::vector<double> RandomValues(std::size_t count, unsigned seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<double> values(count);
  for (double& value : values) value = uniform(engine);
  return values;
}

constexpr std::align_val_t kCacheLine{64};
struct FreeAligned {
  void operator()(double* values) const { operator delete[](values, kCacheLine); }
};
using AlignedArray = std::unique_ptr<double[], FreeAligned>;

AlignedArray MakeAligned(std::size_t count) {
  return AlignedArray(new (kCacheLine) double[count]);
}

void Mth(State& state) {
  const auto m = static_cast<int>(state.range(0));
  const auto n = std::size_t{1} << m;
  const std::vector<double> re = RandomValues(n, 1);
  const std::vector<double> im = RandomValues(n, 2);
  const AlignedArray workRe = MakeAligned(n);
  const AlignedArray workIm = MakeAligned(n);
  for (auto _ : state) {
    std::copy(re.begin(), re.end(), workRe.get());
    std::copy(im.begin(), im.end(), workIm.get());
    Mth_FFT(1, m, workRe.get(), workIm.get());
    benchmark::DoNotOptimize(workRe.get());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(Mth)->Name("FFT/mth")->Arg(10)->Arg(16);

void Mth2D(State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const std::vector<double> values = RandomValues(2 * n * n, 1);
  std::vector<MTH_COMPLEX> source(n * n);
  for (std::size_t i = 0; i < n * n; ++i) source[i] = {values[2 * i], values[2 * i + 1]};
  std::vector<MTH_COMPLEX> work(n * n);
  std::vector<MTH_COMPLEX*> rows(n);
  for (std::size_t i = 0; i < n; ++i) rows[i] = work.data() + i * n;
  for (auto _ : state) {
    std::copy(source.begin(), source.end(), work.begin());
    Mth_FFT2D(rows.data(), static_cast<int>(n), static_cast<int>(n), 1);
    benchmark::DoNotOptimize(work.data());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(Mth2D)->Name("FFT2D/mth")->Arg(512)->Unit(benchmark::kMicrosecond);

#ifdef MTH_HAS_FFTW
void Fftw(State& state) {
  const auto n = std::size_t{1} << state.range(0);
  const std::vector<double> values = RandomValues(2 * n, 1);
  const AlignedArray work = MakeAligned(2 * n);
  auto* complexWork = reinterpret_cast<fftw_complex*>(work.get());
  const fftw_plan plan =
      fftw_plan_dft_1d(static_cast<int>(n), complexWork, complexWork, FFTW_FORWARD, FFTW_MEASURE);
  for (auto _ : state) {
    std::copy(values.begin(), values.end(), work.get());
    fftw_execute(plan);
    benchmark::DoNotOptimize(work.get());
    benchmark::ClobberMemory();
  }
  fftw_destroy_plan(plan);
}
BENCHMARK(Fftw)->Name("FFT/FFTW")->Arg(10)->Arg(16);

// `rank` dimensions of the real and imaginary parts in arrays of their own.
void RunSplit(State& state, int rank, const fftw_iodim* dimensions, std::size_t count) {
  const std::vector<double> re = RandomValues(count, 1);
  const std::vector<double> im = RandomValues(count, 2);
  const AlignedArray workRe = MakeAligned(count);
  const AlignedArray workIm = MakeAligned(count);
  const fftw_plan plan = fftw_plan_guru_split_dft(rank, dimensions, 0, nullptr, workRe.get(), workIm.get(),
                                                  workRe.get(), workIm.get(), FFTW_MEASURE);
  for (auto _ : state) {
    std::copy(re.begin(), re.end(), workRe.get());
    std::copy(im.begin(), im.end(), workIm.get());
    fftw_execute(plan);
    benchmark::DoNotOptimize(workRe.get());
    benchmark::ClobberMemory();
  }
  fftw_destroy_plan(plan);
}

void FftwSplit(State& state) {
  const int n = 1 << state.range(0);
  const fftw_iodim dimension{n, 1, 1};
  RunSplit(state, 1, &dimension, static_cast<std::size_t>(n));
}
BENCHMARK(FftwSplit)->Name("FFT/FFTW split")->Arg(10)->Arg(16);

void FftwSplit2D(State& state) {
  const auto n = static_cast<int>(state.range(0));
  const fftw_iodim dimensions[2] = {{n, n, n}, {n, 1, 1}};
  RunSplit(state, 2, dimensions, static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
}
BENCHMARK(FftwSplit2D)->Name("FFT2D/FFTW split")->Arg(512)->Unit(benchmark::kMicrosecond);
#endif

#ifdef MTH_HAS_GSL
void Gsl(State& state) {
  const auto n = std::size_t{1} << state.range(0);
  const std::vector<double> values = RandomValues(2 * n, 1);
  std::vector<double> work(2 * n);
  for (auto _ : state) {
    std::copy(values.begin(), values.end(), work.begin());
    gsl_fft_complex_radix2_forward(work.data(), 1, n);
    benchmark::DoNotOptimize(work.data());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(Gsl)->Name("FFT/GSL radix 2")->Arg(10)->Arg(16);
#endif

}  // namespace
