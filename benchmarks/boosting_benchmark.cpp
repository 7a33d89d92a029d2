// AdaBoost over decision trees, against gentle boosting of trees of the same depth.

#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <vector>

#include "mth/boosting/Mth_clustering_adaboost.h"

#ifdef MTH_HAS_OPENCV_ML
#include <opencv2/ml.hpp>
#endif

namespace {

constexpr int kFeatures = 10;
constexpr int kSamples = 5000;
constexpr int kRounds = 50;
constexpr int kDepth = 3;

struct Samples {
  MTH_MATRIX features{kFeatures, kSamples, 0};
  MTH_MATRIX labels{1, kSamples, 0};
};

// Two classes on either side of a curved border, a tenth of the labels wrong.
Samples MakeSamples() {
  std::mt19937 random(1);
  std::normal_distribution<double> normal;
  Samples samples;
  for (int i = 0; i < kSamples; ++i) {
    for (int f = 0; f < kFeatures; ++f) samples.features.Set(f, i, normal(random));
    const double x = samples.features.Get(0, i);
    const double side = x * x + samples.features.Get(1, i) + samples.features.Get(2, i) - 1.0;
    samples.labels.Set(0, i, (side > 0.0) != (random() % 10 == 0) ? 1.0 : -1.0);
  }
  return samples;
}

template <class IsPositive>
double ErrorOf(const Samples& samples, IsPositive isPositive) {
  int errors = 0;
  for (int i = 0; i < kSamples; ++i) errors += isPositive(i) != (samples.labels.Get(0, i) > 0.0) ? 1 : 0;
  return static_cast<double>(errors) / kSamples;
}

using Training = bool (MTH_CLUSTERING_ADABOOST::*)(std::vector<double>, MTH_CLUSTERING_ADABOOST::CELLS*,
                                                   double*);

void BM_Boosting(benchmark::State& state, Training train) {
  Samples samples = MakeSamples();
  MTH_CLUSTERING_TREE tree(kDepth);
  std::vector<double> scores(kSamples);
  for (auto _ : state) {
    MTH_CLUSTERING_ADABOOST boosting(&samples.features, &samples.labels, kRounds, &tree);
    benchmark::DoNotOptimize((boosting.*train)({}, nullptr, scores.data()));
    MTH_CLUSTERING_ADABOOST::DeleteCells(boosting.GetCells());
  }
  state.counters["error"] =
      ErrorOf(samples, [&](int i) { return scores[static_cast<std::size_t>(i)] > 0.0; });
}
BENCHMARK_CAPTURE(BM_Boosting, real, &MTH_CLUSTERING_ADABOOST::RealAdaBoostClustering)
    ->Name("real boosting/mth")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Boosting, gentle, &MTH_CLUSTERING_ADABOOST::GentleAdaBoostClustering)
    ->Name("gentle boosting/mth")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Boosting, modest, &MTH_CLUSTERING_ADABOOST::ModestAdaBoostClustering)
    ->Name("modest boosting/mth")
    ->Unit(benchmark::kMillisecond);

// Scores of new samples: time per cell and sample is the counter "s per cell and sample".
void BM_Classify(benchmark::State& state) {
  Samples samples = MakeSamples();
  MTH_CLUSTERING_TREE tree(kDepth);
  MTH_CLUSTERING_ADABOOST boosting(&samples.features, &samples.labels, kRounds, &tree);
  boosting.RealAdaBoostClustering({}, nullptr, nullptr);
  for (auto _ : state)
    benchmark::DoNotOptimize(std::unique_ptr<double[]>(boosting.Classify(&samples.features)));
  const double work = static_cast<double>(boosting.GetCells()->GetCount()) * kSamples;
  state.counters["s per cell and sample"] =
      benchmark::Counter(work, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  MTH_CLUSTERING_ADABOOST::DeleteCells(boosting.GetCells());
}
BENCHMARK(BM_Classify)->Name("Classify/mth")->Unit(benchmark::kMillisecond);

#ifdef MTH_HAS_OPENCV_ML
void BM_GentleBoostOpenCv(benchmark::State& state) {
  cv::setNumThreads(1);
  const Samples samples = MakeSamples();
  cv::Mat features(kSamples, kFeatures, CV_32F);
  cv::Mat labels(kSamples, 1, CV_32S);
  for (int i = 0; i < kSamples; ++i) {
    for (int f = 0; f < kFeatures; ++f)
      features.at<float>(i, f) = static_cast<float>(samples.features.Get(f, i));
    labels.at<int>(i) = samples.labels.Get(0, i) > 0.0 ? 1 : 0;
  }
  cv::Ptr<cv::ml::Boost> boost;
  for (auto _ : state) {
    boost = cv::ml::Boost::create();
    boost->setBoostType(cv::ml::Boost::GENTLE);
    boost->setWeakCount(kRounds);
    boost->setMaxDepth(kDepth);
    boost->setWeightTrimRate(0.0);
    boost->setUseSurrogates(false);
    boost->setCVFolds(0);
    benchmark::DoNotOptimize(boost->train(features, cv::ml::ROW_SAMPLE, labels));
  }
  cv::Mat classes;
  boost->predict(features, classes);
  state.counters["error"] = ErrorOf(samples, [&](int i) { return classes.at<float>(i) > 0.5F; });
}
BENCHMARK(BM_GentleBoostOpenCv)
    ->Name("gentle boosting/OpenCV")
    ->Repetitions(3)
    ->Unit(benchmark::kMillisecond);
#endif

}  // namespace
