#pragma once

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "mth/curve/Mth_xy_plot.h"

namespace mth_test {

using CurvePtr = std::unique_ptr<MTH_XY_PLOT>;
using Points = std::vector<std::pair<float, float>>;

inline constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
inline constexpr float kInfinity = std::numeric_limits<float>::infinity();

inline MTH_XY_PLOT CurveOf(const Points& points) {
  MTH_XY_PLOT curve;
  for (const auto& [x, y] : points) curve.AddPoint(x, y);
  return curve;
}

// Ordinates over the abscissae 0, 1, 2 ...
inline MTH_XY_PLOT CurveOfY(const std::vector<float>& ordinates) {
  MTH_XY_PLOT curve;
  for (const float y : ordinates) curve.AddPoint(curve.GetNumberOfPoints(), y);
  return curve;
}

inline Points PointsOf(const MTH_XY_PLOT& curve) {
  Points points;
  for (int i = 0; i < curve.GetNumberOfPoints(); ++i)
    points.emplace_back(curve.GetPointX(i), curve.GetPointY(i));
  return points;
}

// The points of a new curve, which is freed.
inline Points Take(MTH_XY_PLOT* curve) {
  const CurvePtr owned(curve);
  if (owned == nullptr) {
    ADD_FAILURE() << "no curve";
    return {};
  }
  return PointsOf(*owned);
}

}  // namespace mth_test
