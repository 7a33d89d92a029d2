#include "mth/clustering/Mth_clustering.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <new>

#include "mth/clustering/Mth_clustering_internal.h"
#include "mth/clustering/Mth_sample_pool_internal.h"
#include "mth/core/Mth_message_internal.h"
#include "mth/core/Mth_new_array_internal.h"
#include "mth/matrix/Mth_matrix_internal.h"

// Samples, centroids, parameters and distances of the engine.

using mth_internal::kNoDistance;
using mth_internal::MatrixPtr;
using mth_internal::ShowInformation;

namespace {

int CountSubsets(int clustersCount) {
  const double count = std::ldexp(1.0, clustersCount);
  return static_cast<int>(std::min(count, static_cast<double>(std::numeric_limits<int>::max())));
}

// A list of column matrices, all zero; null, or too short, when memory runs out.
std::unique_ptr<MTH_POINTER_LIST<MTH_MATRIX>> NewCentroids(int clustersCount, int dimensionsCount) {
  std::unique_ptr<MTH_POINTER_LIST<MTH_MATRIX>> centroids(new (std::nothrow) MTH_POINTER_LIST<MTH_MATRIX>);
  constexpr std::int64_t kObjectBytes = sizeof(MTH_MATRIX) + 48;  // and its places in the list and allocator
  const std::int64_t bytes = std::max(dimensionsCount, 0) * std::int64_t{sizeof(double)} + kObjectBytes;
  if (!mth_internal::HasMemoryForBlocks(clustersCount, bytes)) return centroids;
  for (int k = 0; centroids && k < clustersCount; ++k) {
    MatrixPtr centroid(new (std::nothrow) MTH_MATRIX(dimensionsCount, 1, 0));
    if (!centroid || centroids->Add(centroid.get()) < 0) break;
    centroid.release()->SetZero();
  }
  return centroids;
}

template <class Value>
double EuclideanDistance(int count, Value difference) {
  double sum = 0.0;
  for (int d = 0; d < count; ++d) sum += difference(d) * difference(d);
  return std::sqrt(sum);
}

bool IsDoubleMatrix(const MTH_MATRIX& matrix, int rows, int columns) {
  return matrix.GetEDataAddress() != nullptr && matrix.GetNbRows() == rows && matrix.GetNbCols() == columns;
}

// The elements of an owning list.
template <class T>
void DeleteAll(MTH_POINTER_LIST<T>* list) {
  if (list == nullptr) return;
  for (T* item : *list) delete item;
  list->Clear();
}

}  // namespace

double mth_internal::QuadraticForm(const double* features, int count, const MTH_MATRIX& center,
                                   const MTH_MATRIX& m) {
  const bool fits = IsDoubleMatrix(center, count, 1) && IsDoubleMatrix(m, count, count);
  if (!fits) return 0.0;  // an operator refuses them, and element (0, 0) of what it returns reads as 0
  MTH_MATRIX sample(count, 1, 0);
  if (!sample.IsAllocated()) return kNoDistance;
  std::copy_n(features, count, sample.GetEDataAddress());
  const MatrixPtr difference(sample - center);
  const MatrixPtr transposed(difference ? difference->Transpose() : nullptr);
  const MatrixPtr weighted(transposed ? *transposed * m : nullptr);
  const MatrixPtr form(weighted ? *weighted * *difference : nullptr);
  return form && form->IsAllocated() ? form->Get(0, 0) : kNoDistance;
}

MTH_CLUSTERING::MTH_CLUSTERING(int clustersCount, int dimensionsCount)
    : clustersCount_(clustersCount),
      dimensionsCount_(dimensionsCount),
      hypothesesCount_(CountSubsets(clustersCount)),
      centroids_(NewCentroids(clustersCount, dimensionsCount)) {}

MTH_CLUSTERING::MTH_CLUSTERING(const MTH_CLUSTERING* source) {
  if (source == nullptr) return;
  clustersCount_ = source->clustersCount_;
  dimensionsCount_ = source->dimensionsCount_;
  hypothesesCount_ = CountSubsets(clustersCount_);
  CopySamples(*source);
  if (source->credalPartition_) CopyCredalPartition(*source);
}

MTH_CLUSTERING::MTH_CLUSTERING(const MTH_CLUSTERING& source) : MTH_CLUSTERING(&source) {}

MTH_CLUSTERING::~MTH_CLUSTERING() {
  if (samplePool_) samplePool_->DeleteAll(samples_);
  DeleteAll(&samples_);  // what a host left in an engine without a pool
  DeleteAll(centroids_.get());
  DeleteAll(&hypotheses_);
}

void MTH_CLUSTERING::CopySamples(const MTH_CLUSTERING& source) {
  for (const MTH_CLUSTERING_SAMPLE* sample : source.samples_) {
    if (sample != nullptr && !AppendCopy(*sample)) return;
  }
}

void MTH_CLUSTERING::CopyCredalPartition(const MTH_CLUSTERING& source) {
  const auto copyMatrix = [](const MatrixPtr& matrix) {
    return MatrixPtr(matrix ? new (std::nothrow) MTH_MATRIX(*matrix) : nullptr);
  };
  hypothesesCount_ = source.hypothesesCount_;
  credalPartition_ = copyMatrix(source.credalPartition_);
  hypothesesCenters_ = copyMatrix(source.hypothesesCenters_);
  if (source.cardinalities_) {
    cardinalities_.reset(new (std::nothrow) int[static_cast<std::size_t>(hypothesesCount_)]);
    if (cardinalities_) std::copy_n(source.cardinalities_.get(), hypothesesCount_, cardinalities_.get());
  }
  isEvidential_ = true;
  for (const std::vector<int>* hypothesis : source.hypotheses_) {
    try {  // a null entry stays one: the place of a hypothesis is its number
      auto copy = hypothesis != nullptr ? std::make_unique<std::vector<int>>(*hypothesis) : nullptr;
      if (hypotheses_.Add(copy.get()) < 0) return;
      copy.release();
    } catch (const std::bad_alloc&) {
      return;
    }
  }
}

bool MTH_CLUSTERING::AddSample(MTH_CLUSTERING_SAMPLE* sample) {
  if (sample == nullptr) return false;
  if (sample->GetMembershipsCount() != clustersCount_) {
    ShowInformation("MTH_CLUSTERING::AddSample : le nombre de Clusters est incompatible!");
    return false;
  }
  if (sample->GetParametersCount() != dimensionsCount_) {
    ShowInformation("MTH_CLUSTERING::AddSample : le nombre de dimensions est incompatible!");
    return false;
  }
  return AppendCopy(*sample);
}

bool MTH_CLUSTERING::AppendCopy(const MTH_CLUSTERING_SAMPLE& sample) {
  return Append(sample.Parameters(), sample.parametersCount_, sample.Memberships(), sample.membershipsCount_);
}

bool MTH_CLUSTERING::HasPool() {
  if (!samplePool_) samplePool_.reset(new (std::nothrow) mth_internal::SamplePool);
  return samplePool_ != nullptr;
}

bool MTH_CLUSTERING::Append(const double* parameters, int parametersCount, const double* memberships,
                            int membershipsCount) {
  if (!HasPool()) return false;
  std::unique_ptr<MTH_CLUSTERING_SAMPLE> sample(
      samplePool_->New(parameters, parametersCount, memberships, membershipsCount));
  const bool isAdded = sample && sample->parametersCount_ == parametersCount &&
                       sample->membershipsCount_ == membershipsCount && samples_.Add(sample.get()) >= 0;
  if (isAdded) sample.release();
  return isAdded;
}

MTH_CLUSTERING_SAMPLE* MTH_CLUSTERING::GetSample(int index) const {
  return samples_.Get(index);
}

MTH_MATRIX* MTH_CLUSTERING::GetCentroid(int k) const {
  if (!IsCluster(k)) {
    ShowInformation("MTH_CLUSTERING::GetSampleDistanceToCentroid : Indice du cluste hors limite!");
    return nullptr;
  }
  return centroids_ ? centroids_->Get(k) : nullptr;
}

void MTH_CLUSTERING::InitialiseCentroid(int k, const double* values, int count) {
  areCentroidsInitialised_ = true;
  MTH_MATRIX* centroid = IsCluster(k) && centroids_ ? centroids_->Get(k) : nullptr;
  if (centroid == nullptr || values == nullptr) return;
  for (int d = 0; d < std::min(count, dimensionsCount_); ++d) centroid->Set(d, 0, values[d]);
}

void MTH_CLUSTERING::SetRegulationValue(double m) {
  if (m > 1.0) regulationValue_ = m;
}

void MTH_CLUSTERING::SetParams(double alpha, double beta, double rho) {
  regulationValue_ = beta > 1.0 ? beta : 2.0;
  alpha_ = alpha >= 0.0 ? alpha : 2.0;
  rho_ = rho > 0.0 ? rho : 2.0;
}

bool MTH_CLUSTERING::CheckSampleAndCluster(int i, int k) const {
  if (!IsSample(i)) {
    ShowInformation("MTH_CLUSTERING::GetSampleDistanceToCentroid : Indice de l'échantillon hors limite!");
    return false;
  }
  if (!IsCluster(k)) {
    ShowInformation("MTH_CLUSTERING::GetSampleDistanceToCentroid : Indice du cluste hors limite!");
    return false;
  }
  return samples_.Get(i) != nullptr && HasCentroids() && centroids_->Get(k) != nullptr;
}

double MTH_CLUSTERING::GetSampleDistanceToCentroid(int i, int k) const {
  if (!CheckSampleAndCluster(i, k)) return kNoDistance;
  const MTH_CLUSTERING_SAMPLE& sample = *samples_.Get(i);
  const MTH_MATRIX& centroid = *centroids_->Get(k);
  return EuclideanDistance(dimensionsCount_,
                           [&](int d) { return sample.GetParameter(d) - centroid.Get(d, 0); });
}

double MTH_CLUSTERING::GetSampleMahalanobisDistanceToCentroid(int i, int k, MTH_MATRIX* m) const {
  if (!CheckSampleAndCluster(i, k) || m == nullptr) return kNoDistance;
  return mth_internal::QuadraticForm(samples_.Get(i)->Parameters(), samples_.Get(i)->parametersCount_,
                                     *centroids_->Get(k), *m);
}

double MTH_CLUSTERING::GetSampleDistanceToSample(int i, int j) const {
  if (!IsSample(i) || !IsSample(j)) {
    ShowInformation("MTH_CLUSTERING::GetSampleDistanceToCentroid : Indice de l'échantillon hors limite!");
    return kNoDistance;
  }
  const MTH_CLUSTERING_SAMPLE* first = samples_.Get(i);
  const MTH_CLUSTERING_SAMPLE* second = samples_.Get(j);
  if (first == nullptr || second == nullptr) return kNoDistance;
  return EuclideanDistance(dimensionsCount_,
                           [&](int d) { return first->GetParameter(d) - second->GetParameter(d); });
}

int MTH_CLUSTERING::MaxMembershipDecision(int i) const {
  return LargestMembership(samples_.Get(i));
}
