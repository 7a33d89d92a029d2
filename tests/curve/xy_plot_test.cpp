#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

#include "curve/curve_cases.h"
#include "support/allocation_faults.h"
#include "support/recording_display.h"

namespace mth_test {
namespace {

constexpr float kUndefinedSlope = std::numeric_limits<float>::max();

TEST(XyPlot, AddsAtItsEndAndRefusesEveryIndexInside) {
  MTH_XY_PLOT curve;
  MTH_2D_FLOAT point(7.0f, 8.0f);
  EXPECT_TRUE(curve.AddPoint(1.5, 0));
  EXPECT_TRUE(curve.AddPoint(3, 0));
  EXPECT_TRUE(curve.AddPoint(&point));
  EXPECT_FALSE(curve.AddPoint(static_cast<MTH_2D_FLOAT*>(nullptr)));
  EXPECT_FALSE(curve.AddPoint(0, NULL));  // a null point, not the point (0, 0)
  EXPECT_FALSE(curve.AddPoint(3, nullptr));
  const Points three = {{1.5f, 0.0f}, {3.0f, 0.0f}, {7.0f, 8.0f}};
  for (const int index : {-1, 0, 2, 4, 100}) {
    EXPECT_FALSE(curve.AddPoint(index, 5.0f, 5.0f)) << index;
    EXPECT_FALSE(curve.AddPoint(index, &point)) << index;
  }
  for (const int index : {-1, 0, 2, 3, 100}) EXPECT_FALSE(curve.DeletePoint(index)) << index;
  EXPECT_EQ(PointsOf(curve), three);
  EXPECT_TRUE(curve.AddPoint(3, 5.0f, 6.0f));
  EXPECT_TRUE(curve.AddPoint(4, &point));
  EXPECT_EQ(curve.GetNumberOfPoints(), 5);

  point = MTH_2D_FLOAT(9.0f, 9.0f);
  EXPECT_TRUE(curve.GetPoint(3, point));
  EXPECT_EQ(std::pair(point.GetX(), point.GetY()), std::pair(5.0f, 6.0f));
  for (const int index : {-1, 5}) {
    point = MTH_2D_FLOAT(9.0f, 9.0f);
    EXPECT_FALSE(curve.GetPoint(index, point));
    EXPECT_EQ(std::pair(point.GetX(), point.GetY()), std::pair(0.0f, 0.0f));
    EXPECT_EQ(std::pair(curve.GetPointX(index), curve.GetPointY(index)), std::pair(0.0f, 0.0f));
  }
}

TEST(XyPlot, CopiesAreIndependent) {
  MTH_XY_PLOT curve = CurveOfY({4.0f, 5.0f});
  const Points both = PointsOf(curve);
  const MTH_XY_PLOT copy(&curve);
  MTH_XY_PLOT assigned = CurveOfY({1.0f, 2.0f, 3.0f});
  assigned = curve;
  EXPECT_TRUE(curve.ClearData());
  EXPECT_EQ(curve.GetNumberOfPoints(), 0);
  EXPECT_EQ(PointsOf(copy), both);
  EXPECT_EQ(PointsOf(assigned), both);
  EXPECT_EQ(MTH_XY_PLOT(static_cast<MTH_XY_PLOT*>(nullptr)).GetNumberOfPoints(), 0);
}

TEST(XyPlot, MovesWithoutAllocatingAnything) {
  static_assert(std::is_nothrow_move_constructible_v<MTH_XY_PLOT>);
  static_assert(std::is_nothrow_move_assignable_v<MTH_XY_PLOT>);
  MTH_XY_PLOT curve = CurveOfY({0, 0, 10, 10, 10, 10, 10, 10, 0});
  const Points points = PointsOf(curve);
  EXPECT_EQ(curve.GetFWHM(0, 10), 6.0);
  MTH_XY_PLOT other = CurveOfY({1.0f});
  const AllocationFaults faults(0);
  MTH_XY_PLOT moved(std::move(curve));
  EXPECT_EQ(curve.GetNumberOfPoints(), 0);
  EXPECT_EQ(curve.GetFWHMUpper_limit(), 0.0);
  EXPECT_EQ(moved.GetFWHMUpper_limit(), 8.0);
  other = std::move(moved);
  EXPECT_EQ(moved.GetNumberOfPoints(), 0);
  MTH_XY_PLOT& same = other;
  other = std::move(same);
  EXPECT_EQ(other.GetNumberOfPoints(), 9);
  EXPECT_EQ(other.GetFWHMLower_limit(), 2.0);
  EXPECT_EQ(other.GetPointY(3), points[3].second);
}

TEST(XyPlot, KeepsTheOldCurveWhereTheNewOneFindsNoMemory) {
  const MTH_XY_PLOT source = CurveOfY({4.0f, 5.0f, 6.0f, 7.0f});
  const Points old = {{0, 1}, {1, 2}};
  int replaced = 0;
  const int faults = ForEachAllocationFault(
      [&] {
        MTH_XY_PLOT curve;
        bool hasOld = true;
        for (const auto& [x, y] : old) hasOld = curve.AddPoint(x, y) && hasOld;
        curve = source;
        const MTH_XY_PLOT copy(source);
        return std::pair(hasOld ? curve.GetNumberOfPoints() : 2, copy.GetNumberOfPoints());
      },
      [&](const std::pair<int, int>& counts) {
        EXPECT_TRUE(counts.first == 2 || counts.first == 4) << counts.first;
        EXPECT_TRUE(counts.second == 0 || counts.second == 4) << counts.second;
        replaced += counts.first == 4 ? 1 : 0;
      });
  EXPECT_GT(faults, 8);
  EXPECT_GE(replaced, 1);
}

TEST(XyPlot, DerivesByCentralDifferencesWithFlatEnds) {
  const MTH_XY_PLOT parabola = CurveOfY({0.0f, 1.0f, 4.0f, 9.0f, 16.0f});
  const Points first = {{0, 0}, {1, 2}, {2, 4}, {3, 6}, {4, 0}};
  const Points second = {{0, 0}, {1, 2}, {2, 2}, {3, -2}, {4, 0}};
  EXPECT_EQ(Take(parabola.GetFirstDerivative()), first);
  EXPECT_EQ(Take(parabola.GetFirstDerivative_NoSort()), first);
  EXPECT_EQ(Take(parabola.GetSecondDerivative()), second);
  EXPECT_EQ(Take(parabola.GetSecondDerivative_NoSort()), second);
  EXPECT_DOUBLE_EQ(parabola.GetFirstDerivativeNorm(), std::sqrt(56.0));
  EXPECT_EQ(CurveOfY({0.0f, 0.0f, 8192.0f, 2.0f}).GetFirstDerivativeNorm(), 4096.0);  // 2^24 + 1 in single
}

TEST(XyPlot, MarksUndefinedSlopes) {
  // The spans of x: 1e-6; the float below 1e-5; 1.0000000147e-5, which single precision rounds below 1e-5.
  struct Case {
    Points points;
    float slope;
    float slopeOfSingle;
  };
  const Case cases[] = {
      {{{0.0f, 1.0f}, {5e-7f, 2.0f}, {1e-6f, 3.0f}}, kUndefinedSlope, kUndefinedSlope},
      {{{0.0f, 0.0f}, {0.0f, 0.0f}, {1e-5f, 1.0f}}, kUndefinedSlope, kUndefinedSlope},
      {{{-4e-13f, 0.0f}, {0.0f, 0.0f}, {1e-5f, 1.0f}}, 100000.0f, kUndefinedSlope},
      {{{1.0f, 0.0f}, {0.5f, 0.0f}, {0.0f, 3.0f}}, -3.0f, -3.0f},
      {{{0.0f, 0.0f}, {kNaN, 0.0f}, {kNaN, 3.0f}}, kUndefinedSlope, kUndefinedSlope},
  };
  for (const Case& c : cases) {
    const MTH_XY_PLOT curve = CurveOf(c.points);
    const CurvePtr derivative(curve.GetFirstDerivative());
    const CurvePtr ofSingle(curve.GetFirstDerivative_NoSort());
    EXPECT_FLOAT_EQ(derivative->GetPointY(1), c.slope);
    EXPECT_FLOAT_EQ(ofSingle->GetPointY(1), c.slopeOfSingle);
    EXPECT_EQ(derivative->GetPointY(0), 0.0f);
    EXPECT_EQ(derivative->GetPointY(2), 0.0f);
  }
  // Both differences of the second derivative are of the same kind. Spans of 1e-5 + 4e-13 tell them apart.
  const MTH_XY_PLOT narrow =
      CurveOf({{-4e-13f, 0}, {0, 1}, {1e-5f, 3}, {3e-5f, 2}, {2e-5f, 9}, {7, 1}, {9, 4}});
  const CurvePtr exact(narrow.GetFirstDerivative());
  const CurvePtr single(narrow.GetFirstDerivative_NoSort());
  EXPECT_NE(Take(exact->GetFirstDerivative()), Take(exact->GetFirstDerivative_NoSort()));
  EXPECT_EQ(Take(narrow.GetSecondDerivative()), Take(exact->GetFirstDerivative()));
  EXPECT_EQ(Take(narrow.GetSecondDerivative_NoSort()), Take(single->GetFirstDerivative_NoSort()));
  // A mark counts as an ordinary value the second time: (mark - 0) / 2.
  const CurvePtr second(CurveOf({{0, 0}, {1, 1}, {2, 5}, {1, 7}, {0, 9}}).GetSecondDerivative());
  EXPECT_EQ(second->GetPointY(1), kUndefinedSlope / 2.0f);
}

TEST(XyPlot, RefusesToDeriveFewerThanThreePoints) {
  const ShownMessage refusal = {"La fonction GetFirstDerivative nécessite plus de 3 points!",
                                MessageKind::Error, "Information"};
  for (int count = 0; count < 3; ++count) {
    const MTH_XY_PLOT curve = CurveOfY(std::vector<float>(static_cast<std::size_t>(count), 1.0f));
    RecordingDisplay display;
    EXPECT_EQ(curve.GetFirstDerivative(), nullptr);
    EXPECT_EQ(curve.GetFirstDerivative_NoSort(), nullptr);
    EXPECT_EQ(curve.GetSecondDerivative(), nullptr);
    EXPECT_EQ(curve.GetSecondDerivative_NoSort(), nullptr);
    EXPECT_EQ(curve.GetFirstDerivativeNorm(), 0.0);
    EXPECT_EQ(display.messages, std::vector(5, refusal));
  }
}

TEST(XyPlot, IntegratesWeightedByAbscissaInDescendingOrder) {
  const std::pair<Points, float> cases[] = {
      {{}, 0.0f},
      {{{3, 5}}, 0.0f},
      {{{1, 2}, {2, 2}}, 4.0f},
      {{{1, 2}, {1.0004f, 5}, {3, 1}}, 8.0f},      // closer than 0.0005: as added
      {{{1, 2}, {1.0006f, 5}, {3, 1}}, 12.5021f},  // 3 x 6 / 2 + 1.0006 x 7 / 2
      {{{-1, 4}, {-2, 6}, {0, 2}}, 0.0f - 5.0f},   // 0 x 6 / 2 - 1 x 10 / 2
  };
  for (const auto& [points, integral] : cases) {
    const MTH_XY_PLOT curve = CurveOf(points);
    EXPECT_FLOAT_EQ(curve.GetIntegral(), integral);
    EXPECT_EQ(PointsOf(curve), points);
  }
}

TEST(XyPlot, IntegratesOverUnitSteps) {
  EXPECT_EQ(CurveOfY({1.0f, 1.0f, 1.0f}).GetSimpleIntegral(), 2.5);
  EXPECT_EQ(CurveOfY({}).GetSimpleIntegral(), 0.0);
  EXPECT_EQ(CurveOfY({3.0f}).GetSimpleIntegral(), 1.5);
  const MTH_XY_PLOT curve = CurveOfY({1.0f, 2.0f, 4.0f, 8.0f});
  EXPECT_EQ(curve.GetSimpleIntegral(), 14.5);
  struct Case {
    int start;
    float end;
    double integral;
  };
  const Case cases[] = {{0, 3.0f, 14.5},
                        {0, 2.0f, 6.5},
                        {1, 2.5f, 9.0},
                        {3, 10.0f, 4.0},
                        {2, 1.0f, 0.0},
                        {-1, 0.0f, 1.0},
                        {std::numeric_limits<int>::min(), 0.0f, 1.0},
                        {0, kInfinity, 14.5},
                        {0, kNaN, 0.0}};
  for (const Case& c : cases)
    EXPECT_EQ(curve.GetSimpleIntegral(c.start, c.end), c.integral) << c.start << ' ' << c.end;
}

TEST(XyPlot, FindsExtremaTheLastOfEqualMaxima) {
  struct Case {
    std::vector<float> y;
    double largest;
    double smallest;
    int index;
  };
  const Case cases[] = {{{}, 0, 0, 0}, {{-3}, -3, -3, 0}, {{1, 5, -2, 5, 0}, 5, -2, 3}, {{2, 2, 2}, 2, 2, 2}};
  for (const Case& c : cases) {
    const MTH_XY_PLOT curve = CurveOfY(c.y);
    EXPECT_EQ(curve.GetYMax(), c.largest);
    EXPECT_EQ(curve.GetYMin(), c.smallest);
    EXPECT_EQ(curve.GetXMax(), c.index);
    EXPECT_EQ(curve.GetYMaxIndex(), c.index);
  }
}

TEST(XyPlot, MomentsAreThoseOfThePopulation) {
  const MTH_XY_PLOT curve = CurveOf({{1, -1}, {2, 1}, {3, -1}, {4, 1}});
  EXPECT_DOUBLE_EQ(curve.GetXMean(), 2.5);
  EXPECT_DOUBLE_EQ(curve.GetXStandardDeviation(), std::sqrt(1.25));
  EXPECT_DOUBLE_EQ(curve.GetXVariationCoef(), std::sqrt(1.25) / 2.5);
  EXPECT_EQ(curve.GetYMean(), 0.0);
  EXPECT_EQ(curve.GetYStandardDeviation(), 1.0);
  EXPECT_TRUE(std::isinf(curve.GetYVariationCoef()));
  const MTH_XY_PLOT high = CurveOf({{0, 2}, {1, 6}});
  EXPECT_EQ(high.GetYMean(), 4.0);
  EXPECT_EQ(high.GetYVariationCoef(), 0.5);
  EXPECT_EQ(MTH_XY_PLOT().GetXMean(), 0.0);
  EXPECT_EQ(MTH_XY_PLOT().GetYStandardDeviation(), 0.0);
  EXPECT_TRUE(std::isnan(MTH_XY_PLOT().GetXVariationCoef()));
}

TEST(XyPlot, OnlyTheMedianOfYReorders) {
  MTH_XY_PLOT odd = CurveOf({{0, 3}, {5, 1}, {2, 2}});
  EXPECT_EQ(odd.GetXMediane(), 2.0f);
  EXPECT_EQ(PointsOf(odd), (Points{{0, 3}, {5, 1}, {2, 2}}));
  EXPECT_EQ(odd.GetYMediane(), 2.0f);
  EXPECT_EQ(PointsOf(odd), (Points{{0, 3}, {2, 2}, {5, 1}}));
  MTH_XY_PLOT even = CurveOf({{9, 4}, {1, 1}, {4, 3}, {2, 2}});
  EXPECT_EQ(even.GetXMediane(), 3.0f);
  EXPECT_EQ(even.GetYMediane(), 2.5f);
  EXPECT_EQ(CurveOfY({3e38f, 3e38f}).GetYMediane(), 3e38f);  // their sum is beyond float
  // Coordinates that differ by less than half a thousandth keep their order.
  MTH_XY_PLOT close = CurveOf({{1.0003f, 5.0003f}, {1.0f, 5.0f}, {1.0001f, 5.0001f}});
  EXPECT_EQ(close.GetXMediane(), 1.0f);
  EXPECT_EQ(close.GetYMediane(), 5.0f);
  MTH_XY_PLOT apart = CurveOf({{1.0006f, 5.0006f}, {1.0f, 5.0f}, {1.0012f, 5.0012f}});
  EXPECT_EQ(apart.GetXMediane(), 1.0006f);
  EXPECT_EQ(apart.GetYMediane(), 5.0006f);
  MTH_XY_PLOT empty;
  EXPECT_EQ(empty.GetXMediane(), 0.0f);
  EXPECT_EQ(empty.GetYMediane(), 0.0f);
  MTH_XY_PLOT undefined = CurveOfY({kNaN, kInfinity, -kInfinity, kNaN});
  undefined.GetYMediane();
  EXPECT_EQ(undefined.GetXMean(), 1.5);  // the same four points
}

TEST(XyPlot, ComparesWithLinesAndModels) {
  float slope = 9.0f;
  float intercept = 9.0f;
  EXPECT_FALSE(MTH_XY_PLOT().GetLinearRegressionParameters(slope, intercept));
  EXPECT_EQ(std::pair(slope, intercept), std::pair(0.0f, 0.0f));
  EXPECT_TRUE(Take(MTH_XY_PLOT().GetLinearRegression()).empty());
  EXPECT_TRUE(CurveOfY({0.0f, 1.0f, 1.0f}).GetLinearRegressionParameters(slope, intercept));
  EXPECT_FLOAT_EQ(slope, 0.5f);
  EXPECT_FLOAT_EQ(intercept, 1.0f / 6.0f);
  EXPECT_TRUE(CurveOf({{0, 0}, {3e6f, 1e6f}}).GetLinearRegressionParameters(slope, intercept));
  EXPECT_NEAR(intercept, 0.0f, 1e-6f);  // a slope rounded to single precision would give -0.015
  EXPECT_TRUE(CurveOf({{6, 2}, {12, 4}, {24, 8}}).GetLinearRegressionParameters(slope, intercept));
  EXPECT_EQ(intercept, 0.0f);  // from the two means it would be 9e-16
  const Points line = {{3, 7}, {0, 1}, {1, 3}, {2, 5}};
  EXPECT_EQ(Take(CurveOf(line).GetLinearRegression()), line);

  EXPECT_NEAR(CurveOf({{1, 1}, {2, 3}, {3, 2}, {4, 4}}).GetXYCorrelation(), 0.8, 1e-12);
  EXPECT_EQ(MTH_XY_PLOT().GetXYCorrelation(), 0.0);

  // 1 / 2, two too small to divide by, 25 / -4, and one just large enough.
  EXPECT_FLOAT_EQ(CurveOf({{3, 2}, {5, 0.00099f}, {5, 0}, {1, -4}, {0.031f, 0.001f}}).GetChi2(), -4.85f);
  const MTH_XY_PLOT curve = CurveOfY({3.0f, 1.0f, 5.0f, 100.0f});
  MTH_XY_PLOT model = CurveOfY({2.0f, 0.0005f, 4.0f});
  EXPECT_FLOAT_EQ(curve.GetChi2(&model), 0.75f);
  model = CurveOfY({1.0f, 4.0f});
  EXPECT_FLOAT_EQ(curve.GetMeanSquared(&model), 13.0f);
  // 2^24 + 1 is no float: each of these sums loses its ones.
  EXPECT_EQ(CurveOf({{-4095, 1}, {2, 1}, {2, 1}}).GetChi2(), 16777216.0f);
  EXPECT_EQ(CurveOf({{4100, 3}}).GetChi2(), 5595136.0f);  // 4097^2 is no float either
  MTH_XY_PLOT ones = CurveOfY({1.0f, 1.0f, 1.0f});
  EXPECT_EQ(CurveOfY({4097.0f, 2.0f, 2.0f}).GetChi2(&ones), 16777216.0f);
  EXPECT_EQ(CurveOfY({4097.0f, 2.0f, 2.0f}).GetMeanSquared(&ones), 16777216.0f);
  EXPECT_EQ(CurveOf({{4, 8388607}, {2, 1}, {1, 0}, {0, 2}}).GetIntegral(), 16777216.0f);
  EXPECT_EQ(curve.GetChi2(nullptr), 0.0f);
  EXPECT_EQ(curve.GetMeanSquared(nullptr), 0.0f);
}

TEST(XyPlot, MeasuresTheWidthAtHalfMaximum) {
  struct Case {
    const char* what;
    std::vector<float> y;
    double a, b;
    double lower, upper;
  };
  const Case cases[] = {
      {"wide", {0, 0, 10, 10, 10, 10, 10, 10, 0}, 0, 10, 2, 8},
      {"level 5.5 counts as 5", {0, 5.2f, 6, 6, 6, 6, 6, 5.1f, 4}, 0, 11, 1, 8},
      {"level -5.5 counts as -5", {-10, -5.2f, -4, -4, -4, -4, -4, -5.2f, -10}, -11, 0, 2, 7},
      {"5 points apart need no second search", {0, 6, 10, 10, 10, 10, 4}, 0, 10, 1, 6},
      {"4 points apart need one", {0, 6, 10, 10, 10, 4}, 0, 10, 2, 5},
      {"neighbours need no second search", {0, 10, 0}, 0, 10, 1, 2},
      {"second search from 4 at level 7", {0, 6, 7, 8, 4, 3}, 0, 10, 3, 4},
      {"second search would repeat the first", {0, 9, 9, 0}, 0, 10, 1, 3},
      {"third search would repeat the first", {11.5f, 11.5f, 4, 13, 13, 2}, 4, 20, 0, 2},
      {"nothing above", {1, 1, 1}, 4, 4, 0, 0},
      {"never falls", {0, 9, 9}, 0, 10, 1, 0},
      {"undefined", {kNaN, kNaN}, 0, 1, 0, 0},
      {"undefined level", {1, 2, 3}, kNaN, kNaN, 0, 0},
      {"one point", {1}, 0, 1, 0, 0},
      {"empty", {}, 0, 1, 0, 0},
  };
  for (const Case& c : cases) {
    MTH_XY_PLOT curve = CurveOfY(c.y);
    EXPECT_EQ(curve.GetFWHMUpper_limit(), 0.0);
    EXPECT_EQ(curve.GetFWHM(c.a, c.b), c.upper - c.lower) << c.what;
    EXPECT_EQ(curve.GetFWHMLower_limit(), c.lower) << c.what;
    EXPECT_EQ(curve.GetFWHMUpper_limit(), c.upper) << c.what;
  }
}

// The width as it is told: search, and search again from the y of the upper point unless that start is known.
struct Width {
  double lower = 0.0;
  double upper = 0.0;
};

Width MeasureWidthPlainly(const MTH_XY_PLOT& curve, double a, double b, std::vector<double> starts) {
  const double level = std::trunc((a + b) * 0.5);
  const int count = curve.GetNumberOfPoints();
  int i0 = 0;
  while (i0 < count && !(curve.GetPointY(i0) > level)) ++i0;
  if (i0 == count) i0 = 0;
  int i1 = i0;
  while (i1 < count && !(curve.GetPointY(i1) < level)) ++i1;
  if (i1 == count) i1 = 0;
  const double next = curve.GetPointY(i1);
  starts.push_back(a);
  Width width;
  if (i1 - i0 < 5 && i1 - i0 != 1 && std::find(starts.begin(), starts.end(), next) == starts.end()) {
    width = MeasureWidthPlainly(curve, next, b, starts);
  }
  if (width.upper - width.lower != 0.0) return width;
  return {curve.GetPointX(i0), curve.GetPointX(i1)};
}

TEST(XyPlot, SearchesForTheWidthAgainAsOftenAsItIsTold) {
  std::mt19937 engine(53);
  int chained = 0;
  for (int i = 0; i < 3000; ++i) {
    const int count = 1 + static_cast<int>(engine() % 60);
    const int height = i % 3 == 0 ? 4 : 40;
    MTH_XY_PLOT curve;
    for (int k = 0; k < count; ++k) {
      const int y = static_cast<int>(engine() % static_cast<unsigned>(height)) - height / 4;
      curve.AddPoint(i % 5 == 0 ? k / 3 : k, y + (i % 7 == 0 ? 0.5 : 0.0));
    }
    const double a = static_cast<double>(engine() % 20) - 5.0;
    const double b = static_cast<double>(engine() % 40);
    const Width expected = MeasureWidthPlainly(curve, a, b, {});
    EXPECT_EQ(curve.GetFWHM(a, b), expected.upper - expected.lower) << i;
    EXPECT_EQ(curve.GetFWHMLower_limit(), expected.lower) << i;
    EXPECT_EQ(curve.GetFWHMUpper_limit(), expected.upper) << i;
    const Width alone = MeasureWidthPlainly(curve, a, b, {curve.GetPointY(0), a});
    chained += alone.lower != expected.lower ? 1 : 0;
  }
  EXPECT_GT(chained, 20);
  // Teeth that each ask for a search one level higher.
  constexpr int kTeeth = 300;
  MTH_XY_PLOT teeth;
  for (int k = 0; k < kTeeth; ++k) {
    const double level = k - 1000.0;
    for (const double y : {level + 0.5, level + 0.5, 2.0 * (level + 1.0)})
      teeth.AddPoint(teeth.GetNumberOfPoints(), y);
  }
  const Width expected = MeasureWidthPlainly(teeth, -2000.0, 0.0, {});
  EXPECT_EQ(teeth.GetFWHM(-2000.0, 0.0), expected.upper - expected.lower);
  EXPECT_EQ(teeth.GetFWHMLower_limit(), expected.lower);
  EXPECT_GT(expected.lower, 3.0 * (kTeeth - 2));
}

}  // namespace
}  // namespace mth_test
