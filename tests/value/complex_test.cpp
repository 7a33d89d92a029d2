#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <memory>
#include <numbers>
#include <random>

#include "mth/Mth.h"
#include "support/values.h"

namespace mth_test {
namespace {

// Takes over a result of the library.
std::complex<double> Value(MTH_COMPLEX* z) {
  const std::unique_ptr<MTH_COMPLEX> owned(z);
  return {owned->getReal(), owned->getImag()};
}

MTH_COMPLEX ToMth(std::complex<double> z) {
  return {z.real(), z.imag()};
}

TEST(Complex, AgreesWithTheStandardLibraryOnTheRightHalfPlane) {
  std::mt19937 engine(14);
  std::uniform_real_distribution<double> uniform(-2.0, 2.0);
  for (int i = 0; i < 300; ++i) {
    const std::complex<double> z(std::abs(uniform(engine)), uniform(engine));
    const std::complex<double> w(uniform(engine), uniform(engine));
    const MTH_COMPLEX a = ToMth(z);
    const MTH_COMPLEX b = ToMth(w);
    const double tolerance = 1e-15 * (1.0 + std::abs(z) * std::abs(w) + std::abs(z) / std::abs(w));
    EXPECT_EQ(Value(a + b), z + w);
    EXPECT_EQ(Value(a - b), z - w);
    EXPECT_LE(std::abs(Value(a * b) - z * w), tolerance);
    EXPECT_LE(std::abs(Value(a / b) - z / w), 4.0 * tolerance);
    EXPECT_LE(std::abs(Value(b.sqr_complex()) - w * w), 1e-14);
    EXPECT_LE(std::abs(a.module() - std::abs(z)), 1e-15 * 4.0);
    EXPECT_LE(std::abs(a.phase() - std::arg(z)), 1e-15);
    EXPECT_LE(std::abs(Value(a.sqrt_complex()) - std::sqrt(z)), 1e-15 * 4.0);
    // Left of the imaginary axis and away from it, the root loses digits to m + a: the identity shows how
    // many.
    const std::complex<double> root = Value(b.sqrt_complex());
    EXPECT_LE(std::abs(root * root - w), 1e-9);
    EXPECT_GE(root.real(), 0.0);
  }
}

// Every product, sum and quotient rounded on its own, in the order of the formulas: fused products,
// std::hypot or a reciprocal give other last bits.
TEST(Complex, RoundsEveryOperationOfItsFormulas) {
  std::mt19937 engine(15);
  std::uniform_real_distribution<double> uniform(-2.0, 2.0);
  const auto times = [](double x, double y) {
    volatile double product = x * y;
    return double{product};
  };
  const auto plus = [](double x, double y) {
    volatile double sum = x + y;
    return double{sum};
  };
  using C = std::complex<double>;
  for (int i = 0; i < 300; ++i) {
    const double a = uniform(engine);
    const double b = uniform(engine);
    const double c = uniform(engine);
    const double d = uniform(engine);
    const MTH_COMPLEX z(a, b);
    const MTH_COMPLEX w(c, d);
    const double q = plus(times(c, c), times(d, d));
    EXPECT_EQ(Value(z * w), C(plus(times(a, c), -times(b, d)), plus(times(a, d), times(b, c))));
    EXPECT_EQ(Value(z / w), C(plus(times(a, c), times(b, d)) / q, plus(times(b, c), -times(a, d)) / q));
    EXPECT_EQ(Value(z * c), C(times(c, a), times(c, b)));
    EXPECT_EQ(Value(z.sqr_complex()), C(plus(times(a, a), -times(b, b)), times(times(2.0, a), b)));
    const double modulus = std::sqrt(plus(times(a, a), times(b, b)));
    EXPECT_EQ(z.module(), modulus);
    const double root = std::sqrt(times(plus(modulus, a), 0.5));
    EXPECT_EQ(Value(z.sqrt_complex()), C(root, b / times(2.0, root)));
  }
}

TEST(Complex, PhaseIsTheOneArgumentArctangent) {
  using std::numbers::pi;
  struct Case {
    double real, imaginary, phase;
  };
  const Case cases[] = {
      {0.0, -3.0, -pi / 2.0},    {0.0, 1e-300, pi / 2.0},    {-0.0, 2.0, pi / 2.0},
      {0.0, 0.0, 0.0},           {-0.0, -0.0, 0.0},          {0.0, kNaN, 0.0},
      {1.0, 0.0, 0.0},           {1.0, -0.0, 0.0},           {1.0, 1.0, pi / 4.0},
      {-1.0, 0.0, pi},           {-1.0, -0.0, pi},           {-1.0, 1.0, -pi / 4.0},
      {-2.0, 0.0, -0.0},         {-2.0, -0.0, 0.0},          {-3.0, -3.0, pi / 4.0},
      {1e-300, 1e300, pi / 2.0}, {1.0, kInfinity, pi / 2.0}, {-1.0, kInfinity, -pi / 2.0},
      {kInfinity, 1.0, 0.0},
  };
  for (const auto& [real, imaginary, phase] : cases) {
    const double actual = MTH_COMPLEX(real, imaginary).phase();
    EXPECT_EQ(actual, phase) << real << " + " << imaginary << "i";
    EXPECT_EQ(std::signbit(actual), std::signbit(phase)) << real << " + " << imaginary << "i";
  }
  EXPECT_TRUE(std::isnan(MTH_COMPLEX(kNaN, 1.0).phase()));
}

TEST(Complex, SquareRootOfSpecialValues) {
  struct Case {
    double real, imaginary, rootReal, rootImaginary;
  };
  const Case cases[] = {
      {-4.0, 0.0, 0.0, 2.0},        {-4.0, -0.0, 0.0, 2.0},
      {0.0, 0.0, 0.0, 0.0},         {-0.0, 0.0, 0.0, 0.0},
      {3.0, 4.0, 2.0, 1.0},         {3.0, -4.0, 2.0, -1.0},
      {-3.0, 4.0, 1.0, 2.0},        {9.0, 0.0, 3.0, 0.0},
      {0.0, 2.0, 1.0, 1.0},         {-4.0, 1e-200, 0.0, kInfinity},  // m + a cancels: nothing guards it
      {-1.0, 1e-8, 0.0, kInfinity}, {-4.0, -1e-200, 0.0, -kInfinity},
  };
  for (const Case& c : cases) {
    const auto root = Value(MTH_COMPLEX(c.real, c.imaginary).sqrt_complex());
    EXPECT_EQ(root, std::complex<double>(c.rootReal, c.rootImaginary))
        << c.real << " + " << c.imaginary << "i";
    EXPECT_FALSE(std::signbit(root.real()));
  }
  EXPECT_TRUE(std::isnan(Value(MTH_COMPLEX(kNaN, 0.0).sqrt_complex()).real()));
}

// The textbook formulas, where a careful library would scale.
TEST(Complex, NothingIsScaledOrGuarded) {
  EXPECT_EQ(MTH_COMPLEX(1e200, 0.0).module(), kInfinity);
  EXPECT_EQ(MTH_COMPLEX(1e-200, 0.0).module(), 0.0);
  const auto quotient = Value(MTH_COMPLEX(1.0, 2.0) / MTH_COMPLEX(0.0, 0.0));
  EXPECT_TRUE(std::isnan(quotient.real()) && std::isnan(quotient.imag()));
  EXPECT_EQ(Value(MTH_COMPLEX(1.0, 1.0) / MTH_COMPLEX(1e200, 0.0)), std::complex<double>(0.0, 0.0));
  EXPECT_TRUE(std::isnan(Value(MTH_COMPLEX(0.0, kInfinity) * 0.0).imag()));
}

}  // namespace
}  // namespace mth_test
