#include <cmath>
#include <cstdint>
#include <optional>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/optimise/Mth_funct.h"
#include "mth/optimise/Mth_funct_internal.h"

// Powell's direction-set method.

namespace {

using mth_internal::CopyPoint;
using mth_internal::OptimisationProgress;
using Points = mth_internal::WorkArray<double>;

constexpr const char* kTitle = "Optimization in progress";
constexpr double kAbsoluteTolerance = 1e-6;

// The direction along which one pass lowered the cost most.
struct LargestChange {
  int direction = 0;
  double amount = 0.0;
};

class DirectionSet {
 public:
  explicit DirectionSet(MTH_FUNCT& cost)
      : cost_(cost),
        n_(cost.GetParametersCount()),
        directions_(std::int64_t{n_} * n_),
        passStart_(n_),
        extrapolated_(n_),
        line_(n_),
        best_(cost) {}

  bool IsAllocated() const {
    return directions_ && passStart_ && extrapolated_ && line_ && best_.IsAllocated();
  }

  // The axes, from the present parameters.
  void Begin() {
    mth_internal::FillIdentity(directions_.Get(), n_);
    CopyPoint(cost_.GetParameters(), n_, passStart_.Get());
    best_.Offer();
  }

  LargestChange MinimiseAlongAll(std::optional<OptimisationProgress>& progress) {
    LargestChange largest;
    for (int i = 0; i < n_; ++i) {
      CopyPoint(Direction(i), n_, line_.Get());
      const double former = cost_.GetValue();
      cost_.LinMin(cost_.GetParameters(), line_.Get());
      best_.Offer();
      const double change = std::abs(former - cost_.GetValue());
      if (change > largest.amount) largest = {i, change};
      if (progress) progress->StepParameters(cost_.GetParameters(), n_);
    }
    return largest;
  }

  // Looks as far ahead again as the pass went and, where that promises more, minimises along that direction.
  void TryDirectionOfPass(double passCost, const LargestChange& largest) {
    MarkPass();
    const double aheadCost = cost_.EvaluateAtPoint(extrapolated_.Get());
    if (!IsWorthwhile(passCost, aheadCost, largest.amount)) return;
    cost_.LinMin(cost_.GetParameters(), line_.Get());
    best_.Offer();
    // Intended: it takes the place of the direction of the largest change, no other direction moves.
    CopyPoint(line_.Get(), n_, Direction(largest.direction));
  }

  void KeepBest() { best_.Restore(); }

 private:
  double* Direction(int i) { return directions_.Get() + static_cast<std::ptrdiff_t>(i) * n_; }

  void MarkPass() {
    const double* parameters = cost_.GetParameters();
    for (int j = 0; j < n_; ++j) {
      extrapolated_[j] = 2.0 * parameters[j] - passStart_[j];
      line_[j] = parameters[j] - passStart_[j];
      passStart_[j] = parameters[j];
    }
  }

  // Powell's test: the pass has not used up the average direction, and the largest change was not all of it.
  bool IsWorthwhile(double passCost, double aheadCost, double largestChange) const {
    if (!(aheadCost < passCost)) return false;
    const double cost = cost_.GetValue();
    const double rest = passCost - cost - largestChange;
    const double total = passCost - aheadCost;
    return 2.0 * (passCost - 2.0 * cost + aheadCost) * (rest * rest) - largestChange * (total * total) < 0.0;
  }

  MTH_FUNCT& cost_;
  int n_;
  Points directions_;
  Points passStart_;
  Points extrapolated_;
  Points line_;
  mth_internal::BestPoint best_;
};

bool IsFlat(double former, double cost, double tolerance) {
  return 2.0 * std::abs(former - cost) <=
         tolerance * (std::abs(former) + std::abs(cost)) + kAbsoluteTolerance;
}

bool IsCancelRequested(const std::optional<OptimisationProgress>& progress) {
  return progress ? progress->IsCancelRequested() : Std_IsCancelRequested();
}

// Pass after pass; `count` counts those that did not meet the tolerance.
MTH_STOP_REASON Descend(const MTH_FUNCT& cost, DirectionSet& directions, short maxIter, double ftol,
                        short& count, std::optional<OptimisationProgress>& progress) {
  while (count < maxIter) {
    const double passCost = cost.GetValue();
    const LargestChange largest = directions.MinimiseAlongAll(progress);
    if (IsFlat(passCost, cost.GetValue(), ftol)) return MTH_STOP_REASON::Converged;
    directions.TryDirectionOfPass(passCost, largest);
    ++count;
    if (IsCancelRequested(progress)) {
      directions.KeepBest();
      return MTH_STOP_REASON::Cancelled;
    }
  }
  return MTH_STOP_REASON::IterationCap;
}

}  // namespace

bool MTH_FUNCT::ComputeOptimumPowell(double* start, short maxIter, double ftol, short* iterations,
                                     bool showProgress) {
  short unreported = 0;
  short& count = iterations != nullptr ? *iterations : unreported;
  count = 0;
  stopReason_ = MTH_STOP_REASON::NoMemory;
  DirectionSet directions(*this);
  if (isStarved_ || !directions.IsAllocated()) return false;
  stopReason_ = MTH_STOP_REASON::NotRun;
  SetParameters(start);
  Evaluate();
  const double startCost = value_;
  directions.Begin();
  std::optional<OptimisationProgress> progress;
  if (showProgress) {
    progress.emplace(kTitle, std::int64_t{maxIter} * parametersCount_);
    progress->Step(kTitle);
  }
  EndRun(Descend(*this, directions, maxIter, ftol, count, progress), maxIter > 0);
  return value_ < startCost;
}
