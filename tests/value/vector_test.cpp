#include <gtest/gtest.h>

#include <cmath>
#include <concepts>
#include <limits>
#include <memory>
#include <random>
#include <type_traits>

#include "mth/Mth.h"
#include "support/values.h"

namespace mth_test {
namespace {

template <class V>
concept HasDifferenceAndScaling = requires(const V v) {
  { v - v } -> std::same_as<V*>;
  { v * 2.0 } -> std::same_as<V*>;
  { v * 2.0F } -> std::same_as<V*>;
  { v * 2 } -> std::same_as<V*>;
};
template <class V>
concept HasAnyOfThem = requires(const V v) {
  v - v;
}
|| requires(const V v) {
  v * 2.0;
};

static_assert(HasDifferenceAndScaling<MTH_3D_VECT_DOUBLE>);
static_assert(!HasAnyOfThem<MTH_3D_VECT_FLOAT> && !HasAnyOfThem<MTH_3D_VECT_INTEGER>);

// What is expected of a vector, and takes over one that an operation has made.
template <class T>
void ExpectVector(const MTH_3D_VECTOR<T>& v, T x, T y, T z, T norm) {
  EXPECT_EQ(v.GetX(), x);
  EXPECT_EQ(v.GetY(), y);
  EXPECT_EQ(v.GetZ(), z);
  EXPECT_EQ(v.GetNorm(), norm);
}
template <class T>
void ExpectVector(MTH_3D_VECTOR<T>* v, T x, T y, T z, T norm) {
  const std::unique_ptr<MTH_3D_VECTOR<T>> owned(v);
  ASSERT_NE(owned, nullptr);
  ExpectVector(*owned, x, y, z, norm);
}

template <class T>
class Vectors : public ::testing::Test {};
using ElementTypes = ::testing::Types<double, float, int>;
TYPED_TEST_SUITE(Vectors, ElementTypes);

TYPED_TEST(Vectors, CarryTheirNorm) {
  using T = TypeParam;
  using V = MTH_3D_VECTOR<T>;
  using P = MTH_3D_POINT<T>;
  ExpectVector<T>(V(), 0, 0, 0, -1);
  const V v(3, -4, 12);
  ExpectVector<T>(v, 3, -4, 12, 13);
  ExpectVector<T>(V(P(3, -4, 12)), 3, -4, 12, 13);
  ExpectVector<T>(V(P(1, 2, 3), P(4, -2, 15)), 3, -4, 12, 13);
  V assigned;
  ExpectVector<T>(V(assigned), 0, 0, 0, 0);  // a copy has the norm of its components
  assigned = v;
  ExpectVector<T>(assigned, 3, -4, 12, 13);
  assigned = V();  // an assignment takes the mark of a length not computed over
  ExpectVector<T>(assigned, 0, 0, 0, -1);
  V zero;
  zero.Normalise();
  ExpectVector<T>(V(zero), 0, 0, 0, 0);
  assigned = zero;
  ExpectVector<T>(assigned, 0, 0, 0, 1);
}

TYPED_TEST(Vectors, Multiply) {
  using T = TypeParam;
  using V = MTH_3D_VECTOR<T>;
  const V v(1, 2, 3);
  const V w(-4, 5, 6);
  static_assert(std::is_same_v<decltype(v * w), double>);
  EXPECT_EQ(v * w, 24.0);
  EXPECT_EQ(V() * w, 0.0);
  ExpectVector<T>(V(1, 0, 0) ^ V(0, 1, 0), 0, 0, 1, 1);
  ExpectVector<T>(V(0, 3, 0) ^ V(0, 0, 4), 12, 0, 0, 12);
  ExpectVector<T>(v ^ w, -3, -18, 13, static_cast<T>(std::sqrt(502.0)));
  ExpectVector<T>(v ^ v, 0, 0, 0, 0);
}

TYPED_TEST(Vectors, OfNoLengthNormaliseToNormOneAllTheSame) {
  using V = MTH_3D_VECTOR<TypeParam>;
  V zero;
  zero.Normalise();
  ExpectVector<TypeParam>(zero, 0, 0, 0, 1);
  V axis(0, -7, 0);
  axis.Normalise();
  ExpectVector<TypeParam>(axis, 0, -1, 0, 1);
}

TEST(Vector, DoublesSubtractAndScale) {
  const MTH_3D_VECT_DOUBLE v(3.0, -4.0, 12.0);
  ExpectVector(v - MTH_3D_VECT_DOUBLE(2.0, -2.0, 10.0), 1.0, -2.0, 2.0, 3.0);
  ExpectVector(v * -2.0, -6.0, 8.0, -24.0, 26.0);
  ExpectVector(v * 0.5F, 1.5, -2.0, 6.0, 6.5);
  ExpectVector(v * 2, 6.0, -8.0, 24.0, 26.0);
  const double tenth = double{0.1F};  // a float factor is widened, not taken for the nearest decimal
  ExpectVector(MTH_3D_VECT_DOUBLE(1.0, 0.0, 0.0) * 0.1F, tenth, 0.0, 0.0, tenth);
}

// Every product and sum is rounded on its own, floats being computed in double.
TEST(Vector, RoundingsAreThoseOfSeparateOperations) {
  std::mt19937 engine(13);
  std::uniform_real_distribution<float> uniform(-1.0F, 1.0F);
  int recomputed = 0;
  for (int i = 0; i < 300; ++i) {
    const MTH_3D_VECT_FLOAT f(uniform(engine), uniform(engine), uniform(engine));
    const MTH_3D_VECT_FLOAT g(uniform(engine), uniform(engine), uniform(engine));
    const auto product = [](float a, float b) { return double{a} * double{b}; };
    const double dot =
        product(f.GetX(), g.GetX()) + product(f.GetY(), g.GetY()) + product(f.GetZ(), g.GetZ());
    EXPECT_EQ(f * g, dot);
    const std::unique_ptr<MTH_3D_VECT_FLOAT> cross(f ^ g);
    EXPECT_EQ(cross->GetX(), static_cast<float>(product(f.GetY(), g.GetZ()) - product(f.GetZ(), g.GetY())));
    EXPECT_EQ(f.GetNorm(), static_cast<float>(std::sqrt(f * f)));

    const MTH_3D_VECT_DOUBLE d(f * g, f * *cross, 1.0 / 3.0);
    volatile double xx = d.GetX() * d.GetX();
    volatile double yy = d.GetY() * d.GetY();
    volatile double zz = d.GetZ() * d.GetZ();
    EXPECT_EQ(d.GetNorm(), std::sqrt((xx + yy) + zz));
    MTH_3D_VECT_DOUBLE unit = d;
    unit.Normalise();
    ExpectVector(unit, d.GetX() / d.GetNorm(), d.GetY() / d.GetNorm(), d.GetZ() / d.GetNorm(), 1.0);
    // The norm that a second call divides by is computed anew: it is not the 1 that the first one left.
    const double norm = MTH_3D_VECT_DOUBLE(unit).GetNorm();
    recomputed += norm != 1.0;
    const MTH_3D_POINT<double> before(unit.GetX(), unit.GetY(), unit.GetZ());
    unit.Normalise();
    ExpectVector(unit, before.GetX() / norm, before.GetY() / norm, before.GetZ() / norm, 1.0);

    const MTH_3D_VECT_DOUBLE e(1.0 / (2.0 + d.GetX()), d.GetZ() * norm, d.GetX() - 0.1);
    const auto rounded = [](double a, double b) {
      volatile double value = a * b;
      return double{value};
    };
    volatile double firstTwo = rounded(d.GetX(), e.GetX()) + rounded(d.GetY(), e.GetY());
    EXPECT_EQ(d * e, firstTwo + rounded(d.GetZ(), e.GetZ()));
    const std::unique_ptr<MTH_3D_VECT_DOUBLE> normal(d ^ e);
    EXPECT_EQ(normal->GetX(), rounded(d.GetY(), e.GetZ()) - rounded(d.GetZ(), e.GetY()));
    EXPECT_EQ(normal->GetY(), rounded(d.GetZ(), e.GetX()) - rounded(d.GetX(), e.GetZ()));
    EXPECT_EQ(normal->GetZ(), rounded(d.GetX(), e.GetY()) - rounded(d.GetY(), e.GetX()));
  }
  EXPECT_GT(recomputed, 30);
}

TEST(Vector, SquaresMayUnderflowOrOverflow) {
  MTH_3D_VECT_DOUBLE tiny(1e-200, 0.0, 0.0);
  EXPECT_EQ(tiny.GetNorm(), 0.0);
  tiny.Normalise();
  ExpectVector(tiny, 1e-200, 0.0, 0.0, 1.0);
  MTH_3D_VECT_DOUBLE huge(1e200, 0.0, 0.0);
  EXPECT_EQ(huge.GetNorm(), std::numeric_limits<double>::infinity());
  huge.Normalise();
  ExpectVector(huge, 0.0, 0.0, 0.0, 1.0);
  EXPECT_EQ(MTH_3D_VECT_FLOAT(1e-30F, 0.0F, 0.0F).GetNorm(), 1e-30F);
}

TEST(Vector, IntegersTruncate) {
  MTH_3D_VECT_INTEGER v(3, 4, 0);
  EXPECT_EQ(v.GetNorm(), 5);
  v.Normalise();
  ExpectVector(v, 0, 0, 0, 1);
  EXPECT_EQ(MTH_3D_VECT_INTEGER(1, 1, 1).GetNorm(), 1);
  MTH_3D_VECT_INTEGER truncated(-3, 1, 1);  // norm 3, from sqrt(11)
  truncated.Normalise();
  ExpectVector(truncated, -1, 0, 0, 1);
}

TEST(Vector, IntegersWrapWithoutHarm) {
  EXPECT_EQ(MTH_3D_VECT_INTEGER(65536, 1, 0) * MTH_3D_VECT_INTEGER(65536, 1, 0), 1.0);  // 2^32 wraps to 0
  // Each product is an int, their sum is not.
  EXPECT_EQ(MTH_3D_VECT_INTEGER(kIntMax, kIntMax, 0) * MTH_3D_VECT_INTEGER(1, 1, 0), 4294967294.0);
  EXPECT_EQ(MTH_3D_VECT_INTEGER(MTH_3D_INTEGER(kIntMax, 0, 0), MTH_3D_INTEGER(kIntMin, 0, 0)).GetX(), 1);
  ExpectVector(MTH_3D_VECT_INTEGER(0, 65536, 2) ^ MTH_3D_VECT_INTEGER(0, 32766, 65537), 4, 0, 0, 4);
  MTH_3D_VECT_INTEGER negativeSquare(46341, 0, 0);
  EXPECT_EQ(negativeSquare.GetNorm(), 0);
  negativeSquare.Normalise();
  ExpectVector(negativeSquare, 46341, 0, 0, 1);
  MTH_3D_VECT_INTEGER extreme(kIntMin, 1, 0);  // the square of the smallest integer wraps to 0
  extreme.Normalise();
  ExpectVector(extreme, kIntMin, 1, 0, 1);
}

}  // namespace
}  // namespace mth_test
