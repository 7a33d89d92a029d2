#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_pseudo_inverse_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/optimise/Mth_funct.h"
#include "mth/optimise/Mth_funct_internal.h"

// Damped Newton iteration after Levenberg and Marquardt.

namespace {

using mth_internal::CopyPoint;
using Points = mth_internal::WorkArray<double>;

constexpr const char* kTitle = "Optimisation d'une fonction par Levenberg-Marquatd";
constexpr int kProgressSteps = 20;
constexpr double kFixedStart = 0.1;
constexpr double kFirstDamping = 0.001;
constexpr double kSmallestChange = 1e-10;

// The linear system of a step: the Hessian, its diagonal damped, and the gradient.
class DampedSystem {
 public:
  explicit DampedSystem(MTH_FUNCT& cost)
      : cost_(cost),
        n_(cost.GetParametersCount()),
        trial_(n_),
        damped_(std::int64_t{n_} * n_),
        gradient_(n_, 1, 0),
        hessian_(n_, n_, 0) {}

  bool IsAllocated() const {
    return n_ == 0 || (trial_ && damped_ && gradient_.IsAllocated() && hessian_.IsAllocated());
  }

  // The parameters plus the solution. Intended: its sign is not changed.
  double* TrialPoint(double damping) {
    if (n_ == 0) return nullptr;
    Load(damping);
    const std::unique_ptr<MTH_MATRIX> step(mth_internal::SolveBySVDSilently(hessian_, gradient_));
    for (int i = 0; i < n_; ++i) {
      // An unsolvable system has no elements: the step is 0, which ends the iteration.
      trial_[i] = cost_.GetParameters()[i] + (step ? step->Get(i, 0) : 0.0);
    }
    return trial_.Get();
  }

 private:
  void Load(double damping) {
    const std::ptrdiff_t n = n_;
    std::copy_n(cost_.GetHessian(), n * n, damped_.Get());
    for (std::ptrdiff_t i = 0; i < n; ++i) damped_[i * n + i] *= 1.0 + damping;
    gradient_.SetVector(cost_.GetGradient(), n_);
    hessian_.SetVector(damped_.Get(), n_ * n_);
  }

  MTH_FUNCT& cost_;
  int n_;
  Points trial_;
  Points damped_;
  MTH_MATRIX gradient_;
  MTH_MATRIX hessian_;
};

// The factor that damps the diagonal.
class Damping {
 public:
  double Get() const { return factor_; }
  void Shrink() { factor_ = 0.1 * factor_; }
  void Grow() {
    isUsedUp_ = factor_ == 0.0;  // many good steps have made it 0: the next step would be this one again
    factor_ = 10.0 * factor_;
  }
  // A flat diagonal lets it grow for ever. Once it is infinite, or, where overflow is rounded towards zero,
  // the largest number, no step can follow.
  bool CanGoOn() const { return factor_ < std::numeric_limits<double>::max() && !isUsedUp_; }

 private:
  double factor_ = kFirstDamping;
  bool isUsedUp_ = false;
};

}  // namespace

bool MTH_FUNCT::ComputeOptimumMarLev(short* iterations) {
  if (iterations != nullptr) *iterations = 0;  // intended: stays 0
  stopReason_ = MTH_STOP_REASON::NoMemory;
  std::fill_n(parameters_.get(), parametersCount_, kFixedStart);
  DampedSystem system(*this);
  if (isStarved_ || !system.IsAllocated() || !AllocateDerivativeWork()) return false;
  stopReason_ = MTH_STOP_REASON::NotRun;
  Evaluate();
  double cost = value_;
  const double startCost = value_;
  ComputeGradient();
  ComputeHessian();
  mth_internal::OptimisationProgress progress(kTitle, kProgressSteps);
  Damping damping;
  double change = 0.0;
  bool isCancelled = false;
  do {
    double* const trial = system.TrialPoint(damping.Get());
    const double trialCost = EvaluateAtPoint(trial);
    change = std::abs(trialCost - cost);
    if (trialCost >= cost) {
      damping.Grow();
    } else {
      damping.Shrink();
      SetParameters(trial);
      ComputeGradient();
      ComputeHessian();
      cost = trialCost;
    }
    progress.Step();
    isCancelled = change > kSmallestChange && damping.CanGoOn() && progress.IsCancelRequested();
  } while (change > kSmallestChange && damping.CanGoOn() && !isCancelled);
  EndRun(isCancelled          ? MTH_STOP_REASON::Cancelled
         : std::isnan(change) ? MTH_STOP_REASON::NotFinite
                              : MTH_STOP_REASON::Converged,
         true);
  return value_ < startCost;
}

bool MTH_FUNCT::ComputeOptimumLM(double* start, double* /*target*/) {
  if (start != nullptr) mth_internal::CopyPoint(start, parametersCount_, parameters_.get());
  return false;
}
