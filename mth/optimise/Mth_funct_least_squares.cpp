#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "mth/core/Mth_new_array_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/optimise/Mth_funct.h"
#include "mth/optimise/Mth_funct_internal.h"
#include "mth/optimise/Mth_householder_internal.h"

// Least squares by Marquardt's method with Nielsen's damping.

namespace mth_internal {
namespace {

using Values = WorkArray<double>;

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
// Steps of a parameter, relative to it, where rounding and curvature do about the same harm: the root of
// epsilon, and about its third root.
constexpr double kDifferenceStep = 0x1p-26;
constexpr double kCentralStep = 0x1p-17;
constexpr double kFirstDamping = 1e-3;
constexpr double kSmallestNormal = std::numeric_limits<double>::min();  // steps of less may be 0

bool AreFinite(const double* values, std::ptrdiff_t count) {
  return std::all_of(values, values + count, [](double value) { return std::isfinite(value); });
}

double HalfSquareSum(const double* residuals, std::ptrdiff_t count) {
  return 0.5 * Dot(residuals, residuals, count);
}

// What became of a trial step.
enum class Trial : std::uint8_t { Accepted, Refused, Ended };

// The point that has been accepted, with all that is known of the residuals there. Whatever happens, the
// parameters and the value are its own in the end.
class LeastSquares {
 public:
  LeastSquares(MTH_FUNCT& cost, int residualsCount)
      : cost_(cost),
        n_(cost.GetParametersCount()),
        m_(residualsCount),
        point_(n_),
        residuals_(m_),
        trialResiduals_(m_),
        rotated_(m_),
        jacobian_(std::int64_t{m_} * n_),
        scales_(n_),
        step_(n_),
        damped_(2 * std::int64_t{n_} * n_),
        dampedRight_(2 * std::int64_t{n_}) {}
  ~LeastSquares() {
    if (!hasPoint_) return;
    CopyPoint(point_.Get(), n_, cost_.GetParameters());
    cost_.SetValue(value_);
  }
  LeastSquares(const LeastSquares&) = delete;
  LeastSquares& operator=(const LeastSquares&) = delete;

  bool IsAllocated() const {
    return point_ && residuals_ && trialResiduals_ && rotated_ && jacobian_ && scales_ && step_ && damped_ &&
           dampedRight_;
  }

  // @return whether the residuals are finite there.
  bool Begin(const double* start) {
    CopyPoint(start, n_, point_.Get());
    std::fill_n(scales_.Get(), n_, 0.0);
    value_ = std::numeric_limits<double>::quiet_NaN();
    hasPoint_ = true;
    if (!EvaluateAt(point_.Get(), residuals_.Get())) return false;
    value_ = HalfSquareSum(residuals_.Get(), m_);
    return std::isfinite(value_) && AreFinite(residuals_.Get(), m_);
  }

  // Central differences from now on, which are more exact and cost twice as much.
  void RefineDerivatives() { areCentral_ = true; }
  bool AreDerivativesRefined() const { return areCentral_; }

  // The derivatives of the residuals and their triangle. @return false where they are not finite.
  bool ComputeJacobian() {
    for (int j = 0; j < n_; ++j) {
      if (!ComputeColumn(j)) return false;
      const double norm = std::sqrt(Dot(Column(j), Column(j), m_));
      if (!std::isfinite(norm)) return false;  // nothing could be solved with it
      scales_[j] = std::max(scales_[j], norm);
    }
    std::copy_n(residuals_.Get(), m_, rotated_.Get());
    Triangularise(jacobian_.Get(), m_, n_, rotated_.Get());
    return true;
  }

  // The reduction of the value that the linear model promises for the step, which solves
  // (J^T J + damping D^2) step = -J^T residuals, D being the largest norms of the columns so far.
  double ComputeStep(double damping) {
    const std::ptrdiff_t rows = 2 * std::ptrdiff_t{n_};
    std::fill_n(damped_.Get(), rows * n_, 0.0);
    std::fill_n(dampedRight_.Get(), rows, 0.0);
    for (int j = 0; j < n_; ++j) {
      std::copy_n(Column(j), j + 1, damped_.Get() + j * rows);
      damped_[j * rows + n_ + j] = std::sqrt(damping) * Scale(j);
      dampedRight_[j] = -rotated_[j];
    }
    Triangularise(damped_.Get(), rows, n_, dampedRight_.Get());
    SolveTriangle(damped_.Get(), rows, n_, dampedRight_.Get(), step_.Get());
    double linear = 0.0;
    double penalty = 0.0;
    for (int i = 0; i < n_; ++i) {
      double moved = 0.0;
      for (int j = i; j < n_; ++j) moved += Column(j)[i] * step_[j];
      linear += moved * moved;
      penalty += Scale(i) * step_[i] * (Scale(i) * step_[i]);
    }
    return 0.5 * linear + damping * penalty;
  }

  // Whether the step is lost in the rounding of the parameters.
  bool IsStepLost() const {
    for (int j = 0; j < n_; ++j) {
      if (std::abs(step_[j]) > 0.5 * kEpsilon * std::abs(point_[j])) return false;
    }
    return true;
  }

  // Tries the step and goes there if that lowers the value.
  // @param reduction  receives by how much; -infinity for residuals that are not finite.
  Trial TryStep(double& reduction) {
    double* const trial = cost_.GetParameters();
    for (int j = 0; j < n_; ++j) trial[j] = point_[j] + step_[j];
    if (!cost_.EvaluateResiduals(trialResiduals_.Get())) return Trial::Ended;
    const double trialValue = HalfSquareSum(trialResiduals_.Get(), m_);
    reduction = std::isfinite(trialValue) ? value_ - trialValue : -std::numeric_limits<double>::infinity();
    if (!(reduction > 0.0)) return Trial::Refused;
    CopyPoint(trial, n_, point_.Get());
    std::copy_n(trialResiduals_.Get(), m_, residuals_.Get());
    value_ = trialValue;
    return Trial::Accepted;
  }

  double GetValue() const { return value_; }

  // What the linear model promises for the best of all steps.
  double LargestPromise() const { return HalfSquareSum(rotated_.Get(), n_); }

  // 2 value / (m - n) (J^T J)^-1 of the triangle of the last Jacobian.
  // @return false where there is none.
  bool ComputeCovariance(double* covariance) {
    // Differences tell columns from multiples of one another to half of the digits at best.
    const double kDependent = 8.0 * kDifferenceStep;
    for (int j = 0; j < n_; ++j) {
      const double norm = std::sqrt(Dot(Column(j), Column(j), j + 1));
      if (!(std::abs(Column(j)[j]) > kDependent * norm)) return false;
    }
    const double variance = 2.0 * value_ / (m_ - n_);
    double* const inverse =
        damped_.Get();  // of the triangle, row by row the solutions of unit right-hand sides
    for (int k = 0; k < n_; ++k) {
      std::fill_n(dampedRight_.Get(), n_, 0.0);
      dampedRight_[k] = 1.0;
      SolveTriangle(jacobian_.Get(), m_, n_, dampedRight_.Get(), inverse + std::ptrdiff_t{k} * n_);
    }
    for (std::ptrdiff_t i = 0; i < n_; ++i) {
      for (std::ptrdiff_t j = 0; j <= i; ++j) {
        double sum = 0.0;
        for (std::ptrdiff_t k = i; k < n_; ++k) sum += inverse[k * n_ + i] * inverse[k * n_ + j];
        covariance[i * n_ + j] = covariance[j * n_ + i] = variance * sum;
      }
    }
    return AreFinite(covariance, std::ptrdiff_t{n_} * n_);
  }

 private:
  double* Column(int j) const { return jacobian_.Get() + std::ptrdiff_t{j} * m_; }
  double Scale(int j) const { return scales_[j] > 0.0 ? scales_[j] : 1.0; }

  bool EvaluateAt(const double* point, double* residuals) {
    CopyPoint(point, n_, cost_.GetParameters());
    return cost_.EvaluateResiduals(residuals);
  }

  // The residuals with one parameter moved, and by how much it was after rounding.
  // @return false where they are not finite.
  bool EvaluateBeside(int j, double wantedStep, double* residuals, double& step) {
    const double wanted = point_[j] + wantedStep;
    step = wanted - point_[j];
    CopyPoint(point_.Get(), n_, cost_.GetParameters());
    cost_.GetParameters()[j] = wanted;
    hasEnded_ = hasEnded_ || !cost_.EvaluateResiduals(residuals);
    return !hasEnded_ && AreFinite(residuals, m_);
  }

  // Steps of a parameter's own size. Beside one that is tiny, but not 0, no residual may notice them: such a
  // parameter is taken for 0.
  bool ComputeColumn(int j) {
    const double size = std::abs(point_[j]);
    if (size < kSmallestNormal) return ComputeColumn(j, 1.0);
    if (!ComputeColumn(j, size)) return false;
    double* const column = Column(j);
    const bool isNoticed = std::any_of(column, column + m_, [](double slope) { return slope != 0.0; });
    if (isNoticed || size >= 1.0 || ComputeColumn(j, 1.0)) return true;
    std::fill_n(column, m_, 0.0);
    return !hasEnded_;
  }

  // A difference to one side is enough, or all there is where the other side is not finite.
  bool ComputeColumn(int j, double unit) {
    double* const column = Column(j);
    const double size = unit * (areCentral_ ? kCentralStep : kDifferenceStep);
    double stepAfter = 0.0;
    double stepBefore = 0.0;
    const bool hasAfter = EvaluateBeside(j, size, column, stepAfter);
    const bool needsBefore = areCentral_ || !hasAfter;
    const bool hasBefore = needsBefore && EvaluateBeside(j, -size, trialResiduals_.Get(), stepBefore);
    if (hasEnded_ || !(hasAfter || hasBefore)) return false;
    const double* const after = hasAfter ? column : residuals_.Get();
    const double* const before = hasBefore ? trialResiduals_.Get() : residuals_.Get();
    const double span = (hasAfter ? stepAfter : 0.0) - (hasBefore ? stepBefore : 0.0);
    for (int i = 0; i < m_; ++i) column[i] = (after[i] - before[i]) / span;
    return AreFinite(column, m_);
  }

  MTH_FUNCT& cost_;
  int n_;
  int m_;
  Values point_;
  Values residuals_;
  Values trialResiduals_;
  Values rotated_;   // the residuals seen from the triangle
  Values jacobian_;  // column-major; its triangle once it is reduced
  Values scales_;    // D: the largest norm of each column so far
  Values step_;
  Values damped_;  // the triangle over the damping, 2 n x n
  Values dampedRight_;
  double value_ = 0.0;
  bool hasPoint_ = false;
  bool areCentral_ = false;
  bool hasEnded_ = false;  // by the cost function itself
};

// Nielsen's damping: it falls with the quality of the steps that pay, and grows ever faster while none does.
class Damping {
 public:
  double Get() const { return factor_; }
  void Shrink(double gainRatio) {
    const double distance = 2.0 * gainRatio - 1.0;
    factor_ *= std::max(1.0 / 3.0, 1.0 - distance * distance * distance);
    growth_ = 2.0;
  }
  void Grow() {
    factor_ *= growth_;
    growth_ *= 2.0;
  }

 private:
  double factor_ = kFirstDamping;
  double growth_ = 2.0;
};

enum class Phase : std::uint8_t { GoesOn, HasSettled, IsLost };

// One trial step. Settled is a run whose step, and what the linear model promises, change the value by no
// more than the tolerance, or by nothing that rounding leaves.
Phase Advance(LeastSquares& problem, Damping& damping, double ftol) {
  const double value = problem.GetValue();
  const double largestPromise = problem.LargestPromise();
  const double promised = problem.ComputeStep(damping.Get());
  if (!(promised > 0.0) || !std::isfinite(promised) || problem.IsStepLost()) return Phase::HasSettled;
  double reduction = 0.0;
  const Trial trial = problem.TryStep(reduction);
  if (trial == Trial::Ended) return Phase::IsLost;
  if (trial == Trial::Refused) {
    damping.Grow();
    return largestPromise <= std::max(ftol, kEpsilon) * value ? Phase::HasSettled : Phase::GoesOn;
  }
  damping.Shrink(reduction / promised);
  const bool isSmall = reduction <= ftol * value && promised <= ftol * value;
  if (isSmall && !problem.AreDerivativesRefined()) return Phase::HasSettled;
  if (!problem.ComputeJacobian()) return Phase::IsLost;
  return isSmall && problem.LargestPromise() <= ftol * value ? Phase::HasSettled : Phase::GoesOn;
}

// From a point whose residuals are finite. Forward differences lead to the minimum; there central ones take
// over, and tell whether it is one. In the end the triangle is that of the last point.
MTH_STOP_REASON Descend(LeastSquares& problem, double ftol, int maxIter, int& count) {
  if (!problem.ComputeJacobian()) return MTH_STOP_REASON::NotFinite;
  Damping damping;
  while (count < maxIter) {
    ++count;
    const Phase phase = Advance(problem, damping, ftol);
    if (phase == Phase::IsLost) return MTH_STOP_REASON::NotFinite;
    if (phase == Phase::HasSettled) {
      if (problem.AreDerivativesRefined()) return MTH_STOP_REASON::Converged;
      damping = Damping();
      problem.RefineDerivatives();
      if (!problem.ComputeJacobian()) return MTH_STOP_REASON::NotFinite;
      if (problem.LargestPromise() <= ftol * problem.GetValue()) return MTH_STOP_REASON::Converged;
    }
    if (Std_IsCancelRequested()) return MTH_STOP_REASON::Cancelled;
  }
  return MTH_STOP_REASON::IterationCap;
}

}  // namespace
}  // namespace mth_internal

bool MTH_FUNCT::ComputeOptimumLeastSquares(double* start, double ftol, int maxIter, int* iterations) {
  int unreported = 0;
  int& count = iterations != nullptr ? *iterations : unreported;
  count = 0;
  covariance_.reset();
  stopReason_ = MTH_STOP_REASON::BadInput;
  const int residualsCount = GetResidualsCount();
  if (residualsCount < 1 || residualsCount < parametersCount_) return false;
  stopReason_ = MTH_STOP_REASON::NoMemory;
  const std::int64_t columns = std::int64_t{parametersCount_} + 3;  // the Jacobian's, and of residuals
  if (!mth_internal::HasMemoryForBlocks(columns, residualsCount * std::int64_t{sizeof(double)})) return false;
  mth_internal::LeastSquares problem(*this, residualsCount);
  if (isStarved_ || !problem.IsAllocated()) return false;
  stopReason_ = MTH_STOP_REASON::NotRun;
  const bool isFinite = problem.Begin(start != nullptr ? start : parameters_.get());
  stopReason_ = isFinite ? mth_internal::Descend(problem, ftol, maxIter, count) : MTH_STOP_REASON::NotFinite;
  if (stopReason_ == MTH_STOP_REASON::NotFinite || residualsCount == parametersCount_) {
    return stopReason_ == MTH_STOP_REASON::Converged;
  }
  covariance_ = mth_internal::NewArray<double>(std::ptrdiff_t{parametersCount_} * parametersCount_);
  if (covariance_ && !problem.ComputeCovariance(covariance_.get())) covariance_.reset();
  return stopReason_ == MTH_STOP_REASON::Converged;
}
