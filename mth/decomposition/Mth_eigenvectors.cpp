#include <algorithm>
#include <cmath>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/decomposition/Mth_eigenvectors_internal.h"

namespace mth_internal {
namespace {

// Components whose squared moduli differ by less count as equal: rounding must not choose the sign.
constexpr double kNearlyLargest = 1.0 - 1e-12;

// Writes an eigenvector as column `column`: of unit norm, the largest component, the first of equals, real
// and positive.
template <class Component>
void WriteVector(Component component, std::int64_t size, std::int64_t column, MTH_COMPLEX* vectors) {
  double largest = 0.0;
  for (std::int64_t i = 0; i < size; ++i)
    largest = std::max({largest, std::abs(component(i).real()), std::abs(component(i).imag())});
  double squares = 0.0;
  double best = 0.0;
  for (std::int64_t i = 0; i < size; ++i) {
    const double modulus = SquaredModulus(component(i) / largest);
    squares += modulus;
    best = std::max(best, modulus);
  }
  std::int64_t bestRow = 0;
  while (bestRow + 1 < size && SquaredModulus(component(bestRow) / largest) < best * kNearlyLargest)
    ++bestRow;
  const Complex pivot = component(bestRow) / largest;
  const Complex turn = Conjugate(pivot) / Modulus(pivot) / std::sqrt(squares);
  for (std::int64_t i = 0; i < size; ++i) {
    const Complex value = component(i) / largest * turn;
    vectors[i * size + column] = MTH_COMPLEX(value.real(), i == bestRow ? 0.0 : value.imag());
  }
}

}  // namespace

// Row j of `result` becomes row j of `left` times `right`, with the columns scaled.
void MultiplyVectors(SquareView left, SquareView right, const double* scales, SquareView result) {
  const std::int64_t n = left.size;
  std::fill_n(result.elements, n * n, 0.0);
  for (std::int64_t j = 0; j < n && !IsGivenUp(n); ++j) {
    double* __restrict row = result[j];
    for (std::int64_t k = 0; k < n; ++k) {
      const double weight = left[j][k];
      if (weight == 0.0) continue;
      const double* source = right[k];
      for (std::int64_t i = 0; i < n; ++i) row[i] += weight * source[i];
    }
    for (std::int64_t i = 0; scales != nullptr && i < n; ++i) row[i] *= scales[i];
  }
}

void WriteVectors(SquareView rows, const Complex* values, MTH_COMPLEX* vectors) {
  const std::int64_t n = rows.size;
  for (std::int64_t j = 0; j < n; ++j) {
    if (values[j].imag() == 0.0) {
      WriteVector([&](std::int64_t i) { return Complex(rows[j][i]); }, n, j, vectors);
      continue;
    }
    WriteVector([&](std::int64_t i) { return Complex(rows[j][i], rows[j + 1][i]); }, n, j, vectors);
    for (std::int64_t i = 0; i < n; ++i) {
      const MTH_COMPLEX& entry = vectors[i * n + j];
      vectors[i * n + j + 1] = MTH_COMPLEX(entry.getReal(), -entry.getImag());
    }
    ++j;
  }
}

}  // namespace mth_internal
