#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/core/Mth_complex_number_internal.h"
#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_lu_internal.h"
#include "mth/decomposition/Mth_lyapunov_internal.h"
#include "mth/decomposition/Mth_riccati_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"
#include "mth/decomposition/Mth_schur_internal.h"
#include "mth/matrix/Mth_product_kernel_internal.h"
#include "mth/matrix/Mth_transpose_kernel_internal.h"

// What both Riccati equations share: the feedback matrix, the solution of a subspace, the boundary of
// stability.

namespace mth_internal {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr double kVanishing = 1e-19;  // a pivot beside orthonormal rows that rounding has not made

inline double RealPart(double x) {
  return x;
}
inline double RealPart(Complex x) {
  return x.real();
}

// x^H y and x^H G x of complex vectors.
Complex Dot(const Complex* x, const Complex* y, std::int64_t n) {
  Complex sum = 0.0;
  for (std::int64_t i = 0; i < n; ++i) sum += Conjugate(x[i]) * y[i];
  return sum;
}

// The eigenvectors of a matrix, given by its Schur form, that belong to eigenvalue k, from the right or, by
// the reversed transpose, from the left.
class Eigenvectors {
 public:
  explicit Eigenvectors(std::int64_t n) : n_(n), memory_(2 * n * n), work_(n + 1) {}
  explicit operator bool() const { return memory_ && work_; }

  void Find(SquareView t, const Complex* values) {
    SchurVectors(t, values, {memory_.Get(), n_}, work_.Get());
  }
  // Vector k, the first of a pair, in the coordinates of `qt`.
  void Write(std::int64_t k, bool isPair, SquareView qt, Complex* vector) const {
    const double* real = memory_.Get() + k * n_;
    const double* imaginary = isPair ? real + n_ : nullptr;
    for (std::int64_t i = 0; i < n_; ++i) {
      Complex sum = 0.0;
      for (std::int64_t j = 0; j < n_; ++j)
        sum += qt[j][i] * Complex(real[j], imaginary != nullptr ? imaginary[j] : 0.0);
      vector[i] = sum;
    }
  }

 private:
  std::int64_t n_;
  WorkArray<double> memory_;
  WorkArray<Complex> work_;
};

// How far the eigenvalues of a real Schur form are from the boundary of stability.
double MarginOf(SquareView t, bool isDiscrete) {
  double margin = std::numeric_limits<double>::infinity();
  for (std::int64_t k = 0; k < t.size; ++k) {
    const bool isPair = k + 1 < t.size && t[k + 1][k] != 0.0;
    const double imaginary =
        isPair ? std::sqrt(std::abs(t[k][k + 1])) * std::sqrt(std::abs(t[k + 1][k])) : 0.0;
    margin = std::min(margin, isDiscrete ? 1.0 - Modulus(Complex(t[k][k], imaginary)) : -t[k][k]);
    if (isPair) ++k;
  }
  return isDiscrete ? margin : margin / NormOf(t);
}

}  // namespace

bool Equilibrate(const double* r, std::int64_t m, double* scales) {
  constexpr int kMostPasses = 30;  // each takes what is left half of its way
  std::fill_n(scales, m, 1.0);
  bool hasEmpty = false;
  bool hasChanged = true;
  for (int pass = 0; hasChanged && pass < kMostPasses; ++pass) {
    hasChanged = false;
    for (std::int64_t i = 0; i < m; ++i) {
      double largest = 0.0;
      for (std::int64_t j = 0; j < m; ++j)
        largest = std::max(largest, std::abs(r[i * m + j]) * scales[j] * scales[i]);
      if (largest == 0.0) {
        hasEmpty = true;
        continue;
      }
      const int exponent = -std::ilogb(largest) / 2;
      scales[i] = std::ldexp(scales[i], exponent);
      hasChanged = hasChanged || exponent != 0;
    }
  }
  return !hasEmpty;
}

int MakeFeedback(const double* r, const double* b, std::int64_t n, std::int64_t m, SquareView g) {
  const WorkArray<double> memory(2 * m * m + 3 * m * n + m);
  const WorkArray<int> order(m);
  if (!memory || !order) return 1;
  double* scaled = memory.Get();
  double* factors = scaled + m * m;
  double* scaledB = factors + m * m;
  double* transposed = scaledB + m * n;
  double* solved = transposed + m * n;
  double* scales = solved + m * n;
  if (!Equilibrate(r, m, scales)) return 6;
  for (std::int64_t i = 0; i < m; ++i) {
    for (std::int64_t j = 0; j < m; ++j) scaled[i * m + j] = scales[i] * r[i * m + j] * scales[j];
  }
  const int status = FactorMatrix<double>(scaled, m, factors, order.Get());
  if (status == 1 || status == 5) return status;
  double smallest = 1.0;
  for (std::int64_t i = 0; status == 0 && i < m; ++i)
    smallest = std::min(smallest, std::abs(factors[i * (m + 1)]));
  if (status != 0 || smallest <= 4.0 * kEpsilon * static_cast<double>(m)) return 6;
  for (std::int64_t i = 0; i < n; ++i) {
    for (std::int64_t j = 0; j < m; ++j) scaledB[i * m + j] = b[i * m + j] * scales[j];
  }
  Transpose<double>(scaledB, n, m, transposed);
  for (std::int64_t i = 0; i < m; ++i) std::copy_n(transposed + order[i] * n, n, solved + i * n);
  if (const int refusal = SolveFactoredRows<double>(factors, m, solved, n, false)) return refusal;
  if (!MultiplyUnlessGivenUp<double>({scaledB, solved, g.elements, n, m, n})) return 5;
  Symmetrise(g);
  return 0;
}

namespace {

// The size of a change beside x, in the units of the states that make the rows of x alike: in other units the
// digits of a state may be rounding to another one.
double SizeBeside(SquareView change, SquareView x, double* scales) {
  Equilibrate(x.elements, x.size, scales);
  double largest = 0.0;
  for (std::int64_t i = 0; i < x.size; ++i) {
    for (std::int64_t j = 0; j < x.size; ++j)
      largest = std::max(largest, std::abs(change[i][j]) * scales[i] * scales[j]);
  }
  return largest;
}

}  // namespace

double Refine(SquareView x, SquareView closed, SquareView residual, bool isDiscrete, double* margin) {
  const std::int64_t n = x.size;
  const WorkArray<double> transposed(n * n);
  if (!transposed) return std::numeric_limits<double>::quiet_NaN();
  Transpose<double>(closed.elements, n, n, transposed.Get());
  Symmetrise(residual);
  const int status =
      SolveLyapunovEquation({transposed.Get(), n}, residual, true, {isDiscrete, isDiscrete ? 1.0 : 0.0});
  *margin = MarginOf({transposed.Get(), n}, isDiscrete);
  if (status == 1) return std::numeric_limits<double>::quiet_NaN();
  const bool isFinite = std::all_of(residual.elements, residual.elements + n * n,
                                    [](double step) { return std::isfinite(step); });
  // From a stable closed loop the method ends at the stabilising solution, however far that is (Kleinman).
  if ((status != 0 && status != 10) || !(*margin > 0.0) || !isFinite)
    return std::numeric_limits<double>::infinity();
  for (std::int64_t i = 0; i < n * n; ++i) x.elements[i] += residual.elements[i];
  const double change = SizeBeside(residual, x, transposed.Get());
  return status == 0 ? change : std::max(change, 1.0);
}

// By Kantorovich's theorem: the solution of the closed loop's Lyapunov equation for the identity tells by how
// much a change of the equation changes X at most. Newton's method has one limit where that squared, times
// the curvature of the equation, times the change, is small.
bool IsClearlyStable(double margin, SquareView closed, SquareView feedback, double doubt, bool isDiscrete) {
  constexpr double kNearest = 1e-5;
  constexpr double kClear = 1e-3;
  constexpr double kUncertain = 1e6;  // not 1: norms overestimate, the more the larger the order
  if (!(margin >= kNearest) || margin >= kClear) return margin >= kClear;
  const std::int64_t n = closed.size;
  const WorkArray<double> memory(2 * n * n);
  if (!memory) return false;
  const SquareView transposed{memory.Get(), n};
  const SquareView gain{memory.Get() + n * n, n};
  Transpose<double>(closed.elements, n, n, transposed.elements);
  std::fill_n(gain.elements, n * n, 0.0);
  for (std::int64_t i = 0; i < n; ++i) gain[i][i] = 1.0;
  if (SolveLyapunovEquation(transposed, gain, true, {isDiscrete, isDiscrete ? 1.0 : 0.0}) != 0) return false;
  const double reach = NormOf(gain) * (isDiscrete ? NormOf(closed) : 1.0);
  return reach * reach * NormOf(feedback) * kEpsilon * doubt <= kUncertain;
}

template <class Scalar>
int SolveSubspace(const Scalar* ut, SquareView x) {
  const std::int64_t n = x.size;
  const std::int64_t width = 2 * n;
  // [U11t | U21t | identity], eliminated with partial pivoting: then [ | X | inverse].
  const WorkArray<Scalar> memory(3 * n * n);
  if (!memory) return 1;
  const std::int64_t stride = 3 * n;
  Scalar* m = memory.Get();
  for (std::int64_t j = 0; j < n; ++j) {
    std::copy_n(ut + j * width, width, m + j * stride);
    std::fill_n(m + j * stride + width, n, Scalar(0.0));
    m[j * stride + width + j] = 1.0;
  }
  for (std::int64_t k = 0; k < n; ++k) {
    if (IsGivenUp(width)) return 5;
    std::int64_t pivot = k;
    for (std::int64_t i = k + 1; i < n; ++i) {
      if (Modulus(m[i * stride + k]) > Modulus(m[pivot * stride + k])) pivot = i;
    }
    if (!(Modulus(m[pivot * stride + k]) > kVanishing)) return 9;
    if (pivot != k) std::swap_ranges(m + k * stride + k, m + (k + 1) * stride, m + pivot * stride + k);
    Scalar* __restrict row = m + k * stride;
    const Scalar inverse = 1.0 / row[k];
    for (std::int64_t j = k + 1; j < stride; ++j) row[j] = row[j] * inverse;
    for (std::int64_t i = 0; i < n; ++i) {
      Scalar* __restrict other = m + i * stride;
      const Scalar weight = other[k];
      if (i == k || Modulus(weight) == 0.0) continue;
      for (std::int64_t j = k + 1; j < stride; ++j) other[j] = other[j] - weight * row[j];
    }
  }
  double squares = 0.0;
  for (std::int64_t i = 0; i < n; ++i) {
    for (std::int64_t j = 0; j < n; ++j) {
      x[i][j] = RealPart(m[i * stride + n + j]);
      const double size = Modulus(m[i * stride + width + j]);
      squares += size * size;
    }
  }
  Symmetrise(x);
  const bool isDoubtful = n > 0 && !(1.0 / std::sqrt(squares) >= kDoubtfulCondition * static_cast<double>(n));
  return isDoubtful ? 10 : 0;
}

template int SolveSubspace(const double*, SquareView);
template int SolveSubspace(const Complex*, SquareView);

void TakeMagnitudes(SquareView matrix, SquareView result) {
  std::transform(matrix.elements, matrix.elements + matrix.size * matrix.size, result.elements,
                 [](double x) { return std::abs(x); });
}

// An eigenvalue of the Hamiltonian matrix (or symplectic pencil) on the boundary is double there: rounding
// parts it into one on either side, at a distance that is the root of what it changes. A change E of the
// equation changes the solution by about (x^H E x) / (2 margin) y y^H / |y^H x|^2 and the eigenvalue by y^H G
// y times it.
std::optional<bool> IsOnBoundary(double margin, SquareView closed, SquareView feedback, SquareView doubts,
                                 bool isDiscrete) {
  constexpr double kSuspicious = 1e-5;
  const std::int64_t n = closed.size;
  if (!(margin > 8.0 * static_cast<double>(n) * kEpsilon)) return n > 0;
  if (margin >= kSuspicious) return false;
  const WorkArray<double> memory(2 * n * n + 2 * n);
  const WorkArray<Complex> values(5 * n);
  Eigenvectors right(n);
  Eigenvectors left(n);
  if (!memory || !values || !right || !left) return std::nullopt;
  const SquareView qt{memory.Get(), n};
  const SquareView reversed{memory.Get() + n * n, n};
  if (!DecomposeBySchur(closed, qt, memory.Get() + 2 * n * n)) return false;
  SchurValues(closed, values.Get());
  const auto marginOf = [&](std::int64_t k) {
    return isDiscrete ? 1.0 - Modulus(values[k]) : -values[k].real();
  };
  Complex* reversedValues = values.Get() + n;
  for (std::int64_t i = 0; i < n; ++i) {
    for (std::int64_t j = 0; j < n; ++j) reversed[i][j] = closed[n - 1 - j][n - 1 - i];
  }
  SchurValues(reversed, reversedValues);
  right.Find(closed, values.Get());
  left.Find(reversed, reversedValues);
  // What the reversed form is in the coordinates of.
  Complex* x = values.Get() + 2 * n;
  Complex* y = values.Get() + 3 * n;
  Complex* gy = values.Get() + 4 * n;
  const WorkArray<double> flipped(n * n);
  if (!flipped) return std::nullopt;
  const SquareView reversedBasis{flipped.Get(), n};
  for (std::int64_t j = 0; j < n; ++j) std::copy_n(qt[n - 1 - j], n, reversedBasis[j]);
  for (std::int64_t k = 0; k < n; ++k) {
    const bool isPair = values[k].imag() > 0.0;
    if (values[k].imag() < 0.0) continue;
    if (IsGivenUp(n)) return false;
    right.Write(k, isPair, qt, x);
    left.Write(n - 1 - k - (isPair ? 1 : 0), isPair, reversedBasis, y);
    // Of the transpose, y belongs to the eigenvalue itself: y^T closed = value y^T.
    for (std::int64_t i = 0; i < n; ++i) y[i] = Conjugate(y[i]);
    for (std::int64_t i = 0; i < n; ++i) {
      gy[i] = 0.0;
      for (std::int64_t j = 0; j < n; ++j) gy[i] += feedback[i][j] * y[j];
    }
    double undecided = 0.0;
    for (std::int64_t i = 0; i < n; ++i) {
      for (std::int64_t j = 0; j < n; ++j) undecided += Modulus(x[i]) * doubts[i][j] * Modulus(x[j]);
    }
    const double alignment = SquaredModulus(Dot(y, x, n));
    const double distance = std::max(marginOf(k), 0.0);
    if (!(distance * distance * alignment > 8.0 * kEpsilon * Modulus(Dot(y, gy, n)) * undecided)) return true;
  }
  return false;
}

}  // namespace mth_internal
