#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/core/Mth_message_internal.h"
#include "mth/curve/Mth_xy_plot.h"
#include "mth/curve/Mth_xy_plot_internal.h"

// Derivatives and integrals of the curve.

namespace {

using CurvePtr = std::unique_ptr<MTH_XY_PLOT>;

enum class Difference { Exact, Single };

float SlopeAround(const MTH_XY_PLOT& curve, int i, Difference precision) {
  constexpr double kSmallestSpan = 1e-5;
  const double exact = static_cast<double>(curve.GetPointX(i + 1)) - curve.GetPointX(i - 1);
  const double span = precision == Difference::Single ? static_cast<float>(exact) : exact;
  if (!(std::abs(span) >= kSmallestSpan)) return std::numeric_limits<float>::max();
  return static_cast<float>((static_cast<double>(curve.GetPointY(i + 1)) - curve.GetPointY(i - 1)) / span);
}

CurvePtr Derivative(const MTH_XY_PLOT* curve, Difference precision) {
  if (curve == nullptr) return nullptr;
  const int count = curve->GetNumberOfPoints();
  if (count < 3) {
    mth_internal::ShowFailure("La fonction GetFirstDerivative nécessite plus de 3 points!",
                              MessageKind::Error, "Information");
    return nullptr;
  }
  return mth_internal::NewCurve(count, [=](int i) {
    const bool isEnd = i == 0 || i == count - 1;
    return MTH_2D_FLOAT(curve->GetPointX(i), isEnd ? 0.0f : SlopeAround(*curve, i, precision));
  });
}

}  // namespace

MTH_XY_PLOT* MTH_XY_PLOT::GetFirstDerivative() const {
  return Derivative(this, Difference::Exact).release();
}

MTH_XY_PLOT* MTH_XY_PLOT::GetFirstDerivative_NoSort() const {
  return Derivative(this, Difference::Single).release();
}

MTH_XY_PLOT* MTH_XY_PLOT::GetSecondDerivative() const {
  return Derivative(Derivative(this, Difference::Exact).get(), Difference::Exact).release();
}

MTH_XY_PLOT* MTH_XY_PLOT::GetSecondDerivative_NoSort() const {
  return Derivative(Derivative(this, Difference::Single).get(), Difference::Single).release();
}

double MTH_XY_PLOT::GetFirstDerivativeNorm() const {
  const CurvePtr derivative = Derivative(this, Difference::Exact);
  if (derivative == nullptr) return 0.0;
  float sum = 0.0f;
  for (const MTH_2D_FLOAT* point : derivative->points_) sum += point->GetY() * point->GetY();
  return std::sqrt(static_cast<double>(sum));
}

double MTH_XY_PLOT::GetSimpleIntegral() const {
  double sumOfAll = 0.0;
  double sumWithoutFirst = 0.0;
  for (int i = 0; i < GetNumberOfPoints(); ++i) {
    sumOfAll += GetPointY(i);
    if (i > 0) sumWithoutFirst += GetPointY(i);
  }
  return 0.5 * (sumOfAll + sumWithoutFirst);
}

double MTH_XY_PLOT::GetSimpleIntegral(int start, float end) const {
  double left = 0.0;
  double right = 0.0;
  // From -1, whose right neighbour is the first point: everything before is 0.
  for (int i = std::max(start, -1); i < GetNumberOfPoints() && i <= static_cast<double>(end); ++i) {
    left += GetPointY(i);
    if (i < static_cast<double>(end)) right += GetPointY(i + 1);
  }
  return 0.5 * (left + right);
}
