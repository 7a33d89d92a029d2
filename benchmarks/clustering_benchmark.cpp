// k-means and fuzzy c-means over the brain voxels of a whole MR volume, against plain loops over contiguous
// arrays.

#include <benchmark/benchmark.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <vector>

#include "clustering_engine.h"
#include "mth/clustering/Mth_clustering.h"

#ifdef MTH_HAS_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

using mth_benchmark::kClusters;
using mth_benchmark::kIterations;
using mth_benchmark::MakeEngine;

constexpr const char* kVolume = "/usr/share/mricron/templates/ch2bet.nii.gz";
constexpr int kHeaderBytes = 352;
constexpr int kColumns = 181;
constexpr int kRows = 217;
constexpr int kSlices = 181;

// Features of the voxels above 0: the intensity and, with three, its local mean and its gradient's magnitude.
std::vector<double> ComputeFeatures(int dimensions) {
  std::vector<std::uint8_t> voxels(std::size_t{kColumns} * kRows * kSlices);
  std::vector<std::uint8_t> header(kHeaderBytes);
  gzFile file = gzopen(kVolume, "rb");
  if (file == nullptr) return {};
  const bool isRead =
      gzread(file, header.data(), kHeaderBytes) == kHeaderBytes &&
      gzread(file, voxels.data(), static_cast<unsigned>(voxels.size())) == static_cast<int>(voxels.size());
  gzclose(file);
  if (!isRead) return {};
  std::vector<double> features;
  const int strides[] = {1, kColumns, kColumns * kRows};
  const int last = static_cast<int>(voxels.size()) - strides[2];
  for (int v = strides[2]; v < last; ++v) {
    const auto at = [&](int offset) {
      return static_cast<double>(voxels[static_cast<std::size_t>(v + offset)]);
    };
    if (at(0) <= 0.0) continue;
    features.push_back(at(0));
    if (dimensions == 1) continue;
    double sum = at(0);
    double energy = 0.0;
    for (int stride : strides) {
      sum += at(stride) + at(-stride);
      energy += (at(stride) - at(-stride)) * (at(stride) - at(-stride)) / 4.0;
    }
    features.push_back(sum / 7.0);
    features.push_back(std::sqrt(energy));
  }
  return features;
}

// The same, read once; none without the volume.
std::vector<double>& Features(int dimensions) {
  static std::map<int, std::vector<double>> read;
  const auto found = read.find(dimensions);
  return found != read.end() ? found->second : read[dimensions] = ComputeFeatures(dimensions);
}

// Far from the answer and close together, so that no run converges before its last iteration.
std::vector<double> StartCentroids(int dimensions) {
  return mth_benchmark::StartCentroids(dimensions, 1.0, 1.0);
}

void Restart(MTH_CLUSTERING& engine, int dimensions) {
  std::vector<double> centroids = StartCentroids(dimensions);
  for (int k = 0; k < kClusters; ++k)
    engine.InitialiseCentroid(k, &centroids[static_cast<std::size_t>(k * dimensions)], dimensions);
}

template <class Run>
void MeasureEngine(benchmark::State& state, Run run) {
  const int dimensions = static_cast<int>(state.range(0));
  std::vector<double>& features = Features(dimensions);
  if (features.empty()) return state.SkipWithError("needs Debian's mricron-data");
  const auto engine = MakeEngine(features, dimensions, 0.0);
  double result = 0.0;
  for (auto _ : state) {
    Restart(*engine, dimensions);
    benchmark::DoNotOptimize(result = run(*engine));
  }
  state.counters["result"] = result;
  state.counters["voxels"] = engine->GetSamplesCount();
}

void BM_KMeans(benchmark::State& state) {
  MeasureEngine(state, [](MTH_CLUSTERING& engine) { return engine.ApplyKMeanClustering(); });
}

// All samples into an engine at once, their decisions out, and the engine's end.
void BM_InAndOut(benchmark::State& state) {
  const int dimensions = static_cast<int>(state.range(0));
  const std::vector<double>& features = Features(dimensions);
  if (features.empty()) return state.SkipWithError("needs Debian's mricron-data");
  const int count = static_cast<int>(features.size()) / dimensions;
  std::vector<int> decisions(static_cast<std::size_t>(count));
  for (auto _ : state) {
    MTH_CLUSTERING engine(kClusters, dimensions);
    engine.AddSamples(features.data(), count);
    engine.GetDecisions(decisions.data());
    benchmark::DoNotOptimize(decisions.data());
  }
}

void BM_FuzzyCMeans(benchmark::State& state) {
  MeasureEngine(state, [](MTH_CLUSTERING& engine) { return engine.ApplyFuzzyCMeanClustering(); });
}

// The plain loops: one pass over contiguous samples per iteration, sums for the next update folded in.
template <int kDimensions>
double PlainKMeans(const std::vector<double>& features, std::vector<int>& labels) {
  const auto count = static_cast<int>(features.size()) / kDimensions;
  std::vector<double> start = StartCentroids(kDimensions);
  double centroids[kClusters][kDimensions];
  std::memcpy(centroids, start.data(), sizeof centroids);
  int changes = 1;
  for (int iteration = 0; iteration < kIterations && changes != 0; ++iteration) {
    double sums[kClusters][kDimensions] = {};
    double weights[kClusters] = {};
    changes = 0;
    for (int i = 0; i < count; ++i) {
      const double* x = &features[static_cast<std::size_t>(i) * kDimensions];
      int best = 0;
      double bestSquare = 0.0;
      for (int k = 0; k < kClusters; ++k) {
        double square = 0.0;
        for (int d = 0; d < kDimensions; ++d) square += (x[d] - centroids[k][d]) * (x[d] - centroids[k][d]);
        if (k == 0 || square < bestSquare) {
          bestSquare = square;
          best = k;
        }
      }
      changes += labels[static_cast<std::size_t>(i)] != best;
      labels[static_cast<std::size_t>(i)] = best;
      weights[best] += 1.0;
      for (int d = 0; d < kDimensions; ++d) sums[best][d] += x[d];
    }
    for (int k = 0; k < kClusters; ++k) {
      for (int d = 0; d < kDimensions; ++d)
        centroids[k][d] = weights[k] > 0.0 ? sums[k][d] / weights[k] : 0.0;
    }
  }
  return changes;
}

template <int kDimensions>
double PlainFuzzyCMeans(const std::vector<double>& features, std::vector<double>& memberships) {
  const auto count = static_cast<int>(features.size()) / kDimensions;
  std::vector<double> start = StartCentroids(kDimensions);
  double centroids[kClusters][kDimensions];
  std::memcpy(centroids, start.data(), sizeof centroids);
  double delta = 1.0;
  for (int iteration = 0; iteration < kIterations && delta > 0.0; ++iteration) {
    double sums[kClusters][kDimensions] = {};
    double weights[kClusters] = {};
    delta = 0.0;
    for (int i = 0; i < count; ++i) {
      const double* x = &features[static_cast<std::size_t>(i) * kDimensions];
      double* u = &memberships[static_cast<std::size_t>(i) * kClusters];
      double distances[kClusters];
      for (int k = 0; k < kClusters; ++k) {
        double square = 0.0;
        for (int d = 0; d < kDimensions; ++d) square += (x[d] - centroids[k][d]) * (x[d] - centroids[k][d]);
        distances[k] = std::sqrt(square);
      }
      for (int k = 0; k < kClusters; ++k) {
        double sum = 0.0;
        for (int j = 0; j < kClusters; ++j) {
          if (distances[j] <= 0.000001) continue;
          const double ratio = distances[k] / distances[j];
          sum += ratio * ratio;
        }
        const double updated = sum > 0.001 ? 1.0 / sum : 0.0;
        delta = std::max(delta, std::abs(updated - u[k]));
        u[k] = updated;
        const double weight = updated * updated;
        weights[k] += weight;
        for (int d = 0; d < kDimensions; ++d) sums[k][d] += weight * x[d];
      }
    }
    for (int k = 0; k < kClusters; ++k) {
      for (int d = 0; d < kDimensions; ++d)
        centroids[k][d] = weights[k] > 0.0 ? sums[k][d] / weights[k] : 0.0;
    }
  }
  return delta;
}

template <class Run>
void MeasurePlain(benchmark::State& state, Run run) {
  const std::vector<double>& features = Features(static_cast<int>(state.range(0)));
  if (features.empty()) return state.SkipWithError("needs Debian's mricron-data");
  double result = 0.0;
  for (auto _ : state) benchmark::DoNotOptimize(result = run(features));
  state.counters["result"] = result;
}

void BM_KMeansPlainLoop(benchmark::State& state) {
  std::vector<int> labels;
  MeasurePlain(state, [&](const std::vector<double>& features) {
    labels.resize(features.size());
    return state.range(0) == 1 ? PlainKMeans<1>(features, labels) : PlainKMeans<3>(features, labels);
  });
}

void BM_FuzzyCMeansPlainLoop(benchmark::State& state) {
  std::vector<double> memberships;
  MeasurePlain(state, [&](const std::vector<double>& features) {
    memberships.assign(features.size() / static_cast<std::size_t>(state.range(0)) * kClusters, 0.0);
    return state.range(0) == 1 ? PlainFuzzyCMeans<1>(features, memberships)
                               : PlainFuzzyCMeans<3>(features, memberships);
  });
}

// One and three features.
void Often(benchmark::internal::Benchmark* run) {
  run->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond);
}
// What takes half a second and more: three times are enough.
void Seldom(benchmark::internal::Benchmark* run) {
  run->Apply(Often)->Repetitions(3);
}
void InThreads(benchmark::internal::Benchmark* run) {
  run->Arg(1)->Repetitions(3)->UseRealTime()->Unit(benchmark::kMillisecond);
}

#ifdef MTH_HAS_OPENCV
// In single precision, from labels instead of centroids: the same number of passes over the same voxels.
void BM_KMeansOpenCv(benchmark::State& state) {
  const int dimensions = static_cast<int>(state.range(0));
  const std::vector<double>& features = Features(dimensions);
  if (features.empty()) return state.SkipWithError("needs Debian's mricron-data");
  cv::setNumThreads(1);
  cv::Mat samples(static_cast<int>(features.size()) / dimensions, dimensions, CV_32F);
  std::transform(features.begin(), features.end(), samples.ptr<float>(),
                 [](double x) { return static_cast<float>(x); });
  for (auto _ : state) {
    cv::Mat labels(samples.rows, 1, CV_32S);
    for (int i = 0; i < samples.rows; ++i) labels.at<int>(i) = i % kClusters;
    const cv::TermCriteria passes(cv::TermCriteria::COUNT, kIterations, 0.0);
    benchmark::DoNotOptimize(
        cv::kmeans(samples, kClusters, labels, passes, 1, cv::KMEANS_USE_INITIAL_LABELS));
  }
}
BENCHMARK(BM_KMeansOpenCv)->Name("k-means/OpenCV in single precision")->Apply(Seldom);
#endif

BENCHMARK(BM_KMeans)->Name("k-means/mth")->Apply(Often);
BENCHMARK(BM_KMeansPlainLoop)->Name("k-means/plain loop")->Apply(Often);
// The way in and out is to be small beside what is done in between.
BENCHMARK(BM_InAndOut)->Name("samples in and out/mth")->Apply(Often);
BENCHMARK(BM_KMeans)->Name("samples in and out/k-means of them")->Apply(Often);
// An engine for each thread: as long for two as for one where there are two processors.
BENCHMARK(BM_FuzzyCMeans)->Name("two volumes in two threads/mth")->Apply(InThreads)->Threads(2);
BENCHMARK(BM_FuzzyCMeans)->Name("two volumes in two threads/one in one")->Apply(InThreads);
BENCHMARK(BM_FuzzyCMeans)->Name("fuzzy c-means/mth")->Apply(Seldom);
BENCHMARK(BM_FuzzyCMeansPlainLoop)->Name("fuzzy c-means/plain loop")->Apply(Seldom);

}  // namespace
