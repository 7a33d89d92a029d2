#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "mth/curve/Mth_xy_plot.h"

// How the measures of a curve grow with its points, and what a plain loop over its ordinates takes.

namespace {

using benchmark::State;

MTH_XY_PLOT Profile(int count) {
  std::mt19937 engine(5);
  std::normal_distribution<float> noise(0.0f, 0.5f);
  MTH_XY_PLOT curve;
  for (int i = 0; i < count; ++i)
    curve.AddPoint(i, 20.0f * std::sin(0.01f * static_cast<float>(i)) + noise(engine));
  return curve;
}

// Teeth that each ask for a search one level higher: as many searches as there are teeth.
MTH_XY_PLOT Teeth(int count) {
  MTH_XY_PLOT curve;
  for (int k = 0; 3 * k < count; ++k) {
    const double level = k - count;
    for (const double y : {level + 0.5, level + 0.5, 2.0 * (level + 1.0)})
      curve.AddPoint(curve.GetNumberOfPoints(), y);
  }
  return curve;
}

void SlidingMean(State& state) {
  const MTH_XY_PLOT curve = Profile(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    const std::unique_ptr<MTH_XY_PLOT> smooth(curve.GetSlidingMean(static_cast<int>(state.range(1))));
    benchmark::DoNotOptimize(smooth->GetPointY(0));
  }
}

// The copy of the curve alone: what a new curve costs at least.
void Copy(State& state) {
  const MTH_XY_PLOT curve = Profile(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    const MTH_XY_PLOT copy(curve);
    benchmark::DoNotOptimize(copy.GetPointY(0));
  }
}

void ChainedWidth(State& state) {
  MTH_XY_PLOT curve = Teeth(static_cast<int>(state.range(0)));
  const double first = -2.0 * static_cast<double>(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(curve.GetFWHM(first, 0.0));
  state.SetComplexityN(state.range(0));
}

void SplinePoints(State& state) {
  const auto count = static_cast<int>(state.range(0));
  const MTH_XY_PLOT curve = Profile(count);
  std::vector<float> x(static_cast<std::size_t>(count));
  std::mt19937 engine(6);
  for (float& at : x) at = static_cast<float>(engine() % 1000000) * 1e-6f * static_cast<float>(count);
  std::vector<float> y(x.size());
  for (auto _ : state) {
    curve.DotSplinePoint(x.data(), y.data(), count);
    benchmark::DoNotOptimize(y.data());
  }
  state.SetComplexityN(count);
}

void Widths(benchmark::internal::Benchmark* run) {
  run->Args({20000, 5})->Args({20000, 1001})->Args({20000, 19999})->Unit(benchmark::kMicrosecond);
}

BENCHMARK(SlidingMean)->Name("SlidingMean/mth")->Apply(Widths);
BENCHMARK(Copy)->Name("SlidingMean/limit, copy")->Apply(Widths);
BENCHMARK(ChainedWidth)
    ->Name("ChainedWidth/mth")
    ->RangeMultiplier(4)
    ->Range(1500, 24000)
    ->Unit(benchmark::kMicrosecond)
    ->Complexity();
BENCHMARK(SplinePoints)
    ->Name("SplinePoints/mth")
    ->RangeMultiplier(4)
    ->Range(1250, 20000)
    ->Unit(benchmark::kMicrosecond)
    ->Complexity();

}  // namespace
