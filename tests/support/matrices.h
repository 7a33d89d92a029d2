#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <random>

#include "mth/matrix/Mth_matrix.h"

namespace mth_test {

using MatrixPtr = std::unique_ptr<MTH_MATRIX>;

inline constexpr int kDouble = 0;
inline constexpr int kFloat = 1;

/// A matrix of the given rows.
inline MTH_MATRIX Matrix(std::initializer_list<std::initializer_list<double>> rows, int type = kDouble) {
  const int columns = rows.size() == 0 ? 0 : static_cast<int>(rows.begin()->size());
  MTH_MATRIX matrix(static_cast<int>(rows.size()), columns, type);
  int i = 0;
  for (const auto& row : rows) {
    int j = 0;
    for (double value : row) matrix.Set(i, j++, value);
    ++i;
  }
  return matrix;
}

/// A matrix of uniform values in [-1, 1], the same for the same seed.
inline MTH_MATRIX RandomMatrix(int rows, int columns, int type, unsigned seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  MTH_MATRIX matrix(rows, columns, type);
  for (int i = 0; i < rows; ++i) {
    for (int j = 0; j < columns; ++j) matrix.Set(i, j, uniform(engine));
  }
  return matrix;
}

/// A matrix whose element (i, j) is rule(i, j).
template <class Rule>
MTH_MATRIX FromRule(int rows, int columns, int type, Rule rule) {
  MTH_MATRIX matrix(rows, columns, type);
  for (int i = 0; i < rows; ++i) {
    for (int j = 0; j < columns; ++j) matrix.Set(i, j, static_cast<double>(rule(i, j)));
  }
  return matrix;
}

/// Same shape, type and, bit for bit, elements; the bits of a NaN, which arithmetic leaves open, aside.
inline ::testing::AssertionResult SameBits(const MTH_MATRIX& actual, const MTH_MATRIX& expected) {
  if (actual.IsAllocated() != expected.IsAllocated() || actual.GetNbRows() != expected.GetNbRows() ||
      actual.GetNbCols() != expected.GetNbCols() || actual.GetType() != expected.GetType()) {
    return ::testing::AssertionFailure()
           << "shapes or types differ: " << actual.GetNbRows() << "x" << actual.GetNbCols() << " type "
           << actual.GetType() << ", expected " << expected.GetNbRows() << "x" << expected.GetNbCols()
           << " type " << expected.GetType();
  }
  for (int i = 0; i < actual.GetNbRows(); ++i) {
    for (int j = 0; j < actual.GetNbCols(); ++j) {
      const double a = actual.Get(i, j);
      const double e = expected.Get(i, j);
      if (std::isnan(a) && std::isnan(e)) continue;
      if (std::memcmp(&a, &e, sizeof a) != 0) {
        return ::testing::AssertionFailure() << "(" << i << ", " << j << "): " << a << ", expected " << e;
      }
    }
  }
  return ::testing::AssertionSuccess();
}

/// Same shape, and elements that differ by at most `tolerance`; tells the worst position.
inline ::testing::AssertionResult Near(const MTH_MATRIX& actual, const MTH_MATRIX& expected,
                                       double tolerance) {
  if (actual.GetNbRows() != expected.GetNbRows() || actual.GetNbCols() != expected.GetNbCols()) {
    return ::testing::AssertionFailure() << "shapes differ";
  }
  double worst = -1.0;
  int row = 0;
  int column = 0;
  for (int i = 0; i < actual.GetNbRows(); ++i) {
    for (int j = 0; j < actual.GetNbCols(); ++j) {
      const double error = std::abs(actual.Get(i, j) - expected.Get(i, j));
      const bool isWorse = error > worst || std::isnan(error);  // a NaN is the worst of all, and stays
      if (!isWorse || std::isnan(worst)) continue;
      worst = error;
      row = i;
      column = j;
    }
  }
  if (worst <= tolerance) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << "(" << row << ", " << column << "): " << actual.Get(row, column) << ", expected "
         << expected.Get(row, column) << ", error " << worst / 2.220446049250313e-16
         << " epsilons, tolerance " << tolerance;
}

}  // namespace mth_test
