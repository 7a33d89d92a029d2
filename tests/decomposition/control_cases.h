#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <vector>

#include "mth/value/Mth_complex.h"
#include "support/decomposition_cases.h"
#include "support/matrices.h"

// What the tests of the forms and of the equations of control theory share.
namespace mth_test {

using Complex = std::complex<double>;
using Factors = std::vector<MatrixPtr>;

constexpr double kEpsilon = 2.2e-16;

inline MTH_MATRIX Scaled(const MTH_MATRIX& a, double factor) {
  return *MatrixPtr(a * factor);
}
inline MTH_MATRIX Sum(const MTH_MATRIX& a, const MTH_MATRIX& b) {
  return *MatrixPtr(a + b);
}
inline double Largest(const MTH_MATRIX& a) {
  double largest = 0.0;
  for (int i = 0; i < a.GetNbRows(); ++i) {
    for (int j = 0; j < a.GetNbCols(); ++j) largest = std::max(largest, std::abs(a.Get(i, j)));
  }
  return largest;
}
inline bool IsExactlySymmetric(const MTH_MATRIX& a) {
  return SameBits(a, Transposed(a));
}
inline MTH_MATRIX RandomOrthogonal(int n, unsigned seed) {
  MTH_MATRIX* q = nullptr;
  MTH_MATRIX* r = nullptr;
  RandomMatrix(n, n, kDouble, seed).QR(&q, &r);
  const MatrixPtr owned(r);
  return *MatrixPtr(q);
}
inline MTH_MATRIX Turned(const MTH_MATRIX& a, const MTH_MATRIX& q) {
  return Product(Product(q, a), Transposed(q));
}
inline MTH_MATRIX Diagonal(std::vector<double> values) {
  const int n = static_cast<int>(values.size());
  MTH_MATRIX matrix(n, n, kDouble);
  matrix.SetDiagVector(values.data(), n);
  return matrix;
}

}  // namespace mth_test
