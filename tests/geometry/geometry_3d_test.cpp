#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "mth/geometry/Mth_3d_geometry.h"
#include "support/recording_display.h"
#include "support/values.h"

namespace {

using mth_test::kNaN;

TEST(Lines, FindTheShortestSegment) {
  double xAxis[2][3] = {{0, 0, 0}, {2, 0, 0}};
  double skew[2][3] = {{1, 1, 3}, {1, 3, 3}};
  double segment[2][3];
  double mu[2];
  ASSERT_EQ(Mth_3D_ShortSegmentBetweenLines(xAxis, skew, segment, mu), 0);
  const double expected[2][3] = {{1, 0, 0}, {1, 0, 3}};
  for (int end = 0; end < 2; ++end) {
    for (int k = 0; k < 3; ++k) EXPECT_DOUBLE_EQ(segment[end][k], expected[end][k]);
  }
  EXPECT_DOUBLE_EQ(mu[0], 0.5);
  EXPECT_DOUBLE_EQ(mu[1], -0.5);
  double point[3];
  EXPECT_DOUBLE_EQ(Mth_3D_LinesIntersection(xAxis, skew, point), 3.0);
  EXPECT_DOUBLE_EQ(point[2], 1.5);

  double crossing[2][3] = {{1, 1, 0}, {1, 3, 0}};
  EXPECT_DOUBLE_EQ(Mth_3D_LinesIntersection(xAxis, crossing, point), 0.0);
  EXPECT_DOUBLE_EQ(point[0], 1.0);
  EXPECT_DOUBLE_EQ(point[1], 0.0);
}

TEST(Lines, RefuseParallelAndDegenerateOnes) {
  double line[2][3] = {{0, 0, 0}, {2, 0, 0}};
  double parallel[2][3] = {{0, 1, 0}, {-5, 1, 0}};
  double noLine[2][3] = {{4, 4, 4}, {4, 4, 4}};
  double segment[2][3] = {{7, 7, 7}, {7, 7, 7}};
  double mu[2] = {7, 7};
  double point[3] = {7, 7, 7};
  double(*const lines[])[3] = {line, parallel, noLine, nullptr};
  for (const auto& [a, b] : {std::pair{0, 1}, {0, 2}, {2, 0}, {3, 0}, {0, 3}}) {
    EXPECT_EQ(Mth_3D_ShortSegmentBetweenLines(lines[a], lines[b], segment, mu), -1);
    EXPECT_EQ(Mth_3D_LinesIntersection(lines[a], lines[b], point), -1.0);
  }
  EXPECT_EQ(segment[0][0], 7.0);
  EXPECT_EQ(mu[1], 7.0);
  EXPECT_EQ(point[0], 7.0);
}

// Lines are parallel when the denominator is exactly 0, and not before.
TEST(Lines, ThatAreNearlyParallelHaveTheirSegment) {
  double line[2][3] = {{0, 0, 0}, {1, 0, 0}};
  double nearly[2][3] = {{0, 0, 1}, {1, 2e-8, 1}};
  double segment[2][3];
  double mu[2];
  ASSERT_EQ(Mth_3D_ShortSegmentBetweenLines(line, nearly, segment, mu), 0);
  double point[3];
  EXPECT_NEAR(Mth_3D_LinesIntersection(line, nearly, point), 1.0, 1e-15);
  double tiny[2][3] = {{0, 0, 0}, {1e-160, 0, 0}};  // short, but a line
  double across[2][3] = {{0, -1, 1}, {0, 1, 1}};
  EXPECT_NEAR(Mth_3D_LinesIntersection(tiny, across, point), 1.0, 1e-15);
}

// Whatever the system: the failure value tells.
TEST(Plane, FitShowsNothing) {
  mth_test::RecordingDisplay display;
  double coefficients[4] = {7, 7, 7, 7};
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double odd : {kNaN, infinity, -infinity, 1e308, -1e200, 1e-320, 0.0}) {
    for (int place = 0; place < 9; ++place) {
      std::vector<MTH_3D_DOUBLE> points = {{1, 0, 4}, {2, 1, 5}, {0, 2, 6}};
      if (place % 3 == 0) points[static_cast<std::size_t>(place / 3)].SetX(odd);
      if (place % 3 == 1) points[static_cast<std::size_t>(place / 3)].SetY(odd);
      if (place % 3 == 2) points[static_cast<std::size_t>(place / 3)].SetZ(odd);
      const bool isFitted = Mth_3D_CalculCoeffPlan(points.data(), 3, coefficients);
      EXPECT_TRUE(display.messages.empty()) << odd << " at " << place;
      EXPECT_TRUE(std::isfinite(odd) || !isFitted) << odd << " at " << place;
    }
  }
}

TEST(Plane, FitsPointsExactlyAndInTheLeastSquaresSense) {
  // x + 2 y - 2 z + 8 = 0, which is x / 8 + y / 4 - z / 4 + 1 = 0.
  std::vector<MTH_3D_DOUBLE> points = {{0, 0, 4}, {2, 0, 5}, {0, 2, 6}, {-4, -2, 0}, {-8, 0, 0}};
  double coefficients[4];
  const auto count = static_cast<short>(points.size());
  ASSERT_TRUE(Mth_3D_CalculCoeffPlan(points.data(), count, coefficients));
  const double expected[4] = {0.125, 0.25, -0.25, 1.0};
  for (int i = 0; i < 4; ++i) EXPECT_NEAR(coefficients[i], expected[i], 1e-14);

  // With noise the residual of the system is orthogonal to the coordinates.
  for (int i = 0; i < count; ++i)
    points[static_cast<std::size_t>(i)].SetX(points[static_cast<std::size_t>(i)].GetX() + 0.1 * (i % 3));
  ASSERT_TRUE(Mth_3D_CalculCoeffPlan(points.data(), count, coefficients));
  double products[3] = {};
  for (const auto& p : points) {
    const double residual =
        coefficients[0] * p.GetX() + coefficients[1] * p.GetY() + coefficients[2] * p.GetZ() + 1.0;
    products[0] += residual * p.GetX();
    products[1] += residual * p.GetY();
    products[2] += residual * p.GetZ();
  }
  for (const double product : products) EXPECT_NEAR(product, 0.0, 1e-12);
}

TEST(Plane, RefusesTooFewPointsAndMissingArguments) {
  MTH_3D_DOUBLE points[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  double coefficients[4] = {9, 9, 9, 9};
  for (const short n : {short{2}, short{0}, short{-1}})
    EXPECT_FALSE(Mth_3D_CalculCoeffPlan(points, n, coefficients));
  EXPECT_FALSE(Mth_3D_CalculCoeffPlan(nullptr, 3, coefficients));
  EXPECT_FALSE(Mth_3D_CalculCoeffPlan(points, 3, nullptr));
  EXPECT_EQ(coefficients[3], 9.0);
}

TEST(Projection, OnAPlane) {
  MTH_3D_DOUBLE plane[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};  // x + y + z = 1
  MTH_3D_DOUBLE foot;
  ASSERT_TRUE(Mth_3D_PointProjectionOnPlan(plane, {2, 2, 3}, &foot));
  EXPECT_NEAR(foot.Distance({0, 0, 1}), 0.0, 1e-15);
  for (auto& corner : plane)
    corner = {corner.GetX() * 1e-200, corner.GetY() * 1e-200, corner.GetZ() * 1e-200};
  ASSERT_TRUE(Mth_3D_PointProjectionOnPlan(plane, {2, 2, 2}, &foot)) << "small, but no line";
  EXPECT_NEAR(foot.Distance({0, 0, 0}), 0.0, 1e-15);
}

TEST(Projection, RefusesCollinearPoints) {
  const MTH_3D_DOUBLE untouched(7, 7, 7);
  MTH_3D_DOUBLE lines[][3] = {{{0, 0, 0}, {1, 2, 3}, {0.1, 0.2, 0.3}},
                              {{1000.1, 0, 7}, {1000.2, 0, 7.1}, {1000.3, 0, 7.2}},
                              {{1, 1, 1}, {1, 1, 1}, {2, 0, 0}},
                              {{0, 0, 0}, {1, 0, 0}, {kNaN, 1, 0}}};
  for (auto& line : lines) {
    MTH_3D_DOUBLE foot = untouched;
    EXPECT_FALSE(Mth_3D_PointProjectionOnPlan(line, {1, 2, 4}, &foot));
    EXPECT_EQ(foot, untouched);
  }
  MTH_3D_DOUBLE foot;
  EXPECT_FALSE(Mth_3D_PointProjectionOnPlan(nullptr, {1, 2, 4}, &foot));
  EXPECT_FALSE(Mth_3D_PointProjectionOnPlan(lines[0], {1, 2, 4}, nullptr));
}

TEST(Projection, DistanceAlongANormal) {
  MTH_3D_DOUBLE origin(1, 1, 1);
  EXPECT_DOUBLE_EQ(Mth_3D_PointDiffToNormal(&origin, {5, 9, 4}, {0, 0, 2}), 3.0);
  EXPECT_DOUBLE_EQ(Mth_3D_PointDiffToNormal(&origin, {5, 9, 4}, {0, 0, -1e-3}), -3.0);
  EXPECT_EQ(Mth_3D_PointDiffToNormal(&origin, {5, 9, 4}, {0, 0, 0}), 0.0);
  EXPECT_EQ(Mth_3D_PointDiffToNormal(nullptr, {5, 9, 4}, {0, 0, 1}), 0.0);
}

TEST(Projection, OnTheLineThroughASegment) {
  MTH_3D_DOUBLE segment[2] = {{1, 1, 0}, {3, 1, 0}};
  MTH_3D_DOUBLE point(6, 4, 0);
  MTH_3D_DOUBLE foot;
  double t = 0.0;
  ASSERT_EQ(Mth_3D_PointProjectionOnSegment(&point, segment, &foot, &t), 0);
  EXPECT_DOUBLE_EQ(t, 2.5) << "beyond the end";
  EXPECT_EQ(foot, MTH_3D_DOUBLE(6, 1, 0));
  for (const double unit : {1e-320, 1e-300, 1e-170, 1e155, 1e300}) {
    MTH_3D_DOUBLE other[2] = {{0, unit, 0}, {4 * unit, unit, 0}};
    MTH_3D_DOUBLE above(10 * unit, 3 * unit, 0);
    EXPECT_EQ(Mth_3D_PointProjectionOnSegment(&above, other, &foot, &t), 0) << unit;
    EXPECT_NEAR(t, 2.5, 1e-3) << unit;  // 1e-320 has four digits
    EXPECT_NEAR(foot.GetX() / unit, 10.0, 4e-3) << unit;
  }
  // So far beside a short segment that its length is no unit for the distance.
  MTH_3D_DOUBLE shortOne[2] = {{0, 0, 0}, {1e-150, 0, 0}};
  MTH_3D_DOUBLE farBeside(2e-150, 1e200, 0);
  ASSERT_EQ(Mth_3D_PointProjectionOnSegment(&farBeside, shortOne, &foot, &t), 0);
  EXPECT_DOUBLE_EQ(t, 2.0);
  foot = MTH_3D_DOUBLE(6, 1, 0);
  segment[1] = segment[0];
  t = 9.0;
  EXPECT_EQ(Mth_3D_PointProjectionOnSegment(&point, segment, &foot, &t), -1);
  EXPECT_EQ(t, 9.0);
  EXPECT_EQ(foot, MTH_3D_DOUBLE(6, 1, 0));
  EXPECT_EQ(Mth_3D_PointProjectionOnSegment(nullptr, segment, &foot, &t), -1);
}

}  // namespace
