#include <algorithm>
#include <cmath>
#include <utility>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/decomposition/Mth_ordering_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"

// The order of the eigenvalues of a generalised Schur form (Van Dooren 1981).

namespace mth_internal {
namespace {

double SizeOf(Complex x) {
  return std::abs(x.real()) + std::abs(x.imag());
}

// The unitary rotation that makes (x, y) / r of two vectors the first new one.
struct ComplexRotation {
  Complex x;
  Complex y;
};

ComplexRotation UnitOf(Complex x, Complex y) {
  const double largest =
      std::max({std::abs(x.real()), std::abs(x.imag()), std::abs(y.real()), std::abs(y.imag())});
  if (largest == 0.0) return {1.0, 0.0};
  const double scale = PowerToUnit(largest);
  x *= scale;
  y *= scale;
  const double r = std::sqrt(SquaredModulus(x) + SquaredModulus(y));
  return {x / r, y / r};
}

// Both vectors run in steps of `stride` from element 0 to `count`.
void Combine(Complex* first, Complex* second, std::int64_t count, std::int64_t stride,
             ComplexRotation rotation) {
  const Complex x = rotation.x;
  const Complex y = rotation.y;
  for (std::int64_t i = 0; i < count * stride; i += stride) {
    const Complex former = first[i];
    first[i] = x * former + y * second[i];
    second[i] = Conjugate(x) * second[i] - Conjugate(y) * former;
  }
}

class Ordering {
 public:
  explicit Ordering(const ComplexPencil& form) : f_(form), n_(form.size) {}

  // Makes the eigenvalue alpha / beta of rows k and k + 1 the upper one of two: its vector becomes the first
  // axis, and so does what the two matrices send it to.
  void BringUp(std::int64_t k, Complex alpha, Complex beta) {
    const auto at = [&](std::int64_t i, std::int64_t j) {
      return beta * A(k + i, k + j) - alpha * B(k + i, k + j);
    };
    const std::int64_t row =
        SizeOf(at(0, 0)) + SizeOf(at(0, 1)) >= SizeOf(at(1, 0)) + SizeOf(at(1, 1)) ? 0 : 1;
    const ComplexRotation columns = UnitOf(-at(row, 1), at(row, 0));
    Combine(&A(0, k), &A(0, k + 1), k + 2, n_, columns);
    Combine(&B(0, k), &B(0, k + 1), k + 2, n_, columns);
    Combine(f_.zt + k * n_, f_.zt + (k + 1) * n_, n_, 1, columns);
    const double ofA = SizeOf(A(k, k)) + SizeOf(A(k + 1, k));
    const double ofB = SizeOf(B(k, k)) + SizeOf(B(k + 1, k));
    const ComplexRotation image = ofB >= ofA ? UnitOf(B(k, k), B(k + 1, k)) : UnitOf(A(k, k), A(k + 1, k));
    const ComplexRotation rows{Conjugate(image.x), Conjugate(image.y)};
    Combine(&A(k, k), &A(k + 1, k), n_ - k, 1, rows);
    Combine(&B(k, k), &B(k + 1, k), n_ - k, 1, rows);
    A(k + 1, k) = 0.0;
    B(k + 1, k) = 0.0;
  }

  void Swap(std::int64_t k) { BringUp(k, A(k + 1, k + 1), B(k + 1, k + 1)); }

 private:
  Complex& A(std::int64_t i, std::int64_t j) const { return f_.a[i * n_ + j]; }
  Complex& B(std::int64_t i, std::int64_t j) const { return f_.b[i * n_ + j]; }

  ComplexPencil f_;
  std::int64_t n_;
};

// Whether the eigenvalues of the block in row k are of modulus below 1; the product of a pair's is its
// square.
bool IsBlockSmall(const Pencil& p, std::int64_t k) {
  if (!IsPair(p.a, k)) return std::abs(p.a[k][k]) < p.b[k][k];
  const double numerator = p.a[k][k] * p.a[k + 1][k + 1] - p.a[k][k + 1] * p.a[k + 1][k];
  return numerator < p.b[k][k] * p.b[k + 1][k + 1];
}

}  // namespace

std::int64_t MoveSmallUp(const Pencil& p, const ComplexPencil& form, bool* isSmall) {
  const std::int64_t n = form.size;
  std::copy_n(p.a.elements, n * n, form.a);
  std::copy_n(p.b.elements, n * n, form.b);
  std::copy_n(p.zt.elements, n * n, form.zt);
  Ordering ordering(form);
  for (std::int64_t k = 0; k < n; ++k) {
    isSmall[k] = IsBlockSmall(p, k);
    if (!IsPair(p.a, k)) continue;
    isSmall[k + 1] = isSmall[k];
    Complex alphas[2];
    double betas[2];
    double a[] = {p.a[k][k], p.a[k][k + 1], p.a[k + 1][k], p.a[k + 1][k + 1]};
    double b[] = {p.b[k][k], 0.0, 0.0, p.b[k + 1][k + 1]};
    GeneralisedValues({a, 2}, {b, 2}, alphas, betas);
    ordering.BringUp(k, alphas[0], betas[0]);
    ++k;
  }
  std::int64_t count = 0;
  for (std::int64_t next = 0; next < n; ++next) {
    if (!isSmall[next]) continue;
    if (IsGivenUp(n)) return -1;
    for (std::int64_t k = next; k > count; --k) {
      ordering.Swap(k - 1);
      std::swap(isSmall[k - 1], isSmall[k]);
    }
    ++count;
  }
  return count;
}

}  // namespace mth_internal
