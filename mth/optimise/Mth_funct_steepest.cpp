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

  // One step per parameter along the diagonal. Only the first two records of F are kept, which is all that
  // two parameters give; with one parameter the second is the first.
  void WarmUp() {
    for (int k = 0; k < n_; ++k) slope_[k] = -1.0 / std::sqrt(static_cast<double>(n_));
    for (int k = 0; k < n_; ++k) {
      const double recorded = Evaluate();
      if (k == 0) former_ = recorded;
      if (k <= 1) accepted_ = recorded;
      norm_ = SlopeNorm();
      TakeStep();
    }
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

}  // namespace

bool MTH_FUNCT::Compute_Optimum_Steepes(double* start, double ftol, int maxIter, int* iterations) {
  const mth_internal::IterationCount<int> count(iterations);
  if (start == nullptr || parametersCount_ == 0) return false;
  Ascent ascent(*this, steepestConstant_);
  if (!ascent.IsAllocated()) return false;
  SetParameters(start);
  Evaluate();
  ascent.WarmUp();
  do {
    ascent.AdaptStep();
    ascent.AcceptOrRestore();
    ascent.EstimateSlope();
    if (ascent.IsFlat()) return true;
    ascent.TakeStep();
    ++*count;
  } while (*count < maxIter && ascent.RelativeChange() >= ftol);
  return true;
}
