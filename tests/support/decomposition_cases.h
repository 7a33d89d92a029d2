#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "support/matrices.h"
#include "support/values.h"

namespace mth_test {

struct DecompositionCase {
  std::string name;
  MTH_MATRIX matrix;
};

inline MTH_MATRIX Hilbert(int n, int type = kDouble) {
  MTH_MATRIX matrix(n, n, type);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) matrix.Set(i, j, 1.0 / (i + j + 1));
  }
  return matrix;
}

/// Plain product in double, rounded once; independent of the library's.
inline MTH_MATRIX Product(const MTH_MATRIX& a, const MTH_MATRIX& b) {
  MTH_MATRIX product(a.GetNbRows(), b.GetNbCols(), kDouble);
  for (int i = 0; i < a.GetNbRows(); ++i) {
    for (int j = 0; j < b.GetNbCols(); ++j) {
      long double sum = 0.0L;
      for (int k = 0; k < a.GetNbCols(); ++k)
        sum += static_cast<long double>(a.Get(i, k)) * static_cast<long double>(b.Get(k, j));
      product.Set(i, j, static_cast<double>(sum));
    }
  }
  return product;
}

inline MTH_MATRIX Transposed(const MTH_MATRIX& a) {
  MTH_MATRIX result(a.GetNbCols(), a.GetNbRows(), a.GetType());
  for (int i = 0; i < a.GetNbRows(); ++i) {
    for (int j = 0; j < a.GetNbCols(); ++j) result.Set(j, i, a.Get(i, j));
  }
  return result;
}

inline MTH_MATRIX Identity(int n, int type = kDouble) {
  MTH_MATRIX identity(n, n, type);
  identity.SetIdentity();
  return identity;
}

/// Shapes and structures that every decomposition meets, of one element type.
inline std::vector<DecompositionCase> DecompositionCases(int type) {
  std::vector<DecompositionCase> cases;
  const std::pair<int, int> shapes[] = {{1, 1},   {1, 5},   {5, 1},   {2, 2},   {3, 3},   {4, 4},  {7, 7},
                                        {16, 16}, {17, 17}, {33, 33}, {60, 60}, {40, 12}, {60, 7}, {9, 23}};
  unsigned seed = 300;
  for (const auto& [rows, columns] : shapes) {
    cases.push_back({"random " + std::to_string(rows) + "x" + std::to_string(columns),
                     RandomMatrix(rows, columns, type, ++seed)});
  }
  MTH_MATRIX graded = RandomMatrix(12, 12, type, ++seed);
  for (int i = 0; i < 12; ++i) {
    for (int j = 0; j < 12; ++j) graded.Set(i, j, graded.Get(i, j) * std::pow(10.0, -(i + j) / 2.0));
  }
  MTH_MATRIX deficient(14, 10, type);  // rank 3
  const MTH_MATRIX thin = Product(RandomMatrix(14, 3, kDouble, 71), RandomMatrix(3, 10, kDouble, 72));
  for (int i = 0; i < 14; ++i) {
    for (int j = 0; j < 10; ++j) deficient.Set(i, j, thin.Get(i, j));
  }
  MTH_MATRIX zero(6, 4, type);
  zero.SetZero();
  cases.push_back({"graded", graded});
  cases.push_back({"rank 3", deficient});
  cases.push_back({"Hilbert 8", Hilbert(8, type)});
  cases.push_back({"zero", zero});
  cases.push_back({"identity", Identity(5, type)});
  cases.push_back({"0x0", MTH_MATRIX(0, 0, type)});
  cases.push_back({"0x3", MTH_MATRIX(0, 3, type)});
  cases.push_back({"3x0", MTH_MATRIX(3, 0, type)});
  return cases;
}

/// Rounding that a backward-stable decomposition of this matrix may show.
inline double Tolerance(const MTH_MATRIX& a) {
  const double epsilon =
      a.GetType() == kDouble ? std::numeric_limits<double>::epsilon() : std::numeric_limits<float>::epsilon();
  const int size = std::max({a.GetNbRows(), a.GetNbCols(), 1});
  return 4.0 * size * epsilon * std::max(a.ComputeFrobeniusNorm(), 1.0);
}

/// Qt Q = I.
inline ::testing::AssertionResult HasOrthonormalColumns(const MTH_MATRIX& q, double tolerance) {
  return Near(Product(Transposed(q), q), Identity(q.GetNbCols()), tolerance);
}

}  // namespace mth_test
