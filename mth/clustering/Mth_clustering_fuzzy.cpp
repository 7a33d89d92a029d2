#include <algorithm>
#include <cmath>
#include <vector>

#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_clustering_internal.h"
#include "mth/clustering/Mth_clustering_run_internal.h"
#include "mth/core/Mth_elementary_internal.h"
#include "mth/core/Mth_work_array_internal.h"

using namespace mth_internal;

namespace {

// The largest number whose root, rounded, is not above the root given.
double LargestSquareOf(double root) {
  double square = root * root;
  for (double next = square; std::sqrt(next) <= root; next = std::nextafter(square, 1.0)) square = next;
  while (std::sqrt(square) > root) square = std::nextafter(square, 0.0);
  return square;
}

// Whether there are several centroids, and they are all one.
bool DoAllCoincide(const std::vector<double>& centroids, int dimensionsCount) {
  if (centroids.size() <= static_cast<std::size_t>(dimensionsCount)) return false;
  return std::equal(centroids.begin() + dimensionsCount, centroids.end(), centroids.begin());
}

}  // namespace

namespace mth_internal {

SharedPowers::SharedPowers(double m) : ofSquare(-1.0 / (m - 1.0)), ofSum(1.0 - m) {
  // Powers between e^-200 and e^200, and quotients of two squares that are far from the ends of a double.
  longest = std::min(Exponential(200.0 * std::min(m - 1.0, 1.0)), 0x1p256);  // e^200 is beyond 2^256
  shortest = 1.0 / longest;
  smallest = LargestSquareOf(kSmallestFuzzyDistance);
}

}  // namespace mth_internal

double MTH_CLUSTERING::ApplyFuzzyCMeanClustering() {
  return RunGuarded(&MTH_CLUSTERING::RunFuzzyCMeans);
}

double MTH_CLUSTERING::RunFuzzyCMeans() {
  const int samplesCount = GetSamplesCount();
  const FuzzyRule rule(regulationValue_);
  std::vector<double> centroids = GatherCentroids();
  CentroidSums sums(clustersCount_, dimensionsCount_);
  SampleBlocks<double> features;
  SampleBlocks<double> memberships;
  const WorkArray<double> scratch(FuzzyScratch(clustersCount_));
  const bool hasMemory = scratch && features.Allocate(samplesCount, dimensionsCount_) &&
                         memberships.Allocate(samplesCount, clustersCount_);
  if (!hasMemory) return FailRun(MTH_STOP_REASON::NoMemory);

  bool fits = true;
  ForEachSampleBlock(samplesCount, [&](int block, int first, int count) {
    fits = fits && GatherBlock(first, count, features.Block(block), memberships.Block(block));
  });
  if (!fits) return FailRun(MTH_STOP_REASON::BadInput);
  const SampleView samples{features.Data(), samplesCount, dimensionsCount_};
  if (!areCentroidsInitialised_) {
    MTH_SELECT(AddMembers)(samples, memberships.Data(), clustersCount_, rule.weight, sums.View());
  }

  RunProgress progress("Fuzzy C Means en cours...", iterationsCount_);
  double delta = kNoDistance;
  bool isCancelled = false;
  for (int iteration = 0; iteration < iterationsCount_ && delta > tolerance_ && !isCancelled; ++iteration) {
    if (iteration > 0 || !areCentroidsInitialised_) sums.MoveCentroids(centroids);
    delta = StepFuzzyCMeans(samples, {centroids.data(), clustersCount_}, rule, scratch.Get(),
                            memberships.Data(), sums);
    progress.Step("Evolution du delta : ", delta);
    isCancelled = progress.IsCancelRequested();
  }

  stopReason_ = ReasonOf(iterationsCount_ > 0 && delta <= tolerance_, isCancelled);
  const bool isFinite = AreFinite(centroids) && sums.AreFinite();
  if (iterationsCount_ > 0 && !isFinite) stopReason_ = MTH_STOP_REASON::NotFinite;
  const bool isMeaningless =
      stopReason_ == MTH_STOP_REASON::Converged && DoAllCoincide(centroids, dimensionsCount_);
  if (isMeaningless) stopReason_ = MTH_STOP_REASON::BadInput;
  ScatterCentroids(centroids);
  WriteMemberships([&](int i, double* membership) {
    const double* row = memberships.Block(i / kBlockSamples) + i % kBlockSamples;
    for (std::ptrdiff_t k = 0; k < clustersCount_; ++k) membership[k] = row[k * kBlockSamples];
  });
  return delta;
}
