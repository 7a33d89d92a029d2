#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/matrix/Mth_matrix.h"

namespace mth_internal {

/// The product of two numbers, infinite where it is beyond the largest one, but without the overflow: hosts
/// that trap it can solve systems whose pivots have no product.
inline double ProductOfPivots(double a, double b) {
  constexpr double kDown = 0x1p-520;  // of both: what overflowed reaches 2^(1024 - 1040)
  const double scaled = a * kDown * (b * kDown);
  const bool isBeyond = std::abs(a) > 1.0 && std::abs(b) > 1.0 && std::abs(scaled) >= 0x1p-16;
  return isBeyond ? scaled * std::numeric_limits<double>::infinity() : a * b;
}

/// Matrices of up to this many rows are factored and solved on the stack, by plain loops.
constexpr std::int64_t kSmallSystem = 16;

/// Factors a square matrix by Crout's method with implicit partial pivoting.
/// @param work   receives the factors: size x size doubles, with the values that elements of T can have.
/// @param order  receives the permutation.
/// @return       0, 1 (no memory), 5 (given up) or 16 (a row is all 0; the permutation is then the identity).
template <class T>
int FactorMatrix(const T* elements, std::int64_t size, double* work, int* order);

/// Solves L U X = X for size x columns doubles, L and U in one row-major matrix as LU leaves them.
/// @tparam T           the element type that each unknown is rounded to when it is final.
/// @param  isIdentity  whether X starts as the identity, whose zeros are then skipped: for finite factors.
/// @return             0, 1 (no memory) or 5 (given up).
template <class T, class Element>
int SolveFactoredRows(const Element* lu, std::int64_t size, double* x, std::int64_t columns, bool isIdentity);

/// The LU factors of a square matrix, in doubles, for as long as one operation needs them.
class LUFactors {
 public:
  explicit LUFactors(const MTH_MATRIX& matrix);
  /// As FactorMatrix.
  int Status() const { return status_; }
  const double* Elements() const { return elements_; }
  const int* Order() const { return order_; }
  /// Product of the pivots, from 1 along the diagonal.
  double Determinant() const;

 private:
  std::int64_t size_;
  WorkArray<double> heap_;
  WorkArray<int> heapOrder_;
  double small_[kSmallSystem * kSmallSystem];
  int smallOrder_[kSmallSystem];
  double* elements_;
  int* order_;
  int status_ = 1;
};

}  // namespace mth_internal
