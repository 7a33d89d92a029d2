// Evidential c-means and the fusion of credal partitions, against plain loops over contiguous arrays.

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <memory>
#include <random>
#include <vector>

#include "clustering_engine.h"
#include "mth/clustering/Mth_clustering.h"

namespace {

using mth_benchmark::kClusters;
using mth_benchmark::kIterations;
using mth_benchmark::MakeEngine;

constexpr int kHypotheses = 1 << kClusters;
constexpr int kSamples = 20000;
constexpr int kFusedSamples = 1000000;

// Four tissues with noise, a third of the samples between two of them.
std::vector<double> MakeFeatures(int dimensions) {
  std::mt19937 random(1);
  std::normal_distribution<double> noise(0.0, 6.0);
  std::vector<double> features;
  for (int i = 0; i < kSamples; ++i) {
    const double level = 40.0 + 30.0 * (static_cast<double>(random() % 4) + (i % 3 == 0 ? 0.5 : 0.0));
    for (int d = 0; d < dimensions; ++d) features.push_back(level * (1.0 + 0.1 * d) + noise(random));
  }
  return features;
}

// Away from the answer, so that no run converges before its last iteration.
std::vector<double> StartCentroids(int dimensions) {
  return mth_benchmark::StartCentroids(dimensions, 60.0, 10.0);
}

// The fuzzifier beta is the second argument, in hundredths.
void BM_EvidentialCMeans(benchmark::State& state) {
  const int dimensions = static_cast<int>(state.range(0));
  std::vector<double> features = MakeFeatures(dimensions);
  const auto engine = MakeEngine(features, dimensions, -1.0);
  engine->SetRegulationValue(static_cast<double>(state.range(1)) / 100.0);
  for (auto _ : state) {
    std::vector<double> centroids = StartCentroids(dimensions);
    for (int k = 0; k < kClusters; ++k)
      engine->InitialiseCentroid(k, &centroids[static_cast<std::size_t>(k * dimensions)], dimensions);
    benchmark::DoNotOptimize(engine->ApplyEvidentialFuzzyCMeanClustering());
  }
  state.counters["centroid"] = engine->GetCentroid(0)->Get(0, 0);
  state.counters["mass"] = engine->GetBeliefValue(kSamples / 2, 1);
}

// Subsets in the library's order.
std::array<unsigned, kHypotheses> Sets() {
  std::array<unsigned, kHypotheses> sets{};
  std::size_t count = 1;
  for (std::size_t source = 0; source < count; ++source) {
    unsigned first = 0;
    while (sets[source] >> first != 0) ++first;
    for (unsigned k = first; k < kClusters; ++k) sets[count++] = sets[source] | 1U << k;
  }
  return sets;
}

// The powers of one run, with products where the exponent is a small whole number. Distances come as squares.
struct SquarePowers {
  static double OfSquaredDistance(double square) { return 1.0 / square; }
  static double OfMass(double mass) { return mass * mass; }
};
struct AnyPowers {
  double beta;
  double OfSquaredDistance(double square) const { return std::exp(std::log(square) / (1.0 - beta)); }
  double OfMass(double mass) const { return std::exp(beta * std::log(mass)); }
};

// One pass over the samples per iteration, all that does not depend on the sample outside of it.
template <int kDimensions, class Powers>
double PlainEvidentialCMeans(const std::vector<double>& features, const Powers& powers,
                             std::vector<double>& masses, double beta) {
  const std::array<unsigned, kHypotheses> sets = Sets();
  double centroids[kClusters][kDimensions];
  const std::vector<double> start = StartCentroids(kDimensions);
  for (int k = 0; k < kClusters; ++k) {
    for (int d = 0; d < kDimensions; ++d)
      centroids[k][d] = start[static_cast<std::size_t>(k * kDimensions + d)];
  }
  double sizes[kHypotheses] = {};
  double sizeFactors[kHypotheses] = {};
  int members[kHypotheses][kClusters] = {};
  for (int j = 1; j < kHypotheses; ++j) {
    int size = 0;
    for (int k = 0; k < kClusters; ++k) {
      if ((sets[static_cast<std::size_t>(j)] >> k & 1U) != 0) members[j][size++] = k;
    }
    sizes[j] = size;
    sizeFactors[j] = std::pow(size, 2.0 / (1.0 - beta));
  }
  for (int iteration = 0; iteration < kIterations; ++iteration) {
    double centers[kHypotheses][kDimensions] = {};
    for (int j = 1; j < kHypotheses; ++j) {
      for (int d = 0; d < kDimensions; ++d) {
        for (int n = 0; n < static_cast<int>(sizes[j]); ++n) centers[j][d] += centroids[members[j][n]][d];
        centers[j][d] /= sizes[j];
      }
    }
    double distances = 0.0;
    for (int i = 0; i < kSamples; ++i) {
      const double* x = &features[static_cast<std::size_t>(i) * kDimensions];
      for (int k = 0; k < kClusters; ++k) {
        double square = 0.0;
        for (int d = 0; d < kDimensions; ++d) square += (x[d] - centroids[k][d]) * (x[d] - centroids[k][d]);
        distances += std::sqrt(square);
      }
    }
    const double delta = 2.0 * distances / (kSamples * kClusters);
    const double outliers = powers.OfSquaredDistance(delta * delta);
    double h[kClusters][kClusters] = {};
    double b[kClusters][kDimensions] = {};
    for (int i = 0; i < kSamples; ++i) {
      const double* x = &features[static_cast<std::size_t>(i) * kDimensions];
      double* m = &masses[static_cast<std::size_t>(i) * kHypotheses];
      double sum = outliers;
      for (int j = 1; j < kHypotheses; ++j) {
        double square = 0.0;
        for (int d = 0; d < kDimensions; ++d) square += (x[d] - centers[j][d]) * (x[d] - centers[j][d]);
        m[j] = square > 0.0 ? sizeFactors[j] * powers.OfSquaredDistance(square) : 0.0;
        sum += m[j];
      }
      double total = 0.0;
      double weights[kClusters] = {};
      const double scale = 1.0 / sum;
      for (int j = 1; j < kHypotheses; ++j) {
        m[j] *= scale;
        total += m[j];
        const double power = powers.OfMass(m[j]);
        const double weight = sizes[j] * power;
        for (int n = 0; n < static_cast<int>(sizes[j]); ++n) {
          const int k = members[j][n];
          weights[k] += weight;
          for (int o = n; o < static_cast<int>(sizes[j]); ++o) h[k][members[j][o]] += power;
        }
      }
      m[0] = 1.0 - total;
      for (int k = 0; k < kClusters; ++k) {
        for (int d = 0; d < kDimensions; ++d) b[k][d] += weights[k] * x[d];
      }
    }
    for (int k = 0; k < kClusters; ++k) {
      for (int l = 0; l < k; ++l) h[k][l] = h[l][k];
    }
    for (int p = 0; p < kClusters; ++p) {
      for (int k = 0; k < kClusters; ++k) {
        if (k == p) continue;
        const double factor = h[k][p] / h[p][p];
        for (int l = 0; l < kClusters; ++l) h[k][l] -= factor * h[p][l];
        for (int d = 0; d < kDimensions; ++d) b[k][d] -= factor * b[p][d];
      }
    }
    for (int k = 0; k < kClusters; ++k) {
      for (int d = 0; d < kDimensions; ++d) centroids[k][d] = b[k][d] / h[k][k];
    }
  }
  return centroids[0][0];
}

template <int kDimensions>
double RunPlain(const std::vector<double>& features, std::vector<double>& masses, double beta) {
  if (beta == 2.0) return PlainEvidentialCMeans<kDimensions>(features, SquarePowers{}, masses, beta);
  return PlainEvidentialCMeans<kDimensions>(features, AnyPowers{beta}, masses, beta);
}

void BM_EvidentialCMeansPlainLoop(benchmark::State& state) {
  const int dimensions = static_cast<int>(state.range(0));
  const double beta = static_cast<double>(state.range(1)) / 100.0;
  const std::vector<double> features = MakeFeatures(dimensions);
  std::vector<double> masses(static_cast<std::size_t>(kSamples) * kHypotheses);
  double centroid = 0.0;
  for (auto _ : state) {
    centroid = dimensions == 1 ? RunPlain<1>(features, masses, beta) : RunPlain<3>(features, masses, beta);
    benchmark::DoNotOptimize(centroid);
  }
  state.counters["centroid"] = centroid;
  state.counters["mass"] = masses[static_cast<std::size_t>(kSamples / 2) * kHypotheses + 1];
}

MTH_MATRIX MakeMasses(unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  MTH_MATRIX masses(kFusedSamples, kHypotheses, 0);
  double* row = masses.GetEDataAddress();
  for (int i = 0; i < kFusedSamples; ++i, row += kHypotheses) {
    double sum = 0.0;
    for (int j = 0; j < kHypotheses; ++j) sum += row[j] = uniform(random);
    for (int j = 0; j < kHypotheses; ++j) row[j] /= sum;
  }
  return masses;
}

// Two partitions, made once.
MTH_MATRIX& FirstMasses() {
  static MTH_MATRIX masses = MakeMasses(1);
  return masses;
}
MTH_MATRIX& SecondMasses() {
  static MTH_MATRIX masses = MakeMasses(2);
  return masses;
}

// An engine with that partition; the copy of one is evidential.
std::unique_ptr<MTH_CLUSTERING> WithMasses(MTH_MATRIX& masses) {
  MTH_CLUSTERING source(kClusters, 1);
  double value = 0.0;
  double memberships[kClusters] = {};
  MTH_CLUSTERING_SAMPLE sample(&value, 1, memberships, kClusters);
  for (int i = 0; i < masses.GetNbRows(); ++i) source.AddSample(&sample);
  source.SetCredalPartition(&masses);
  return std::make_unique<MTH_CLUSTERING>(source);
}

template <MTH_MATRIX* (MTH_CLUSTERING::*kFuse)(MTH_MATRIX*) const>
void BM_Fusion(benchmark::State& state) {
  MTH_MATRIX& second = SecondMasses();
  static const auto engine = WithMasses(FirstMasses());
  double mass = 0.0;
  for (auto _ : state) {
    const std::unique_ptr<MTH_MATRIX> fused((*engine.*kFuse)(&second));
    mass = fused->Get(kFusedSamples / 2, 3);
  }
  state.counters["mass"] = mass;
}

// Dempster's rule sample by sample, the intersections in a table.
void BM_DempsterFusionPlainLoop(benchmark::State& state) {
  const MTH_MATRIX& first = FirstMasses();
  const MTH_MATRIX& second = SecondMasses();
  const std::array<unsigned, kHypotheses> sets = Sets();
  int targets[kHypotheses][kHypotheses];
  for (int j = 0; j < kHypotheses; ++j) {
    for (int k = 0; k < kHypotheses; ++k) {
      targets[j][k] = 0;
      while (sets[static_cast<std::size_t>(targets[j][k])] !=
             (sets[static_cast<std::size_t>(j)] & sets[static_cast<std::size_t>(k)]))
        ++targets[j][k];
    }
  }
  double mass = 0.0;
  for (auto _ : state) {
    const auto fused = std::make_unique<MTH_MATRIX>(kFusedSamples, kHypotheses, 0);
    for (std::ptrdiff_t i = 0; i < kFusedSamples; ++i) {
      const double* a = first.GetEDataAddress() + i * kHypotheses;
      const double* b = second.GetEDataAddress() + i * kHypotheses;
      double sums[kHypotheses] = {};
      for (int j = 0; j < kHypotheses; ++j) {
        for (int k = 0; k < kHypotheses; ++k) sums[targets[j][k]] += a[j] * b[k];
      }
      double* row = fused->GetEDataAddress() + i * kHypotheses;
      const double scale = 1.0 / (1.0 - sums[0]);
      row[0] = 0.0;
      for (int j = 1; j < kHypotheses; ++j) row[j] = sums[j] * scale;
    }
    mass = fused->Get(kFusedSamples / 2, 3);
  }
  state.counters["mass"] = mass;
}

BENCHMARK(BM_EvidentialCMeans)
    ->Name("evidential c-means/mth")
    ->ArgsProduct({{1, 3}, {200, 170}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EvidentialCMeansPlainLoop)
    ->Name("evidential c-means/plain loop")
    ->ArgsProduct({{1, 3}, {200, 170}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Fusion<&MTH_CLUSTERING::DempsterFusionExact>)
    ->Name("exact Dempster fusion/mth")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Fusion<&MTH_CLUSTERING::CredalConjFusion>)
    ->Name("conjunctive fusion/mth")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DempsterFusionPlainLoop)
    ->Name("exact Dempster fusion/plain loop")
    ->Unit(benchmark::kMillisecond);

}  // namespace
