#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <new>

#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_clustering_kernels_internal.h"
#include "mth/clustering/Mth_clustering_partition_internal.h"

// What k-means and fuzzy c-means share: the gathered numbers of a run, centroid updates and progress.

namespace mth_internal {
namespace {

constexpr double kSmallestWeight = 0.000001;  // a cluster whose weights sum to no more sits at the origin
constexpr int kLargestWholeExponent = 16;

bool AllocateZero(MTH_MATRIX& matrix, std::int64_t rows, int columns) {
  if (rows > std::numeric_limits<int>::max()) return false;
  matrix.Allocate(static_cast<int>(rows), columns, 0);
  matrix.SetZero();
  return matrix.IsAllocated();
}

void StepWithText(TSTD_WAIT_BAR& window, const char* text, const char* number, std::size_t length) {
  try {
    window.StepAction(std::string(text).append(number, length));
  } catch (const std::bad_alloc&) {
    // Progress is not worth a failure of the run.
  }
}

}  // namespace

PowerRule::PowerRule(double value) : exponent(value), factors(0) {
  const bool isWhole = value == std::floor(value) && value >= 1.0 && value <= kLargestWholeExponent;
  if (isWhole) factors = static_cast<int>(value);
}

bool ClusterPartition::Allocate(int samplesCount, int clustersCount, int dimensionsCount) {
  samples_ = samplesCount;
  clusters_ = clustersCount;
  dimensions_ = dimensionsCount;
  blocks_ = (samplesCount - 1) / kBlockSamples + 1;
  return AllocateZero(features_, std::int64_t{blocks_} * dimensions_, kBlockSamples) &&
         AllocateZero(memberships_, std::int64_t{blocks_} * clusters_, kBlockSamples) &&
         AllocateZero(centroids_, clusters_, dimensions_) && AllocateZero(weightSums_, clusters_, 1) &&
         AllocateZero(featureSums_, clusters_, dimensions_);
}

int ClusterPartition::SamplesIn(int block) const {
  return std::min(kBlockSamples, samples_ - block * kBlockSamples);
}

void ClusterPartition::ResetSums() {
  weightSums_.SetZero();
  featureSums_.SetZero();
}

void ClusterPartition::AddToSums(int block, const double* weights) {
  MTH_SELECT(AddWeightedSamples)
  (weights, Features(block), clusters_, dimensions_, SamplesIn(block), weightSums_.GetEDataAddress(),
   featureSums_.GetEDataAddress());
}

void ClusterPartition::UpdateCentroids() {
  const double* weightSums = weightSums_.GetEDataAddress();
  const double* featureSums = featureSums_.GetEDataAddress();
  double* centroid = Centroids();
  for (int k = 0; k < clusters_; ++k) {
    const bool hasWeight = std::abs(weightSums[k]) > kSmallestWeight;
    for (int d = 0; d < dimensions_; ++d) {
      *centroid++ = hasWeight ? *featureSums / weightSums[k] : 0.0;
      ++featureSums;
    }
  }
}

void OpenProgress(TSTD_WAIT_BAR& window, const char* title, int iterationsCount) {
  try {
    window.SetTitle(title);
  } catch (const std::bad_alloc&) {
  }
  window.SetStepsCount(iterationsCount);
  window.Show();
}

void StepProgress(TSTD_WAIT_BAR& window, const char* text, std::int64_t number) {
  std::array<char, 24> digits;
  const char* end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  StepWithText(window, text, digits.data(), static_cast<std::size_t>(end - digits.data()));
}

void StepProgress(TSTD_WAIT_BAR& window, const char* text, double number) {
  constexpr int kDecimals = 6;
  std::array<char, 352> digits;  // the largest double has 309 digits before the point
  const char* end =
      std::to_chars(digits.data(), digits.data() + digits.size(), number, std::chars_format::fixed, kDecimals)
          .ptr;
  StepWithText(window, text, digits.data(), static_cast<std::size_t>(end - digits.data()));
}

}  // namespace mth_internal

// Copies samples and centroids into the blocks of a run. False when there is nothing to run on.
bool MTH_CLUSTERING::Gather(mth_internal::ClusterPartition& partition) const {
  using mth_internal::kBlockSamples;
  const int samplesCount = GetSamplesCount();
  if (samplesCount == 0 || clustersCount_ <= 0 || dimensionsCount_ <= 0 || !HasCentroids()) return false;
  if (!partition.Allocate(samplesCount, clustersCount_, dimensionsCount_)) return false;
  for (int k = 0; k < clustersCount_; ++k) {
    const double* centroid = centroids_->Get(k)->GetEDataAddress();
    std::copy_n(centroid, dimensionsCount_, partition.Centroids() + std::int64_t{k} * dimensionsCount_);
  }
  auto sample = samples_.begin();
  for (int block = 0; block < partition.BlocksCount(); ++block) {
    double* features = partition.Features(block);
    double* memberships = partition.Memberships(block);
    for (int b = 0; b < partition.SamplesIn(block); ++b, ++sample) {
      const double* parameters = (*sample)->parameters_.GetEDataAddress();
      const double* membership = (*sample)->memberships_.GetEDataAddress();
      for (int d = 0; d < dimensionsCount_; ++d) features[d * kBlockSamples + b] = parameters[d];
      for (int k = 0; k < clustersCount_; ++k) memberships[k * kBlockSamples + b] = membership[k];
    }
  }
  return true;
}

void MTH_CLUSTERING::ScatterMemberships(const mth_internal::ClusterPartition& partition) {
  using mth_internal::kBlockSamples;
  auto sample = samples_.begin();
  for (int block = 0; block < partition.BlocksCount(); ++block) {
    const double* memberships = partition.Memberships(block);
    for (int b = 0; b < partition.SamplesIn(block); ++b, ++sample) {
      double* membership = (*sample)->memberships_.GetEDataAddress();
      for (int k = 0; k < clustersCount_; ++k) membership[k] = memberships[k * kBlockSamples + b];
    }
  }
}

void MTH_CLUSTERING::ScatterCentroids(const mth_internal::ClusterPartition& partition) {
  for (int k = 0; k < clustersCount_; ++k) {
    const double* row = partition.Centroids() + std::int64_t{k} * dimensionsCount_;
    std::copy_n(row, dimensionsCount_, centroids_->Get(k)->GetEDataAddress());
  }
}
