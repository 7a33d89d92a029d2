#include <algorithm>
#include <exception>
#include <vector>

#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_clustering_run_internal.h"
#include "mth/clustering/Mth_credal_matrix_internal.h"
#include "mth/clustering/Mth_evidential_kernel_internal.h"
#include "mth/clustering/Mth_hypothesis_table_internal.h"
#include "mth/core/Mth_work_array_internal.h"

// Fusion of two credal partitions.

using namespace mth_internal;

namespace {

constexpr int kSamplesPerStep = 100;
constexpr double kLongStep = 1 << 24;  // multiplications

// The intersections of hypotheses, by their sets.
class Intersections {
 public:
  Intersections(int clustersCount, bool isExact) : table_(clustersCount) {
    targets_.assign(static_cast<std::size_t>(table_.Count()), table_.Count());
    for (int j = 1; j < table_.Count(); ++j) {
      if (isExact || IsFound(j)) targets_[table_.SetOf(j)] = j;
    }
  }
  FusionRule Rule(bool isNormalised) const {
    return {table_.Count(), table_.Sets(), targets_.data(), isNormalised};
  }

 private:
  // Whether a search that gives up at the first mismatch finds it: the first one of its size. A single
  // cluster needs no search, its number is its index.
  bool IsFound(int hypothesis) const {
    return table_.SizeOf(hypothesis) == 1 || table_.SizeOf(hypothesis - 1) < table_.SizeOf(hypothesis);
  }

  HypothesisTable table_;
  std::vector<std::int32_t> targets_;
};

// The matrix itself when it is what the kernel takes; otherwise a copy with zeros where it has no element,
// which is kept in `copy`. Null when there is no memory.
const MTH_MATRIX* Fitted(const MTH_MATRIX& matrix, int rows, int columns, MatrixPtr& copy) {
  if (matrix.GetEDataAddress() != nullptr && matrix.GetNbRows() == rows && matrix.GetNbCols() == columns) {
    return &matrix;
  }
  copy = NewCredalMatrix(rows, columns);
  if (!copy) return nullptr;
  copy->SetZero();
  for (int i = 0; i < std::min(rows, matrix.GetNbRows()); ++i) {
    for (int j = 0; j < std::min(columns, matrix.GetNbCols()); ++j) copy->Set(i, j, matrix.Get(i, j));
  }
  return copy.get();
}

double WorkOfSample(const FusionRule& rule, bool usesCommonalities) {
  constexpr double kByCommonalities = 64.0;  // of a hypothesis: three times the most clusters
  return rule.hypotheses * (usesCommonalities ? kByCommonalities : rule.hypotheses);
}

// Null, with the reason, when there is no memory or the run is cancelled. The window is asked after its
// steps, and where a step lasts also within it.
MatrixPtr Fuse(const MTH_MATRIX& first, const MTH_MATRIX& second, const FusionRule& rule,
               bool usesCommonalities, MTH_STOP_REASON& reason) {
  reason = MTH_STOP_REASON::NoMemory;
  const int count = first.GetNbRows();
  MatrixPtr copy;
  const MTH_MATRIX* fitted = Fitted(second, count, rule.hypotheses, copy);
  MatrixPtr fused = NewCredalMatrix(count, rule.hypotheses);
  const WorkArray<double> scratch(CountFusionScratch(rule.hypotheses));
  if (fitted == nullptr || !fused || !scratch) return nullptr;
  const auto fuse =
      usesCommonalities ? MTH_SELECT(evidential::FuseByCommonalities) : MTH_SELECT(evidential::FuseMasses);
  RunProgress progress(rule.isNormalised ? "Fusion de Dempster..." : "Fusion Conjonctive...",
                       count / kSamplesPerStep);
  LongIteration run = progress.Within();
  const double workOfSample = WorkOfSample(rule, usesCommonalities);
  const int atOnce = kSamplesPerStep * workOfSample > kLongStep ? kFusionSamples : kSamplesPerStep;
  for (int done = 0; done < count;) {
    // As far as the next sample that is followed by a step.
    const int toStep = done == 0 ? 1 : kSamplesPerStep - (done - 1) % kSamplesPerStep;
    const int part = std::min({count - done, toStep, atOnce});
    fuse(RowOf(first, done), RowOf(*fitted, done), part, rule, scratch.Get(), RowOf(*fused, done));
    done += part;
    const int last = done - 1;
    const bool isStep = last % kSamplesPerStep == 0;
    if (isStep) progress.Step("", std::int64_t{last});
    const bool isCancelled = isStep ? progress.IsCancelRequested() : run.IsGivenUp(part * workOfSample);
    if (isCancelled && done < count) {
      reason = MTH_STOP_REASON::Cancelled;
      return nullptr;
    }
  }
  reason = MTH_STOP_REASON::Converged;
  return fused;
}

}  // namespace

MTH_MATRIX* MTH_CLUSTERING::FuseWith(const MTH_MATRIX* m2, bool isExact, bool isNormalised) const {
  stopReason_ = MTH_STOP_REASON::BadInput;
  if (m2 == nullptr || !m2->IsAllocated() || !HasCredalPartition()) return nullptr;
  if (isNormalised && (!isEvidential_ || !IsPartition(m2, credalPartition_->GetNbRows()))) return nullptr;
  try {
    const Intersections intersections(clustersCount_, isExact);
    const bool usesCommonalities = isExact && clustersCount_ > kMostClustersByPairs;
    return Fuse(*credalPartition_, *m2, intersections.Rule(isNormalised), usesCommonalities, stopReason_)
        .release();
  } catch (const std::exception&) {  // no memory
    stopReason_ = MTH_STOP_REASON::NoMemory;
    return nullptr;
  }
}

MTH_MATRIX* MTH_CLUSTERING::CredalConjFusion(MTH_MATRIX* m2) const {
  return FuseWith(m2, false, false);
}

MTH_MATRIX* MTH_CLUSTERING::CredalConjFusionExact(MTH_MATRIX* m2) const {
  return FuseWith(m2, true, false);
}

MTH_MATRIX* MTH_CLUSTERING::DempsterFusion(MTH_MATRIX* m2) const {
  return FuseWith(m2, false, true);
}

MTH_MATRIX* MTH_CLUSTERING::DempsterFusionExact(MTH_MATRIX* m2) const {
  return FuseWith(m2, true, true);
}
