#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>
#include <vector>

#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_clustering_internal.h"
#include "mth/clustering/Mth_clustering_kernels_internal.h"
#include "mth/clustering/Mth_clustering_partition_internal.h"

namespace mth_internal {
namespace {

// One run of k-means. After the first assignment a sample's memberships are told by its cluster alone; they
// are written out again at the end.
class KMeansRun {
 public:
  explicit KMeansRun(ClusterPartition& partition)
      : partition_(partition),
        labels_(static_cast<std::size_t>(partition.BlocksCount()) * kBlockSamples),
        nearest_(kBlockSamples),
        distances_(2 * kBlockSamples),
        weights_(static_cast<std::size_t>(partition.ClustersCount()) * kBlockSamples) {}

  void SumInitialWeights() {
    partition_.ResetSums();
    for (int block = 0; block < partition_.BlocksCount(); ++block) {
      partition_.AddToSums(block, partition_.Memberships(block));
    }
  }

  // Gives every sample to its nearest centroid, summing for the next update on the way; returns how many
  // changed.
  std::int64_t Assign(bool isFirst) {
    std::int64_t changes = 0;
    partition_.ResetSums();
    for (int block = 0; block < partition_.BlocksCount(); ++block) {
      MTH_SELECT(FindNearest)
      (partition_.Features(block), partition_.Centroids(), partition_.ClustersCount(),
       partition_.DimensionsCount(), partition_.SamplesIn(block), distances_.data(), nearest_.data());
      changes += isFirst ? CountNewMembers(block) : CountMoves(block);
      std::copy_n(nearest_.data(), partition_.SamplesIn(block), Labels(block));
      WriteMemberships(block, weights_.data());
      partition_.AddToSums(block, weights_.data());
    }
    return changes;
  }

  void WriteMemberships() {
    for (int block = 0; block < partition_.BlocksCount(); ++block) {
      WriteMemberships(block, partition_.Memberships(block));
    }
  }

 private:
  std::int32_t* Labels(int block) {
    return labels_.data() + static_cast<std::int64_t>(block) * kBlockSamples;
  }

  // The caller's memberships need not be 0 and 1: a sample counts as unchanged when its own is exactly 1.
  std::int64_t CountNewMembers(int block) const {
    const double* memberships = partition_.Memberships(block);
    std::int64_t changes = 0;
    for (int b = 0; b < partition_.SamplesIn(block); ++b) {
      changes += memberships[nearest_[static_cast<std::size_t>(b)] * kBlockSamples + b] != 1.0;
    }
    return changes;
  }

  std::int64_t CountMoves(int block) {
    const std::int32_t* labels = Labels(block);
    const std::int64_t* nearest = nearest_.data();
    std::int64_t changes = 0;
    for (int b = 0; b < partition_.SamplesIn(block); ++b) changes += labels[b] != nearest[b];
    return changes;
  }

  void WriteMemberships(int block, double* memberships) {
    const std::int32_t* labels = Labels(block);
    const int count = partition_.SamplesIn(block);
    for (int k = 0; k < partition_.ClustersCount(); ++k, memberships += kBlockSamples) {
      for (int b = 0; b < count; ++b) memberships[b] = labels[b] == k ? 1.0 : 0.0;
    }
  }

  ClusterPartition& partition_;
  std::vector<std::int32_t> labels_;
  std::vector<std::int64_t> nearest_;
  std::vector<double> distances_;
  std::vector<double> weights_;
};

double RunKMeans(ClusterPartition& partition, int iterationsCount, bool keepsFirstCentroids) {
  KMeansRun run(partition);
  TSTD_WAIT_BAR window;
  OpenProgress(window, "K Means en cours...", iterationsCount);
  std::int64_t changes = std::numeric_limits<int>::max();
  for (int iteration = 0; iteration < iterationsCount && changes != 0; ++iteration) {
    const bool isFirst = iteration == 0;
    if (isFirst && !keepsFirstCentroids) run.SumInitialWeights();
    if (!isFirst || !keepsFirstCentroids) partition.UpdateCentroids();
    changes = run.Assign(isFirst);
    StepProgress(window, "Nombre de changements de configuration : ", changes);
  }
  if (iterationsCount > 0) run.WriteMemberships();
  return static_cast<double>(changes);
}

}  // namespace
}  // namespace mth_internal

double MTH_CLUSTERING::ApplyKMeanClustering() {
  mth_internal::ClusterPartition partition;
  if (!Gather(partition)) return mth_internal::kNoDistance;
  try {
    const double changes = mth_internal::RunKMeans(partition, iterationsCount_, areCentroidsInitialised_);
    ScatterCentroids(partition);
    ScatterMemberships(partition);
    return changes;
  } catch (const std::bad_alloc&) {
    return mth_internal::kNoDistance;
  }
}
