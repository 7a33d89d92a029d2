#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>

#include "mth/core/Mth_work_array_internal.h"
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

  bool IsAllocated() const { return trial_ && damped_ && gradient_.IsAllocated() && hessian_.IsAllocated(); }

  // The parameters plus the solution. Intended: its sign is not changed.
  double* TrialPoint(double damping) {
    Load(damping);
    const std::unique_ptr<MTH_MATRIX> step(hessian_.SolveLinearSystemBySVD(gradient_));
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

}  // namespace

bool MTH_FUNCT::ComputeOptimumMarLev(short* iterations) {
  const mth_internal::IterationCount<short> count(iterations);  // intended: stays 0
  std::fill_n(parameters_.get(), parametersCount_, kFixedStart);
  DampedSystem system(*this);
  if (parametersCount_ == 0 || !system.IsAllocated() || !AllocateDerivativeWork()) return false;
  Evaluate();
  double cost = value_;
  const double startCost = value_;
  ComputeGradient();
  ComputeHessian();
  mth_internal::OptimisationProgress progress(kTitle, kProgressSteps);
  double damping = kFirstDamping;
  double change = 0.0;
  bool isStuck = false;
  do {
    double* const trial = system.TrialPoint(damping);
    const double trialCost = EvaluateAtPoint(trial);
    change = std::abs(trialCost - cost);
    isStuck = false;
    if (trialCost >= cost) {
      isStuck = damping == 0.0;  // many good steps have used it up: the next step would be this one again
      damping = 10.0 * damping;
    } else {
      damping = 0.1 * damping;
      SetParameters(trial);
      ComputeGradient();
      ComputeHessian();
      cost = trialCost;
    }
    progress.Step();
    // A flat diagonal lets the damping grow for ever: once it is infinite no step can follow.
  } while (change > kSmallestChange && std::isfinite(damping) && !isStuck);
  return value_ < startCost;
}

bool MTH_FUNCT::ComputeOptimumLM(double* start, double* /*target*/) {
  if (start != nullptr) mth_internal::CopyPoint(start, parametersCount_, parameters_.get());
  return false;
}
