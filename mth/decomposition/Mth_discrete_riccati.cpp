#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_extended_pencil_internal.h"
#include "mth/decomposition/Mth_lu_internal.h"
#include "mth/decomposition/Mth_lyapunov_internal.h"
#include "mth/decomposition/Mth_ordering_internal.h"
#include "mth/decomposition/Mth_qz_internal.h"
#include "mth/decomposition/Mth_riccati_internal.h"
#include "mth/decomposition/Mth_riccati_residual_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"
#include "mth/matrix/Mth_product_kernel_internal.h"
#include "mth/matrix/Mth_transpose_kernel_internal.h"

// The discrete Riccati equation: by doubling and, where that leaves a doubt, by the ordered generalised Schur
// form of its extended pencil (Van Dooren).

namespace mth_internal {
namespace {

constexpr int kMostPasses = 4;  // of finding the size of the solution

// What the discrete equation of one state would be solved by: log2 of x in g x x + (1 - a a - q g) x = q.
double OwnLogarithm(const ScalarRiccati& own) {
  constexpr double kFar = 0x1p500;
  const double modulus = std::abs(own.elementOfA);
  const bool isFast = modulus > 1.0;
  const double growth = modulus > kFar ? 2.0 * own.a : RoughLogarithm((modulus - 1.0) * (modulus + 1.0));
  const double product = own.q + own.g;
  if (isFast) return std::max({growth, product, 0.5 * product}) - own.g;
  if (product > growth) return std::max(product, 0.5 * product) - own.g;
  return own.q - std::max(growth, 0.5 * product);
}

class DiscreteRiccati {
 public:
  explicit DiscreteRiccati(const RiccatiSystem& system)
      : system_(system),
        n_(system.a.rows),
        extended_(n_, system.b.columns),
        residual_(n_, system.b.columns),
        memory_(16 * n_ * n_ + 4 * n_),
        complexMemory_(12 * n_ * n_),
        isSmall_(2 * n_) {}
  explicit operator bool() const { return extended_ && residual_ && memory_ && complexMemory_ && isSmall_; }

  const int* States() const { return system_.states; }

  // One state, unless its R is singular.
  // @return  a status; 6 for a singular R.
  int SolveOneState(SquareView x) const {
    const RiccatiFeedback feedback = Feedback();
    if (const int refusal = FindFeedback(feedback)) return refusal;
    return mth_internal::SolveOneState(system_, feedback, true, x.elements);
  }

  // Where R is regular.
  RiccatiAttempt SolveByDoubling(SquareView x, RiccatiUnits* units) {
    std::fill_n(units->states, n_, 0);
    if (const int refusal = Balance(units)) return {refusal};
    const RiccatiFeedback feedback = Feedback();
    const SquareView g = Work(6);
    const SquareView a = Work(7);
    for (std::int64_t i = 0; i < n_; ++i) {
      for (std::int64_t j = 0; j < n_; ++j) {
        a[i][j] = AAt(*units, i, j);
        g[i][j] = std::ldexp(feedback.elements[i][j], units->Of(i, j) - feedback.exponent);
        x[i][j] = QAt(*units, i, j);
      }
    }
    if (const int refusal = mth_internal::SolveByDoubling({a, g, x}, true)) return {refusal, true};
    double change = 0.0;
    double margin = 0.0;
    if (const int refusal = Improve(*units, x, &change, &margin)) return {refusal, true};
    if (!(change <= kSettledChange)) return {9, true};
    return {0, !IsClearlyStable(margin, Closed(), FeedbackOfSolution(), DoubtOf(x), true)};
  }

  // In units that balance the equation, beside one that the solution chooses.
  RiccatiAttempt SolveInBalancedUnits(SquareView x, RiccatiUnits* units) {
    std::fill_n(units->states, n_, 0);
    if (Balance(units) == 1) return {1};
    units->exponent = FirstExponent(*units);
    RiccatiAttempt attempt;
    for (int pass = 1;; ++pass) {
      attempt = SolvePencil(*units, x);
      const int change = attempt.status == 0 || attempt.status == 10 ? ExponentToUnit(x) : 0;
      if (change == 0 || pass == kMostPasses) break;
      units->exponent += change;
    }
    return Confirm(attempt, *units, x);
  }

  // In the units of what each state would cost by itself; `units` tells that of the others.
  RiccatiAttempt SolveInOwnUnits(SquareView x, RiccatiUnits* units) {
    const RiccatiFeedback feedback = Feedback();
    if (const int refusal = FindFeedback(feedback)) return {refusal};
    double* logarithms = memory_.Get() + n_ * n_;
    for (std::int64_t i = 0; i < n_; ++i) logarithms[i] = OwnLogarithm({system_, feedback, i});
    ChooseUnits(logarithms, units->exponent, n_, units);
    const RiccatiAttempt attempt = SolvePencil(*units, x);
    return Confirm(attempt, *units, x);
  }

 private:
  SquareView Work(int index) const { return {memory_.Get() + index * n_ * n_, n_}; }
  SquareView A() const { return Work(0); }
  SquareView FeedbackOfSolution() const { return Work(1); }
  SquareView Closed() const { return Work(2); }
  SquareView Q() const { return Work(3); }
  ComplexPencil Form() const {
    Complex* first = complexMemory_.Get();
    return {first, first + 4 * n_ * n_, first + 8 * n_ * n_, 2 * n_};
  }

  RiccatiFeedback Feedback() const { return {Work(0), 2 * system_.b.exponent - system_.r.exponent}; }
  int FindFeedback(const RiccatiFeedback& feedback) const {
    return MakeFeedback(system_.r.elements, system_.b.elements, n_, system_.b.columns, feedback.elements);
  }

  // The states as they stand where R is singular.
  // @return  0, 1 or 6 for a singular R.
  int Balance(RiccatiUnits* units) {
    const RiccatiFeedback feedback = Feedback();
    if (const int refusal = FindFeedback(feedback)) return refusal;
    units->exponent = ExponentToBalance(system_, feedback);
    ChooseBalancedStates(system_, feedback, {Work(1), Work(2), Work(3)}, memory_.Get() + 16 * n_ * n_, units);
    return 0;
  }

  // The unit of the unknown to begin with: that of Q, or of what R costs where Q is 0.
  int FirstExponent(const RiccatiUnits& units) const {
    if (system_.q.isZero)
      return system_.r.isZero || system_.b.isZero ? 0 : 2 * system_.b.exponent - system_.r.exponent;
    int largest = std::numeric_limits<int>::min();
    for (std::int64_t i = 0; i < n_; ++i) {
      for (std::int64_t j = 0; j < n_; ++j) {
        if (const double element = system_.q.At(i, j); element != 0.0)
          largest = std::max(largest, std::ilogb(element) - units.states[i] - units.states[j]);
      }
    }
    return largest - system_.q.exponent;
  }

  RiccatiAttempt SolvePencil(const RiccatiUnits& units, SquareView x) {
    if (const int refusal = extended_.Fill(system_, units)) return {refusal};
    if (const int refusal = extended_.RemoveInputs()) return {refusal};
    Pencil pencil = PencilIn(memory_.Get(), 2 * n_);
    pencil.qt.size = 0;
    extended_.CopyTo(pencil.a, pencil.b);
    if (!ReduceToGeneralisedSchur(pencil, memory_.Get() + 16 * n_ * n_)) return {5};
    const ComplexPencil form = Form();
    if (MoveSmallUp(pencil, form, isSmall_.Get()) != n_) return {9, true};
    const int status = SolveSubspace(form.zt, x);
    return {status, status != 0};
  }

  double QAt(const RiccatiUnits& units, std::int64_t i, std::int64_t j) const {
    return std::ldexp(system_.q.At(i, j), -system_.q.exponent - units.Of(i, j));
  }

  double AAt(const RiccatiUnits& units, std::int64_t i, std::int64_t j) const {
    return std::ldexp(system_.a.At(i, j), units.states[i] - units.states[j] - system_.a.exponent);
  }

  // Newton's method; leaves A, Q, the closed loop and its feedback.
  // @return  0, 1, 5 or 9 for a singular R + Bt X B.
  int Improve(const RiccatiUnits& units, SquareView x, double* change, double* margin) {
    for (std::int64_t i = 0; i < n_; ++i) {
      for (std::int64_t j = 0; j < n_; ++j) {
        A()[i][j] = AAt(units, i, j);
        Q()[i][j] = QAt(units, i, j);
      }
    }
    residual_.Fill(system_, units, 0);
    if (const int refusal = residual_.Improve(A(), Q(), x, true, Closed(), change, margin)) return refusal;
    return residual_.FindFeedback(FeedbackOfSolution());
  }

  // The size of the terms of the equation, after Improve.
  double DoubtOf(SquareView x) const {
    const double size = NormOf(A());
    return (size * size + 1.0) * NormOf(x) + LargestMagnitude(Q().elements, n_ * n_);
  }

  // The same of each element.
  SquareView DoubtsOf(SquareView x) const {
    const SquareView doubts = Work(4);
    const SquareView product = Work(5);
    const SquareView size = Work(6);
    const SquareView sizeOfA = Work(7);
    TakeMagnitudes(x, size);
    TakeMagnitudes(A(), sizeOfA);
    Multiply<double>({size.elements, sizeOfA.elements, product.elements, n_, n_, n_});
    const SquareView transposed = Work(8);
    Transpose<double>(sizeOfA.elements, n_, n_, transposed.elements);
    Multiply<double>({transposed.elements, product.elements, doubts.elements, n_, n_, n_});
    for (std::int64_t k = 0; k < n_ * n_; ++k)
      doubts.elements[k] += size.elements[k] + std::abs(Q().elements[k]);
    return doubts;
  }

  // Newton's method, and a look at how near the closed loop is to its boundary.
  RiccatiAttempt Confirm(const RiccatiAttempt& attempt, const RiccatiUnits& units, SquareView x) {
    if (attempt.status != 0 && attempt.status != 10) return attempt;
    double change = 0.0;
    double stability = 0.0;
    if (const int refusal = Improve(units, x, &change, &stability))
      return refusal == 9 && attempt.status == 10 ? attempt : RiccatiAttempt{refusal, refusal == 9};
    const bool isLost = NormOf(x) == 0.0 && !system_.q.isZero;
    double margin = std::numeric_limits<double>::infinity();
    const ComplexPencil form = Form();
    for (std::int64_t k = 0; k < n_; ++k) {
      const std::int64_t diagonal = k * (2 * n_ + 1);
      margin = std::min(margin, 1.0 - Modulus(form.a[diagonal]) / Modulus(form.b[diagonal]));
    }
    const std::optional<bool> isOnBoundary =
        IsOnBoundary(margin, Closed(), FeedbackOfSolution(), DoubtsOf(x), true);
    if (!isOnBoundary) return {1};
    return {attempt.status, attempt.isDoubtful || isLost || !(change <= kSettledChange), *isOnBoundary};
  }

  const RiccatiSystem& system_;
  std::int64_t n_;
  ExtendedPencil extended_;
  RiccatiResidual residual_;
  WorkArray<double> memory_;
  WorkArray<Complex> complexMemory_;
  WorkArray<bool> isSmall_;
};

}  // namespace

int SolveDiscreteRiccati(const RiccatiSystem& system, SquareView x) {
  DiscreteRiccati equation(system);
  if (!equation) return 1;
  const int status = system.a.rows == 1 ? equation.SolveOneState(x) : 6;
  return status != 6 ? status : SolveByAttempts(equation, x);
}

}  // namespace mth_internal
