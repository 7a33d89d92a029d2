#include <algorithm>
#include <cmath>

#include "mth/curve/Mth_xy_plot.h"
#include "mth/curve/Mth_xy_plot_internal.h"
#include "mth/statistics/Mth_descriptive.h"

// The curve as pairs: correlation, regression line and distances from a model.

double MTH_XY_PLOT::GetXYCorrelation() const {
  const auto x = Values(&MTH_2D_FLOAT::GetX);
  const auto y = Values(&MTH_2D_FLOAT::GetY);
  double d = 0.0;
  double zd = 0.0;
  double probd = 0.0;
  double correlation = 0.0;
  double significance = 0.0;
  if (GetNumberOfPoints() == 0 || x == nullptr || y == nullptr) return 0.0;
  Mth_CorrelationRatioOfSpearman(x.get(), y.get(), GetNumberOfPoints(), &d, &zd, &probd, &correlation,
                                 &significance);
  return correlation;
}

bool MTH_XY_PLOT::GetLinearRegressionParameters(float& slope, float& intercept) const {
  slope = 0.0f;
  intercept = 0.0f;
  const int count = GetNumberOfPoints();
  const auto x = Values(&MTH_2D_FLOAT::GetX);
  const auto y = Values(&MTH_2D_FLOAT::GetY);
  if (count == 0 || x == nullptr || y == nullptr) return false;
  const double exactSlope = Mth_Pente(x.get(), y.get(), count);
  // The derivative of the squared error by the intercept; mean(y) - slope mean(x) would round otherwise.
  double sum = 0.0;
  for (int i = 0; i < count; ++i) sum += -2.0 * y.get()[i] + 2.0 * exactSlope * x.get()[i];
  slope = static_cast<float>(exactSlope);
  intercept = static_cast<float>(sum / (-2.0 * count));
  return true;
}

MTH_XY_PLOT* MTH_XY_PLOT::GetLinearRegression() const {
  float slope = 0.0f;
  float intercept = 0.0f;
  if (!GetLinearRegressionParameters(slope, intercept) && GetNumberOfPoints() > 0) return nullptr;
  return mth_internal::NewCurve(
             GetNumberOfPoints(),
             [&](int i) { return MTH_2D_FLOAT(GetPointX(i), slope * GetPointX(i) + intercept); })
      .release();
}

namespace {

// The term of a chi-square sum; 0 where the expected value is too small to divide by.
float ChiSquareTerm(float observed, float expected) {
  constexpr double kSmallestExpected = 0.001;
  if (!(std::abs(static_cast<double>(expected)) >= kSmallestExpected)) return 0.0f;
  const float difference = observed - expected;
  return difference * difference / expected;
}

}  // namespace

int MTH_XY_PLOT::CommonCount(const MTH_XY_PLOT* model) const {
  return model != nullptr ? std::min(GetNumberOfPoints(), model->GetNumberOfPoints()) : 0;
}

float MTH_XY_PLOT::GetChi2() const {
  float sum = 0.0f;
  for (const MTH_2D_FLOAT* point : points_) sum += ChiSquareTerm(point->GetX(), point->GetY());
  return sum;
}

float MTH_XY_PLOT::GetChi2(MTH_XY_PLOT* model) const {
  float sum = 0.0f;
  for (int i = 0; i < CommonCount(model); ++i) sum += ChiSquareTerm(GetPointY(i), model->GetPointY(i));
  return sum;
}

float MTH_XY_PLOT::GetMeanSquared(MTH_XY_PLOT* model) const {
  float sum = 0.0f;
  for (int i = 0; i < CommonCount(model); ++i) {
    const float difference = GetPointY(i) - model->GetPointY(i);
    sum += difference * difference;
  }
  return sum;
}
