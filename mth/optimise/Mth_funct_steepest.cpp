#include <algorithm>
#include <cmath>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/optimise/Mth_funct.h"
#include "mth/optimise/Mth_funct_internal.h"

// Steepest descent with an adaptive step. It climbs F = -cost.

namespace {

using mth_internal::CopyPoint;
using Points = mth_internal::WorkArray<double>;

constexpr double kGrowth = 1.2;
constexpr double kReduction = 0.5;
constexpr double kSmallestGain = 1e-15;  // a smaller gain says nothing about the next one
constexpr double kZeroStep = 1e-12;      // stands in for a step of 0 in a difference quotient
constexpr double kZeroSlope = -1e-5;     // stands in for a slope of 0, so that every coordinate moves
constexpr double kTinyCost = 1e-10;      // keeps the stop test meaningful at a cost of 0

class Ascent {
 public:
  Ascent(MTH_FUNCT& cost, double stepConstant)
      : cost_(cost), n_(cost.GetParametersCount()), step_(stepConstant), slope_(n_), saved_(n_) {}

  bool IsAllocated() const { return slope_ && saved_; }

  // One step per parameter along the diagonal. Only F before the first two is kept, which is all that two
  // parameters give; with one parameter the second record is the first.
  void WarmUp() {
    if (n_ == 0) return;
    std::fill_n(slope_.Get(), n_, -1.0 / std::sqrt(static_cast<double>(n_)));
    norm_ = SlopeNorm();
    former_ = RecordAndStep();
    accepted_ = n_ > 1 ? RecordAndStep() : former_;
    for (int k = 2; k < n_; ++k) RecordAndStep();
  }

  void AdaptStep() {
    const double gain = accepted_ - former_;
    if (std::abs(gain) >= kSmallestGain && (current_ - accepted_) / gain > 0.0) step_ = kGrowth * step_;
    if (current_ < accepted_) step_ = kReduction * step_;
  }

  void AcceptOrRestore() {
    if (accepted_ < current_) {
      former_ = accepted_;
      accepted_ = current_;
    } else {
      CopyPoint(saved_.Get(), n_, cost_.GetParameters());
    }
    current_ = Evaluate();
  }

  // Forward differences, each over half a step of its coordinate.
  void EstimateSlope() {
    double* const parameters = cost_.GetParameters();
    const double cost = -current_;
    for (int k = 0; k < n_; ++k) {
      const double parameter = parameters[k];
      double shift = -slope_[k] * step_ / (2.0 * norm_);
      parameters[k] += shift;
      cost_.Evaluate();
      if (shift == 0.0) shift = kZeroStep;
      slope_[k] = (cost_.GetValue() - cost) / shift;
      if (slope_[k] == 0.0) slope_[k] = kZeroSlope;
      parameters[k] = parameter;
    }
    norm_ = SlopeNorm();
  }

  // Nowhere to go; the value becomes that of the parameters again.
  bool IsFlat() {
    if (norm_ != 0.0) return false;
    cost_.SetValue(-current_);
    return true;
  }

  void TakeStep() {
    double* const parameters = cost_.GetParameters();
    CopyPoint(parameters, n_, saved_.Get());
    for (int k = 0; k < n_; ++k) parameters[k] += -step_ * slope_[k] / norm_;
    current_ = Evaluate();
  }

  double RelativeChange() const {
    return std::abs((current_ - accepted_) / (std::abs(accepted_) + std::abs(current_) + kTinyCost));
  }

 private:
  double RecordAndStep() {
    const double recorded = Evaluate();
    TakeStep();
    return recorded;
  }

  double Evaluate() {
    cost_.Evaluate();
    return -cost_.GetValue();
  }

  double SlopeNorm() const {
    double sum = 0.0;
    for (int k = 0; k < n_; ++k) sum += slope_[k] * slope_[k];
    return std::sqrt(sum);
  }

  MTH_FUNCT& cost_;
  int n_;
  double step_;
  Points slope_;
  Points saved_;
  double norm_ = 1.0;
  double former_ = 0.0;    // F before the last accepted step
  double accepted_ = 0.0;  // F of the last accepted point
  double current_ = 0.0;   // F of the parameters
};

MTH_STOP_REASON Climb(Ascent& ascent, mth_internal::BestPoint& best, double ftol, int maxIter, int& count) {
  for (;;) {
    ascent.AdaptStep();
    ascent.AcceptOrRestore();
    best.Offer();
    ascent.EstimateSlope();
    if (ascent.IsFlat()) return MTH_STOP_REASON::Converged;
    ascent.TakeStep();
    ++count;
    if (count >= maxIter) return MTH_STOP_REASON::IterationCap;
    if (!(ascent.RelativeChange() >= ftol)) return MTH_STOP_REASON::Converged;
    if (Std_IsCancelRequested()) {
      best.Restore();
      return MTH_STOP_REASON::Cancelled;
    }
  }
}

}  // namespace

bool MTH_FUNCT::Compute_Optimum_Steepes(double* start, double ftol, int maxIter, int* iterations) {
  int unreported = 0;
  int& count = iterations != nullptr ? *iterations : unreported;
  count = 0;
  stopReason_ = MTH_STOP_REASON::BadInput;
  if (start == nullptr) return false;
  stopReason_ = MTH_STOP_REASON::NoMemory;
  Ascent ascent(*this, steepestConstant_);
  mth_internal::BestPoint best(*this);
  if (isStarved_ || !ascent.IsAllocated() || !best.IsAllocated()) return false;
  stopReason_ = MTH_STOP_REASON::NotRun;
  SetParameters(start);
  Evaluate();
  best.Offer();
  ascent.WarmUp();
  EndRun(Climb(ascent, best, ftol, maxIter, count), maxIter > 0);
  return true;
}
