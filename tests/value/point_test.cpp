#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <type_traits>

#include "mth/Mth.h"
#include "mth/core/Mth_elementary_internal.h"
#include "support/values.h"

namespace mth_test {
namespace {

template <class Point>
concept HasHyperbolicDistance = requires(const Point p) {
  p.Distance_hyp(p, 1.0, 2.0);
};

static_assert(HasHyperbolicDistance<MTH_3D_DOUBLE>);
static_assert(!HasHyperbolicDistance<MTH_3D_FLOAT> && !HasHyperbolicDistance<MTH_3D_INTEGER>);
static_assert(!HasHyperbolicDistance<MTH_2D_DOUBLE>);
static_assert(std::is_same_v<decltype(MTH_2D_FLOAT().Distance(MTH_2D_FLOAT())), double>);
static_assert(std::is_same_v<decltype(MTH_3D_INTEGER().Distance(MTH_3D_INTEGER())), int>);

template <class Point>
class Points : public ::testing::Test {};
using PointTypes = ::testing::Types<MTH_2D_DOUBLE, MTH_2D_FLOAT, MTH_2D_INTEGER, MTH_3D_DOUBLE, MTH_3D_FLOAT,
                                    MTH_3D_INTEGER>;
TYPED_TEST_SUITE(Points, PointTypes);

// A point of three coordinates, of which a 2D point takes the first two.
template <class Point, class T>
Point Make(T x, T y, T z) {
  if constexpr (requires(Point p) { p.GetZ(); }) {
    return Point(x, y, z);
  } else {
    return Point(x, y);
  }
}

TYPED_TEST(Points, KeepTheirCoordinates) {
  using T = decltype(TypeParam().GetX());
  TypeParam point;
  EXPECT_EQ(point, Make<TypeParam>(T{0}, T{0}, T{0}));
  const TypeParam wanted = Make<TypeParam>(T{1}, T{-2}, T{3});
  EXPECT_EQ(wanted.GetX(), T{1});
  EXPECT_EQ(wanted.GetY(), T{-2});
  point.SetX(1);
  EXPECT_FALSE(point == wanted);
  point.SetY(-2);
  TypeParam replaced;
  if constexpr (requires { point.GetZ(); }) {
    EXPECT_FALSE(point == wanted);
    point.SetZ(3);
    EXPECT_EQ(wanted.GetZ(), T{3});
    replaced.Set3DCoord(1, -2, 3);
  } else {
    replaced.Set2DCoord(1, -2);
  }
  EXPECT_EQ(point, wanted);
  EXPECT_EQ(replaced, wanted);
  const TypeParam copied(wanted);
  replaced = TypeParam();
  replaced = copied;
  EXPECT_EQ(replaced, wanted);
}

// Pythagorean quadruples have exact distances; the same from either end.
TYPED_TEST(Points, MeasureExactDistances) {
  using T = decltype(TypeParam().GetX());
  constexpr bool kIsSpatial = requires(TypeParam p) {
    p.GetZ();
  };
  const TypeParam origin = Make<TypeParam>(T{10}, T{-20}, T{30});
  const TypeParam other = Make<TypeParam>(T{13}, T{-16}, T{kIsSpatial ? 42 : 30});
  EXPECT_EQ(origin.Distance(other), kIsSpatial ? 13 : 5);
  EXPECT_EQ(other.Distance(origin), kIsSpatial ? 13 : 5);
  EXPECT_EQ(other.Distance(other), 0);
}

TEST(Point, EqualityIsExact) {
  EXPECT_FALSE(MTH_3D_DOUBLE(0.0, 0.0, 1e-300) == MTH_3D_DOUBLE(0.0, 0.0, 0.0));
  EXPECT_FALSE(MTH_2D_DOUBLE(0.0, kNaN) == MTH_2D_DOUBLE(0.0, kNaN));
  EXPECT_TRUE(MTH_2D_FLOAT(0.0F, -0.0F) == MTH_2D_FLOAT(-0.0F, 0.0F));
  EXPECT_FALSE(MTH_2D_INTEGER(1, kIntMin) == MTH_2D_INTEGER(1, 0));
}

// Rounding the difference or the square to float changes these results; summing in float would as well.
TEST(Point, FloatDistancesRoundDifferencesAndSquaresButNotTheirSum) {
  std::mt19937 engine(11);
  std::uniform_real_distribution<float> uniform(-100.0F, 100.0F);
  int roundingMatters = 0;
  for (int i = 0; i < 200; ++i) {
    const float a[] = {uniform(engine), uniform(engine), uniform(engine)};
    const float b[] = {uniform(engine), uniform(engine), uniform(engine)};
    double sum = 0.0;
    double exact = 0.0;
    for (int k = 0; k < 3; ++k) {
      volatile float difference = b[k] - a[k];
      volatile float square = difference * difference;
      sum += double{square};
      exact += (double{b[k]} - double{a[k]}) * (double{b[k]} - double{a[k]});
      if (k == 1) {
        EXPECT_EQ(MTH_2D_FLOAT(a[0], a[1]).Distance({b[0], b[1]}), std::sqrt(sum));
      }
    }
    EXPECT_EQ(MTH_3D_FLOAT(a[0], a[1], a[2]).Distance({b[0], b[1], b[2]}), std::sqrt(sum));
    roundingMatters += std::sqrt(sum) != std::sqrt(exact);
  }
  EXPECT_GT(roundingMatters, 100);
}

// Neither fused nor scaled: the exact hypotenuse and fused products give other last bits for some of these.
TEST(Point, DoubleDistancesRoundEveryOperation) {
  std::mt19937 engine(12);
  std::uniform_real_distribution<double> uniform(-100.0, 100.0);
  int exactnessMatters = 0;
  for (int i = 0; i < 200; ++i) {
    const double a[] = {uniform(engine), uniform(engine), uniform(engine)};
    const double b[] = {uniform(engine), uniform(engine), uniform(engine)};
    volatile double sum = 0.0;
    for (int k = 0; k < 3; ++k) {
      volatile double difference = b[k] - a[k];
      volatile double square = difference * difference;
      sum = sum + square;
      if (k == 1) {
        EXPECT_EQ(MTH_2D_DOUBLE(a[0], a[1]).Distance({b[0], b[1]}), std::sqrt(sum));
      }
    }
    EXPECT_EQ(MTH_3D_DOUBLE(a[0], a[1], a[2]).Distance({b[0], b[1], b[2]}), std::sqrt(sum));
    exactnessMatters += std::sqrt(sum) != mth_internal::Hypotenuse(b[0] - a[0], b[1] - a[1], b[2] - a[2]);
  }
  EXPECT_GT(exactnessMatters, 10);
}

TEST(Point, IntegerDistancesTruncateAndWrap) {
  EXPECT_EQ(MTH_2D_INTEGER(0, 0).Distance({1, 1}), 1);
  EXPECT_EQ(MTH_2D_INTEGER(0, 0).Distance({-2, 2}), 2);       // sqrt(8)
  EXPECT_EQ(MTH_3D_INTEGER(0, 0, 0).Distance({1, 1, 1}), 1);  // sqrt(3)
  EXPECT_EQ(MTH_2D_INTEGER(0, 0).Distance({46340, 0}), 46340);
  EXPECT_EQ(MTH_2D_INTEGER(0, 0).Distance({65536, 3}), 3);  // 2^32 + 9
  EXPECT_EQ(MTH_2D_INTEGER(0, 0).Distance({46341, 0}), 0);  // 2^31 and more: negative
  EXPECT_EQ(MTH_3D_INTEGER(2, 0, kIntMin).Distance({0, 0, kIntMin}), 2);
  EXPECT_EQ(MTH_3D_INTEGER(kIntMin, 0, 0).Distance({2147483647, 0, 2}), 2);  // -1 squared is 1: sqrt(5)
}

TEST(Point, HyperbolicDistanceStopsAtZero) {
  const MTH_3D_DOUBLE origin(0.0, 0.0, 0.0);
  const MTH_3D_DOUBLE other(3.0, 4.0, 0.0);
  EXPECT_EQ(origin.Distance_hyp(other, 2.0, 0.0), 3.0);
  EXPECT_EQ(origin.Distance_hyp(other, 7.0, 0.0), 0.0);
  EXPECT_EQ(origin.Distance_hyp(other, 7.0, 2.0), 0.0);
  EXPECT_EQ(origin.Distance_hyp(other, 0.0, 2.0), 7.0);
}

}  // namespace
}  // namespace mth_test
