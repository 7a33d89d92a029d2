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
#include "mth/decomposition/Mth_scaling_internal.h"
#include "mth/matrix/Mth_product_kernel_internal.h"
#include "mth/matrix/Mth_transpose_kernel_internal.h"

// The discrete Riccati equation: by doubling and, where that leaves a doubt, by the ordered generalised Schur
// form of its extended pencil (Van Dooren).

namespace mth_internal {
namespace {

constexpr int kMostPasses = 4;  // of finding the size of the solution
constexpr int kMostSteps = 3;   // of Newton's method
constexpr double kConfirmingChange = 1e-4;
constexpr double kRounding = 1e-12;    // a change that no step makes smaller
constexpr double kLargeChange = 1e-7;  // its square is not yet rounding

// A replacement that cannot be had is none; one without memory is a failure.
int OnlyMemory(int refusal) {
  return refusal == 1 ? 1 : 0;
}

// The closed loop A - B (R + Bt X B)^-1 Bt X A and the feedback B (R + Bt X B)^-1 Bt of a solution.
class ClosedLoop {
 public:
  // `pencil` is as Fill has just written it.
  ClosedLoop(const ExtendedPencil& pencil, std::int64_t n)
      : n_(n), m_(pencil.InputsCount()), memory_(2 * m_ * n_ + 2 * m_ * m_ + 6 * n_ * n_), order_(n_) {
    if (!*this) return;
    for (std::int64_t j = 0; j < m_; ++j) {
      for (std::int64_t i = 0; i < n_; ++i) B()[i * m_ + j] = pencil.InputAt(i, j);
      for (std::int64_t i = 0; i < m_; ++i) R()[i * m_ + j] = pencil.CostAt(i, j);
    }
  }
  explicit operator bool() const { return memory_ && order_; }

  // @return  0, 1 or 9 for a singular R + Bt X B.
  int Find(SquareView a, SquareView x, SquareView feedback, SquareView closed) const {
    double* image = R() + m_ * m_;
    double* costs = image + m_ * n_;
    Multiply<double>({x.elements, B(), image, n_, n_, m_});
    for (std::int64_t i = 0; i < m_; ++i) {
      for (std::int64_t j = 0; j < m_; ++j) {
        double sum = R()[i * m_ + j];
        for (std::int64_t k = 0; k < n_; ++k) sum += B()[k * m_ + i] * image[k * m_ + j];
        costs[i * m_ + j] = sum;
      }
    }
    Symmetrise({costs, m_});
    if (const int refusal = MakeFeedback(costs, B(), n_, m_, feedback)) return refusal == 6 ? 9 : refusal;
    const SquareView work = Square(0);
    Multiply<double>({feedback.elements, x.elements, work.elements, n_, n_, n_});
    for (std::int64_t i = 0; i < n_ * n_; ++i) work.elements[i] = 0.0 - work.elements[i];
    for (std::int64_t i = 0; i < n_; ++i) work[i][i] += 1.0;
    Multiply<double>({work.elements, a.elements, closed.elements, n_, n_, n_});
    return ReplaceWithoutCancellation(a, x, feedback, closed);
  }

 private:
  double* B() const { return memory_.Get(); }
  double* R() const { return memory_.Get() + m_ * n_; }
  SquareView Square(int index) const {
    return {memory_.Get() + 2 * m_ * n_ + 2 * m_ * m_ + index * n_ * n_, n_};
  }

  // A fast plant is left with the small difference of large terms. (I + G X)^-1 A with G = B R^-1 Bt is the
  // same without a difference, where R is regular and G X is not too large.
  // @return  0, or 1 without memory.
  int ReplaceWithoutCancellation(SquareView a, SquareView x, SquareView feedback, SquareView closed) const {
    const SquareView g = Square(0);
    const SquareView sum = Square(1);
    const SquareView factors = Square(2);
    const SquareView sides{Square(3).elements, n_};  // two of them side by side
    if (const int refusal = MakeFeedback(R(), B(), n_, m_, g)) return OnlyMemory(refusal);
    Multiply<double>({g.elements, x.elements, sum.elements, n_, n_, n_});
    const double size = LargestMagnitude(sum.elements, n_ * n_);
    for (std::int64_t i = 0; i < n_; ++i) sum[i][i] += 1.0;
    if (const int refusal = FactorMatrix<double>(sum.elements, n_, factors.elements, order_.Get()))
      return OnlyMemory(refusal);
    const std::int64_t width = 2 * n_;
    for (std::int64_t i = 0; i < n_; ++i) {
      std::copy_n(a[order_[i]], n_, sides.elements + i * width);
      std::copy_n(g[order_[i]], n_, sides.elements + i * width + n_);
    }
    if (const int refusal = SolveFactoredRows<double>(factors.elements, n_, sides.elements, width, false))
      return OnlyMemory(refusal);
    double left = 0.0;
    for (std::int64_t i = 0; i < n_; ++i)
      left = std::max(left, LargestMagnitude(sides.elements + i * width, n_));
    if (!(size * left <= 4.0 * LargestMagnitude(a.elements, n_ * n_))) return 0;
    for (std::int64_t i = 0; i < n_; ++i) {
      std::copy_n(sides.elements + i * width, n_, closed[i]);
      std::copy_n(sides.elements + i * width + n_, n_, feedback[i]);
    }
    Symmetrise(feedback);
    return 0;
  }

  std::int64_t n_;
  std::int64_t m_;
  WorkArray<double> memory_;
  WorkArray<int> order_;
};

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
        memory_(16 * n_ * n_ + 4 * n_),
        complexMemory_(12 * n_ * n_),
        isSmall_(2 * n_) {}
  explicit operator bool() const { return extended_ && memory_ && complexMemory_ && isSmall_; }

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
    if (const int refusal = extended_.Fill(system_, *units)) return {refusal, true};
    const ClosedLoop loop(extended_, n_);
    if (!loop) return {1};
    WriteA(*units);
    return ConfirmDoubling(*units, loop, x);
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
    return attempt.status == 0 ? Confirm(*units, x) : attempt;
  }

  // In the units of what each state would cost by itself; `units` tells that of the others.
  RiccatiAttempt SolveInOwnUnits(SquareView x, RiccatiUnits* units) {
    const RiccatiFeedback feedback = Feedback();
    if (const int refusal = FindFeedback(feedback)) return {refusal};
    double* logarithms = memory_.Get() + n_ * n_;
    for (std::int64_t i = 0; i < n_; ++i) logarithms[i] = OwnLogarithm({system_, feedback, i});
    ChooseUnits(logarithms, units->exponent, n_, units);
    const RiccatiAttempt attempt = SolvePencil(*units, x);
    return attempt.status == 0 ? Confirm(*units, x) : attempt;
  }

 private:
  SquareView Work(int index) const { return {memory_.Get() + index * n_ * n_, n_}; }
  SquareView A() const { return Work(0); }
  SquareView FeedbackOfSolution() const { return Work(1); }
  SquareView Closed() const { return Work(2); }
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
  void WriteA(const RiccatiUnits& units) const {
    for (std::int64_t i = 0; i < n_; ++i) {
      for (std::int64_t j = 0; j < n_; ++j) A()[i][j] = AAt(units, i, j);
    }
  }

  // One step of Newton's method, after WriteA; leaves the closed loop and its feedback.
  // @return  0, 1 or 9 for a singular R + Bt X B.
  int Improve(const RiccatiUnits& units, const ClosedLoop& loop, SquareView x, double* change,
              double* margin) const {
    if (const int refusal = loop.Find(A(), x, FeedbackOfSolution(), Closed())) return refusal;
    WriteResidual(units, A(), x, Closed(), Work(5));
    *change = Refine(x, Closed(), Work(5), true, margin);
    return std::isnan(*change) ? 1 : 0;
  }

  // At X (closed loop) - X + Q.
  void WriteResidual(const RiccatiUnits& units, SquareView a, SquareView x, SquareView closed,
                     SquareView residual) const {
    const SquareView transposed = Work(3);
    const SquareView product = Work(4);
    Transpose<double>(a.elements, n_, n_, transposed.elements);
    Multiply<double>({transposed.elements, x.elements, product.elements, n_, n_, n_});
    Multiply<double>({product.elements, closed.elements, residual.elements, n_, n_, n_});
    for (std::int64_t i = 0; i < n_; ++i) {
      for (std::int64_t j = 0; j < n_; ++j) residual[i][j] += QAt(units, i, j) - x[i][j];
    }
  }

  // The size of the terms of the equation, after WriteA.
  double DoubtOf(const RiccatiUnits& units, SquareView x) const {
    double sizeOfQ = 0.0;
    for (std::int64_t i = 0; i < n_; ++i) {
      for (std::int64_t j = 0; j < n_; ++j) sizeOfQ = std::max(sizeOfQ, std::abs(QAt(units, i, j)));
    }
    const double size = NormOf(A());
    return (size * size + 1.0) * NormOf(x) + sizeOfQ;
  }

  // A step of Newton's method confirms what doubling has found. Where it is no rounding more follow, but they
  // make the solution better only if they become smaller: of a fast plant their rounding is larger than that
  // of doubling, which cancels less.
  RiccatiAttempt ConfirmDoubling(const RiccatiUnits& units, const ClosedLoop& loop, SquareView x) const {
    const SquareView improved = Work(6);
    std::copy_n(x.elements, n_ * n_, improved.elements);
    double change = 0.0;
    double margin = 0.0;
    if (const int refusal = Improve(units, loop, improved, &change, &margin)) return {refusal, true};
    if (!(change <= kConfirmingChange) ||
        !IsClearlyStable(margin, Closed(), FeedbackOfSolution(), DoubtOf(units, x), true))
      return {0, true};
    for (int step = 0; step < kMostSteps && change > kRounding; ++step) {
      const double former = change;
      if (const int refusal = Improve(units, loop, improved, &change, nullptr)) return {refusal, true};
      if (!(change <= 0.05 * former)) break;
      std::copy_n(improved.elements, n_ * n_, x.elements);
    }
    return {0};
  }

  // Newton's method, one step where the form has left rounding alone, and a look at how near the closed loop
  // is to its boundary.
  RiccatiAttempt Confirm(const RiccatiUnits& units, SquareView x) {
    if (const int refusal = extended_.Fill(system_, units)) return {refusal};
    WriteA(units);
    const ClosedLoop loop(extended_, n_);
    if (!loop) return {1};
    double change = 0.0;
    int steps = 0;
    do {
      if (const int refusal = Improve(units, loop, x, &change, nullptr)) return {refusal, refusal == 9};
    } while (std::isfinite(change) && change > kLargeChange && ++steps < kMostSteps);
    const bool isLost = NormOf(x) == 0.0 && !system_.q.isZero;
    const double doubt = DoubtOf(units, x);
    double margin = std::numeric_limits<double>::infinity();
    const ComplexPencil form = Form();
    for (std::int64_t k = 0; k < n_; ++k) {
      const std::int64_t diagonal = k * (2 * n_ + 1);
      margin = std::min(margin, 1.0 - Modulus(form.a[diagonal]) / Modulus(form.b[diagonal]));
    }
    const std::optional<bool> isOnBoundary =
        IsOnBoundary(margin, Closed(), FeedbackOfSolution(), doubt, true);
    if (!isOnBoundary) return {1};
    return {0, isLost || !std::isfinite(change), *isOnBoundary};
  }

  const RiccatiSystem& system_;
  std::int64_t n_;
  ExtendedPencil extended_;
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
