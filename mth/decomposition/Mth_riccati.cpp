#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/core/Mth_complex_number_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_lu_internal.h"
#include "mth/decomposition/Mth_lyapunov_internal.h"
#include "mth/decomposition/Mth_ordering_internal.h"
#include "mth/decomposition/Mth_riccati_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"
#include "mth/decomposition/Mth_schur_internal.h"
#include "mth/matrix/Mth_product_kernel_internal.h"

// The continuous Riccati equation: by doubling and, where that leaves a doubt, by ordered Schur vectors
// (Laub).

namespace mth_internal {
namespace {

constexpr int kMostPasses = 4;         // of finding the size of the solution
constexpr int kMostSteps = 4;          // of Newton's method after doubling
constexpr double kSmallChange = 1e-8;  // its square is rounding
constexpr int kFreeExponents = 10;     // by which Q and G may differ beyond A for the sake of the solution

// [A -G; -Q -At].
void WriteTo(SquareView h, const RiccatiTerms& terms) {
  const std::int64_t n = terms.a.size;
  for (std::int64_t i = 0; i < n; ++i) {
    for (std::int64_t j = 0; j < n; ++j) {
      h[i][j] = terms.a[i][j];
      h[i][n + j] = 0.0 - terms.g[i][j];
      h[n + i][j] = 0.0 - terms.q[i][j];
      h[n + i][n + j] = 0.0 - terms.a[j][i];
    }
  }
}

struct ContinuousWork {
  explicit ContinuousWork(std::int64_t n) : memory(13 * n * n + 6 * n), size(n) {}
  SquareView At(int index) const { return {memory.Get() + index * size * size, size}; }
  SquareView Large(int index) const { return {memory.Get() + (5 + 4 * index) * size * size, 2 * size}; }
  double* Rest() const { return memory.Get() + 13 * size * size; }
  WorkArray<double> memory;
  std::int64_t size;
};

class ContinuousRiccati {
 public:
  ContinuousRiccati(const RiccatiSystem& system, const ContinuousWork& work)
      : system_(system),
        work_(work),
        n_(work.size),
        feedback_{work.At(0), 2 * system.b.exponent - system.r.exponent} {}

  // To be called first. 0, 1 or 6.
  int FindFeedback() {
    return MakeFeedback(system_.r.elements, system_.b.elements, n_, system_.b.columns, feedback_.elements);
  }

  const int* States() const { return system_.states; }
  const RiccatiFeedback& Feedback() const { return feedback_; }

  RiccatiAttempt SolveByDoubling(SquareView x, RiccatiUnits* units) const {
    units->exponent = ExponentToBalance(system_, feedback_);
    const RiccatiTerms terms{A(), G(), Q()};
    ChooseBalancedStates(system_, feedback_, terms, work_.Rest(), units);
    WriteTerms(system_, feedback_, *units, terms);
    const std::int64_t area = n_ * n_;
    double* copies = work_.Large(1).elements;
    std::copy_n(terms.a.elements, area, copies);
    std::copy_n(terms.g.elements, area, copies + area);
    std::copy_n(terms.q.elements, area, x.elements);
    if (const int refusal = mth_internal::SolveByDoubling({{copies, n_}, {copies + area, n_}, x}, false))
      return {refusal, true};
    for (int i = 0; i < kMostSteps; ++i) {
      double margin = 0.0;
      const double change = Improve(x, work_.Large(0), &margin);
      if (std::isnan(change)) return {1};
      if (!std::isfinite(change)) break;
      if (change <= kSmallChange) return {0, !IsClearlyStable(margin, Closed(), G(), DoubtOf(x), false)};
    }
    return {9, true};
  }

  // In one unit for all states, which the solution has a say in.
  RiccatiAttempt SolveInBalancedUnits(SquareView x, RiccatiUnits* units) const {
    const int first = ExponentToBalance(system_, feedback_);
    const bool hasAll = !system_.a.isZero && !system_.q.isZero && !feedback_.IsZero();
    const int ofA = (feedback_.exponent + system_.q.exponent) / 2 - system_.a.exponent;
    const int slack = kFreeExponents + (hasAll ? std::max(0, ofA) : 0);
    units->exponent = first;
    ChooseBalancedStates(system_, feedback_, {A(), G(), Q()}, work_.Rest(), units);
    for (int pass = 1;; ++pass) {
      const RiccatiAttempt attempt = Solve(*units, true, x);
      if (pass == kMostPasses || (attempt.status != 0 && attempt.status != 10)) return attempt;
      // A unit that makes the solution about 1, where Q and G stay small beside A.
      const int next = std::clamp(units->exponent + ExponentToUnit(x), first - slack, first + slack);
      if (next == units->exponent) return attempt;
      units->exponent = next;
    }
  }

  // In the units of what each state would cost by itself; `units` tells that of the others.
  RiccatiAttempt SolveInOwnUnits(SquareView x, RiccatiUnits* units) const {
    double* logarithms = work_.Rest();
    for (std::int64_t i = 0; i < n_; ++i) {
      const ScalarRiccati own(system_, feedback_, i);  // g x x = 2 a x + q
      const double root = std::max(own.a, 0.5 * (own.g + own.q));
      logarithms[i] = own.elementOfA > 0.0 ? root - own.g : own.q - root;
    }
    ChooseUnits(logarithms, units->exponent, n_, units);
    return Solve(*units, false, x);
  }

 private:
  SquareView A() const { return work_.At(1); }
  SquareView G() const { return work_.At(2); }
  SquareView Q() const { return work_.At(3); }
  SquareView Closed() const { return work_.At(4); }

  RiccatiAttempt Solve(const RiccatiUnits& units, bool isBalanced, SquareView x) const {
    const RiccatiTerms terms{A(), G(), Q()};
    WriteTerms(system_, feedback_, units, terms);
    double* scales = work_.Rest() + 4 * n_;
    std::fill_n(scales, n_, 1.0);
    if (isBalanced) BalanceStates(terms, scales);
    const SquareView h = work_.Large(0);
    const SquareView qt = work_.Large(1);
    WriteTo(h, terms);
    if (!DecomposeBySchur(h, qt, work_.Rest())) return {5};
    const std::int64_t stable = MoveNegativeUp(h, qt);
    if (stable != n_) return {stable < 0 ? 5 : 9};
    const int status = SolveSubspace(qt.elements, x);
    if (status != 0 && status != 10) return {status, status == 9};
    const RiccatiAttempt attempt = Confirm(status, h, x);
    for (std::int64_t i = 0; i < n_; ++i) {
      for (std::int64_t j = 0; j < n_; ++j) x[i][j] = x[i][j] / scales[i] / scales[j];
    }
    return attempt;
  }

  // The size of the terms of the equation.
  double DoubtOf(SquareView x) const {
    const double size = NormOf(x);
    return 2.0 * NormOf(A()) * size + NormOf(Q()) + NormOf(G()) * size * size;
  }

  // A look at how near the closed loop is to its boundary, and one step of Newton's method.
  // @param form  the Schur form of the Hamiltonian matrix, the stable eigenvalues first; destroyed.
  RiccatiAttempt Confirm(int status, SquareView form, SquareView x) const {
    double margin = std::numeric_limits<double>::infinity();
    for (std::int64_t k = 0; k < n_; ++k) margin = std::min(margin, -form[k][k]);
    margin /= NormOf(form);
    const double doubt = DoubtOf(x);
    const bool isLost = NormOf(x) == 0.0 && !system_.q.isZero;
    const double change = Improve(x, form, nullptr);
    if (std::isnan(change)) return {1};
    const bool isConfirmed = std::isfinite(change) && !isLost;
    const std::optional<bool> isOnBoundary = IsOnBoundary(margin, Closed(), G(), doubt, false);
    if (!isOnBoundary) return {1};
    return {status, status == 10 || !isConfirmed, *isOnBoundary};
  }

  // One step of Newton's method, as Refine; leaves the closed loop in Closed().
  // @param work  2 n rows.
  double Improve(SquareView x, SquareView work, double* margin) const {
    const SquareView a = A();
    const SquareView closed = Closed();
    Multiply<double>({G().elements, x.elements, closed.elements, n_, n_, n_});
    for (std::int64_t i = 0; i < n_ * n_; ++i) closed.elements[i] = a.elements[i] - closed.elements[i];
    // At X + X A - X G X + Q = Y + Yt + Q with Y = (A - G X / 2)t X.
    const SquareView half{work.elements, n_};
    const SquareView residual{work.elements + n_ * n_, n_};
    const SquareView product{work.elements + 2 * n_ * n_, n_};
    for (std::int64_t i = 0; i < n_; ++i) {
      for (std::int64_t j = 0; j < n_; ++j) half[j][i] = 0.5 * (a[i][j] + closed[i][j]);
    }
    Multiply<double>({half.elements, x.elements, product.elements, n_, n_, n_});
    for (std::int64_t i = 0; i < n_; ++i) {
      for (std::int64_t j = 0; j < n_; ++j) residual[i][j] = product[i][j] + product[j][i] + Q()[i][j];
    }
    return Refine(x, closed, residual, false, margin);
  }

  const RiccatiSystem& system_;
  const ContinuousWork& work_;
  std::int64_t n_;
  RiccatiFeedback feedback_;
};

}  // namespace

int SolveContinuousRiccati(const RiccatiSystem& system, SquareView x) {
  const std::int64_t n = system.a.rows;
  const ContinuousWork work(n);
  if (!work.memory) return 1;
  ContinuousRiccati equation(system, work);
  if (const int refusal = equation.FindFeedback()) return refusal;
  if (n == 1) return SolveOneState(system, equation.Feedback(), false, x.elements);
  return SolveByAttempts(equation, x);
}

}  // namespace mth_internal
