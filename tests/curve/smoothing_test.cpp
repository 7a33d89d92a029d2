#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "curve/curve_cases.h"
#include "support/allocation_faults.h"
#include "support/cancelling_display.h"
#include "support/recording_display.h"

// Sliding means and splines.

namespace mth_test {
namespace {

// The mean of each window, added up on its own.
TEST(XyPlot, SlidingMeansAreTheMeansOfTheirWindowsAtEveryWidth) {
  std::mt19937 engine(59);
  std::normal_distribution<float> normal;
  for (const int count : {1, 2, 3, 4, 5, 17, 64, 101}) {
    std::vector<float> y(static_cast<std::size_t>(count));
    for (float& value : y) value = normal(engine);
    if (count > 16) y[9] = 1e30f;  // leaves no trace in the windows beyond it
    if (count > 60) y[40] = kInfinity;
    if (count > 60) y[41] = -kInfinity;
    if (count > 100) y[70] = kNaN;
    const MTH_XY_PLOT curve = CurveOfY(y);
    for (int width = 1; width <= count + 3; ++width) {
      const CurvePtr smooth(curve.GetSlidingMean(width));
      for (int i = 0; i < count; ++i) {
        const int reach = std::min({(width - 1) / 2, i, count - 1 - i});
        double sum = 0.0;
        for (int k = i - reach; k <= i + reach; ++k) sum += curve.GetPointY(k);
        const double mean = sum / (2 * reach + 1);
        const float value = smooth->GetPointY(i);
        const double tolerance = 1e-6 * std::abs(mean) + 1e-7;
        EXPECT_TRUE(std::abs(value - mean) <= tolerance || static_cast<double>(value) == mean ||
                    (std::isnan(value) && std::isnan(mean)))
            << count << ' ' << width << ' ' << i << ' ' << value << ' ' << mean;
      }
    }
  }
}

TEST(XyPlot, SmoothsWithAWindowThatShrinksAtTheEnds) {
  const MTH_XY_PLOT curve = CurveOfY({1, 2, 6, 3, 8});
  const Points byThree = {{0, 1}, {1, 3}, {2, 11.0f / 3.0f}, {3, 17.0f / 3.0f}, {4, 8}};
  const Points byFive = {{0, 1}, {1, 3}, {2, 4}, {3, 17.0f / 3.0f}, {4, 8}};
  for (const int width : {std::numeric_limits<int>::min(), 0, 1, 2})
    EXPECT_EQ(Take(curve.GetSlidingMean(width)), PointsOf(curve)) << width;
  for (const int width : {3, 4}) EXPECT_EQ(Take(curve.GetSlidingMean(width)), byThree) << width;
  for (const int width : {5, 99}) EXPECT_EQ(Take(curve.GetSlidingMean(width)), byFive) << width;
  EXPECT_EQ(Take(curve.DotSmoothFunction(3, 0)), PointsOf(curve));
  const CurvePtr once(curve.GetSlidingMean(3));
  EXPECT_EQ(Take(curve.DotSmoothFunction(3, 2)), Take(once->GetSlidingMean(3)));
}

TEST(XyPlot, ManyPassesEndWithTheLastChangeOrWithTheHost) {
  constexpr int kMost = std::numeric_limits<int>::max();
  for (const std::vector<float>& y : {std::vector<float>{}, {2}, {1, -3}, {0, kNaN, 4, -0.0f}}) {
    const CurvePtr many(CurveOfY(y).DotSmoothFunction(3, kMost));
    EXPECT_EQ(many->GetNumberOfPoints(), static_cast<int>(y.size()));
  }
  const MTH_XY_PLOT curve = CurveOfY({1, 2, 6, 3, 8});
  EXPECT_EQ(Take(curve.DotSmoothFunction(3, 1000)), Take(curve.DotSmoothFunction(3, kMost)));

  std::vector<float> alternating(1 << 15);
  for (std::size_t i = 0; i < alternating.size(); ++i) alternating[i] = i % 2 == 0 ? 1.0f : -2.0f;
  const CancellingDisplay display(2);
  EXPECT_EQ(CurveOfY(alternating).DotSmoothFunction(3, kMost), nullptr);
  EXPECT_EQ(display.questions, 2);
}

TEST(XyPlot, SplinesAreNaturalAndExactAtTheirPoints) {
  // Second derivatives 0, -3, 0: at the middle of an interval 1/2 + 3 x 0.375 / 6. Abscissa 1 comes twice.
  const MTH_XY_PLOT hat = CurveOf({{2, 0}, {0, 0}, {1, 0}, {kNaN, 5}, {1, 2}, {kInfinity, 5}});
  const Points dense = {{0, 0}, {0.5f, 0.6875f}, {1, 1}, {1.5f, 0.6875f}, {2, 0}};
  EXPECT_EQ(Take(hat.GetCubicSpline(2)), dense);
  EXPECT_EQ(Take(hat.GetCubicSpline(-1)), (Points{{0, 0}, {1, 1}, {2, 0}}));
  for (const auto& [x, y] : dense) EXPECT_EQ(hat.DotSplinePoint(x), y);
  for (const float x : {-1.0f, 3.0f}) EXPECT_FLOAT_EQ(hat.DotSplinePoint(x), -1.5f);

  // scipy 1.10.1, CubicSpline(x, y, bc_type='natural'), and its tangents at the ends.
  const MTH_XY_PLOT uneven = CurveOf({{0, 0}, {1, 2}, {3, 1}, {3.5f, 4}, {7, -2}});
  const Points beside = {{-2, -6.0444483f}, {0.5f, 1.3833341f}, {2, 0.30832757f}, {3.25f, 2.4307333f},
                         {4, 6.1453773f},   {6, 3.1787320f},    {9, -12.973366f}};
  for (const auto& [x, y] : beside) EXPECT_NEAR(uneven.DotSplinePoint(x), y, 1e-6f * std::abs(y)) << x;

  std::mt19937 engine(61);
  std::uniform_real_distribution<float> uniform(-3.0f, 11.0f);
  std::vector<float> x = {kNaN, kInfinity, -kInfinity, 0, 3, 7};
  for (int i = 0; i < 500; ++i) x.push_back(uniform(engine));
  std::vector<float> y(x.size());
  ASSERT_TRUE(uneven.DotSplinePoint(x.data(), y.data(), static_cast<int>(x.size())));
  for (std::size_t i = 0; i < x.size(); ++i) {
    const float alone = uneven.DotSplinePoint(x[i]);
    EXPECT_TRUE(std::memcmp(&alone, &y[i], sizeof alone) == 0 || std::isnan(alone)) << x[i];
  }
  ASSERT_TRUE(uneven.DotSplinePoint(x.data(), x.data(), static_cast<int>(x.size())));  // in place
  EXPECT_EQ(x.back(), y.back());
  float untouched = -9.0f;
  EXPECT_FALSE(uneven.DotSplinePoint(nullptr, &untouched, 1));
  EXPECT_FALSE(uneven.DotSplinePoint(&untouched, nullptr, 1));
  EXPECT_TRUE(uneven.DotSplinePoint(&untouched, &untouched, 0));
  {
    const AllocationFaults faults(2);
    EXPECT_FALSE(uneven.DotSplinePoint(&untouched, &untouched, 1));
  }
  EXPECT_EQ(untouched, -9.0f);
  EXPECT_TRUE(MTH_XY_PLOT().DotSplinePoint(&untouched, &untouched, 1));
  EXPECT_EQ(untouched, 0.0f);

  const MTH_XY_PLOT line = CurveOf({{-1, -3}, {0, -1}, {0.1f, -0.8f}, {4, 7}, {1000, 1999}});
  EXPECT_NEAR(line.DotSplinePoint(-3.0f), -7.0f, 1e-4f);
  EXPECT_NEAR(line.DotSplinePoint(1500.0f), 2999.0f, 1e-3f);
  const Points onLine = Take(line.GetCubicSpline(7));
  ASSERT_EQ(onLine.size(), 29u);
  for (const auto& [at, value] : onLine) EXPECT_NEAR(value, 2.0f * at - 1.0f, 2e-4f);
  for (int i = 0; i < 5; ++i)
    EXPECT_EQ(onLine[static_cast<std::size_t>(7 * i)], PointsOf(line)[static_cast<std::size_t>(i)]);
}

TEST(XyPlot, SplineOfTheSlidingMeanRefusesAWidthBeyondThePoints) {
  const MTH_XY_PLOT curve = CurveOfY({1, 2, 6, 3, 8});
  RecordingDisplay display;
  const CurvePtr smoothed(curve.GetSlidingMean(5));
  EXPECT_EQ(Take(curve.DotSpline(5, 3)), Take(smoothed->GetCubicSpline(3)));
  EXPECT_TRUE(display.messages.empty());
  EXPECT_EQ(curve.DotSpline(6, 3), nullptr);
  EXPECT_EQ(
      display.messages,
      std::vector({Information("Nombre de points de lissage sup. que de points de la fonction d'entrée")}));
}

TEST(XyPlot, SplinesByChordLengthFollowCurvesThatTurnBack) {
  const Points loop = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}, {1, 0}};
  const Points around =
      Take(CurveOf({{1, 0}, {1, 0}, {0, 1}, {kNaN, 2}, {-1, 0}, {0, -1}, {1, 0}}).GetDotSplineXY());
  ASSERT_EQ(around.size(), 41u);
  for (std::size_t i = 0; i < loop.size(); ++i) EXPECT_EQ(around[10 * i], loop[i]);
  for (std::size_t i = 0; i < around.size(); ++i) {  // symmetric about the x axis
    EXPECT_NEAR(around[i].first, around[40 - i].first, 1e-6f);
    EXPECT_NEAR(around[i].second, -around[40 - i].second, 1e-6f);
  }
  for (const auto& [x, y] : Take(CurveOf({{6, 8}, {3, 4}, {0, 0}}).GetDotSplineXY()))
    EXPECT_NEAR(3 * y, 4 * x, 1e-5f);
  // The last point is too near for the length so far to grow: no division by a width of 0.
  for (const auto& [x, y] : Take(CurveOf({{0, 0}, {1e30f, 0}, {0, 0}, {1e-9f, 0}}).GetDotSplineXY())) {
    EXPECT_TRUE(std::isfinite(x) && y == 0.0f);
  }
}

TEST(XyPlot, SmoothingSurvivesFewPoints) {
  for (const Points& points : {Points{}, Points{{2, 3}}, Points{{2, 3}, {2, 3}}}) {
    const MTH_XY_PLOT curve = CurveOf(points);
    const Points distinct(points.begin(), points.begin() + (points.empty() ? 0 : 1));
    EXPECT_EQ(Take(curve.GetSlidingMean(3)), points);
    EXPECT_EQ(Take(curve.GetCubicSpline(4)), distinct);
    EXPECT_EQ(Take(curve.DotSpline(0, 4)), distinct);
    EXPECT_EQ(Take(curve.GetDotSplineXY()), distinct);
    EXPECT_EQ(curve.DotSplinePoint(7.0f), points.empty() ? 0.0f : 3.0f);
  }
  EXPECT_EQ(Take(CurveOf({{4, 3}, {2, 1}}).GetCubicSpline(2)), (Points{{2, 1}, {3, 2}, {4, 3}}));
  EXPECT_EQ(CurveOfY({0, 1, 2}).GetCubicSpline(std::numeric_limits<int>::max()), nullptr);
}

// Points that come one by one would be granted until the machine ends the host.
TEST(XyPlot, AsksForTheMemoryOfVeryManySamplesAtOnce) {
  const MTH_XY_PLOT curve = CurveOfY({1, 2, 6, 3});
  constexpr std::size_t kSamples = 3'000'000;
  constexpr int kFewerAllocationsThanSamples = 40;
  std::size_t largest = 0;
  for (int allowed = 0; allowed < kFewerAllocationsThanSamples; ++allowed) {
    const AllocationWatch watch;
    const AllocationFaults faults(allowed);
    EXPECT_EQ(curve.GetCubicSpline(kSamples / 3), nullptr);
    largest = std::max(largest, watch.LargestRequest());
  }
  EXPECT_GE(largest, kSamples * (sizeof(MTH_2D_FLOAT) + sizeof(void*)));
}

}  // namespace
}  // namespace mth_test
