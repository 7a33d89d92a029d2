#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/decomposition/Mth_qz_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"
#include "mth/decomposition/Mth_small_systems_internal.h"

// Right eigenvectors of a generalised real Schur form by back-substitution.

namespace mth_internal {
namespace {

constexpr double kLargeComponent = 1e100;  // beyond, the vector is scaled down

// Solves (beta A - alpha B) x = 0 upwards from row `last`, below which x is given; Scalar is double for a
// real alpha.
template <class Scalar>
class PencilSubstitution {
 public:
  PencilSubstitution(SquareView a, SquareView b, Scalar alpha, double beta, Scalar* x)
      : a_(a), b_(b), alpha_(alpha), beta_(beta), x_(x) {
    const std::int64_t count = a.size * a.size;
    const double norm = std::abs(beta) * LargestMagnitude(a.elements, count) +
                        Modulus(alpha) * LargestMagnitude(b.elements, count);
    smallest_ = std::max(norm * std::numeric_limits<double>::epsilon(), std::numeric_limits<double>::min());
  }

  Scalar At(std::int64_t row, std::int64_t column) const {
    return beta_ * a_[row][column] - b_[row][column] * alpha_;
  }

  void Solve(std::int64_t last, std::int64_t end) {
    for (std::int64_t i = last; i >= 0; --i) {
      if (i > 0 && IsPair(a_, i - 1)) {
        SolvePair(--i, end);
      } else {
        const Scalar pivot = At(i, i);
        x_[i] = -RowSum(i, i + 1, end) / (Modulus(pivot) < smallest_ ? Scalar(smallest_) : pivot);
      }
      const double largest = Modulus(x_[i]);
      if (!(largest > kLargeComponent)) continue;
      for (std::int64_t k = i; k < end; ++k) x_[k] = x_[k] / largest;
    }
  }

 private:
  Scalar RowSum(std::int64_t row, std::int64_t first, std::int64_t end) const {
    Scalar ofA{};
    Scalar ofB{};
    for (std::int64_t j = first; j < end; ++j) {
      ofA += a_[row][j] * x_[j];
      ofB += b_[row][j] * x_[j];
    }
    return beta_ * ofA - alpha_ * ofB;
  }

  void SolvePair(std::int64_t i, std::int64_t end) {
    const PairSolution<Scalar> solution =
        SolvePairOf<Scalar>(At(i, i), At(i, i + 1), At(i + 1, i), At(i + 1, i + 1), -RowSum(i, i + 2, end),
                            -RowSum(i + 1, i + 2, end), smallest_);
    x_[i] = solution.first;
    x_[i + 1] = solution.second;
  }

  SquareView a_;
  SquareView b_;
  Scalar alpha_;
  double beta_;
  Scalar* x_;
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
                             SquareView vectors, Complex* work) {
  const std::int64_t n = a.size;
  std::fill_n(vectors.elements, n * n, 0.0);
  for (std::int64_t j = 0; j < n && !IsGivenUp(n); ++j) {
    // Only the ratio of alpha and beta counts.
    const double size = std::max({Modulus(alphas[j]), betas[j], std::numeric_limits<double>::min()});
    const double beta = betas[j] / size;
    if (!IsPair(a, j)) {
      vectors[j][j] = 1.0;
      PencilSubstitution<double>(a, b, alphas[j].real() / size, beta, vectors[j]).Solve(j - 1, j + 1);
      continue;
    }
    PencilSubstitution<Complex> pencil(a, b, alphas[j] / size, beta, work);
    StartPair(pencil, j, work);
    pencil.Solve(j - 1, j + 2);
    for (std::int64_t i = 0; i < j + 2; ++i) {
      vectors[j][i] = work[i].real();
      vectors[j + 1][i] = work[i].imag();
    }
    ++j;
  }
}

}  // namespace mth_internal
