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

// The continuous Riccati equation by ordered Schur vectors (Laub).

namespace mth_internal {
namespace {

constexpr int kMostPasses = 4;  // of finding the size of the solution
constexpr int kBalancingPasses = 30;
constexpr int kFreeExponents = 10;  // by which Q and G may differ beyond A for the sake of the solution

// The Hamiltonian matrix [A -G; -Q -At] under the scaling diag(D, D^-1), D of powers of two.
class Hamiltonian {
 public:
  Hamiltonian(SquareView a, SquareView g, SquareView q, double* scales)
      : a_(a), g_(g), q_(q), scales_(scales) {
    std::fill_n(scales, a.size, 1.0);
  }

  // Rows and columns of a state are made alike, as far as that is worth it.
  void Balance() {
    bool hasChanged = true;
    for (int pass = 0; hasChanged && pass < kBalancingPasses; ++pass) {
      hasChanged = false;
      for (std::int64_t i = 0; i < a_.size; ++i) hasChanged = BalanceState(i) || hasChanged;
    }
  }

  void WriteTo(SquareView h) const {
    const std::int64_t n = a_.size;
    for (std::int64_t i = 0; i < n; ++i) {
      for (std::int64_t j = 0; j < n; ++j) {
        h[i][j] = a_[i][j];
        h[i][n + j] = 0.0 - g_[i][j];
        h[n + i][j] = 0.0 - q_[i][j];
        h[n + i][n + j] = 0.0 - a_[j][i];
      }
    }
  }

 private:
  bool BalanceState(std::int64_t i) {
    double row = 0.0;
    double column = 0.0;
    for (std::int64_t j = 0; j < a_.size; ++j) {
      if (j == i) continue;
      row += std::abs(a_[i][j]) + std::abs(g_[i][j]);
      column += std::abs(a_[j][i]) + std::abs(q_[i][j]);
    }
    const double largest = std::max({row, column, std::abs(g_[i][i]), std::abs(q_[i][i])});
    const double rowSize = row + std::sqrt(std::abs(g_[i][i])) * std::sqrt(largest);
    const double columnSize = column + std::sqrt(std::abs(q_[i][i])) * std::sqrt(largest);
    if (rowSize == 0.0 || columnSize == 0.0) return false;
    const int exponent = std::clamp((std::ilogb(rowSize) - std::ilogb(columnSize)) / 2, -200, 200);
    if (std::abs(exponent) < 2) return false;
    const double factor = std::ldexp(1.0, exponent);
    scales_[i] *= factor;
    for (std::int64_t j = 0; j < a_.size; ++j) {
      a_[i][j] /= factor;
      a_[j][i] *= factor;
      g_[i][j] /= factor;
      g_[j][i] /= factor;
      q_[i][j] *= factor;
      q_[j][i] *= factor;
    }
    return true;
  }

  SquareView a_;
  SquareView g_;
  SquareView q_;
  double* scales_;
};

// The exponent of the unknown that makes Q and G alike beside each other, or beside A where one of them is 0.
int FirstExponent(int ofA, int ofG, int ofQ, bool hasA, bool hasG, bool hasQ) {
  if (hasG && hasQ) return (ofQ - ofG) / 2;
  if (hasG && hasA) return ofA - ofG;
  if (hasQ && hasA) return ofQ - ofA;
  return 0;
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
        feedback_(work.At(0)),
        feedbackExponent_(2 * system.b.exponent - system.r.exponent) {}

  // To be called first. 0, 1 or 6.
  int FindFeedback() {
    return MakeFeedback(system_.r.elements, system_.b.elements, n_, system_.b.columns, feedback_);
  }

  // In one unit for all states, which the solution has a say in.
  RiccatiAttempt SolveInOneUnit(SquareView x, RiccatiUnits* units) const {
    const bool hasA = !system_.a.isZero;
    const bool hasQ = !system_.q.isZero;
    const bool hasG = LargestMagnitude(feedback_.elements, n_ * n_) != 0.0;
    const int first =
        FirstExponent(-system_.a.exponent, -feedbackExponent_, -system_.q.exponent, hasA, hasG, hasQ);
    const int ofA = (feedbackExponent_ + system_.q.exponent) / 2 - system_.a.exponent;
    const int slack = kFreeExponents + (hasA && hasG && hasQ ? std::max(0, ofA) : 0);
    std::fill_n(units->states, n_, 0);
    units->exponent = first;
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
      const ScalarRiccati own(system_, feedback_, feedbackExponent_, i);  // g x x = 2 a x + q
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

  // The equation in these units, its largest element about 1.
  void WriteEquation(const RiccatiUnits& units) const {
    const auto exponentOfA = [&](std::int64_t i, std::int64_t j) {
      return units.states[i] - units.states[j] - system_.a.exponent;
    };
    const auto exponentOfG = [&](std::int64_t i, std::int64_t j) {
      return units.Of(i, j) - feedbackExponent_;
    };
    const auto exponentOfQ = [&](std::int64_t i, std::int64_t j) {
      return -units.Of(i, j) - system_.q.exponent;
    };
    constexpr int kNone = std::numeric_limits<int>::min();
    int largest = kNone;
    const auto measure = [&](double element, int exponent) {
      if (element != 0.0) largest = std::max(largest, std::ilogb(element) + exponent);
    };
    const auto forEach = [&](auto visit) {
      for (std::int64_t i = 0; i < n_; ++i) {
        for (std::int64_t j = 0; j < n_; ++j) visit(i, j);
      }
    };
    forEach([&](std::int64_t i, std::int64_t j) {
      measure(system_.a.At(i, j), exponentOfA(i, j));
      measure(feedback_[i][j], exponentOfG(i, j));
      measure(system_.q.At(i, j), exponentOfQ(i, j));
    });
    if (largest == kNone) largest = 0;
    forEach([&](std::int64_t i, std::int64_t j) {
      A()[i][j] = std::ldexp(system_.a.At(i, j), exponentOfA(i, j) - largest);
      G()[i][j] = std::ldexp(feedback_[i][j], exponentOfG(i, j) - largest);
      Q()[i][j] = std::ldexp(system_.q.At(i, j), exponentOfQ(i, j) - largest);
    });
  }

  RiccatiAttempt Solve(const RiccatiUnits& units, bool isBalanced, SquareView x) const {
    WriteEquation(units);
    double* scales = work_.Rest() + 4 * n_;
    Hamiltonian hamiltonian(A(), G(), Q(), scales);
    if (isBalanced) hamiltonian.Balance();
    const SquareView h = work_.Large(0);
    const SquareView qt = work_.Large(1);
    hamiltonian.WriteTo(h);
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

  // One step of Newton's method, and a look at how near the closed loop is to its boundary.
  // @param form  the Schur form of the Hamiltonian matrix, the stable eigenvalues first; destroyed.
  RiccatiAttempt Confirm(int status, SquareView form, SquareView x) const {
    double margin = std::numeric_limits<double>::infinity();
    for (std::int64_t k = 0; k < n_; ++k) margin = std::min(margin, -form[k][k]);
    margin /= NormOf(form);
    const SquareView a = A();
    const SquareView closed = work_.At(4);
    Multiply<double>({G().elements, x.elements, closed.elements, n_, n_, n_});
    for (std::int64_t i = 0; i < n_ * n_; ++i) closed.elements[i] = a.elements[i] - closed.elements[i];
    const double sizeOfX = NormOf(x);
    const double doubt = 2.0 * NormOf(a) * sizeOfX + NormOf(Q()) + NormOf(G()) * sizeOfX * sizeOfX;
    // At X + X A - X G X + Q = Y + Yt + Q with Y = (A - G X / 2)t X.
    const SquareView half{form.elements, n_};
    const SquareView residual{form.elements + n_ * n_, n_};
    const SquareView product{form.elements + 2 * n_ * n_, n_};
    for (std::int64_t i = 0; i < n_; ++i) {
      for (std::int64_t j = 0; j < n_; ++j) half[j][i] = 0.5 * (a[i][j] + closed[i][j]);
    }
    Multiply<double>({half.elements, x.elements, product.elements, n_, n_, n_});
    for (std::int64_t i = 0; i < n_; ++i) {
      for (std::int64_t j = 0; j < n_; ++j) residual[i][j] = product[i][j] + product[j][i] + Q()[i][j];
    }
    const bool isLost = sizeOfX == 0.0 && !system_.q.isZero;
    const double change = Refine(x, closed, residual, false);
    if (std::isnan(change)) return {1};
    const bool isConfirmed = std::isfinite(change) && !isLost;
    return {status, status == 10 || !isConfirmed, IsOnBoundary(margin, closed, G(), doubt, false)};
  }

  const RiccatiSystem& system_;
  const ContinuousWork& work_;
  std::int64_t n_;
  SquareView feedback_;
  int feedbackExponent_;
};

}  // namespace

int SolveContinuousRiccati(const RiccatiSystem& system, SquareView x, int* exponent) {
  const std::int64_t n = system.a.rows;
  const ContinuousWork work(n);
  if (!work.memory) return 1;
  ContinuousRiccati equation(system, work);
  if (const int refusal = equation.FindFeedback()) return refusal;
  return SolveByAttempts(equation, x, exponent);
}

}  // namespace mth_internal
