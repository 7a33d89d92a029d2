#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include "mth/statistics/Mth_descriptive.h"
#include "mth/statistics/Mth_random.h"
#include "mth/statistics/Mth_sort.h"

#ifdef MTH_HAS_GSL
#include <gsl/gsl_rng.h>
#include <gsl/gsl_statistics_double.h>
#endif

// Sorts copy their input first; the copy is part of every time.

namespace {

using benchmark::State;
using Values = std::vector<double>;

constexpr std::size_t kSorted = 1000000;
constexpr std::size_t kDraws = 10000000;

// Made once for each size and seed.
const Values& RandomValues(std::size_t count, unsigned seed) {
  static std::map<std::pair<std::size_t, unsigned>, Values> made;
  Values& values = made[{count, seed}];
  if (!values.empty()) return values;
  std::mt19937_64 engine(seed);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  values.resize(count);
  for (double& value : values) value = uniform(engine);
  return values;
}

// Random, or with that many different values.
Values Keys(std::int64_t differentValues) {
  Values keys = RandomValues(kSorted, 1);
  if (differentValues > 0) {
    for (double& key : keys) key = std::floor(key * static_cast<double>(differentValues) / 2.0);
  }
  return keys;
}

void SortCompanions(State& state) {
  const Values keys = Keys(state.range(0));
  const Values companions = RandomValues(kSorted, 2);
  Values a(kSorted);
  Values b(kSorted);
  for (auto _ : state) {
    std::copy(keys.begin(), keys.end(), a.begin());
    std::copy(companions.begin(), companions.end(), b.begin());
    Mth_Sort(static_cast<int>(kSorted), a.data(), b.data());
    benchmark::DoNotOptimize(b.data());
    benchmark::ClobberMemory();
  }
}

void SortPairs(State& state) {
  const Values keys = Keys(state.range(0));
  const Values companions = RandomValues(kSorted, 2);
  std::vector<std::pair<double, double>> pairs(kSorted);
  for (auto _ : state) {
    for (std::size_t i = 0; i < kSorted; ++i) pairs[i] = {keys[i], companions[i]};
    std::sort(pairs.begin(), pairs.end(), [](const auto& p, const auto& q) { return p.first < q.first; });
    benchmark::DoNotOptimize(pairs.data());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(SortCompanions)->Name("Sort/mth")->Arg(0)->Arg(1000)->Arg(10)->Unit(benchmark::kMillisecond);
BENCHMARK(SortPairs)
    ->Name("Sort/std::sort of pairs")
    ->Arg(0)
    ->Arg(1000)
    ->Arg(10)
    ->Unit(benchmark::kMillisecond);

// Into a small array: a sum would have to be saved around every call, and its additions would be the time.
template <class Draw>
void DrawMany(State& state, Draw draw) {
  constexpr std::size_t kRow = 1000;
  using Value = decltype(draw());
  std::vector<Value> row(kRow);
  for (auto _ : state) {
    for (std::size_t i = 0; i < kDraws / kRow; ++i) {
      for (Value& value : row) value = draw();
      benchmark::DoNotOptimize(row.data());
      benchmark::ClobberMemory();
    }
  }
}

void Random1(State& state) {
  Mth_InitRandom1(0);
  DrawMany(state, [] { return Mth_Random1(0); });
}
void RandomGenerator(State& state) {
  long seed = -1;
  DrawMany(state, [&] { return Mth_RandomGenerator(&seed); });
}
void Normal(State& state) {
  Mth_InitNormalRandom(0);
  DrawMany(state, [] { return Mth_NormalRandomGenerator(0); });
}
template <class Engine>
void StandardNormal(State& state) {
  Engine engine(1);
  std::normal_distribution<float> normal;
  DrawMany(state, [&] { return normal(engine); });
}
BENCHMARK(Random1)->Name("Subtractive draws/mth")->Unit(benchmark::kMillisecond);
BENCHMARK(RandomGenerator)->Name("Combined draws/mth")->Unit(benchmark::kMillisecond);
BENCHMARK(Normal)->Name("Normal draws/mth")->Unit(benchmark::kMillisecond);
BENCHMARK(StandardNormal<std::mt19937>)
    ->Name("Normal draws/std::normal_distribution of std::mt19937")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(StandardNormal<std::minstd_rand>)
    ->Name("Normal draws/std::normal_distribution of std::minstd_rand")
    ->Unit(benchmark::kMillisecond);

#ifdef MTH_HAS_GSL
void GslDraws(State& state, const gsl_rng_type* type) {
  gsl_rng* generator = gsl_rng_alloc(type);
  gsl_rng_set(generator, 1);
  DrawMany(state, [=] { return gsl_rng_uniform(generator); });
  gsl_rng_free(generator);
}
BENCHMARK_CAPTURE(GslDraws, ran3, gsl_rng_ran3)
    ->Name("Subtractive draws/GSL ran3")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(GslDraws, ran2, gsl_rng_ran2)
    ->Name("Combined draws/GSL ran2")
    ->Unit(benchmark::kMillisecond);
#endif

// Measures of 10,000,000 values, or pairs. One ordered sum cannot be faster than its additions one by one.
template <class Measure>
void MeasureMany(State& state, Measure measure) {
  static Values x = RandomValues(kDraws, 3);
  static Values y = RandomValues(kDraws, 4);
  for (auto _ : state) benchmark::DoNotOptimize(measure(x, y));
}

void OrderedPass(State& state) {
  MeasureMany(state, [](const Values& x, const Values&) {
    double sum = 0.0;
    for (const double value : x) sum += value;
    return sum;
  });
}
void OrderedPassOfPairs(State& state) {
  MeasureMany(state, [](const Values& x, const Values& y) {
    double sumX = 0.0;
    double sumY = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) {
      sumX += x[i];
      sumY += y[i];
    }
    return sumX + sumY;
  });
}
void Mean(State& state) {
  MeasureMany(state, [](Values& x, Values&) { return Mth_Mean(x.data(), static_cast<long>(x.size())); });
}
void Deviation(State& state) {
  MeasureMany(state,
              [](Values& x, Values&) { return Mth_StdDeviation(x.data(), static_cast<long>(x.size())); });
}
void Slope(State& state) {
  MeasureMany(state,
              [](Values& x, Values& y) { return Mth_Pente(x.data(), y.data(), static_cast<int>(x.size())); });
}
BENCHMARK(OrderedPass)->Name("Mean/limit, one ordered pass")->Unit(benchmark::kMillisecond);
BENCHMARK(OrderedPass)->Name("Deviation/limit, one ordered pass")->Unit(benchmark::kMillisecond);
BENCHMARK(OrderedPassOfPairs)->Name("Slope/limit, one ordered pass of pairs")->Unit(benchmark::kMillisecond);
BENCHMARK(Mean)->Name("Mean/mth")->Unit(benchmark::kMillisecond);
BENCHMARK(Deviation)->Name("Deviation/mth")->Unit(benchmark::kMillisecond);
BENCHMARK(Slope)->Name("Slope/mth")->Unit(benchmark::kMillisecond);

Values WithRelation(const Values& x) {
  Values y = RandomValues(x.size(), 6);
  for (std::size_t i = 0; i < x.size(); ++i) y[i] += x[i];
  return y;
}

void Spearman(State& state) {
  Values x = RandomValues(kSorted, 5);
  Values y = WithRelation(x);
  double out[5];
  for (auto _ : state) {
    Mth_CorrelationRatioOfSpearman(x.data(), y.data(), static_cast<int>(kSorted), out, out + 1, out + 2,
                                   out + 3, out + 4);
    benchmark::DoNotOptimize(out[3]);
  }
}
BENCHMARK(Spearman)->Name("Spearman/mth")->Unit(benchmark::kMillisecond);

#ifdef MTH_HAS_GSL
void GslSpearman(State& state) {
  const Values x = RandomValues(kSorted, 5);
  const Values y = WithRelation(x);
  Values work(2 * kSorted);
  for (auto _ : state) {
    benchmark::DoNotOptimize(gsl_stats_spearman(x.data(), 1, y.data(), 1, kSorted, work.data()));
  }
}
BENCHMARK(GslSpearman)->Name("Spearman/GSL")->Unit(benchmark::kMillisecond);
#endif

}  // namespace
