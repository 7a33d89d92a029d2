#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_lu_internal.h"
#include "mth/decomposition/Mth_riccati_internal.h"

// Units of states and inputs for systems whose elements differ by so many decades that no common unit fits:
// the powers of two that bring the logarithms of all elements nearest to one number in each matrix, by least
// squares. They follow every change of units to the letter, so that a system is solved alike in whatever
// units it is told.

namespace mth_internal {
namespace {

constexpr int kOrdinarySpread = 128;  // of the exponents of a matrix that is left as it is
constexpr double kRidge = 1e-9;       // what no element tells stays about 0
constexpr int kSmallest = -1020;      // exponents that nothing has vanished for
constexpr int kLargest = 400;         // and of which products do not overflow

// Visits (row, column, element) of what is not 0.
template <class Visit>
void ForEachNonzero(const ScaledMatrix& matrix, Visit visit) {
  for (std::int64_t i = 0; i < matrix.rows; ++i) {
    for (std::int64_t j = 0; j < matrix.columns; ++j) {
      if (matrix.At(i, j) != 0.0) visit(i, j, matrix.At(i, j));
    }
  }
}

bool IsWide(const ScaledMatrix& matrix) {
  int smallest = std::numeric_limits<int>::max();
  int largest = std::numeric_limits<int>::min();
  ForEachNonzero(matrix, [&](std::int64_t, std::int64_t, double element) {
    smallest = std::min(smallest, std::ilogb(element));
    largest = std::max(largest, std::ilogb(element));
  });
  return !matrix.isZero && largest - smallest > kOrdinarySpread;
}

// The normal equations of least squares, whose rows have coefficients of +1 and -1 in a few columns.
class LeastSquares {
 public:
  explicit LeastSquares(std::int64_t size) : n_(size), memory_(2 * size * size + size), order_(size) {
    if (!*this) return;
    std::fill_n(memory_.Get(), n_ * n_ + n_, 0.0);
    for (std::int64_t i = 0; i < n_; ++i) memory_[i * (n_ + 1)] = kRidge;
  }
  explicit operator bool() const { return memory_ && order_; }

  struct Term {
    std::int64_t unknown;
    double sign;
  };
  void Add(const Term (&terms)[3], double value) {
    for (const Term& row : terms) {
      for (const Term& column : terms) memory_[row.unknown * n_ + column.unknown] += row.sign * column.sign;
      Right()[row.unknown] += row.sign * value;
    }
  }

  // The unknowns, or null without memory or when the host gives up.
  const double* Solve() {
    double* factors = Right() + n_;
    if (FactorMatrix<double>(memory_.Get(), n_, factors, order_.Get()) != 0) return nullptr;
    double* solution = memory_.Get();  // the equations are needed no longer
    for (std::int64_t i = 0; i < n_; ++i) solution[i] = Right()[order_[i]];
    return SolveFactoredRows<double>(factors, n_, solution, 1, false) == 0 ? solution : nullptr;
  }

 private:
  double* Right() { return memory_.Get() + n_ * n_; }
  std::int64_t n_;
  WorkArray<double> memory_;
  WorkArray<int> order_;
};

// Multiplies element (i, j) by 2^(rows(i) + columns(j)) and all by one more power of two, so that the largest
// is about 1 and the smallest does not vanish, as far as both can be had.
template <class OfRow, class OfColumn>
void Rescale(ScaledMatrix& matrix, OfRow ofRow, OfColumn ofColumn) {
  if (matrix.isZero) return;
  int smallest = std::numeric_limits<int>::max();
  int largest = std::numeric_limits<int>::min();
  ForEachNonzero(matrix, [&](std::int64_t i, std::int64_t j, double element) {
    const int exponent = std::ilogb(element) + ofRow(i) + ofColumn(j);
    smallest = std::min(smallest, exponent);
    largest = std::max(largest, exponent);
  });
  const int change = std::min(std::max(-largest, kSmallest - smallest), kLargest - largest);
  ForEachNonzero(matrix, [&](std::int64_t i, std::int64_t j, double element) {
    matrix.At(i, j) = std::ldexp(element, ofRow(i) + ofColumn(j) + change);
  });
  matrix.exponent += change;
}

}  // namespace

int RescaleWideSystem(RiccatiSystem* system) {
  const auto& [a, b, q, r, states] = *system;
  std::fill_n(states, a.rows, 0);
  if (!IsWide(a) && !IsWide(b) && !IsWide(q) && !IsWide(r)) return 0;
  const std::int64_t n = a.rows;
  const std::int64_t m = b.columns;
  // Unknowns: units of states and inputs, and what the elements of A, B, Q and R are about.
  const std::int64_t sizes = n + m;
  LeastSquares squares(sizes + 4);
  if (!squares) return 1;
  const auto add = [&](const ScaledMatrix& matrix, std::int64_t size, std::int64_t firstRow, double rowSign,
                       std::int64_t firstColumn, double columnSign) {
    ForEachNonzero(matrix, [&](std::int64_t i, std::int64_t j, double element) {
      squares.Add({{firstRow + i, rowSign}, {firstColumn + j, columnSign}, {size, -1.0}},
                  -std::ilogb(element));
    });
  };
  add(a, sizes, 0, 1.0, 0, -1.0);
  add(b, sizes + 1, 0, 1.0, n, 1.0);
  add(q, sizes + 2, 0, -1.0, 0, -1.0);
  add(r, sizes + 3, n, 1.0, n, 1.0);
  const double* solution = squares.Solve();
  if (solution == nullptr) return IsGivenUp(sizes + 4) ? 5 : 1;
  const auto ofState = [&](std::int64_t i) { return static_cast<int>(std::lround(solution[i])); };
  const auto ofInput = [&](std::int64_t j) { return static_cast<int>(std::lround(solution[n + j])); };
  const auto minusState = [&](std::int64_t i) { return -ofState(i); };
  for (std::int64_t i = 0; i < n; ++i) states[i] = ofState(i);
  Rescale(system->a, ofState, minusState);
  Rescale(system->b, ofState, ofInput);
  Rescale(system->q, minusState, minusState);
  Rescale(system->r, ofInput, ofInput);
  return 0;
}

}  // namespace mth_internal
