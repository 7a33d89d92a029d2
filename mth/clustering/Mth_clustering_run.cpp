#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <exception>
#include <new>
#include <string>
#include <string_view>

#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_clustering_internal.h"
#include "mth/clustering/Mth_clustering_part.h"
#include "mth/clustering/Mth_clustering_run_internal.h"
#include "mth/core/Mth_text_file_internal.h"

// What the runs of all three algorithms share: samples in blocks, centroids and progress; and the centroid
// update of k-means and fuzzy c-means.

namespace mth_internal {
namespace {

bool HasDoubles(const MTH_MATRIX* column, int count) {
  return column != nullptr && column->GetEDataAddress() != nullptr && column->GetNbRows() >= count;
}

}  // namespace

CentroidSums::CentroidSums(int clustersCount, int dimensionsCount)
    : clusters_(clustersCount), dimensions_(dimensionsCount) {
  const auto lanes = static_cast<std::size_t>((clustersCount - 1) / kSumLanes + 1) * kSumLanes;
  weights_.resize(lanes);
  features_.resize(lanes * static_cast<std::size_t>(dimensions_));
  rows_.resize(static_cast<std::size_t>(clustersCount) * (static_cast<std::size_t>(dimensions_) + 1));
}

void CentroidSums::Reset() {
  std::fill(weights_.begin(), weights_.end(), 0.0);
  std::fill(features_.begin(), features_.end(), 0.0);
}

void CentroidSums::CopyTo(double* rows) const {
  for (int k = 0; k < clusters_; ++k) {
    *rows++ = weights_[static_cast<std::size_t>(k)];
    for (int d = 0; d < dimensions_; ++d) {
      const std::int64_t row = std::int64_t{k / kSumLanes} * dimensions_ + d;
      *rows++ = features_[static_cast<std::size_t>(row * kSumLanes + k % kSumLanes)];
    }
  }
}

void CentroidSums::MoveCentroids(std::vector<double>& centroids) {
  CopyTo(rows_.data());
  Mth_MoveCentroids(rows_.data(), clusters_, dimensions_, centroids.data());
}

bool CentroidSums::AreFinite() const {
  return mth_internal::AreFinite(weights_) && mth_internal::AreFinite(features_);
}

bool AreFinite(const std::vector<double>& values) {
  return std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); });
}

RunProgress::RunProgress(const char* title, int iterationsCount) {
  try {
    window_.SetTitle(title);
  } catch (const std::bad_alloc&) {
  }
  window_.SetStepsCount(iterationsCount);
  window_.Show();
}

void RunProgress::Step(const char* text, std::int64_t number) {
  std::array<char, 24> digits;
  const char* end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  StepWithText(text, {digits.data(), static_cast<std::size_t>(end - digits.data())});
}

void RunProgress::Step(const char* text, double number) {
  constexpr int kDecimals = 6;
  StepWithText(text, FixedNumber(number, kDecimals).View());
}

void RunProgress::StepWithText(const char* text, std::string_view number) {
  try {
    window_.StepAction(std::string(text).append(number));
  } catch (const std::bad_alloc&) {
    window_.StepAction(window_.GetAction());  // the bar moves on under its former text
  }
}

}  // namespace mth_internal

using namespace mth_internal;

bool MTH_CLUSTERING::CanRun() const {
  const bool hasSizes = GetSamplesCount() > 0 && clustersCount_ > 0 && dimensionsCount_ > 0;
  return hasSizes && HasCentroids() &&
         std::all_of(centroids_->begin(), centroids_->end(),
                     [&](MTH_MATRIX* centroid) { return HasDoubles(centroid, dimensionsCount_); });
}

bool MTH_CLUSTERING::GatherBlock(int first, int count, double* features, double* memberships) const {
  if (count < kBlockSamples) {  // the kernels run over whole blocks
    std::fill_n(features, std::ptrdiff_t{dimensionsCount_} * kBlockSamples, 0.0);
    std::fill_n(memberships, std::ptrdiff_t{clustersCount_} * kBlockSamples, 0.0);
  }
  const auto samples = samples_.begin() + first;
  for (int b = 0; b < count; ++b) {
    if (GetSamplesCount() - first - b > kPrefetchAhead) PrefetchObject(samples[b + kPrefetchAhead]);
    const MTH_CLUSTERING_SAMPLE* sample = samples[b];
    const bool fits = sample != nullptr && sample->parametersCount_ >= dimensionsCount_ &&
                      sample->membershipsCount_ >= clustersCount_;
    if (!fits) return false;
    const double* parameters = sample->Parameters();
    for (std::ptrdiff_t d = 0; d < dimensionsCount_; ++d) features[d * kBlockSamples + b] = parameters[d];
    const double* membership = sample->Memberships();
    for (std::ptrdiff_t k = 0; k < clustersCount_; ++k) memberships[k * kBlockSamples + b] = membership[k];
  }
  return true;
}

double MTH_CLUSTERING::RunGuarded(double (MTH_CLUSTERING::*run)()) {
  stopReason_ = MTH_STOP_REASON::BadInput;
  if (!CanRun()) return kNoDistance;
  try {
    return (this->*run)();
  } catch (const std::exception&) {  // no memory
    stopReason_ = MTH_STOP_REASON::NoMemory;
    return kNoDistance;
  }
}

double MTH_CLUSTERING::FailRun(MTH_STOP_REASON reason) {
  stopReason_ = reason;
  return kNoDistance;
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
