#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_new_array_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"
#include "mth/statistics/Mth_descriptive.h"
#include "mth/statistics/Mth_descriptive_internal.h"
#include "mth/statistics/Mth_sort.h"

// Statistics of the columns and rows of matrices, and of samples given by dimension.

namespace mth_internal {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Adds term(element, column) to each column's sum, row after row, as the elements lie in memory.
template <class Term>
void SumColumns(const MTH_MATRIX& m, double* sums, Term term) {
  OnStorage(m, [&](const auto* row) {
    for (int i = 0; i < m.GetNbRows(); ++i, row += m.GetNbCols()) {
      for (int j = 0; j < m.GetNbCols(); ++j) sums[j] += term(static_cast<double>(row[j]), j);
    }
  });
}

std::unique_ptr<double[]> ColumnMeans(const MTH_MATRIX& m) {
  auto means = NewArray<double>(m.GetNbCols());
  if (means == nullptr) return nullptr;
  SumColumns(m, means.get(), [](double value, int) { return value; });
  std::for_each_n(means.get(), m.GetNbCols(), [&](double& mean) { mean /= m.GetNbRows(); });
  return means;
}

MTH_MATRIX* NewRow(const double* values, int count, int type) {
  MatrixPtr row = NewMatrix(1, count, type);
  for (int j = 0; row != nullptr && j < count; ++j) row->Set(0, j, values[j]);
  return row.release();
}

void MeansByDimension(double** x, int n, short d, double* out) {
  if (n == 0 || x == nullptr || out == nullptr) return;
  for (short j = 0; j < d; ++j) out[j] = Mth_Mean(x[j], n);
}

// Sums of x[k] y[column][k] over all k for up to four neighbouring columns: independent sums, each in order.
constexpr int kColumnsAtOnce = 4;

void SumProducts(const double* x, double** y, int columns, int n, double* sums) {
  if (columns < kColumnsAtOnce) {
    for (int c = 0; c < columns; ++c) {
      double sum = 0.0;
      for (int k = 0; k < n; ++k) sum += x[k] * y[c][k];
      sums[c] = sum;
    }
    return;
  }
  double sum[kColumnsAtOnce] = {};
  for (int k = 0; k < n; ++k) {
    for (int c = 0; c < kColumnsAtOnce; ++c) sum[c] += x[k] * y[c][k];
  }
  std::copy_n(sum, kColumnsAtOnce, sums);
}

bool HasNullArray(double** x, short d) {
  return x == nullptr || (d > 0 && std::find(x, x + d, nullptr) != x + d);
}

MTH_MATRIX* NewMatrixOf(short order, double value) {
  MatrixPtr matrix = NewMatrix(order, order, 0);
  if (matrix == nullptr) return nullptr;
  std::fill_n(matrix->GetEDataAddress(), std::int64_t{order} * order, value);
  return matrix.release();
}

MTH_MATRIX* CrossCovariance(double** x, double** y, int n, short d) {
  if (n == 0) return NewMatrixOf(d, kNaN);  // there is no sample to look at, whatever the arrays
  if (HasNullArray(x, d) || HasNullArray(y, d)) return nullptr;
  const auto meansX = NewArray<double>(d);
  const auto meansY = NewArray<double>(d);
  MatrixPtr result = NewMatrix(d, d, 0);
  if (meansX == nullptr || meansY == nullptr || result == nullptr) return nullptr;
  MeansByDimension(x, n, d, meansX.get());
  MeansByDimension(y, n, d, meansY.get());
  const double weight = 1.0 / n;
  LongIteration run;
  for (int i = 0; i < d; ++i) {
    double* row = result->GetEDataAddress() + std::int64_t{i} * d;
    for (int j = 0; j < d; j += kColumnsAtOnce) {
      if (run.IsGivenUp(static_cast<double>(kColumnsAtOnce) * n)) return nullptr;
      SumProducts(x[i], y + j, std::min(kColumnsAtOnce, d - j), n, row + j);
    }
    const double meanX = meansX.get()[i];
    const double* meanY = meansY.get();
    for (int j = 0; j < d; ++j) row[j] = row[j] * weight - meanX * meanY[j];
  }
  return result.release();
}

constexpr int kNoColumn = -1;

// One of the smallest entries of a row.
struct Smallest {
  int column = kNoColumn;
  double value = 0.0;

  // Starts from the value at column 0, which a strict comparison never records as found.
  template <class T>
  void Search(const T* row, int columns, int taken, int alsoTaken) {
    value = static_cast<double>(row[0]);
    for (int c = 0; c < columns; ++c) {
      if (c == taken || c == alsoTaken || !(static_cast<double>(row[c]) < value)) continue;
      value = static_cast<double>(row[c]);
      column = c;
    }
  }
};

}  // namespace
}  // namespace mth_internal

using namespace mth_internal;

void Mth_MeanVector(double** x, short n, short d, double* out) {
  MeansByDimension(x, n, d, out);
}

void Mth_MeanVector(double** x, int n, short d, double* out) {
  MeansByDimension(x, n, d, out);
}

MTH_MATRIX* Mth_MeanVector(MTH_MATRIX* m) {
  if (!IsUsable(m)) return nullptr;
  const auto means = ColumnMeans(*m);
  return means == nullptr ? nullptr : NewRow(means.get(), m->GetNbCols(), m->GetType());
}

MTH_MATRIX* Mth_StdDeviationVector(MTH_MATRIX* m) {
  if (!IsUsable(m)) return nullptr;
  const auto means = ColumnMeans(*m);
  const auto deviations = NewArray<double>(m->GetNbCols());
  if (means == nullptr || deviations == nullptr) return nullptr;
  SumColumns(*m, deviations.get(), [mean = means.get()](double value, int j) {
    const double difference = value - mean[j];
    return difference * difference;
  });
  const double freedom = m->GetNbRows() - 1.0;
  std::for_each_n(deviations.get(), m->GetNbCols(), [=](double& sum) { sum = std::sqrt(sum / freedom); });
  return NewRow(deviations.get(), m->GetNbCols(), m->GetType());
}

MTH_MATRIX* Mth_CovarianceMatrix(double** x, double** y, short n, short d) {
  return CrossCovariance(x, y, n, d);
}

MTH_MATRIX* Mth_CovarianceMatrix(double** x, double** y, int n, short d) {
  return CrossCovariance(x, y, n, d);
}

bool mth_internal::MedianOfMagnitudes(MTH_MATRIX& m, double& median, const bool* isCounted) {
  const int rows = m.GetNbRows();
  const int columns = m.GetNbCols();
  const WorkArray<double> values(rows);
  const WorkArray<double> companions(std::max(rows, columns));
  const WorkArray<double> medians(columns);
  if (!values || !companions || !medians) return false;
  std::fill_n(companions.Get(), std::max(rows, columns), 0.0);
  int found = 0;
  for (int j = 0; j < columns; ++j) {
    int count = 0;
    for (int i = 0; i < rows; ++i) {
      if (isCounted == nullptr || isCounted[std::int64_t{i} * columns + j])
        values[count++] = std::abs(m.Get(i, j));
    }
    if (count == 0) continue;
    Mth_Sort(count, values.Get(), companions.Get());
    for (int i = 0; i < count; ++i) m.Set(i, j, values[i]);
    medians[found++] = MedianOfSorted(count, [&](int i) { return values[i]; });
  }
  Mth_Sort(found, medians.Get(), companions.Get());
  median = found == 0 ? 0.0 : MedianOfSorted(found, [&](int j) { return medians[j]; });
  return true;
}

double Mth_Median(MTH_MATRIX* m) {
  if (!HasElements(m)) return 0.0;
  double median = 0.0;
  MedianOfMagnitudes(*m, median);
  return median;
}

MTH_MATRIX* Mth_Opt_Matrix(MTH_MATRIX* m) {
  constexpr int kResultColumns = 9;
  if (!IsUsable(m)) return nullptr;
  const int columns = m->GetNbCols();
  MatrixPtr result = NewMatrix(m->GetNbRows(), kResultColumns, 0);
  if (result == nullptr) return nullptr;
  if (columns == 0) {
    result->SetZero();
    return result.release();
  }
  double* out = result->GetEDataAddress();
  OnStorage(*m, [&](const auto* row) {
    Smallest first;  // keeps its column from row to row, as documented
    for (int i = 0; i < m->GetNbRows(); ++i, row += columns) {
      Smallest second;
      Smallest third;
      first.Search(row, columns, kNoColumn, kNoColumn);
      second.Search(row, columns, first.column, kNoColumn);
      third.Search(row, columns, first.column, second.column);
      for (const Smallest& smallest : {first, second, third}) {
        *out++ = i;
        *out++ = smallest.column;
        *out++ = smallest.value;
      }
    }
  });
  return result.release();
}
