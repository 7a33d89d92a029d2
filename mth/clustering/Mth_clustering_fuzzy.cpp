#include <new>
#include <vector>

#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_clustering_internal.h"
#include "mth/clustering/Mth_clustering_run_internal.h"

using namespace mth_internal;

double MTH_CLUSTERING::ApplyFuzzyCMeanClustering() {
  if (!CanRun()) return kNoDistance;
  try {
    return RunFuzzyCMeans();
  } catch (const std::bad_alloc&) {
    return kNoDistance;
  }
}

double MTH_CLUSTERING::RunFuzzyCMeans() {
  const int samplesCount = GetSamplesCount();
  const int blocksCount = BlocksOf(samplesCount);
  const PowerRule weightRule(regulationValue_);
  const PowerRule ratioRule(2.0 / (regulationValue_ - 1.0));
  std::vector<double> centroids = GatherCentroids();
  std::vector<double> scratch(static_cast<std::size_t>(clustersCount_) * 2 * kBlockSamples);
  CentroidSums sums(clustersCount_, dimensionsCount_);
  SampleBlocks<double> features;
  SampleBlocks<double> memberships;
  const bool hasMemory =
      features.Allocate(samplesCount, dimensionsCount_) && memberships.Allocate(samplesCount, clustersCount_);
  if (!hasMemory) return kNoDistance;
  for (int block = 0; block < blocksCount; ++block) {
    GatherBlock(block, features.Block(block), memberships.Block(block));
  }

  TSTD_WAIT_BAR window;
  OpenProgress(window, "Fuzzy C Means en cours...", iterationsCount_);
  double delta = kNoDistance;
  for (int iteration = 0; iteration < iterationsCount_ && delta > tolerance_; ++iteration) {
    const bool isFirst = iteration == 0;
    if (isFirst && !areCentroidsInitialised_) {
      for (int block = 0; block < blocksCount; ++block) {
        sums.AddMembers(memberships.Block(block), weightRule, features.Block(block),
                        SamplesInBlock(samplesCount, block));
      }
    }
    if (!isFirst || !areCentroidsInitialised_) sums.MoveCentroids(centroids);

    delta = 0.0;
    sums.Reset();
    for (int block = 0; block < blocksCount; ++block) {
      const int count = SamplesInBlock(samplesCount, block);
      delta = MTH_SELECT(UpdateMemberships)(features.Block(block), centroids.data(), clustersCount_,
                                            dimensionsCount_, count, ratioRule, scratch.data(),
                                            memberships.Block(block), delta);
      sums.AddMembers(memberships.Block(block), weightRule, features.Block(block),
                      count);  // for the next iteration
    }
    StepProgress(window, "Evolution du delta : ", delta);
  }

  ScatterCentroids(centroids);
  for (int block = 0; block < blocksCount; ++block) {
    const double* rows = memberships.Block(block);
    const int count = SamplesInBlock(samplesCount, block);
    const auto samples = samples_.begin() + std::int64_t{block} * kBlockSamples;
    for (int b = 0; b < count; ++b) {
      PrefetchSample(samples, b, count);
      double* membership = samples[b]->memberships_.GetEDataAddress();
      for (int k = 0; k < clustersCount_; ++k) membership[k] = rows[k * kBlockSamples + b];
    }
  }
  return delta;
}
