#include "mth/statistics/Mth_descriptive.h"

#include <algorithm>
#include <cmath>
#include <limits>

// Statistics of one array, and slopes.

double Mth_Mean(double* x, long n) {
  if (x == nullptr || n <= 0) return 0.0;
  double sum = 0.0;
  for (long i = 0; i < n; ++i) sum += x[i];
  return sum / static_cast<double>(n);
}

double Mth_Mean(std::vector<double> v) {
  return Mth_Mean(v.data(), static_cast<long>(v.size()));
}

double Mth_StdDeviation(double* x, long n) {
  if (x == nullptr || n <= 0) return 0.0;
  double sum = 0.0;
  double sumOfSquares = 0.0;
  for (long i = 0; i < n; ++i) {
    sum += x[i];
    sumOfSquares += x[i] * x[i];
  }
  const double count = static_cast<double>(n);
  return std::sqrt((count * sumOfSquares - sum * sum) / (count * count));
}

double Mth_StdDeviation(std::vector<double> v) {
  return Mth_StdDeviation(v.data(), static_cast<long>(v.size()));
}

double Mth_Min(double* x, int n) {
  double smallest = std::numeric_limits<double>::max();
  if (x == nullptr) return smallest;
  for (int i = 0; i < n; ++i) smallest = x[i] < smallest ? x[i] : smallest;
  return smallest;
}

double Mth_Min(std::vector<double> v) {
  return Mth_Min(v.data(), static_cast<int>(v.size()));
}

namespace {

template <class IsBetter>
int IndexOfFirstBest(const double* x, int n, double best, IsBetter isBetter) {
  int index = 0;
  if (x == nullptr) return index;
  for (int i = 0; i < n; ++i) {
    if (!isBetter(x[i], best)) continue;
    best = x[i];
    index = i;
  }
  return index;
}

}  // namespace

int Mth_Ind_Min(double* x, int n) {
  return IndexOfFirstBest(x, n, 1000.0, [](double value, double best) { return value < best; });
}

int Mth_Ind_Max(double* x, int n) {
  return IndexOfFirstBest(x, n, 0.0, [](double value, double best) { return value > best; });
}

namespace {

template <class T>
double Slope(const T* x, const T* y, int n) {
  double sumX = 0.0;
  double sumXX = 0.0;
  double sumY = 0.0;
  double sumXY = 0.0;
  if (x == nullptr || y == nullptr) n = 0;
  for (int i = 0; i < n; ++i) {
    const double abscissa = static_cast<double>(x[i]);
    const double ordinate = static_cast<double>(y[i]);
    sumX += abscissa;
    sumXX += abscissa * abscissa;
    sumY += ordinate;
    sumXY += abscissa * ordinate;
  }
  const double count = n;
  return (count * sumXY - sumX * sumY) / (count * sumXX - sumX * sumX);
}

}  // namespace

double Mth_Pente(double* x, double* y, int n) {
  return Slope(x, y, n);
}

double Mth_Pente(int* x, int* y, int n) {
  return Slope(x, y, n);
}

double Mth_Pente(float* x, float* y, int n) {
  return Slope(x, y, n);
}

double Mth_Pente(std::vector<double> x, std::vector<double> y) {
  return Slope(x.data(), y.data(), static_cast<int>(std::min(x.size(), y.size())));
}
