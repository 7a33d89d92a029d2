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

void CopyTimes(const double* source, int exponent, SquareView target) {
  for (std::int64_t i = 0; i < target.size * target.size; ++i)
    target.elements[i] = std::ldexp(source[i], exponent);
}

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

// One pass with X in units of 2^exponent.
int SolveHamiltonian(const RiccatiSystem& system, SquareView feedback, int feedbackExponent, int exponent,
                     const ContinuousWork& work, SquareView x, bool* isOnBoundary) {
  const std::int64_t n = x.size;
  const SquareView a = work.At(1);
  const SquareView g = work.At(2);
  const SquareView q = work.At(3);
  const int ofG = exponent - feedbackExponent;
  const int ofQ = -exponent - system.q.exponent;
  const int ofA = -system.a.exponent;
  int largest = std::numeric_limits<int>::min();
  if (!system.a.isZero) largest = std::max(largest, ofA);
  if (!system.q.isZero) largest = std::max(largest, ofQ);
  if (LargestMagnitude(feedback.elements, n * n) != 0.0) largest = std::max(largest, ofG);
  if (largest == std::numeric_limits<int>::min()) largest = 0;
  CopyTimes(system.a.elements, ofA - largest, a);
  CopyTimes(feedback.elements, ofG - largest, g);
  CopyTimes(system.q.elements, ofQ - largest, q);
  double* scales = work.Rest() + 4 * n;
  Hamiltonian hamiltonian(a, g, q, scales);
  hamiltonian.Balance();
  const SquareView h = work.Large(0);
  const SquareView qt = work.Large(1);
  hamiltonian.WriteTo(h);
  if (!DecomposeBySchur(h, qt, work.Rest())) return 5;
  const std::int64_t stable = MoveNegativeUp(h, qt);
  if (stable < 0) return 5;
  if (stable != n) return 9;
  const int status = SolveSubspace(qt.elements, x);
  if (status != 0 && status != 10) return status;
  const SquareView closed = work.At(4);
  Multiply<double>({g.elements, x.elements, closed.elements, n, n, n});
  for (std::int64_t i = 0; i < n * n; ++i) closed.elements[i] = a.elements[i] - closed.elements[i];
  const double sizeOfX = NormOf(x);
  const double doubt = 2.0 * NormOf(a) * sizeOfX + NormOf(q) + NormOf(g) * sizeOfX * sizeOfX;
  double margin = std::numeric_limits<double>::infinity();
  for (std::int64_t k = 0; k < n; ++k) margin = std::min(margin, -h[k][k]);
  // At X + X A - X G X + Q = Y + Yt + Q with Y = (A - G X / 2)t X.
  const SquareView half{h.elements, n};  // the form has told its eigenvalues
  const SquareView residual{h.elements + n * n, n};
  const SquareView product{h.elements + 2 * n * n, n};
  const double formNorm = NormOf(h);
  for (std::int64_t i = 0; i < n; ++i) {
    for (std::int64_t j = 0; j < n; ++j) half[j][i] = 0.5 * (a[i][j] + closed[i][j]);
  }
  Multiply<double>({half.elements, x.elements, product.elements, n, n, n});
  for (std::int64_t i = 0; i < n; ++i) {
    for (std::int64_t j = 0; j < n; ++j) residual[i][j] = product[i][j] + product[j][i] + q[i][j];
  }
  Refine(x, closed, residual, false);
  *isOnBoundary = IsOnBoundary(margin / formNorm, closed, g, doubt, false);
  for (std::int64_t i = 0; i < n; ++i) {
    for (std::int64_t j = 0; j < n; ++j) x[i][j] = x[i][j] / scales[i] / scales[j];
  }
  return status;
}

}  // namespace

int SolveContinuousRiccati(const RiccatiSystem& system, SquareView x, int* exponent) {
  const std::int64_t n = system.a.rows;
  const ContinuousWork work(n);
  if (!work.memory) return 1;
  const SquareView feedback = work.At(0);
  const int feedbackExponent = 2 * system.b.exponent - system.r.exponent;
  if (const int refusal = MakeFeedback(system.r.elements, system.b.elements, n, system.b.columns, feedback))
    return refusal;
  const bool hasFeedback = LargestMagnitude(feedback.elements, n * n) != 0.0;
  *exponent = FirstExponent(-system.a.exponent, -feedbackExponent, -system.q.exponent, !system.a.isZero,
                            hasFeedback, !system.q.isZero);
  const int first = *exponent;
  const bool isCoupled = hasFeedback && !system.q.isZero && !system.a.isZero;
  const int slack =
      kFreeExponents +
      (isCoupled ? std::max(0, (feedbackExponent + system.q.exponent) / 2 - system.a.exponent) : 0);
  bool isOnBoundary = false;
  int status = 0;
  for (int pass = 0; pass < kMostPasses; ++pass) {
    status = SolveHamiltonian(system, feedback, feedbackExponent, *exponent, work, x, &isOnBoundary);
    // A unit that makes the solution about 1, where Q and G stay small beside A.
    const int wanted = status == 0 || status == 10 ? *exponent + ExponentToUnit(x) : *exponent;
    const int next = std::clamp(wanted, first - slack, first + slack);
    if (next == *exponent || pass + 1 == kMostPasses) break;
    *exponent = next;
  }
  return status == 0 && isOnBoundary ? 9 : status;
}

}  // namespace mth_internal
