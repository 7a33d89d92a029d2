#include <new>
#include <vector>

#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_clustering_internal.h"
#include "mth/clustering/Mth_clustering_kernels_internal.h"
#include "mth/clustering/Mth_clustering_partition_internal.h"

namespace mth_internal {
namespace {

// One run of fuzzy c-means with the fuzzifier m.
class FuzzyRun {
 public:
  FuzzyRun(ClusterPartition& partition, double m)
      : partition_(partition),
        weightRule_(m),
        ratioRule_(2.0 / (m - 1.0)),
        scratch_(static_cast<std::size_t>(partition.ClustersCount() + 2) * kBlockSamples),
        weights_(static_cast<std::size_t>(partition.ClustersCount()) * kBlockSamples) {}

  void SumInitialWeights() {
    partition_.ResetSums();
    for (int block = 0; block < partition_.BlocksCount(); ++block) AddBlockToSums(block);
  }

  // New memberships of every sample, summing for the next update on the way; returns the largest change.
  double UpdateAll() {
    double delta = 0.0;
    partition_.ResetSums();
    for (int block = 0; block < partition_.BlocksCount(); ++block) {
      delta = MTH_SELECT(UpdateMemberships)(partition_.Features(block), partition_.Centroids(),
                                            partition_.ClustersCount(), partition_.DimensionsCount(),
                                            partition_.SamplesIn(block), ratioRule_, scratch_.data(),
                                            partition_.Memberships(block), delta);
      AddBlockToSums(block);
    }
    return delta;
  }

 private:
  void AddBlockToSums(int block) {
    const int row = kBlockSamples;
    for (int k = 0; k < partition_.ClustersCount(); ++k) {
      MTH_SELECT(RaiseToPower)
      (partition_.Memberships(block) + k * row, partition_.SamplesIn(block), weightRule_,
       weights_.data() + k * row);
    }
    partition_.AddToSums(block, weights_.data());
  }

  ClusterPartition& partition_;
  PowerRule weightRule_;
  PowerRule ratioRule_;
  std::vector<double> scratch_;
  std::vector<double> weights_;
};

double RunFuzzyCMeans(ClusterPartition& partition, double m, double tolerance, int iterationsCount,
                      bool keepsFirstCentroids) {
  FuzzyRun run(partition, m);
  TSTD_WAIT_BAR window;
  OpenProgress(window, "Fuzzy C Means en cours...", iterationsCount);
  double delta = kNoDistance;
  for (int iteration = 0; iteration < iterationsCount && delta > tolerance; ++iteration) {
    const bool isFirst = iteration == 0;
    if (isFirst && !keepsFirstCentroids) run.SumInitialWeights();
    if (!isFirst || !keepsFirstCentroids) partition.UpdateCentroids();
    delta = run.UpdateAll();
    StepProgress(window, "Evolution du delta : ", delta);
  }
  return delta;
}

}  // namespace
}  // namespace mth_internal

double MTH_CLUSTERING::ApplyFuzzyCMeanClustering() {
  mth_internal::ClusterPartition partition;
  if (!Gather(partition)) return mth_internal::kNoDistance;
  try {
    const double delta = mth_internal::RunFuzzyCMeans(partition, regulationValue_, tolerance_,
                                                      iterationsCount_, areCentroidsInitialised_);
    ScatterCentroids(partition);
    ScatterMemberships(partition);
    return delta;
  } catch (const std::bad_alloc&) {
    return mth_internal::kNoDistance;
  }
}
