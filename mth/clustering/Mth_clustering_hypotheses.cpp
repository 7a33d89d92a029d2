#include <algorithm>
#include <cmath>
#include <memory>
#include <new>

#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_clustering_internal.h"
#include "mth/clustering/Mth_hypothesis_table_internal.h"
#include "mth/clustering/Mth_subsets.h"
#include "mth/core/Mth_message_internal.h"
#include "mth/matrix/Mth_matrix_internal.h"

// The subsets of the clusters: their numbers, sizes, centres and intersections.

using mth_internal::kNoDistance;
using mth_internal::ShowInformation;

namespace {

using Hypotheses = MTH_POINTER_LIST<std::vector<int>>;

// A list that owns what it holds.
class OwnedHypotheses {
 public:
  OwnedHypotheses() = default;
  OwnedHypotheses(const OwnedHypotheses&) = delete;
  OwnedHypotheses& operator=(const OwnedHypotheses&) = delete;
  ~OwnedHypotheses() {
    for (std::vector<int>* hypothesis : list_) delete hypothesis;
  }
  bool AddEmpty(int count) {
    for (int j = 0; j < count; ++j) {
      std::unique_ptr<std::vector<int>> hypothesis(new (std::nothrow) std::vector<int>);
      if (!hypothesis || list_.Add(hypothesis.get()) < 0) return false;
      hypothesis.release();
    }
    return true;
  }
  Hypotheses* List() { return &list_; }
  void SwapWith(Hypotheses& other) { std::swap(list_, other); }

 private:
  Hypotheses list_;
};

bool Has(const std::vector<int>* hypothesis, int number) {
  return hypothesis != nullptr &&
         std::find(hypothesis->begin(), hypothesis->end(), number) != hypothesis->end();
}

// Calls visit(number) for the numbers of one hypothesis that another one has, too.
template <class Visit>
void ForEachShared(const std::vector<int>* first, const std::vector<int>* second, Visit visit) {
  if (first == nullptr) return;
  for (const int number : *first) {
    if (Has(second, number)) visit(number);
  }
}

bool FillWithSubsets(int clustersCount, Hypotheses* hypotheses) {
  MTH_MATRIX elements(1, clustersCount, 0);
  for (int k = 0; k < clustersCount; ++k) elements.Set(0, k, static_cast<double>(k + 1));
  if (!Mth_GenerateSubsets(&elements, hypotheses)) return false;
  try {
    hypotheses->Get(0)->assign(1, 0);  // the empty set is stored as {0}
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

}  // namespace

bool MTH_CLUSTERING::CreateHypotheses() {
  if (clustersCount_ > mth_internal::kMostEvidentialClusters) return false;
  OwnedHypotheses created;
  std::unique_ptr<int[]> sizes(new (std::nothrow) int[static_cast<std::size_t>(hypothesesCount_)]);
  mth_internal::MatrixPtr centers = mth_internal::NewMatrix(hypothesesCount_, dimensionsCount_, 0);
  const bool isCreated = sizes && centers && created.AddEmpty(hypothesesCount_) &&
                         FillWithSubsets(clustersCount_, created.List());
  if (!isCreated) return false;
  std::transform(created.List()->begin(), created.List()->end(), sizes.get(),
                 [](const std::vector<int>* hypothesis) { return static_cast<int>(hypothesis->size()); });
  sizes[0] = 0;
  created.SwapWith(hypotheses_);  // which frees the former ones
  cardinalities_ = std::move(sizes);
  hypothesesCenters_ = std::move(centers);
  CalculCentresHypotheses();
  return true;
}

void MTH_CLUSTERING::CalculCentresHypotheses() {
  if (!hypothesesCenters_ || !HasCentroids()) return;
  hypothesesCenters_->SetZero();
  for (int j = 1; j < hypotheses_.GetCount(); ++j) {
    const std::vector<int>* hypothesis = hypotheses_.Get(j);
    if (hypothesis == nullptr) continue;
    for (int d = 0; d < dimensionsCount_; ++d) {
      double sum = 0.0;
      for (const int number : *hypothesis) {
        const MTH_MATRIX* centroid = centroids_->Get(number - 1);
        if (centroid != nullptr) sum += centroid->Get(d, 0);
      }
      hypothesesCenters_->Set(j, d, sum / static_cast<double>(hypothesis->size()));
    }
  }
}

bool MTH_CLUSTERING::AddEvidentialSample(MTH_CLUSTERING_SAMPLE* sample) {
  if (sample == nullptr) return false;
  if (sample->GetMembershipsCount() != hypothesesCount_) {
    ShowInformation(
        "MTH_CLUSTERING::AddEvidentialSample : la masse mi() associée à l'echantillon est incompatible!");
    return false;
  }
  if (sample->GetParametersCount() != dimensionsCount_) {
    ShowInformation("MTH_CLUSTERING::AddSample : le nombre de dimensions est incompatible!");
    return false;
  }
  return AppendCopy(*sample);
}

bool MTH_CLUSTERING::CheckSampleAndHypothesis(int i, int j) const {
  if (!IsSample(i)) {
    ShowInformation("MTH_CLUSTERING::GetSampleDistanceToHypothese : Indice de l'échantillon hors limite!");
    return false;
  }
  if (j < 0 || j >= hypothesesCount_) {
    ShowInformation("MTH_CLUSTERING::GetSampleDistanceToHypothese : Indice de l'hypothese hors limite!");
    return false;
  }
  return samples_.Get(i) != nullptr && hypothesesCenters_ != nullptr;
}

double MTH_CLUSTERING::GetSampleDistanceToHypothese(int i, int j) const {
  if (!CheckSampleAndHypothesis(i, j)) return kNoDistance;
  const MTH_CLUSTERING_SAMPLE& sample = *samples_.Get(i);
  double sum = 0.0;
  for (int d = 0; d < dimensionsCount_; ++d) {
    const double difference = sample.GetParameter(d) - hypothesesCenters_->Get(j, d);
    sum += difference * difference;
  }
  return std::sqrt(sum);
}

double MTH_CLUSTERING::GetSampleMahalanobisDistanceToHypothese(int i, int j, MTH_MATRIX* m) const {
  if (!CheckSampleAndHypothesis(i, j) || m == nullptr) return kNoDistance;
  MTH_MATRIX center(dimensionsCount_, 1, 0);
  if (!center.IsAllocated()) return kNoDistance;
  for (int d = 0; d < dimensionsCount_; ++d) center.Set(d, 0, hypothesesCenters_->Get(j, d));
  const MTH_CLUSTERING_SAMPLE& sample = *samples_.Get(i);
  return mth_internal::QuadraticForm(sample.Parameters(), sample.parametersCount_, center, *m);
}

bool MTH_CLUSTERING::BelongsToHypothese(int j, int k) const {
  return IsCluster(k) && Has(hypotheses_.Get(j), k + 1);
}

bool MTH_CLUSTERING::BelongsToHypothese(int j, int k, int l) const {
  return BelongsToHypothese(j, k) && BelongsToHypothese(j, l);
}

int MTH_CLUSTERING::HypotheseIntersection(int j, int k) const {
  int count = 0;
  ForEachShared(hypotheses_.Get(j), hypotheses_.Get(k), [&](int) { ++count; });
  return count;
}

int MTH_CLUSTERING::HypotheseIntersection(int j, int k, std::vector<int>* shared) const {
  if (shared == nullptr) return 0;
  try {
    shared->reserve(shared->size() + static_cast<std::size_t>(HypotheseIntersection(j, k)));
  } catch (const std::exception&) {  // no memory
    return static_cast<int>(shared->size());
  }
  ForEachShared(hypotheses_.Get(j), hypotheses_.Get(k), [&](int number) { shared->push_back(number); });
  return static_cast<int>(shared->size());
}

int MTH_CLUSTERING::findHypothese(std::vector<int>* numbers) const {
  if (numbers == nullptr) return -1;
  bool isMatch = true;  // never set again, by intention: the first mismatch of a size ends all hope
  for (int j = 0; j < hypotheses_.GetCount(); ++j) {
    const std::vector<int>* hypothesis = hypotheses_.Get(j);
    if (hypothesis == nullptr || hypothesis->size() != numbers->size()) continue;
    isMatch = isMatch && *hypothesis == *numbers;
    if (isMatch) return j;
  }
  return -1;
}

int MTH_CLUSTERING::FindHypothesisIndex(std::vector<int>* numbers) const {
  if (numbers == nullptr) return -1;
  for (int j = 0; j < hypotheses_.GetCount(); ++j) {
    const std::vector<int>* hypothesis = hypotheses_.Get(j);
    if (hypothesis != nullptr && *hypothesis == *numbers) return j;
  }
  return -1;
}
