#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/core/Mth_complex_number_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_lu_internal.h"
#include "mth/decomposition/Mth_lyapunov_internal.h"
#include "mth/decomposition/Mth_ordering_internal.h"
#include "mth/decomposition/Mth_riccati_internal.h"
#include "mth/decomposition/Mth_riccati_residual_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"
#include "mth/decomposition/Mth_schur_internal.h"
#include "mth/matrix/Mth_product_kernel_internal.h"

// The continuous Riccati equation: by doubling and, where that leaves a doubt, by ordered Schur vectors
// (Laub).

namespace mth_internal {
namespace {

constexpr int kMostPasses = 4;      // of finding the size of the solution
constexpr int kFreeExponents = 10;  // by which Q and G may differ beyond A for the sake of the solution

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
        feedback_{work.At(0), 2 * system.b.exponent - system.r.exponent},
        residual_(n_, system.b.columns) {}
  explicit operator bool() const { return static_cast<bool>(residual_); }

  // To be called first. 0, 1 or 6.
  int FindFeedback() {
    return MakeFeedback(system_.r.elements, system_.b.elements, n_, system_.b.columns, feedback_.elements);
  }

  const int* States() const { return system_.states; }
  const RiccatiFeedback& Feedback() const { return feedback_; }

  RiccatiAttempt SolveByDoubling(SquareView x, RiccatiUnits* units) {
    units->exponent = ExponentToBalance(system_, feedback_);
    const RiccatiTerms terms{A(), G(), Q()};
    ChooseBalancedStates(system_, feedback_, terms, work_.Rest(), units);
    residual_.Fill(system_, *units, WriteTerms(system_, feedback_, *units, terms));
    const std::int64_t area = n_ * n_;
    double* copies = work_.Large(1).elements;
    std::copy_n(terms.a.elements, area, copies);
    std::copy_n(terms.g.elements, area, copies + area);
    std::copy_n(terms.q.elements, area, x.elements);
    if (const int refusal = mth_internal::SolveByDoubling({{copies, n_}, {copies + area, n_}, x}, false))
      return {refusal, true};
    double change = 0.0;
    double margin = 0.0;
    if (const int refusal = residual_.Improve(A(), Q(), x, false, Closed(), &change, &margin))
      return {refusal, refusal == 9};
    if (!(change <= kSettledChange)) return {9, true};
    return {0, !IsClearlyStable(margin, Closed(), G(), DoubtOf(x), false)};
  }

  // In one unit for all states, which the solution has a say in.
  RiccatiAttempt SolveInBalancedUnits(SquareView x, RiccatiUnits* units) {
    const int first = ExponentToBalance(system_, feedback_);
    const bool hasAll = !system_.a.isZero && !system_.q.isZero && !feedback_.IsZero();
    const int ofA = (feedback_.exponent + system_.q.exponent) / 2 - system_.a.exponent;
    const int slack = kFreeExponents + (hasAll ? std::max(0, ofA) : 0);
    units->exponent = first;
    ChooseBalancedStates(system_, feedback_, {A(), G(), Q()}, work_.Rest(), units);
    for (int pass = 1;; ++pass) {
      const RiccatiAttempt attempt = Solve(units, true, x);
      if (pass == kMostPasses || (attempt.status != 0 && attempt.status != 10)) return attempt;
      // A unit that makes the solution about 1, where Q and G stay small beside A.
      const int next = std::clamp(units->exponent + ExponentToUnit(x), first - slack, first + slack);
      if (next == units->exponent) return attempt;
      units->exponent = next;
    }
  }

  // In the units of what each state would cost by itself; `units` tells that of the others.
  RiccatiAttempt SolveInOwnUnits(SquareView x, RiccatiUnits* units) {
    double* logarithms = work_.Rest();
    for (std::int64_t i = 0; i < n_; ++i) {
      const ScalarRiccati own(system_, feedback_, i);  // g x x = 2 a x + q
      const double root = std::max(own.a, 0.5 * (own.g + own.q));
      logarithms[i] = own.elementOfA > 0.0 ? root - own.g : own.q - root;
    }
    ChooseUnits(logarithms, units->exponent, n_, units);
    return Solve(units, false, x);
  }

 private:
  SquareView A() const { return work_.At(1); }
  SquareView G() const { return work_.At(2); }
  SquareView Q() const { return work_.At(3); }
  SquareView Closed() const { return work_.At(4); }

  RiccatiAttempt Solve(RiccatiUnits* units, bool isBalanced, SquareView x) {
    const RiccatiTerms terms{A(), G(), Q()};
    const int timeExponent = WriteTerms(system_, feedback_, *units, terms);
    if (isBalanced) {
      double* scales = work_.Rest();
      std::fill_n(scales, n_, 1.0);
      BalanceStates(terms, scales);
      for (std::int64_t i = 0; i < n_; ++i) units->states[i] -= std::ilogb(scales[i]);
    }
    residual_.Fill(system_, *units, timeExponent);
    const SquareView h = work_.Large(0);
    const SquareView qt = work_.Large(1);
    WriteTo(h, terms);
    if (!DecomposeBySchur(h, qt, work_.Rest())) return {5};
    const std::int64_t stable = MoveNegativeUp(h, qt);
    if (stable != n_) return {stable < 0 ? 5 : 9};
    const int status = SolveSubspace(qt.elements, x);
    return status == 0 || status == 10 ? Confirm(status, h, x) : RiccatiAttempt{status, status == 9};
  }

  // The size of the terms of the equation.
  double DoubtOf(SquareView x) const {
    const double size = NormOf(x);
    return 2.0 * NormOf(A()) * size + NormOf(Q()) + NormOf(G()) * size * size;
  }

  // The same of each element. Destroys the large matrices.
  SquareView DoubtsOf(SquareView x) const {
    const auto slot = [&](int index) { return SquareView{work_.Large(0).elements + index * n_ * n_, n_}; };
    const auto multiply = [&](SquareView left, SquareView right, SquareView result) {
      Multiply<double>({left.elements, right.elements, result.elements, n_, n_, n_});
    };
    TakeMagnitudes(x, slot(0));
    TakeMagnitudes(A(), slot(1));
    multiply(slot(0), slot(1), slot(2));
    TakeMagnitudes(G(), slot(1));
    multiply(slot(0), slot(1), slot(3));
    multiply(slot(3), slot(0), slot(1));
    for (std::int64_t i = 0; i < n_; ++i) {
      for (std::int64_t j = 0; j < n_; ++j)
        slot(1)[i][j] += slot(2)[i][j] + slot(2)[j][i] + std::abs(Q()[i][j]);
    }
    return slot(1);
  }

  // A look at how near the closed loop is to its boundary, and Newton's method.
  // @param form  the Schur form of the Hamiltonian matrix, the stable eigenvalues first.
  RiccatiAttempt Confirm(int status, SquareView form, SquareView x) const {
    double margin = std::numeric_limits<double>::infinity();
    for (std::int64_t k = 0; k < n_; ++k) margin = std::min(margin, -form[k][k]);
    margin /= NormOf(form);
    const bool isLost = NormOf(x) == 0.0 && !system_.q.isZero;
    double change = 0.0;
    double stability = 0.0;
    if (const int refusal = residual_.Improve(A(), Q(), x, false, Closed(), &change, &stability))
      return {refusal, refusal == 9};
    const bool isConfirmed = change <= kSettledChange && !isLost;
    const std::optional<bool> isOnBoundary = IsOnBoundary(margin, Closed(), G(), DoubtsOf(x), false);
    if (!isOnBoundary) return {1};
    return {status, status == 10 || !isConfirmed, *isOnBoundary};
  }

  const RiccatiSystem& system_;
  const ContinuousWork& work_;
  std::int64_t n_;
  RiccatiFeedback feedback_;
  RiccatiResidual residual_;
};

}  // namespace

int SolveContinuousRiccati(const RiccatiSystem& system, SquareView x) {
  const std::int64_t n = system.a.rows;
  const ContinuousWork work(n);
  if (!work.memory) return 1;
  ContinuousRiccati equation(system, work);
  if (!equation) return 1;
  if (const int refusal = equation.FindFeedback()) return refusal;
  if (n == 1) return SolveOneState(system, equation.Feedback(), false, x.elements);
  return SolveByAttempts(equation, x);
}

}  // namespace mth_internal
