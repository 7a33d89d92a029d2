#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>
#include <vector>

#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_clustering_internal.h"
#include "mth/clustering/Mth_clustering_run_internal.h"

using namespace mth_internal;

namespace {

// The caller's memberships need not be 0 and 1: a sample counts as unmoved when that of its nearest is
// exactly 1.
int CountNewMembers(const std::int32_t* nearest, const double* memberships, int count) {
  int changes = 0;
  for (int b = 0; b < count; ++b) changes += memberships[nearest[b] * kBlockSamples + b] != 1.0;
  return changes;
}

}  // namespace

double MTH_CLUSTERING::ApplyKMeanClustering() {
  if (!CanRun()) return kNoDistance;
  try {
    return RunKMeans();
  } catch (const std::bad_alloc&) {
    return kNoDistance;
  }
}

// From the first assignment on, a sample's memberships are told by its label alone; they are written to the
// samples at the end.
double MTH_CLUSTERING::RunKMeans() {
  const int samplesCount = GetSamplesCount();
  const int blocksCount = BlocksOf(samplesCount);
  std::vector<double> centroids = GatherCentroids();
  std::vector<double> memberships(static_cast<std::size_t>(clustersCount_) * kBlockSamples);
  CentroidSums sums(clustersCount_, dimensionsCount_);
  SampleBlocks<double> features;
  SampleBlocks<std::int32_t> labels;
  if (!features.Allocate(samplesCount, dimensionsCount_) || !labels.Allocate(samplesCount, 1))
    return kNoDistance;

  TSTD_WAIT_BAR window;
  OpenProgress(window, "K Means en cours...", iterationsCount_);
  std::int64_t changes = std::numeric_limits<int>::max();
  for (int iteration = 0; iteration < iterationsCount_ && changes != 0; ++iteration) {
    const bool isFirst = iteration == 0;
    if (isFirst && !areCentroidsInitialised_) {
      for (int block = 0; block < blocksCount; ++block) {
        GatherBlock(block, features.Block(block), memberships.data());
        sums.AddMembers(memberships.data(), PowerRule(1.0), features.Block(block),
                        SamplesInBlock(samplesCount, block));
      }
    }
    if (!isFirst || !areCentroidsInitialised_) sums.MoveCentroids(centroids);

    changes = 0;
    sums.Reset();
    for (int block = 0; block < blocksCount; ++block) {
      const int count = SamplesInBlock(samplesCount, block);
      std::int32_t* label = labels.Block(block);
      if (isFirst) {
        GatherBlock(block, features.Block(block), memberships.data());
        std::fill_n(label, count, 0);
      }
      const int moves = MTH_SELECT(FindNearest)(features.Block(block), centroids.data(), clustersCount_,
                                                dimensionsCount_, count, label);
      changes += isFirst ? CountNewMembers(label, memberships.data(), count) : moves;
      sums.AddLabelled(label, features.Block(block), count);  // for the next iteration
    }
    StepProgress(window, "Nombre de changements de configuration : ", changes);
  }

  if (iterationsCount_ <= 0) return static_cast<double>(changes);
  ScatterCentroids(centroids);
  for (int block = 0; block < blocksCount; ++block) {
    const std::int32_t* label = labels.Block(block);
    const int count = SamplesInBlock(samplesCount, block);
    const auto samples = samples_.begin() + std::int64_t{block} * kBlockSamples;
    for (int b = 0; b < count; ++b) {
      PrefetchSample(samples, b, count);
      double* membership = samples[b]->memberships_.GetEDataAddress();
      std::fill_n(membership, clustersCount_, 0.0);
      membership[label[b]] = 1.0;
    }
  }
  return static_cast<double>(changes);
}
