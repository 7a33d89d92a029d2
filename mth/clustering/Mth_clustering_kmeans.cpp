#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_clustering_internal.h"
#include "mth/clustering/Mth_clustering_run_internal.h"

using namespace mth_internal;

namespace {

// Hard memberships as labels: a sample's label is its cluster of membership exactly 1. Memberships of the
// caller's need not be hard: a sample of no such cluster, or of several, has no label.
class Labels {
 public:
  bool Allocate(int samplesCount) { return blocks_.Allocate(samplesCount, 1); }
  std::int32_t* Data() { return blocks_.Data(); }

  void TakeBlock(int block, int first, int count, const double* memberships, int clustersCount) {
    std::int32_t* const labels = blocks_.Block(block);
    if (!MTH_SELECT(FindLabels)(memberships, clustersCount, labels)) return;
    for (int b = 0; b < count; ++b) {
      int ones = 0;
      for (std::ptrdiff_t k = 0; k < clustersCount; ++k) ones += memberships[k * kBlockSamples + b] == 1.0;
      if (ones <= 1) continue;
      labels[b] = kNoLabel;
      samplesOfSeveral_.push_back(first + b);
    }
  }

  // Samples that had several memberships of 1.
  const std::vector<int>& SamplesOfSeveral() const { return samplesOfSeveral_; }

 private:
  SampleBlocks<std::int32_t> blocks_;
  std::vector<int> samplesOfSeveral_;
};

}  // namespace

double MTH_CLUSTERING::ApplyKMeanClustering() {
  return RunGuarded(&MTH_CLUSTERING::RunKMeans);
}

// During the run a sample's memberships are told by its label alone; they are written to the samples at the
// end.
double MTH_CLUSTERING::RunKMeans() {
  const int samplesCount = GetSamplesCount();
  std::vector<double> centroids = GatherCentroids();
  std::vector<double> memberships(static_cast<std::size_t>(clustersCount_) * kBlockSamples);
  CentroidSums sums(clustersCount_, dimensionsCount_);
  SampleBlocks<double> features;
  Labels labels;
  if (!features.Allocate(samplesCount, dimensionsCount_) || !labels.Allocate(samplesCount))
    return FailRun(MTH_STOP_REASON::NoMemory);

  bool fits = true;
  ForEachSampleBlock(samplesCount, [&](int block, int first, int count) {
    double* rows = features.Block(block);
    fits = fits && GatherBlock(first, count, rows, memberships.data());
    if (!fits) return;
    labels.TakeBlock(block, first, count, memberships.data(), clustersCount_);
    if (areCentroidsInitialised_) return;
    MTH_SELECT(AddMembers)
    ({rows, count, dimensionsCount_}, memberships.data(), clustersCount_, PowerRule(1.0), sums.View());
  });
  if (!fits) return FailRun(MTH_STOP_REASON::BadInput);

  RunProgress progress("K Means en cours...", iterationsCount_);
  std::int64_t changes = std::numeric_limits<int>::max();
  bool isCancelled = false;
  for (int iteration = 0; iteration < iterationsCount_ && changes != 0 && !isCancelled; ++iteration) {
    if (iteration > 0 || !areCentroidsInitialised_) sums.MoveCentroids(centroids);
    changes = StepKMeans({features.Data(), samplesCount, dimensionsCount_},
                         {centroids.data(), clustersCount_}, labels.Data(), sums);
    if (iteration == 0) {
      for (int i : labels.SamplesOfSeveral()) changes -= GetSample(i)->GetMembership(labels.Data()[i]) == 1.0;
    }
    progress.Step("Nombre de changements de configuration : ", changes);
    isCancelled = progress.IsCancelRequested();
  }

  stopReason_ = ReasonOf(changes == 0, isCancelled);
  const bool isFinite = AreFinite(centroids) && sums.AreFinite();
  if (iterationsCount_ > 0 && !isFinite) stopReason_ = MTH_STOP_REASON::NotFinite;
  if (iterationsCount_ <= 0) return static_cast<double>(changes);
  ScatterCentroids(centroids);
  WriteMemberships([&](int i, double* membership) {
    std::fill_n(membership, clustersCount_, 0.0);
    membership[labels.Data()[i]] = 1.0;
  });
  return static_cast<double>(changes);
}
