#include "mth/clustering/Mth_clustering_part.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <utility>

#include "mth/clustering/Mth_clustering_run_internal.h"
#include "mth/core/Mth_new_array_internal.h"
#include "mth/core/Mth_work_array_internal.h"

// The two halves of an iteration of k-means and fuzzy c-means.

namespace mth_internal {

std::int64_t StepKMeans(const SampleView& samples, const CentroidView& centroids, std::int32_t* labels,
                        CentroidSums& sums) {
  sums.Reset();
  return MTH_SELECT(AssignToNearest)(samples, centroids, labels, sums.View());
}

double StepFuzzyCMeans(const SampleView& samples, const CentroidView& centroids, const FuzzyRule& rule,
                       double* scratch, double* memberships, CentroidSums& sums) {
  sums.Reset();
  return MTH_SELECT(UpdateMemberships)(samples, centroids, rule, scratch, memberships, sums.View());
}

// The samples of a part. Labels and memberships are there from the first step on that needs them.
struct PartBlocks {
  PartBlocks(int clusters, int dimensions) : clustersCount(clusters), sums(clusters, dimensions), view{} {}

  // Copies the samples; false without memory.
  bool Take(const double* values, int count, int dimensions) {
    if (!features.Allocate(count, dimensions)) return false;
    view = {features.Data(), count, dimensions};
    ForEachSampleBlock(count, [&](int block, int first, int blockCount) {
      double* const rows = features.Block(block);
      if (blockCount < kBlockSamples) std::fill_n(rows, std::ptrdiff_t{dimensions} * kBlockSamples, 0.0);
      const double* sample = values + std::ptrdiff_t{first} * dimensions;
      for (int b = 0; b < blockCount; ++b) {
        for (std::ptrdiff_t d = 0; d < dimensions; ++d) rows[d * kBlockSamples + b] = *sample++;
      }
    });
    return true;
  }
  bool HasLabels() {
    if (labels.Data() != nullptr) return true;
    if (!labels.Allocate(view.count, 1)) return false;
    Fill(labels, 1, kNoLabel);
    return true;
  }
  bool HasMemberships() {
    if (memberships.Data() != nullptr) return true;
    if (!memberships.Allocate(view.count, clustersCount)) return false;
    Fill(memberships, clustersCount, 0.0);
    return true;
  }
  double Membership(int sample, int cluster) const {
    if (isHard) return labels.Data()[sample] == cluster ? 1.0 : 0.0;
    return memberships.Block(sample /
                             kBlockSamples)[std::ptrdiff_t{cluster} * kBlockSamples + sample % kBlockSamples];
  }

  int clustersCount;
  CentroidSums sums;
  SampleView view;
  SampleBlocks<double> features;
  SampleBlocks<std::int32_t> labels;
  SampleBlocks<double> memberships;
  bool isHard = false;
  bool hasStepped = false;

 private:
  template <class Value>
  void Fill(const SampleBlocks<Value>& blocks, int rows, Value value) const {
    ForEachSampleBlock(view.count, [&](int block, int, int) {
      std::fill_n(blocks.Block(block), std::ptrdiff_t{rows} * kBlockSamples, value);
    });
  }
};

}  // namespace mth_internal

using namespace mth_internal;

MTH_CLUSTERING_PART::MTH_CLUSTERING_PART(int clustersCount, int dimensionsCount)
    : clustersCount_(clustersCount), dimensionsCount_(dimensionsCount) {}

MTH_CLUSTERING_PART::~MTH_CLUSTERING_PART() = default;

int MTH_CLUSTERING_PART::GetSamplesCount() const {
  return blocks_ ? blocks_->view.count : 0;
}

bool MTH_CLUSTERING_PART::SetSamples(const double* features, int count) {
  if (features == nullptr || count < 1 || clustersCount_ < 1 || dimensionsCount_ < 1) return false;
  // The sums twice, and later a membership of every sample.
  const std::int64_t bytesOfCluster =
      std::int64_t{sizeof(double)} *
      (2 * (std::int64_t{dimensionsCount_} + kSumLanes) + count + kBlockSamples);
  if (!HasMemoryForBlocks(clustersCount_, bytesOfCluster)) return false;
  try {
    auto blocks = std::make_unique<PartBlocks>(clustersCount_, dimensionsCount_);
    if (!blocks->Take(features, count, dimensionsCount_)) return false;
    blocks_ = std::move(blocks);
    return true;
  } catch (const std::exception&) {  // no memory
    return false;
  }
}

bool MTH_CLUSTERING_PART::StepKMeans(const double* centroids, double* sums, double* changes) {
  if (!blocks_ || centroids == nullptr || sums == nullptr || changes == nullptr) return false;
  if (!blocks_->HasLabels()) return false;
  *changes = static_cast<double>(mth_internal::StepKMeans(blocks_->view, {centroids, clustersCount_},
                                                          blocks_->labels.Data(), blocks_->sums));
  blocks_->isHard = blocks_->hasStepped = true;
  blocks_->sums.CopyTo(sums);
  return true;
}

bool MTH_CLUSTERING_PART::StepFuzzyCMeans(const double* centroids, double m, double* sums, double* change) {
  if (!blocks_ || centroids == nullptr || sums == nullptr || change == nullptr) return false;
  if (!(m > 1.0)) return false;
  const WorkArray<double> scratch(FuzzyScratch(clustersCount_));
  if (!scratch || !blocks_->HasMemberships()) return false;
  *change = mth_internal::StepFuzzyCMeans(blocks_->view, {centroids, clustersCount_}, FuzzyRule(m),
                                          scratch.Get(), blocks_->memberships.Data(), blocks_->sums);
  blocks_->isHard = false;
  blocks_->hasStepped = true;
  blocks_->sums.CopyTo(sums);
  return true;
}

bool MTH_CLUSTERING_PART::GetMemberships(double* memberships) const {
  if (!blocks_ || !blocks_->hasStepped || memberships == nullptr) return false;
  for (int i = 0; i < GetSamplesCount(); ++i) {
    for (int k = 0; k < clustersCount_; ++k) *memberships++ = blocks_->Membership(i, k);
  }
  return true;
}

bool MTH_CLUSTERING_PART::GetDecisions(int* clusters) const {
  if (!blocks_ || !blocks_->hasStepped || clusters == nullptr) return false;
  for (int i = 0; i < GetSamplesCount(); ++i) {
    int largest = 0;
    for (int k = 1; k < clustersCount_; ++k) {
      if (blocks_->Membership(i, k) >= blocks_->Membership(i, largest)) largest = k;
    }
    clusters[i] = largest;
  }
  return true;
}

bool Mth_MoveCentroids(const double* sums, int clustersCount, int dimensionsCount, double* centroids) {
  constexpr double kSmallestWeight = 0.000001;  // a cluster whose weights sum to no more goes to the origin
  if (sums == nullptr || centroids == nullptr || clustersCount < 1 || dimensionsCount < 1) return false;
  for (int k = 0; k < clustersCount; ++k) {
    const double weight = *sums++;
    for (int d = 0; d < dimensionsCount; ++d)
      *centroids++ = std::abs(weight) > kSmallestWeight ? sums[d] / weight : 0.0;
    sums += dimensionsCount;
  }
  return true;
}
