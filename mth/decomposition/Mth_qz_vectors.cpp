#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/decomposition/Mth_qz_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"
#include "mth/decomposition/Mth_small_systems_internal.h"
#include "mth/matrix/Mth_transpose_kernel_internal.h"

// Right eigenvectors of a generalised real Schur form by back-substitution.

namespace mth_internal {
namespace {

constexpr double kLargeComponent = 1e100;  // beyond, the vector is scaled down

// A generalised Schur form by columns, and its largest elements.
struct PencilColumns {
  SquareView a;
  SquareView b;
  double largestOfA;
  double largestOfB;
};

inline double RealPart(double x) {
  return x;
}
inline double RealPart(Complex x) {
  return x.real();
}

// sums += column x weight, of the elements before `count`.
void AddTimes(const double* __restrict column, double weight, double* __restrict sums, std::int64_t count) {
  for (std::int64_t i = 0; i < count; ++i) sums[i] += column[i] * weight;
}

// Solves (beta A - alpha B) x = 0 upwards from row `last`, below which x is given; Scalar is double for a
// real alpha. What is known of x is taken to all rows above at once, along the columns, which are the rows of
// the transposed matrices.
template <class Scalar>
class PencilSubstitution {
 public:
  // `sums` is work: 4 n doubles.
  PencilSubstitution(const PencilColumns& pencil, Scalar alpha, double beta, Scalar* x, double* sums)
      : p_(pencil), n_(pencil.a.size), alpha_(alpha), beta_(beta), x_(x), sums_(sums) {
    const double norm = std::abs(beta) * pencil.largestOfA + Modulus(alpha) * pencil.largestOfB;
    smallest_ = std::max(norm * std::numeric_limits<double>::epsilon(), std::numeric_limits<double>::min());
    std::fill_n(sums_, 4 * n_, 0.0);
  }

  Scalar At(std::int64_t row, std::int64_t column) const {
    return beta_ * p_.a[column][row] - p_.b[column][row] * alpha_;
  }

  void Solve(std::int64_t last, std::int64_t end) {
    for (std::int64_t j = last + 1; j < end; ++j) Include(j);
    for (std::int64_t i = last; i >= 0; --i) {
      const bool isPair = i > 0 && p_.a[i - 1][i] != 0.0;
      if (isPair) {
        SolvePair(--i);
        Include(i + 1);
      } else {
        const Scalar pivot = At(i, i);
        x_[i] = -RowSum(i) / (Modulus(pivot) < smallest_ ? Scalar(smallest_) : pivot);
      }
      Include(i);
      const double largest = Modulus(x_[i]);
      if (!(largest > kLargeComponent)) continue;
      for (std::int64_t k = i; k < end; ++k) x_[k] = x_[k] / largest;
      for (std::int64_t k = 0; k < 4 * n_; ++k) sums_[k] /= largest;
    }
  }

 private:
  // Sums of A x and B x, for complex numbers the real and then the imaginary parts.
  void Include(std::int64_t j) {
    const double real = RealPart(x_[j]);
    AddTimes(p_.a[j], real, sums_, j);
    AddTimes(p_.b[j], real, sums_ + n_, j);
    if constexpr (std::is_same_v<Scalar, Complex>) {
      AddTimes(p_.a[j], x_[j].imag(), sums_ + 2 * n_, j);
      AddTimes(p_.b[j], x_[j].imag(), sums_ + 3 * n_, j);
    }
  }

  Scalar RowSum(std::int64_t row) const {
    if constexpr (std::is_same_v<Scalar, Complex>) {
      const Complex ofA(sums_[row], sums_[2 * n_ + row]);
      const Complex ofB(sums_[n_ + row], sums_[3 * n_ + row]);
      return beta_ * ofA - alpha_ * ofB;
    } else {
      return beta_ * sums_[row] - alpha_ * sums_[n_ + row];
    }
  }

  void SolvePair(std::int64_t i) {
    const PairSolution<Scalar> solution = SolvePairOf<Scalar>(
        At(i, i), At(i, i + 1), At(i + 1, i), At(i + 1, i + 1), -RowSum(i), -RowSum(i + 1), smallest_);
    x_[i] = solution.first;
    x_[i + 1] = solution.second;
  }

  const PencilColumns& p_;
  std::int64_t n_;
  Scalar alpha_;
  double beta_;
  Scalar* x_;
  double* sums_;
  double smallest_;
};

// The vector of a complex pair in its own two rows, from the row with the larger elements.
void StartPair(const PencilSubstitution<Complex>& pencil, std::int64_t j, Complex* x) {
  const auto size = [&](std::int64_t row) {
    return Modulus(pencil.At(row, j)) + Modulus(pencil.At(row, j + 1));
  };
  const std::int64_t row = size(j) >= size(j + 1) ? j : j + 1;
  const double scale = std::max(size(row), std::numeric_limits<double>::min());
  x[j] = pencil.At(row, j + 1) / scale;
  x[j + 1] = -pencil.At(row, j) / scale;
}

}  // namespace

void GeneralisedSchurVectors(SquareView a, SquareView b, const Complex* alphas, const double* betas,
                             SquareView vectors, double* work, Complex* x) {
  const std::int64_t n = a.size;
  const PencilColumns columns{
      {work, n}, {work + n * n, n}, LargestMagnitude(a.elements, n * n), LargestMagnitude(b.elements, n * n)};
  Transpose<double>(a.elements, n, n, columns.a.elements);
  Transpose<double>(b.elements, n, n, columns.b.elements);
  double* sums = work + 2 * n * n;
  std::fill_n(vectors.elements, n * n, 0.0);
  for (std::int64_t j = 0; j < n && !IsGivenUp(n); ++j) {
    // Only the ratio of alpha and beta counts.
    const double size = std::max({Modulus(alphas[j]), betas[j], std::numeric_limits<double>::min()});
    const double beta = betas[j] / size;
    if (!IsPair(a, j)) {
      vectors[j][j] = 1.0;
      PencilSubstitution<double>(columns, alphas[j].real() / size, beta, vectors[j], sums)
          .Solve(j - 1, j + 1);
      continue;
    }
    PencilSubstitution<Complex> pencil(columns, alphas[j] / size, beta, x, sums);
    StartPair(pencil, j, x);
    pencil.Solve(j - 1, j + 2);
    for (std::int64_t i = 0; i < j + 2; ++i) {
      vectors[j][i] = x[i].real();
      vectors[j + 1][i] = x[i].imag();
    }
    ++j;
  }
}

}  // namespace mth_internal
