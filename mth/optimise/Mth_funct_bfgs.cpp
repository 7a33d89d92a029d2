#include <cmath>
#include <cstdint>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/optimise/Mth_funct.h"
#include "mth/optimise/Mth_funct_internal.h"

// Broyden-Fletcher-Goldfarb-Shanno variable-metric method.

namespace {

using mth_internal::CopyPoint;
using Points = mth_internal::WorkArray<double>;

constexpr const char* kTitle = "Optimization in progress";
constexpr int kMaximumIterations = 1000;
constexpr double kStopFactor = 50.0;  // intended: stricter than the usual 2
constexpr double kTinyCost = 1e-10;   // keeps the stop test meaningful at a cost of 0

// The approximation W of the inverse Hessian and the search direction that follows from it.
class VariableMetric {
 public:
  explicit VariableMetric(MTH_FUNCT& cost)
      : cost_(cost),
        n_(cost.GetParametersCount()),
        direction_(n_),
        change_(n_),
        mapped_(n_),
        inverse_(std::int64_t{n_} * n_) {}

  bool IsAllocated() const { return direction_ && change_ && mapped_ && inverse_; }

  // W = identity, so that the first direction is that of steepest descent.
  void Begin() {
    mth_internal::FillIdentity(inverse_.Get(), n_);
    for (int i = 0; i < n_; ++i) direction_[i] = -cost_.GetGradient()[i];
  }

  // The direction becomes the displacement made.
  void MinimiseAlongDirection() { cost_.LinMin(cost_.GetParameters(), direction_.Get()); }

  void ComputeGradient() {
    CopyPoint(cost_.GetGradient(), n_, change_.Get());
    cost_.Evaluate();
    cost_.ComputeGradient();
    for (int i = 0; i < n_; ++i) change_[i] = cost_.GetGradient()[i] - change_[i];
  }

  // Makes W map the change of the gradient to the displacement. Intended: no test that the two agree enough.
  void Update() {
    for (int i = 0; i < n_; ++i) mapped_[i] = Dot(Row(i), change_.Get());
    const double along = Dot(change_.Get(), direction_.Get());
    const double metric = Dot(change_.Get(), mapped_.Get());
    for (int i = 0; i < n_; ++i) change_[i] = direction_[i] / along - mapped_[i] / metric;
    for (int i = 0; i < n_; ++i) {
      for (int j = 0; j < n_; ++j) {
        Row(i)[j] += direction_[i] * direction_[j] / along - mapped_[i] * mapped_[j] / metric +
                     metric * change_[i] * change_[j];
      }
    }
  }

  void ComputeDirection() {
    for (int i = 0; i < n_; ++i) direction_[i] = -Dot(Row(i), cost_.GetGradient());
  }

 private:
  double* Row(int i) { return inverse_.Get() + static_cast<std::ptrdiff_t>(i) * n_; }

  double Dot(const double* a, const double* b) const {
    double sum = 0.0;
    for (int i = 0; i < n_; ++i) sum += a[i] * b[i];
    return sum;
  }

  MTH_FUNCT& cost_;
  int n_;
  Points direction_;
  Points change_;  // of the gradient, then the correction vector of the update
  Points mapped_;  // W times the change of the gradient
  Points inverse_;
};

bool IsFlat(double former, double cost, double tolerance) {
  return kStopFactor * std::abs(cost - former) <= tolerance * (std::abs(cost) + std::abs(former) + kTinyCost);
}

// `count` is that of the iteration under way.
MTH_STOP_REASON Descend(MTH_FUNCT& cost, VariableMetric& metric, mth_internal::BestPoint& best, double ftol,
                        short& count, mth_internal::OptimisationProgress& progress) {
  double formerCost = cost.GetValue();
  for (short k = 1; k <= kMaximumIterations; ++k) {
    count = k;
    metric.MinimiseAlongDirection();
    best.Offer();
    if (IsFlat(formerCost, cost.GetValue(), ftol)) {
      progress.Step();
      return MTH_STOP_REASON::Converged;
    }
    formerCost = cost.GetValue();
    metric.ComputeGradient();
    metric.Update();
    metric.ComputeDirection();
    progress.Step();
    if (progress.IsCancelRequested()) {
      best.Restore();
      return MTH_STOP_REASON::Cancelled;
    }
  }
  return MTH_STOP_REASON::IterationCap;
}

}  // namespace

bool MTH_FUNCT::ComputeOptimumQNBFGS(double* start, double ftol, short* iterations) {
  short unreported = 0;
  short& count = iterations != nullptr ? *iterations : unreported;
  count = 0;
  stopReason_ = MTH_STOP_REASON::NoMemory;
  VariableMetric metric(*this);
  mth_internal::BestPoint best(*this);
  if (isStarved_ || !metric.IsAllocated() || !best.IsAllocated() || !AllocateDerivativeWork()) return false;
  stopReason_ = MTH_STOP_REASON::NotRun;
  mth_internal::OptimisationProgress progress(kTitle, kMaximumIterations);
  progress.Step(kTitle);
  SetParameters(start);
  Evaluate();
  const double startCost = value_;
  best.Offer();
  ComputeGradient();
  metric.Begin();
  EndRun(Descend(*this, metric, best, ftol, count, progress), true);
  return value_ < startCost;
}
