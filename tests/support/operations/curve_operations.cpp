#include <optional>
#include <utility>
#include <vector>

#include "support/operations/operations.h"

// The sampled curve.

namespace mth_test {
namespace {

// A bell with a little noise on abscissae that grow unevenly.
MTH_XY_PLOT Bell(int count, unsigned seed) {
  Numbers numbers(seed);
  MTH_XY_PLOT curve;
  float x = -1.5f;
  for (int i = 0; i < count; ++i) {
    const int fromMiddle = i - count / 2;
    const double height = 900.0 / (1 + fromMiddle * fromMiddle / 4);
    x += 0.125f + 0.25f * static_cast<float>(numbers.Positive());
    curve.AddPoint(x, static_cast<float>(height + numbers()));
  }
  return curve;
}

// A curve that turns back.
MTH_XY_PLOT Loop(int count, unsigned seed) {
  Numbers numbers(seed);
  MTH_XY_PLOT curve;
  for (int i = 0; i < count; ++i) {
    const auto x = static_cast<float>(9.0 * numbers());
    curve.AddPoint(x, static_cast<float>(numbers()));
  }
  return curve;
}

using OnCurve = void (*)(Trial&, MTH_XY_PLOT&);

void Add(Operations& list, const std::string& name, OnCurve operation) {
  list.push_back({"curve/" + name, [operation](Trial& t) {
                    for (const int count : {3, 4, 9, 30, 200}) {
                      auto curve = Bell(count, 600);
                      operation(t, curve);
                    }
                  }});
}

void AddPoints(Operations& list) {
  Add(list, "construct", [](Trial& t, MTH_XY_PLOT& curve) {
    std::optional<MTH_XY_PLOT> copy;
    t([&] { copy.emplace(curve); });
    t.Count(*copy);
    t([&] { copy.emplace(&curve); });
    t.Count(*copy);
    MTH_XY_PLOT assigned = Bell(7, 601);
    t([&] { assigned = curve; });
    t.Count(assigned);
    t([&] { return assigned.ClearData(); });
    t.Count(assigned);
  });
  Add(list, "AddPoint", [](Trial& t, MTH_XY_PLOT& curve) {
    MTH_2D_FLOAT point(2.5f, -1.25f);
    t([&] { return curve.AddPoint(&point); });
    t([&] { return curve.AddPoint(3.5f, 4.25f); });
    t([&] { return curve.AddPoint(3.5, 4); });
    t([&] { return curve.AddPoint(curve.GetNumberOfPoints(), 5.0f, 6.0f); });
    t([&] { return curve.AddPoint(curve.GetNumberOfPoints(), &point); });
    t([&] { return curve.AddPoint(0, 5.0f, 6.0f); });
    t([&] { return curve.DeletePoint(1); });
    t([&] { return curve.GetPoint(1, point); });
    t.CountAll(point, curve);
  });
}

void AddDerivatives(Operations& list) {
  Add(list, "GetFirstDerivative",
      [](Trial& t, MTH_XY_PLOT& curve) { t([&] { return curve.GetFirstDerivative(); }); });
  Add(list, "GetFirstDerivative_NoSort",
      [](Trial& t, MTH_XY_PLOT& curve) { t([&] { return curve.GetFirstDerivative_NoSort(); }); });
  Add(list, "GetSecondDerivative",
      [](Trial& t, MTH_XY_PLOT& curve) { t([&] { return curve.GetSecondDerivative(); }); });
  Add(list, "GetSecondDerivative_NoSort",
      [](Trial& t, MTH_XY_PLOT& curve) { t([&] { return curve.GetSecondDerivative_NoSort(); }); });
  Add(list, "GetFirstDerivativeNorm",
      [](Trial& t, MTH_XY_PLOT& curve) { t([&] { return curve.GetFirstDerivativeNorm(); }, 0); });
}

void AddMeasures(Operations& list) {
  Add(list, "GetIntegral", [](Trial& t, MTH_XY_PLOT& curve) { t([&] { return curve.GetIntegral(); }, 0); });
  Add(list, "GetSimpleIntegral", [](Trial& t, MTH_XY_PLOT& curve) {
    t([&] { return curve.GetSimpleIntegral(); });
    t([&] { return curve.GetSimpleIntegral(1, 5.5f); });
  });
  Add(list, "GetYMax", [](Trial& t, MTH_XY_PLOT& curve) {
    t([&] { return curve.GetYMax(); });
    t([&] { return curve.GetYMin(); });
    t([&] { return curve.GetXMax(); });
    t([&] { return curve.GetYMaxIndex(); });
  });
  Add(list, "GetXMean", [](Trial& t, MTH_XY_PLOT& curve) {
    t([&] { return curve.GetXMean(); }, 0);
    t([&] { return curve.GetYMean(); }, 0);
  });
  Add(list, "GetXStandardDeviation", [](Trial& t, MTH_XY_PLOT& curve) {
    t([&] { return curve.GetXStandardDeviation(); }, 0);
    t([&] { return curve.GetYStandardDeviation(); }, 0);
    t([&] { return curve.GetXVariationCoef(); }, 0);
    t([&] { return curve.GetYVariationCoef(); }, 0);
  });
  Add(list, "GetXMediane", [](Trial& t, MTH_XY_PLOT& curve) {
    t([&] { return curve.GetXMediane(); }, 0);
    t([&] { return curve.GetYMediane(); }, 0);
    t.Count(curve);
  });
  Add(list, "GetXYCorrelation",
      [](Trial& t, MTH_XY_PLOT& curve) { t([&] { return curve.GetXYCorrelation(); }, 0); });
  Add(list, "GetLinearRegression", [](Trial& t, MTH_XY_PLOT& curve) {
    float slope = 0.0f;
    float intercept = 0.0f;
    t([&] { return curve.GetLinearRegressionParameters(slope, intercept); });
    t.CountAll(slope, intercept);
    t([&] { return curve.GetLinearRegression(); });
  });
  Add(list, "GetChi2", [](Trial& t, MTH_XY_PLOT& curve) {
    MTH_XY_PLOT model = Bell(curve.GetNumberOfPoints(), 602);
    t([&] { return curve.GetChi2(); }, 0);
    t([&] { return curve.GetChi2(&model); }, 0);
    t([&] { return curve.GetMeanSquared(&model); });
  });
  Add(list, "GetFWHM", [](Trial& t, MTH_XY_PLOT& curve) {
    t([&] { return curve.GetFWHM(0.0, curve.GetYMax()); }, 0);
    t.CountAll(curve.GetFWHMLower_limit(), curve.GetFWHMUpper_limit());
  });
}

void AddSmoothing(Operations& list) {
  Add(list, "GetSlidingMean",
      [](Trial& t, MTH_XY_PLOT& curve) { t([&] { return curve.GetSlidingMean(3); }); });
  Add(list, "DotSmoothFunction",
      [](Trial& t, MTH_XY_PLOT& curve) { t([&] { return curve.DotSmoothFunction(5, 3); }); });
  Add(list, "GetCubicSpline",
      [](Trial& t, MTH_XY_PLOT& curve) { t([&] { return curve.GetCubicSpline(6); }); });
  Add(list, "DotSpline", [](Trial& t, MTH_XY_PLOT& curve) { t([&] { return curve.DotSpline(3, 4); }); });
  Add(list, "DotSplinePoint", [](Trial& t, MTH_XY_PLOT& curve) {
    for (const float x : FloatValues(40, 603, -3.0, 40.0)) t([&] { return curve.DotSplinePoint(x); }, 0);
  });
  Add(list, "DotSplinePoint/array", [](Trial& t, MTH_XY_PLOT& curve) {
    const auto x = FloatValues(40, 603, -3.0, 40.0);
    std::vector<float> y(x.size());
    t([&] { return curve.DotSplinePoint(x.data(), y.data(), static_cast<int>(x.size())); });
    t.Count(y);
  });
  Add(list, "GetSlidingMean/wide",
      [](Trial& t, MTH_XY_PLOT& curve) { t([&] { return curve.GetSlidingMean(21); }); });
  Add(list, "move", [](Trial& t, MTH_XY_PLOT& curve) {
    MTH_XY_PLOT moved;
    t([&] { moved = std::move(curve); });
    t.CountAll(curve.GetNumberOfPoints(), moved);
  });
  Add(list, "GetDotSplineXY", [](Trial& t, MTH_XY_PLOT& curve) {
    t([&] { return curve.GetDotSplineXY(); });
    const MTH_XY_PLOT loop = Loop(curve.GetNumberOfPoints(), 604);
    t([&] { return loop.GetDotSplineXY(); });
  });
}

}  // namespace

void AddCurveOperations(Operations& list) {
  AddPoints(list);
  AddDerivatives(list);
  AddMeasures(list);
  AddSmoothing(list);
}

}  // namespace mth_test
