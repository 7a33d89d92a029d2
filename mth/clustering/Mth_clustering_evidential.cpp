#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_clustering_internal.h"
#include "mth/clustering/Mth_clustering_run_internal.h"
#include "mth/clustering/Mth_evidential_kernel_internal.h"
#include "mth/clustering/Mth_hypothesis_table_internal.h"
#include "mth/core/Mth_message_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/matrix/Mth_matrix_internal.h"

using namespace mth_internal;

namespace {

constexpr int kDouble = 0;

// What the kernels need of the hypotheses, once per run: powers of their sizes, and who has which clusters.
class HypothesisRule {
 public:
  HypothesisRule(int clustersCount, double alpha, double beta)
      : table_(clustersCount), clusters_(clustersCount), beta_(beta) {
    std::size_t pairs = 0;
    for (int j = 0; j < table_.Count(); ++j) {
      const double size = table_.SizeOf(j);
      pairs += static_cast<std::size_t>(table_.SizeOf(j) * (table_.SizeOf(j) + 1) / 2);
      massFactors_.push_back(EvidentialPower(size, alpha / (1.0 - beta)));
      crossFactors_.push_back(EvidentialPower(size, alpha - 2.0));
      targetFactors_.push_back(EvidentialPower(size, alpha - 1.0));
    }
    supersets_.reserve(pairs);
    for (int k = 0; k < clustersCount; ++k) {
      for (int l = k; l < clustersCount; ++l) AddSupersets(k, l);
    }
    supersetStarts_.push_back(static_cast<std::int64_t>(supersets_.size()));
  }
  EvidentialRule View() const {
    return {clusters_,
            table_.Count(),
            2.0 / (1.0 - beta_),
            beta_,
            massFactors_.data(),
            crossFactors_.data(),
            targetFactors_.data(),
            supersets_.data(),
            supersetStarts_.data()};
  }

 private:
  void AddSupersets(int k, int l) {
    supersetStarts_.push_back(static_cast<std::int64_t>(supersets_.size()));
    for (int j = 1; j < table_.Count(); ++j) {
      if (table_.Has(j, k) && table_.Has(j, l)) supersets_.push_back(j);
    }
  }

  HypothesisTable table_;
  int clusters_;
  double beta_;
  std::vector<double> massFactors_;
  std::vector<double> crossFactors_;
  std::vector<double> targetFactors_;
  std::vector<int> supersets_;
  std::vector<std::int64_t> supersetStarts_;
};

// The normal equations H V = B of the centroids V, clusters x dimensions, from their sums.
class NormalEquations {
 public:
  NormalEquations(int clustersCount, int dimensionsCount)
      : cross_(clustersCount, clustersCount, kDouble),
        target_(clustersCount, dimensionsCount, kDouble),
        sums_(static_cast<std::size_t>(CountEvidentialRows(clustersCount, dimensionsCount))) {}
  bool IsAllocated() const { return cross_.IsAllocated() && target_.IsAllocated(); }
  bool AreFinite() const { return mth_internal::AreFinite(sums_); }
  double* ClearedSums() {
    std::fill(sums_.begin(), sums_.end(), 0.0);
    return sums_.data();
  }
  // Null, or unallocated, when they cannot be solved.
  MatrixPtr Solve() {
    auto sum = sums_.begin();
    for (int k = 0; k < cross_.GetNbRows(); ++k) {
      for (int l = k; l < cross_.GetNbCols(); ++l) {
        cross_.Set(k, l, *sum);
        cross_.Set(l, k, *sum++);
      }
    }
    for (int l = 0; l < target_.GetNbRows(); ++l) {
      for (int q = 0; q < target_.GetNbCols(); ++q) target_.Set(l, q, *sum++);
    }
    return MatrixPtr(cross_.SolveLinearSystemBySVD(target_));
  }

 private:
  MTH_MATRIX cross_;
  MTH_MATRIX target_;
  std::vector<double> sums_;
};

// The mean distance that the centroids, clusters x dimensions, move by; they are moved.
double MoveCentroids(std::vector<double>& centroids, const MTH_MATRIX& solution) {
  double sum = 0.0;
  auto coordinate = centroids.begin();
  for (int k = 0; k < solution.GetNbRows(); ++k) {
    double squares = 0.0;
    for (int q = 0; q < solution.GetNbCols(); ++q) {
      const double difference = *coordinate - solution.Get(k, q);
      squares += difference * difference;
      *coordinate++ = solution.Get(k, q);
    }
    sum += std::sqrt(squares);
  }
  return 1.0 / solution.GetNbRows() * sum;
}

// The mass of the empty set, what the others leave, is a number where all of a sample's masses are.
bool AreMassesFinite(const MTH_MATRIX& masses) {
  for (int i = 0; i < masses.GetNbRows(); ++i) {
    if (!std::isfinite(masses.Get(i, 0))) return false;
  }
  return true;
}

}  // namespace

double MTH_CLUSTERING::ApplyEvidentialFuzzyCMeanClustering() {
  return RunGuarded(&MTH_CLUSTERING::RunEvidentialCMeans);
}

double MTH_CLUSTERING::RunEvidentialCMeans() {
  if (!CreateHypotheses()) {
    ShowInformation("MTH_CLUSTERING:: Erreur de creation des hypotheses!");
    const bool areTooMany = clustersCount_ > kMostEvidentialClusters;
    return FailRun(areTooMany ? MTH_STOP_REASON::BadInput : MTH_STOP_REASON::NoMemory);
  }
  const int samplesCount = GetSamplesCount();
  const HypothesisRule hypotheses(clustersCount_, alpha_, regulationValue_);
  const EvidentialRule rule = hypotheses.View();
  NormalEquations equations(clustersCount_, dimensionsCount_);
  std::vector<double> centroids = GatherCentroids();
  MatrixPtr masses = NewMatrix(samplesCount, hypothesesCount_, kDouble);
  const WorkArray<double> scratch(CountEvidentialScratch(clustersCount_, hypothesesCount_, dimensionsCount_));
  SampleBlocks<double> features;
  bool fits =
      equations.IsAllocated() && masses && scratch && features.Allocate(samplesCount, dimensionsCount_);
  if (!fits) return FailRun(MTH_STOP_REASON::NoMemory);
  ForEachSampleBlock(samplesCount, [&](int block, int first, int count) {
    fits = fits && GatherBlock(first, count, features.Block(block), scratch.Get());
  });
  if (!fits) return FailRun(MTH_STOP_REASON::BadInput);
  if (iterationsCount_ <= 0) masses->SetZero();

  const SampleView samples{features.Data(), samplesCount, dimensionsCount_};
  RunProgress progress("Evidential Fuzzy C-Means en cours...", iterationsCount_);
  double delta = kNoDistance;
  bool hasConverged = false;
  bool isCancelled = false;
  int iteration = 0;
  for (; iteration < iterationsCount_ && !isCancelled; ++iteration) {
    progress.Step("", std::int64_t{iteration});
    isCancelled = progress.IsCancelRequested();  // then this iteration is the last one
    hasConverged = delta <= tolerance_;
    const bool isLast = hasConverged || isCancelled || iteration + 1 == iterationsCount_;
    delta_ = OutlierDistance(
        MTH_SELECT(evidential::SumDistances)(samples, {centroids.data(), clustersCount_}, scratch.Get()));
    MTH_SELECT(evidential::UpdateMasses)
    (samples, hypothesesCenters_->GetEDataAddress(), rule, EvidentialPower(delta_, rule.distanceExponent),
     scratch.Get(), isLast ? masses->GetEDataAddress() : nullptr,
     hasConverged ? nullptr : equations.ClearedSums());
    if (hasConverged) break;
    const MatrixPtr solution = equations.Solve();
    if (!solution || !solution->IsAllocated()) {
      return FailRun(equations.AreFinite() ? MTH_STOP_REASON::NoMemory : MTH_STOP_REASON::NotFinite);
    }
    delta = MoveCentroids(centroids, *solution);
    ScatterCentroids(centroids);
    CalculCentresHypotheses();
  }
  stopReason_ = AreMassesFinite(*masses) ? ReasonOf(hasConverged, isCancelled) : MTH_STOP_REASON::NotFinite;
  credalPartition_ = std::move(masses);
  if (hasConverged) {
    iterationsCount_ = iteration;
    isEvidential_ = true;
    WriteDiagnostics();
  }
  return 1.0;
}

double MTH_CLUSTERING::OutlierDistance(double sumOfDistances) const {
  return rho_ * sumOfDistances / (static_cast<double>(GetSamplesCount()) * clustersCount_);
}

void MTH_CLUSTERING::OutlierProportion() {
  double sum = 0.0;
  for (int i = 0; i < GetSamplesCount(); ++i) {
    for (int k = 0; k < clustersCount_; ++k) sum += GetSampleDistanceToCentroid(i, k);
  }
  delta_ = OutlierDistance(sum);
}
