#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/decomposition/Mth_eigenproblem_internal.h"
#include "mth/decomposition/Mth_small_systems_internal.h"

// Eigenvectors of a real Schur form by back-substitution.

namespace mth_internal {
namespace {

constexpr double kLargeComponent = 1e100;  // beyond, the vector is scaled down

// Solves (T - lambda) x = 0 upwards from row `last`, below which x is given; Scalar is double for a real
// lambda.
template <class Scalar>
class BackSubstitution {
 public:
  BackSubstitution(SquareView t, const Complex* values, Scalar lambda, Scalar* x)
      : t_(t), values_(values), lambda_(lambda), x_(x) {
    double norm = 0.0;
    for (std::int64_t i = 0; i < t.size * t.size; ++i) norm = std::max(norm, std::abs(t.elements[i]));
    smallest_ = std::max(norm * std::numeric_limits<double>::epsilon(), std::numeric_limits<double>::min());
  }

  void Solve(std::int64_t last, std::int64_t end) {
    for (std::int64_t i = last; i >= 0; --i) {
      if (values_[i].imag() < 0.0) {
        SolvePair(--i, end);
      } else {
        x_[i] = -RowSum(i, i + 1, end) / NotZero(t_[i][i] - lambda_);
      }
      if (!(Modulus(x_[i]) > kLargeComponent)) continue;
      const double scale = 1.0 / Modulus(x_[i]);
      for (std::int64_t k = i; k < end; ++k) x_[k] *= scale;
    }
  }

 private:
  Scalar RowSum(std::int64_t row, std::int64_t first, std::int64_t end) const {
    Scalar sum{};
    for (std::int64_t j = first; j < end; ++j) sum += t_[row][j] * x_[j];
    return sum;
  }
  // A pivot that vanishes is perturbed by rounding's worth.
  Scalar NotZero(Scalar pivot) const { return Modulus(pivot) < smallest_ ? Scalar(smallest_) : pivot; }

  // Rows i and i + 1 of a block, by elimination with complete pivoting.
  void SolvePair(std::int64_t i, std::int64_t end) {
    const Scalar upper = -RowSum(i, i + 2, end);
    const Scalar lower = -RowSum(i + 1, i + 2, end);
    const Scalar a = t_[i][i] - lambda_;
    const Scalar d = t_[i + 1][i + 1] - lambda_;
    const Scalar b = t_[i][i + 1];
    const Scalar c = t_[i + 1][i];
    const PairSolution<Scalar> solution = SolvePairOf<Scalar>(a, b, c, d, upper, lower, smallest_);
    x_[i] = solution.first;
    x_[i + 1] = solution.second;
  }

  SquareView t_;
  const Complex* values_;
  Scalar lambda_;
  Scalar* x_;
  double smallest_;
};

}  // namespace

void SchurVectors(SquareView t, const Complex* values, SquareView vectors, Complex* work) {
  const std::int64_t n = t.size;
  std::fill_n(vectors.elements, n * n, 0.0);
  for (std::int64_t j = 0; j < n && !IsGivenUp(n); ++j) {
    if (values[j].imag() == 0.0) {
      vectors[j][j] = 1.0;
      BackSubstitution<double>(t, values, values[j].real(), vectors[j]).Solve(j - 1, j + 1);
      continue;
    }
    // The null vector of the pair's own block, from the row that has the larger element beside the diagonal.
    const double b = t[j][j + 1];
    const double c = t[j + 1][j];
    const bool isUpper = std::abs(b) >= std::abs(c);
    work[j] = isUpper ? Complex(b) : values[j] - t[j + 1][j + 1];
    work[j + 1] = isUpper ? values[j] - t[j][j] : Complex(c);
    BackSubstitution<Complex>(t, values, values[j], work).Solve(j - 1, j + 2);
    for (std::int64_t i = 0; i < j + 2; ++i) {
      vectors[j][i] = work[i].real();
      vectors[j + 1][i] = work[i].imag();
    }
    ++j;
  }
}

}  // namespace mth_internal
