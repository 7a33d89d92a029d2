#pragma once

#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <vector>

#include "mth/matrix/Mth_matrix.h"

// The texture features as their contract words them, one plain loop each, with the C library's functions.

namespace mth_test {

/// Runs visit(i, j, P(i, j)) in row order.
template <class Visit>
void ForEachElement(const MTH_MATRIX& p, Visit visit) {
  for (int i = 0; i < p.GetNbRows(); ++i) {
    for (int j = 0; j < p.GetNbCols(); ++j) visit(i, j, p.Get(i, j));
  }
}

inline double SquareOf(double x) {
  return x * x;
}

using Values = std::vector<double>;

inline Values RowSums(const MTH_MATRIX& p) {
  Values sums(static_cast<std::size_t>(p.GetNbRows()));
  ForEachElement(p, [&](int i, int, double value) { sums[static_cast<std::size_t>(i)] += value; });
  return sums;
}

inline Values ColumnSums(const MTH_MATRIX& p) {
  Values sums(static_cast<std::size_t>(p.GetNbCols()));
  ForEachElement(p, [&](int, int j, double value) { sums[static_cast<std::size_t>(j)] += value; });
  return sums;
}

inline Values LevelSums(const MTH_MATRIX& p) {
  const int rows = p.GetNbRows();
  Values sums(static_cast<std::size_t>(2 * rows - 1));
  ForEachElement(p, [&](int i, int j, double value) {
    const int k = i + j - 2;
    if (k >= 0 && k <= 2 * rows - 2) sums[static_cast<std::size_t>(k)] += value;
  });
  return sums;
}

inline Values LevelDifferences(const MTH_MATRIX& p) {
  Values sums(static_cast<std::size_t>(p.GetNbRows()));
  ForEachElement(p, [&](int i, int j, double value) {
    const auto k = static_cast<std::size_t>(std::abs(i - j));
    if (k < sums.size()) sums[k] += value;
  });
  return sums;
}

inline double SumOfLogarithms(const Values& p) {
  double sum = 0.0;
  for (const double value : p) {
    if (value != 0.0) sum += value * std::log(value);
  }
  return sum;
}

inline double LiteralContrast(const MTH_MATRIX& p) {
  double sum = 0.0;
  ForEachElement(p, [&](int i, int j, double value) { sum += (i - j) * (i - j) * value; });
  return sum;
}

inline double LiteralHomogeneity(const MTH_MATRIX& p) {
  float sum = 0.0F;
  ForEachElement(p, [&](int i, int j, double value) {
    sum += static_cast<float>(value) / static_cast<float>(1 + (i - j) * (i - j));
  });
  return static_cast<double>(sum);
}

inline double LiteralEnergy(const MTH_MATRIX& p) {
  double sum = 0.0;
  ForEachElement(p, [&](int, int, double value) { sum += value * value; });
  return sum;
}

inline double LiteralMean(const MTH_MATRIX& p) {
  double sum = 0.0;
  ForEachElement(p, [&](int, int, double value) { sum += value; });
  return sum;
}

inline double LiteralVariance(const MTH_MATRIX& p) {
  const double mean = LiteralMean(p);
  double sum = 0.0;
  ForEachElement(p, [&](int i, int, double value) { sum += (i - mean) * (i - mean) * value; });
  return sum;
}

inline double LiteralEntropy(const MTH_MATRIX& p) {
  double sum = 0.0;
  ForEachElement(p, [&](int, int, double value) {
    if (value != 0.0) sum += value * std::log(value);
  });
  return -sum;
}

inline double LiteralCorrelation(const MTH_MATRIX& p) {
  Values rowMeans = RowSums(p);
  Values columnMeans = ColumnSums(p);
  double mx = 0.0;
  double my = 0.0;
  for (std::size_t i = 0; i < rowMeans.size(); ++i) {
    rowMeans[i] /= static_cast<double>(p.GetNbCols());
    mx += static_cast<double>(i) * rowMeans[i];
  }
  for (std::size_t j = 0; j < columnMeans.size(); ++j) {
    columnMeans[j] /= static_cast<double>(p.GetNbRows());
    my += static_cast<double>(j) * columnMeans[j];
  }
  double products = 0.0;
  double vi = 0.0;
  double vj = 0.0;
  ForEachElement(p, [&](int i, int j, double value) {
    products += static_cast<double>(i * j) * value;
    vi += SquareOf(i - rowMeans[static_cast<std::size_t>(i)]) * value;
    vj += SquareOf(j - columnMeans[static_cast<std::size_t>(j)]) * value;
  });
  return (products - mx * my) / (std::sqrt(vj) * std::sqrt(vi));
}

inline double LiteralMeanSum(const MTH_MATRIX& p) {
  const Values psum = LevelSums(p);
  double sum = 0.0;
  for (std::size_t k = 0; k < psum.size(); ++k) sum += static_cast<double>(k + 2) * psum[k];
  return sum;
}

inline double LiteralVarSum(const MTH_MATRIX& p) {
  const Values psum = LevelSums(p);
  const double mean = LiteralMeanSum(p);
  double sum = 0.0;
  for (std::size_t k = 0; k < psum.size(); ++k) sum += SquareOf(static_cast<double>(k) - mean) * psum[k];
  return sum;
}

inline double LiteralEntSum(const MTH_MATRIX& p) {
  return -SumOfLogarithms(LevelSums(p));
}

inline double LiteralVarDifferences(const MTH_MATRIX& p) {
  const Values pdiff = LevelDifferences(p);
  double mean = 0.0;
  for (const double value : pdiff) mean += value;
  mean /= static_cast<double>(p.GetNbRows());
  double sum = 0.0;
  for (std::size_t k = 0; k < pdiff.size(); ++k) sum += SquareOf(static_cast<double>(k) - mean) * pdiff[k];
  return sum;
}

inline double LiteralEntDifferences(const MTH_MATRIX& p) {
  return SumOfLogarithms(LevelDifferences(p));
}

/// -sum of weight(P, px py) ln(px py).
template <class Weight>
double CrossEntropy(const MTH_MATRIX& p, Weight weight) {
  const Values px = RowSums(p);
  const Values py = ColumnSums(p);
  double sum = 0.0;
  ForEachElement(p, [&](int i, int j, double value) {
    const double product = px[static_cast<std::size_t>(i)] * py[static_cast<std::size_t>(j)];
    if (product != 0.0) sum += weight(value, product) * std::log(product);
  });
  return -sum;
}

inline double LiteralCorrelationInfo1(const MTH_MATRIX& p) {
  const double hx = -SumOfLogarithms(RowSums(p));
  const double hy = -SumOfLogarithms(ColumnSums(p));
  const double hxy1 = CrossEntropy(p, [](double value, double) { return value; });
  return (LiteralEntropy(p) - hxy1) / (hx < hy ? hy : hx);
}

inline double LiteralCorrelationInfo2(const MTH_MATRIX& p) {
  const double hxy2 = CrossEntropy(p, [](double, double product) { return product; });
  return std::sqrt(1.0 - std::exp(-2.0 * (hxy2 - LiteralEntropy(p))));
}

}  // namespace mth_test
