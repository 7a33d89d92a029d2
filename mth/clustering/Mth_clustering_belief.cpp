#include <algorithm>
#include <cstdint>
#include <exception>
#include <memory>
#include <utility>

#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_credal_matrix_internal.h"
#include "mth/clustering/Mth_evidential_kernel_internal.h"
#include "mth/clustering/Mth_hypothesis_table_internal.h"
#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_work_array_internal.h"

// What is read from a credal partition: beliefs, decisions, probabilities, plausibilities; and discounting.

using mth_internal::HypothesisTable;
using mth_internal::MatrixPtr;
using mth_internal::NewCredalMatrix;
using mth_internal::RowOf;

namespace {

int LastLargest(const MTH_MATRIX& matrix, int row) {
  int best = 0;
  for (int j = 1; j < matrix.GetNbCols(); ++j) {
    if (matrix.Get(row, j) >= matrix.Get(row, best)) best = j;
  }
  return best;
}

bool HasRow(const MatrixPtr& matrix, int row) {
  return matrix != nullptr && row >= 0 && row < matrix->GetNbRows();
}

bool IsReliability(double value) {
  return value > 0.0 && value < 1.0;
}

void WeakenRow(MTH_MATRIX& masses, int row, double reliability) {
  const int all = masses.GetNbCols() - 1;
  for (int j = 0; j < all; ++j) masses.Set(row, j, reliability * masses.Get(row, j));
  masses.Set(row, all, 1.0 - reliability + reliability * masses.Get(row, all));
}

// The masses of a sample, shared out among its clusters.
void SharePignistically(const HypothesisTable& table, const double* masses, int clustersCount,
                        double* probabilities) {
  const double scale = 1.0 / (1.0 - masses[0]);
  for (int k = 0; k < clustersCount; ++k) {
    double sum = 0.0;
    for (int j = 1; j < table.Count(); ++j) {
      if (table.Has(j, k)) sum += masses[j] / table.SizeOf(j);
    }
    probabilities[k] = scale * sum;
  }
}

// Both are null when there is no memory and when the host gives up, and may throw std::bad_alloc.

MatrixPtr PignisticPartition(const MTH_MATRIX& credal, int clustersCount) {
  const HypothesisTable table(clustersCount);
  MatrixPtr partition = NewCredalMatrix(credal.GetNbRows(), clustersCount);
  mth_internal::LongIteration run;
  const double workOfRow = static_cast<double>(table.Count()) * clustersCount;
  for (int i = 0; partition && i < credal.GetNbRows(); ++i) {
    if (run.IsGivenUp(workOfRow)) return nullptr;
    SharePignistically(table, RowOf(credal, i), clustersCount, RowOf(*partition, i));
  }
  return partition;
}

MatrixPtr PlausibilityPartition(const MTH_MATRIX& credal, int clustersCount) {
  const HypothesisTable table(clustersCount);
  MatrixPtr partition = NewCredalMatrix(credal.GetNbRows(), table.Count());
  const mth_internal::WorkArray<double> scratch(mth_internal::CountFusionScratch(table.Count()));
  if (!partition || !scratch) return nullptr;
  const auto sum = MTH_SELECT(evidential::SumPlausibilities);
  constexpr std::int64_t kRowsAtOnce = mth_internal::kFusionSamples;
  const std::int64_t rows = credal.GetNbRows();
  mth_internal::LongIteration run;
  const double work = static_cast<double>(table.Count()) * clustersCount * kRowsAtOnce;
  for (std::int64_t first = 0; first < rows; first += kRowsAtOnce) {
    if (run.IsGivenUp(work)) return nullptr;
    const auto row = static_cast<int>(first);
    sum(RowOf(credal, row), std::min(kRowsAtOnce, rows - first),
        {table.Count(), table.Sets(), nullptr, false}, scratch.Get(), RowOf(*partition, row));
  }
  return partition;
}

}  // namespace

bool MTH_CLUSTERING::IsPartition(const MTH_MATRIX* matrix, int rows) const {
  constexpr int kMostClusters = 30;  // more have no number of hypotheses
  return matrix != nullptr && clustersCount_ >= 0 && clustersCount_ <= kMostClusters &&
         matrix->IsAllocated() && matrix->GetNbRows() == rows && matrix->GetNbCols() == hypothesesCount_;
}

bool MTH_CLUSTERING::HasCredalPartition() const {
  return credalPartition_ != nullptr && IsPartition(credalPartition_.get(), credalPartition_->GetNbRows()) &&
         credalPartition_->GetEDataAddress() != nullptr;
}

double MTH_CLUSTERING::GetBeliefValue(int i, int j) const {
  return HasCredalPartition() ? credalPartition_->Get(i, j) : 0.0;
}

int MTH_CLUSTERING::MaxBeliefDecision(int i) const {
  return HasRow(credalPartition_, i) ? LastLargest(*credalPartition_, i) : -1;
}

void MTH_CLUSTERING::SetCredalPartition(MTH_MATRIX* m) {
  if (!IsPartition(m, GetSamplesCount())) return;
  MatrixPtr copy = NewCredalMatrix(m->GetNbRows(), m->GetNbCols());
  if (!copy) return;
  for (int i = 0; i < m->GetNbRows(); ++i) {
    for (int j = 0; j < m->GetNbCols(); ++j) copy->Set(i, j, m->Get(i, j));
  }
  credalPartition_ = std::move(copy);
}

bool MTH_CLUSTERING::initPignisticPartition() {
  return InitPartition(pignisticPartition_,
                       [this] { return PignisticPartition(*credalPartition_, clustersCount_); });
}

bool MTH_CLUSTERING::initPlausibilityPartition() {
  return InitPartition(plausibilityPartition_,
                       [this] { return PlausibilityPartition(*credalPartition_, clustersCount_); });
}

template <class Make>
bool MTH_CLUSTERING::InitPartition(std::unique_ptr<MTH_MATRIX>& partition, Make make) {
  if (!HasCredalPartition()) return false;
  try {
    MatrixPtr made = make();
    if (!made) return false;
    partition = std::move(made);
    return true;
  } catch (const std::exception&) {  // no memory
    return false;
  }
}

int MTH_CLUSTERING::MaxPignisticDecision(int i) const {
  return HasRow(pignisticPartition_, i) ? LastLargest(*pignisticPartition_, i) : -1;
}

int MTH_CLUSTERING::PignisticDecision(int i, double threshold) const {
  if (!HasRow(pignisticPartition_, i)) return -1;
  int chosen = 0;  // also when none reaches the threshold
  for (int k = 0; k < clustersCount_; ++k) {
    if (pignisticPartition_->Get(i, k) >= threshold) chosen = k;
  }
  return chosen;
}

bool MTH_CLUSTERING::WeakenCredalPartition(double reliability) {
  if (!isEvidential_ || !HasCredalPartition() || !IsReliability(reliability)) return false;
  for (int i = 0; i < credalPartition_->GetNbRows(); ++i) WeakenRow(*credalPartition_, i, reliability);
  return true;
}

bool MTH_CLUSTERING::WeakenCredalFunction(MTH_MATRIX* masses, double reliability) const {
  if (!IsPartition(masses, 1) || !IsReliability(reliability)) return false;
  WeakenRow(*masses, 0, reliability);
  return true;
}
