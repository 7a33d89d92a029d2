#include <algorithm>
#include <cmath>
#include <cstdint>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/optimise/Mth_funct.h"
#include "mth/optimise/Mth_funct_internal.h"

// Downhill simplex method of Nelder and Mead.

namespace {

using mth_internal::CopyPoint;
using Points = mth_internal::WorkArray<double>;

constexpr double kReflection = 1.0;
constexpr double kContraction = 0.5;
constexpr double kExpansion = 2.0;
constexpr double kTinyCost = 1e-10;       // keeps the stop test meaningful at a cost of 0
constexpr int kFirstCostCoordinates = 2;  // of a first vertex, that its cost is taken with

class Simplex {
 public:
  explicit Simplex(MTH_FUNCT& cost)
      : cost_(cost),
        n_(cost.GetParametersCount()),
        vertices_(n_ + 1, n_, 0),
        costs_(std::int64_t{n_} + 1),
        centroid_(n_),
        reflected_(n_),
        trial_(n_),
        start_(cost) {}

  bool IsAllocated() const {
    return vertices_.IsAllocated() && costs_ && centroid_ && reflected_ && trial_ && start_.IsAllocated();
  }

  void Begin(const double* start) {
    start_.Offer();
    CopyPoint(start, n_, Vertex(0));
    cost_.InitiateMatrixForNelderMead(&vertices_);
    std::fill_n(trial_.Get(), n_, 0.0);
    for (int r = 0; r <= n_; ++r) {
      // Intended: made for two parameters, further ones are not taken from the vertex.
      CopyPoint(Vertex(r), std::min(n_, kFirstCostCoordinates), trial_.Get());
      cost_.SetParameters(trial_.Get());
      costs_[r] = cost_.EvaluateAtPoint(trial_.Get());
    }
  }

  // Finds the best, the worst and the second worst vertex.
  void Rank() {
    const bool isSecondWorse = costs_[0] <= costs_[1];
    worst_ = isSecondWorse ? 1 : 0;
    secondWorst_ = isSecondWorse ? 0 : 1;
    best_ = 0;
    for (int i = 0; i <= n_; ++i) {
      if (costs_[i] < costs_[best_]) best_ = i;
      if (costs_[i] > costs_[worst_]) {
        secondWorst_ = worst_;
        worst_ = i;
      } else if (costs_[i] > costs_[secondWorst_] && i != worst_) {
        secondWorst_ = i;
      }
    }
  }

  double RelativeSpread() const {
    return 2.0 * std::abs(costs_[worst_] - costs_[best_]) /
           (std::abs(costs_[best_]) + std::abs(costs_[worst_]) + kTinyCost);
  }

  void MoveWorstVertex() {
    ComputeCentroid();
    const double reflectedCost = Reflect();
    if (reflectedCost <= costs_[best_]) {
      Expand(reflectedCost);
    } else if (reflectedCost < costs_[secondWorst_]) {
      ReplaceWorst(reflected_.Get(), reflectedCost);
    } else {
      if (reflectedCost < costs_[worst_]) ReplaceWorst(reflected_.Get(), reflectedCost);
      Contract();
    }
  }

  // Leaves the best vertex, or the start where that is better: with more than two parameters the cost of a
  // first vertex is not its own.
  void KeepBest() {
    Rank();
    CostAt(Vertex(best_));
    start_.Offer();
    start_.Restore();
  }

 private:
  double* Vertex(int r) { return vertices_.GetEDataAddress() + static_cast<std::ptrdiff_t>(r) * n_; }

  void ReplaceWorst(const double* point, double cost) {
    CopyPoint(point, n_, Vertex(worst_));
    costs_[worst_] = cost;
  }

  // Moves the parameters themselves, whether the object is defined or not.
  double CostAt(const double* point) {
    CopyPoint(point, n_, cost_.GetParameters());
    cost_.Evaluate();
    return cost_.GetValue();
  }

  // Of all vertices but the worst.
  void ComputeCentroid() {
    std::fill_n(centroid_.Get(), n_, 0.0);
    for (int r = 0; r <= n_; ++r) {
      if (r == worst_) continue;
      for (int k = 0; k < n_; ++k) centroid_[k] += Vertex(r)[k];
    }
    for (int k = 0; k < n_; ++k) centroid_[k] /= n_;
  }

  double Reflect() {
    const double* worst = Vertex(worst_);
    for (int k = 0; k < n_; ++k) {
      reflected_[k] = (1.0 + kReflection) * centroid_[k] - kReflection * worst[k];
    }
    cost_.SetParameters(reflected_.Get());  // intended: counts only for a defined object, unlike other moves
    cost_.Evaluate();
    return cost_.GetValue();
  }

  void Expand(double reflectedCost) {
    for (int k = 0; k < n_; ++k) {
      trial_[k] = (1.0 - kExpansion) * centroid_[k] + kExpansion * reflected_[k];
    }
    const double expandedCost = CostAt(trial_.Get());
    if (expandedCost >= costs_[best_]) {
      ReplaceWorst(reflected_.Get(), reflectedCost);
    } else {
      ReplaceWorst(trial_.Get(), expandedCost);
    }
  }

  void Contract() {
    const double* worst = Vertex(worst_);
    for (int k = 0; k < n_; ++k) {
      trial_[k] = (1.0 - kContraction) * centroid_[k] + kContraction * worst[k];
    }
    const double contractedCost = CostAt(trial_.Get());
    if (contractedCost >= costs_[worst_]) {
      Shrink();
    } else {
      ReplaceWorst(trial_.Get(), contractedCost);
    }
  }

  // Every vertex goes half the way to the best one.
  void Shrink() {
    const double* best = Vertex(best_);
    for (int r = 0; r <= n_; ++r) {
      if (r == best_) continue;
      double* vertex = Vertex(r);
      for (int k = 0; k < n_; ++k) vertex[k] = (vertex[k] + best[k]) * 0.5;
      costs_[r] = CostAt(vertex);
    }
  }

  MTH_FUNCT& cost_;
  int n_;
  MTH_MATRIX vertices_;
  Points costs_;
  Points centroid_;
  Points reflected_;
  Points trial_;
  mth_internal::BestPoint start_;
  int best_ = 0;
  int worst_ = 0;
  int secondWorst_ = 0;
};

MTH_STOP_REASON Descend(Simplex& simplex, double ftol, int maxIter, int& count) {
  for (;;) {
    simplex.Rank();
    if (simplex.RelativeSpread() < ftol) return MTH_STOP_REASON::Converged;
    if (count >= maxIter) return MTH_STOP_REASON::IterationCap;
    ++count;
    simplex.MoveWorstVertex();
    if (Std_IsCancelRequested()) {
      simplex.KeepBest();
      return MTH_STOP_REASON::Cancelled;
    }
  }
}

}  // namespace

void MTH_FUNCT::InitiateMatrixForNelderMead(MTH_MATRIX* simplex) {
  if (simplex == nullptr || !simplex->IsAllocated()) return;
  const int n = simplex->GetNbCols();
  const double a = simplexSize_ / (std::sqrt(2.0) * n);
  const double root = std::sqrt(n + 1.0);
  // Intended: n + 1 where a regular simplex has n - 1, and the long offset in column r of row r, counted
  // from 1, so that column 0 never has it and row n has it nowhere.
  const double longOffset = a * (root + n + 1.0);
  const double shortOffset = a * (root - 1.0);
  const int lastRow = std::min(n, simplex->GetNbRows() - 1);
  for (int r = 1; r <= lastRow; ++r) {
    for (int k = 0; k < n; ++k) {
      simplex->Set(r, k, simplex->Get(0, k) + (k == r ? longOffset : shortOffset));
    }
  }
}

bool MTH_FUNCT::ComputeOptimum_Nelder_Mead(double* start, double ftol, int maxIter, int* iterations) {
  int unreported = 0;
  int& count = iterations != nullptr ? *iterations : unreported;
  count = 0;
  stopReason_ = isStarved_ ? MTH_STOP_REASON::NoMemory : MTH_STOP_REASON::BadInput;
  if (start == nullptr || parametersCount_ == 0)
    return false;  // without parameters there is no second vertex
  stopReason_ = MTH_STOP_REASON::NoMemory;
  Simplex simplex(*this);
  if (isStarved_ || !simplex.IsAllocated()) return false;
  stopReason_ = MTH_STOP_REASON::NotRun;
  SetParameters(start);
  Evaluate();
  simplex.Begin(start);
  const MTH_STOP_REASON reason = Descend(simplex, ftol, maxIter, count);
  EndRun(reason, maxIter > 0);
  return reason == MTH_STOP_REASON::Converged;
}
