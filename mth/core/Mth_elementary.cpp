#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>

#include "mth/core/Mth_elementary_internal.h"

#define MTH_KERNEL_FILE "mth/core/Mth_elementary_arrays_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

// Where steps are kept in more digits than a double has, as by an x87, no rest of a product or a sum is
// right.
static_assert(FLT_EVAL_METHOD != 1 && FLT_EVAL_METHOD != 2,
              "mth needs doubles that are rounded at each step");

namespace mth_internal {

using baseline::ValueAndRest;

double Exponential(double x) {
  return baseline::Exponential<double>(x);
}

double Logarithm(double x) {
  return baseline::Logarithm<double>(x);
}

double Power(double x, double y) {
  return baseline::Power<double>(x, y);
}

double Sine(double x) {
  return baseline::Sine<double>(x);
}

double Cosine(double x) {
  return baseline::Cosine<double>(x);
}

double Arctangent(double x) {
  return baseline::Arctangent<double>(x);
}

double Arcsine(double x) {
  return baseline::Arcsine<double>(x);
}

double Arccosine(double x) {
  return baseline::Arccosine<double>(x);
}

double Hypotenuse(double x, double y) {
  return baseline::Hypotenuse<double>(x, y);
}

void Exponentials(const double* x, std::int64_t count, double* results) {
  MTH_SELECT(Exponentials)(x, count, results);
}

void Logarithms(const double* x, std::int64_t count, double* results) {
  MTH_SELECT(Logarithms)(x, count, results);
}

void Powers(const double* x, double y, std::int64_t count, double* results) {
  MTH_SELECT(Powers)(x, y, count, results);
}

void Sines(const double* x, std::int64_t count, double* results) {
  MTH_SELECT(Sines)(x, count, results);
}

void Cosines(const double* x, std::int64_t count, double* results) {
  MTH_SELECT(Cosines)(x, count, results);
}

void Arctangents(const double* x, std::int64_t count, double* results) {
  MTH_SELECT(Arctangents)(x, count, results);
}

void Arcsines(const double* x, std::int64_t count, double* results) {
  MTH_SELECT(Arcsines)(x, count, results);
}

void Arccosines(const double* x, std::int64_t count, double* results) {
  MTH_SELECT(Arccosines)(x, count, results);
}

void Hypotenuses(const double* x, const double* y, std::int64_t count, double* results) {
  MTH_SELECT(Hypotenuses)(x, y, count, results);
}

// ---- the angle of a point ----

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// In [0, pi], of coordinates that are not negative but for the sign of x; one is not 0.
double AngleAboveAxis(double y, double xSize, bool isLeft) {
  if (y == kInfinity && xSize == kInfinity) y = xSize = 1.0;
  const bool isSteep = y > xSize;
  const double n = isSteep ? xSize : y;
  const double d = isSteep ? y : xSize;
  if (d == kInfinity ||
      n < d * 0x1p-60) {  // the quotient itself, or too small to count beside what it is added to
    if (!isSteep && !isLeft) return n / d;
    return isSteep ? kHalfPi + kHalfPiRest : 2.0 * (kHalfPi + kHalfPiRest);
  }
  const double scale = d > 0x1p900 ? 0x1p-200 : d < 0x1p-900 ? 0x1p200 : 1.0;
  const double quarters = isSteep ? 1.0 : isLeft ? 2.0 : 0.0;
  const baseline::Bearing<double> bearing{quarters * kHalfPi, quarters * kHalfPiRest,
                                          isSteep == isLeft ? 1.0 : -1.0};
  return baseline::AddAngle<double>(bearing, n * scale, d * scale);
}

}  // namespace

double Arctangent(double y, double x) {
  if (x != x || y != y) return x + y;
  const bool isLeft = std::signbit(x);
  if (y == 0.0) return std::copysign(isLeft ? 2.0 * (kHalfPi + kHalfPiRest) : 0.0, y);
  return std::copysign(AngleAboveAxis(std::abs(y), std::abs(x), isLeft), y);
}

// ---- powers of any numbers ----

namespace {

bool IsOdd(double whole) {
  return std::floor(whole * 0.5) * 2.0 != whole;
}

double PowerOfPositive(double x, double y) {
  constexpr double kLargestExponent = 0x1p66;  // from here on only x = 1 gives a finite number that is not 0
  constexpr double kInfiniteFrom = 710.0;
  constexpr double kZeroFrom = -1000.0;
  const bool isTiny = x < baseline::kSmallestNormal;
  const auto logarithm = baseline::LongLogarithm<double>(isTiny ? x * 0x1p54 : x, isTiny ? -54.0 : 0.0);
  const auto product =
      baseline::TimesLong<double>(std::clamp(y, -kLargestExponent, kLargestExponent), logarithm);
  if (product.head > kInfiniteFrom) return kInfinity;
  if (product.head < kZeroFrom) return 0.0;
  auto parts = baseline::TakeExponential<double>(product.head, product.rest, product.near);
  if (product.head < baseline::kLargestNormalExponent) return baseline::ComposeAnywhere(parts);
  constexpr std::uint64_t kOneExponent = 1 << 20;
  parts.sixteenths.bits -= kOneExponent;  // half of it, so that an infinite one raises no overflow
  const double half = baseline::ComposeAnywhere(parts);
  return half < 0x1p1023 ? 2.0 * half : kInfinity;
}

}  // namespace

double SpecialPower(double x, double y) {
  if (y == 0.0 || x == 1.0) return 1.0;
  if (x != x || y != y) return x + y;
  const double size = std::abs(x);
  const bool isWhole = std::floor(y) == y;
  if (x < 0.0 && x != -kInfinity && !isWhole) return std::numeric_limits<double>::quiet_NaN();
  const double sign = std::signbit(x) && isWhole && IsOdd(y) ? -1.0 : 1.0;
  if (size == 1.0) return sign;
  const bool isLarge = (size > 1.0) == (y > 0.0);
  if (size == 0.0 || size == kInfinity || std::abs(y) == kInfinity)
    return isLarge ? sign * kInfinity : sign * 0.0;
  return sign * PowerOfPositive(size, y);
}

// ---- sines of large angles, and of those very near a multiple of pi / 16 ----

namespace {

using baseline::ReducedAngle;

// An exact sum of two numbers, the second the smaller one.
ValueAndRest<double> Add(double large, double small) {
  const double sum = large + small;
  return {sum, (large - sum) + small};
}

// x 16 / pi as a whole number and a fraction of at most a half, by as many bits of 2 / pi as matter (Payne
// and Hanek, ACM SIGNUM Newsletter 18, 1983): those before them turn the angle by whole circles.
class FarReduction {
 public:
  explicit FarReduction(double x) {
    int exponent = 0;
    const auto mantissa = static_cast<std::uint64_t>(std::ldexp(std::frexp(x, &exponent), 53));
    exponent -= 53;
    const int skipped = std::max(exponent - 2, 0) / 32;
    point_ = 32 * (skipped + kWords) - (exponent + 3);
    Multiply(static_cast<std::uint32_t>(mantissa), skipped, 0);
    Multiply(static_cast<std::uint32_t>(mantissa >> 32), skipped, 1);
  }

  ReducedAngle<double> Angle() {
    std::uint64_t sixteenths = 0;
    for (int bit = 4; bit >= 0; --bit) sixteenths = 2 * sixteenths + BitAt(point_ + bit);
    const bool isUpperHalf = BitAt(point_ - 1) != 0;
    if (isUpperHalf) {
      ++sixteenths;
      for (std::uint32_t& limb : limbs_)
        limb = ~limb;  // minus what misses: one unit of 2^-189 does not matter
    }
    ValueAndRest<double> fraction = Fraction();
    if (isUpperHalf) fraction = {-fraction.value, -fraction.rest};
    constexpr double kPiSixteenthValue = 0x1.921fb54442d18p-3;
    constexpr double kPiSixteenthRest = 0x1.1a62633145c07p-57;
    const double product = fraction.value * kPiSixteenthValue;
    const double rest = baseline::ProductRest(fraction.value, kPiSixteenthValue, product) +
                        (fraction.value * kPiSixteenthRest + fraction.rest * kPiSixteenthValue);
    const ValueAndRest<double> r = Add(product, rest);
    return {sixteenths, r.value, r.rest};
  }

 private:
  static constexpr int kWords = 7;
  static constexpr int kLimbs = 10;

  // Adds factor times the words from `skipped` on, the last of them in limb `shift`.
  void Multiply(std::uint64_t factor, int skipped, int shift) {
    std::uint64_t carry = 0;
    for (int i = 0; i < kLimbs - shift; ++i) {
      const std::uint64_t word = i < kWords ? kTwoOverPi[skipped + kWords - 1 - i] : 0;
      carry += factor * word + limbs_[i + shift];
      limbs_[i + shift] = static_cast<std::uint32_t>(carry);
      carry >>= 32;
    }
  }
  std::uint64_t BitAt(int position) const { return limbs_[position / 32] >> (position % 32) & 1; }

  // The bits behind the point, from the highest limb down.
  ValueAndRest<double> Fraction() const {
    ValueAndRest<double> sum{0.0, 0.0};
    for (int i = (point_ - 1) / 32; i >= 0; --i) {
      const bool isFirst = i == (point_ - 1) / 32;
      const std::uint32_t kept = isFirst && point_ % 32 != 0 ? (1U << (point_ % 32)) - 1 : ~0U;
      const ValueAndRest<double> next = Add(sum.value, std::ldexp(limbs_[i] & kept, 32 * i - point_));
      sum = Add(next.value, next.rest + sum.rest);
    }
    return sum;
  }

  std::uint32_t limbs_[kLimbs] = {};
  int point_;  // bits behind the point
};

ReducedAngle<double> ReduceFar(double x) {
  ReducedAngle<double> angle = FarReduction(std::abs(x)).Angle();
  if (x < 0.0) angle = {0 - angle.sixteenths, -angle.r, -angle.rest};
  return angle;
}

}  // namespace

double SineOfFar(double x) {
  if (!(std::abs(x) < kInfinity)) return x - x;
  return baseline::SineOfReduced(ReduceFar(x));
}

double CosineOfFar(double x) {
  if (!(std::abs(x) < kInfinity)) return x - x;
  ReducedAngle<double> angle = ReduceFar(x);
  angle.sixteenths += 8;
  return baseline::SineOfReduced(angle);
}

// ---- hypotenuses of any numbers ----

namespace {

constexpr double kScale = 0x1p700;

double ScaleFor(double longest) {
  if (longest > 0x1p500) return 1.0 / kScale;
  return longest < 0x1p-400 ? kScale : 1.0;
}

// The root of a sum of squares of scaled numbers; rounded once, where it is subnormal, too.
double RootOfScaled(const ValueAndRest<double>& sum, double scale) {
  const ValueAndRest<double> root = baseline::LongRoot<double>(sum.value, sum.rest);
  const bool isSubnormal = scale == kScale && root.value < 0x1p-1022 * kScale;
  const double large = isSubnormal ? 0x1p-1022 * kScale : 0.0;
  const double total = large + root.value;
  return ((total + (((large - total) + root.value) + root.rest)) - large) / scale;
}

}  // namespace

double SpecialHypotenuse(double x, double y) {
  return Hypotenuse(x, y, 0.0);
}

double Hypotenuse(double x, double y, double z) {
  double sizes[] = {std::abs(x), std::abs(y), std::abs(z)};
  for (int i : {1, 2}) {
    if (sizes[i] > sizes[0]) std::swap(sizes[0], sizes[i]);
  }
  for (const double size : sizes) {
    if (size == kInfinity) return kInfinity;
  }
  if (sizes[0] == 0.0 || x != x || y != y || z != z) return sizes[0] + sizes[1] + sizes[2];
  const double scale = ScaleFor(sizes[0]);
  ValueAndRest<double> sum{0.0, 0.0};
  for (const double size : sizes) sum = baseline::AddSquare<double>(sum, size * scale);
  return RootOfScaled(sum, scale);
}

}  // namespace mth_internal
