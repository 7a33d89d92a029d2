#include <algorithm>
#include <cmath>

#include "mth/core/Mth_convert_internal.h"
#include "mth/core/Mth_new_array_internal.h"
#include "mth/curve/Mth_xy_plot.h"
#include "mth/statistics/Mth_descriptive.h"
#include "mth/statistics/Mth_descriptive_internal.h"

// Moments and medians of the coordinates, and the integral over the sorted curve.

namespace {

using Points = MTH_POINTER_LIST<MTH_2D_FLOAT>;

// Descending: positive when the second point has the larger coordinate.
template <float (MTH_2D_FLOAT::*coordinate)() const>
int CompareRoundedThousandths(void* first, void* second) {
  const double a = (static_cast<const MTH_2D_FLOAT*>(first)->*coordinate)();
  const double b = (static_cast<const MTH_2D_FLOAT*>(second)->*coordinate)();
  return mth_internal::TruncateToInt(std::round(1000.0 * (b - a)));
}

constexpr auto kByX = CompareRoundedThousandths<&MTH_2D_FLOAT::GetX>;
constexpr auto kByY = CompareRoundedThousandths<&MTH_2D_FLOAT::GetY>;

// A list of the same points, sorted; empty when memory runs out.
Points SortedByX(const Points& points) {
  Points sorted;
  for (MTH_2D_FLOAT* point : points) {
    if (sorted.Add(point) < 0) return {};
  }
  sorted.Sort(kByX);
  return sorted;
}

double VariationOf(double* values, int count) {
  return values != nullptr ? Mth_StdDeviation(values, count) / Mth_Mean(values, count) : 0.0;
}

// In double, where the sum of two coordinates cannot overflow.
template <class Coordinate>
float MedianOf(const Points& sorted, Coordinate coordinate) {
  if (sorted.GetCount() == 0) return 0.0f;
  return static_cast<float>(mth_internal::MedianOfSorted(
      sorted.GetCount(), [&](int i) { return static_cast<double>((sorted.Get(i)->*coordinate)()); }));
}

}  // namespace

std::unique_ptr<double[]> MTH_XY_PLOT::Values(Coordinate coordinate) const {
  auto values = mth_internal::NewArray<double>(GetNumberOfPoints());
  if (values == nullptr) return nullptr;
  std::transform(points_.begin(), points_.end(), values.get(),
                 [=](const MTH_2D_FLOAT* point) { return (point->*coordinate)(); });
  return values;
}

double MTH_XY_PLOT::GetXMean() const {
  const auto values = Values(&MTH_2D_FLOAT::GetX);
  return values != nullptr ? Mth_Mean(values.get(), GetNumberOfPoints()) : 0.0;
}

double MTH_XY_PLOT::GetYMean() const {
  const auto values = Values(&MTH_2D_FLOAT::GetY);
  return values != nullptr ? Mth_Mean(values.get(), GetNumberOfPoints()) : 0.0;
}

double MTH_XY_PLOT::GetXStandardDeviation() const {
  const auto values = Values(&MTH_2D_FLOAT::GetX);
  return values != nullptr ? Mth_StdDeviation(values.get(), GetNumberOfPoints()) : 0.0;
}

double MTH_XY_PLOT::GetYStandardDeviation() const {
  const auto values = Values(&MTH_2D_FLOAT::GetY);
  return values != nullptr ? Mth_StdDeviation(values.get(), GetNumberOfPoints()) : 0.0;
}

double MTH_XY_PLOT::GetXVariationCoef() const {
  return VariationOf(Values(&MTH_2D_FLOAT::GetX).get(), GetNumberOfPoints());
}

double MTH_XY_PLOT::GetYVariationCoef() const {
  return VariationOf(Values(&MTH_2D_FLOAT::GetY).get(), GetNumberOfPoints());
}

float MTH_XY_PLOT::GetXMediane() const {
  return MedianOf(SortedByX(points_), &MTH_2D_FLOAT::GetX);
}

float MTH_XY_PLOT::GetYMediane() {
  points_.Sort(kByY);
  return MedianOf(points_, &MTH_2D_FLOAT::GetY);
}

float MTH_XY_PLOT::GetIntegral() const {
  const Points sorted = SortedByX(points_);
  float sum = 0.0f;
  for (int i = 0; i + 1 < sorted.GetCount(); ++i) {
    sum += (sorted.Get(i)->GetY() + sorted.Get(i + 1)->GetY()) * sorted.Get(i)->GetX() * 0.5f;
  }
  return sum;
}
