#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
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
// the copy is part of every time. FFTW plans once, with FFTW_MEASURE, outside the time.

namespace {

using benchmark::State;

std::vector<double> RandomValues(std::size_t count, unsigned seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<double> values(count);
  for (double& value : values) value = uniform(engine);
  return values;
}

void Mth(State& state) {
  const auto m = static_cast<int>(state.range(0));
  const auto n = std::size_t{1} << m;
  const std::vector<double> re = RandomValues(n, 1);
  const std::vector<double> im = RandomValues(n, 2);
  std::vector<double> workRe(n);
  std::vector<double> workIm(n);
  for (auto _ : state) {
    std::copy(re.begin(), re.end(), workRe.begin());
    std::copy(im.begin(), im.end(), workIm.begin());
    Mth_FFT(1, m, workRe.data(), workIm.data());
    benchmark::DoNotOptimize(workRe.data());
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
  auto* work = fftw_alloc_complex(n);
  const fftw_plan plan = fftw_plan_dft_1d(static_cast<int>(n), work, work, FFTW_FORWARD, FFTW_MEASURE);
  for (auto _ : state) {
    std::copy(values.begin(), values.end(), &work[0][0]);
    fftw_execute(plan);
    benchmark::DoNotOptimize(work);
    benchmark::ClobberMemory();
  }
  fftw_destroy_plan(plan);
  fftw_free(work);
}
BENCHMARK(Fftw)->Name("FFT/FFTW")->Arg(10)->Arg(16);

void FftwSplit2D(State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const std::vector<double> re = RandomValues(n * n, 1);
  const std::vector<double> im = RandomValues(n * n, 2);
  double* workRe = fftw_alloc_real(n * n);
  double* workIm = fftw_alloc_real(n * n);
  const auto length = static_cast<int>(n);
  const fftw_iodim dimensions[2] = {{length, length, length}, {length, 1, 1}};
  const fftw_plan plan =
      fftw_plan_guru_split_dft(2, dimensions, 0, nullptr, workRe, workIm, workRe, workIm, FFTW_MEASURE);
  for (auto _ : state) {
    std::copy(re.begin(), re.end(), workRe);
    std::copy(im.begin(), im.end(), workIm);
    fftw_execute(plan);
    benchmark::DoNotOptimize(workRe);
    benchmark::ClobberMemory();
  }
  fftw_destroy_plan(plan);
  fftw_free(workRe);
  fftw_free(workIm);
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
