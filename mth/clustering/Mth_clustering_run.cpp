#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <new>
#include <string>

#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_clustering_run_internal.h"

// What k-means and fuzzy c-means share: samples in blocks, centroid updates and progress.

namespace mth_internal {
namespace {

constexpr double kSmallestWeight = 0.000001;  // a cluster whose weights sum to no more goes to the origin
constexpr int kLargestWholeExponent = 16;

void StepWithText(TSTD_WAIT_BAR& window, const char* text, const char* number, const char* end) {
  try {
    window.StepAction(std::string(text).append(number, end));
  } catch (const std::bad_alloc&) {
    // Progress is not worth a failure of the run.
  }
}

}  // namespace

PowerRule::PowerRule(double value) : exponent(value), factors(0) {
  const bool isWhole = value == std::floor(value) && value >= 1.0 && value <= kLargestWholeExponent;
  if (isWhole) factors = static_cast<int>(value);
}

CentroidSums::CentroidSums(int clustersCount, int dimensionsCount)
    : clusters_(clustersCount),
      dimensions_(dimensionsCount),
      groups_((clustersCount - 1) / kWeightLanes + 1) {
  const auto lanes = static_cast<std::size_t>(groups_) * kWeightLanes;
  weightSums_.resize(lanes);
  featureSums_.resize(lanes * static_cast<std::size_t>(dimensions_));
  weights_.resize(lanes * kBlockSamples);
  labelWeights_.resize(lanes * static_cast<std::size_t>(clusters_));
  for (int k = 0; k < clusters_; ++k) {
    const std::int64_t row = std::int64_t{k / kWeightLanes} * clusters_ + k;
    labelWeights_[static_cast<std::size_t>(row * kWeightLanes + k % kWeightLanes)] = 1.0;
  }
}

void CentroidSums::Reset() {
  std::fill(weightSums_.begin(), weightSums_.end(), 0.0);
  std::fill(featureSums_.begin(), featureSums_.end(), 0.0);
}

void CentroidSums::AddMembers(const double* memberships, const PowerRule& rule, const double* features,
                              int count) {
  MTH_SELECT(WeightMemberships)(memberships, clusters_, count, rule, weights_.data());
  for (int group = 0; group < groups_; ++group) {
    const double* weights = weights_.data() + std::int64_t{group} * kBlockSamples * kWeightLanes;
    MTH_SELECT(AddWeightedSamples)
    (weights, features, dimensions_, count, WeightSums(group), FeatureSums(group));
  }
}

void CentroidSums::AddLabelled(const std::int32_t* labels, const double* features, int count) {
  for (int group = 0; group < groups_; ++group) {
    const double* weightOfLabel = labelWeights_.data() + std::int64_t{group} * clusters_ * kWeightLanes;
    MTH_SELECT(AddLabelledSamples)
    (weightOfLabel, labels, features, dimensions_, count, WeightSums(group), FeatureSums(group));
  }
}

void CentroidSums::MoveCentroids(std::vector<double>& centroids) const {
  auto coordinate = centroids.begin();
  for (int k = 0; k < clusters_; ++k) {
    const double weight = weightSums_[static_cast<std::size_t>(k)];
    for (int d = 0; d < dimensions_; ++d) {
      const std::int64_t row = std::int64_t{k / kWeightLanes} * dimensions_ + d;
      const double sum = featureSums_[static_cast<std::size_t>(row * kWeightLanes + k % kWeightLanes)];
      *coordinate++ = std::abs(weight) > kSmallestWeight ? sum / weight : 0.0;
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
  StepWithText(window, text, digits.data(), end);
}

void StepProgress(TSTD_WAIT_BAR& window, const char* text, double number) {
  constexpr int kDecimals = 6;
  std::array<char, 352> digits;  // the largest double has 309 digits before the point
  char* last = digits.data() + digits.size();
  const char* end = std::to_chars(digits.data(), last, number, std::chars_format::fixed, kDecimals).ptr;
  StepWithText(window, text, digits.data(), end);
}

}  // namespace mth_internal

bool MTH_CLUSTERING::CanRun() const {
  return GetSamplesCount() > 0 && clustersCount_ > 0 && dimensionsCount_ > 0 && HasCentroids();
}

void MTH_CLUSTERING::GatherBlock(int block, double* features, double* memberships) const {
  using namespace mth_internal;
  const int count = SamplesInBlock(GetSamplesCount(), block);
  const auto first = samples_.begin() + std::int64_t{block} * kBlockSamples;
  for (int d = 0; d < dimensionsCount_; ++d) {
    std::fill(features + d * kBlockSamples + count, features + (d + 1) * kBlockSamples, 0.0);
  }
  for (int b = 0; b < count; ++b) {
    PrefetchSample(first, b, count);
    const MTH_CLUSTERING_SAMPLE& sample = *first[b];
    const double* parameters = sample.parameters_.GetEDataAddress();
    for (int d = 0; d < dimensionsCount_; ++d) features[d * kBlockSamples + b] = parameters[d];
    const double* membership = sample.memberships_.GetEDataAddress();
    for (int k = 0; k < clustersCount_; ++k) memberships[k * kBlockSamples + b] = membership[k];
  }
}

std::vector<double> MTH_CLUSTERING::GatherCentroids() const {
  std::vector<double> centroids;
  centroids.reserve(static_cast<std::size_t>(clustersCount_) * static_cast<std::size_t>(dimensionsCount_));
  for (const MTH_MATRIX* centroid : *centroids_) {
    const double* coordinates = centroid->GetEDataAddress();
    centroids.insert(centroids.end(), coordinates, coordinates + dimensionsCount_);
  }
  return centroids;
}

void MTH_CLUSTERING::ScatterCentroids(const std::vector<double>& centroids) {
  const double* coordinates = centroids.data();
  for (MTH_MATRIX* centroid : *centroids_) {
    std::copy_n(coordinates, dimensionsCount_, centroid->GetEDataAddress());
    coordinates += dimensionsCount_;
  }
}
