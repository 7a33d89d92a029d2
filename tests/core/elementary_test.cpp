#include <gtest/gtest.h>

#include <bit>
#include <cfenv>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "core/elementary_cases.h"
#include "mth/core/Mth_complex_number_internal.h"
#include "mth/core/Mth_elementary_internal.h"
#include "mth/core/Mth_instruction_set_internal.h"
#include "support/values.h"

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace {

using mth_test::kInfinity;
using mth_test::kNaN;

using namespace mth_internal;

struct Function {
  const char* name;
  double (*scalar)(double);
  void (*array)(const double*, std::int64_t, double*);
  std::vector<elementary_cases::Case> cases;
  double domain;  // the largest |x| at which the result is a number, for random arguments
};

double RaisedTo(double x) {
  return Power(x, 1.8);
}
void AllRaisedTo(const double* x, std::int64_t count, double* results) {
  Powers(x, 1.8, count, results);
}
double WithThree(double x) {
  return Hypotenuse(x, 3.0);
}
void AllWithThree(const double* x, std::int64_t count, double* results) {
  const std::vector<double> three(static_cast<std::size_t>(count), 3.0);
  Hypotenuses(x, three.data(), count, results);
}

template <class Cases>
std::vector<elementary_cases::Case> ListOf(const Cases& cases) {
  return {std::begin(cases), std::end(cases)};
}

const std::vector<Function>& Functions() {
  using namespace elementary_cases;
  static const std::vector<Function> functions = {
      {"exponential", Exponential, Exponentials, ListOf(kExponentials), 800.0},
      {"logarithm", Logarithm, Logarithms, ListOf(kLogarithms), 1e3},
      {"sine", Sine, Sines, ListOf(kSines), 1e6},
      {"cosine", Cosine, Cosines, ListOf(kCosines), 1e6},
      {"arctangent", static_cast<double (*)(double)>(Arctangent), Arctangents, ListOf(kArctangents), 100.0},
      {"arcsine", Arcsine, Arcsines, ListOf(kArcsines), 1.0},
      {"arccosine", Arccosine, Arccosines, ListOf(kArccosines), 1.0},
      {"power", RaisedTo, AllRaisedTo, {}, 10.0},
      {"hypotenuse", WithThree, AllWithThree, {}, 10.0}};
  return functions;
}

// How many doubles lie between two; 0 for two NaN and for zeros of one sign.
std::uint64_t StepsBetween(double a, double b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) == std::isnan(b) ? 0 : UINT64_MAX;
  const auto place = [](double x) {
    const auto bits = std::bit_cast<std::uint64_t>(x);
    return bits >> 63 != 0 ? (std::uint64_t{1} << 63) - (bits << 1 >> 1) - 1
                           : bits + (std::uint64_t{1} << 63);
  };
  return place(a) > place(b) ? place(a) - place(b) : place(b) - place(a);
}

std::vector<double> ArgumentsOf(const Function& function) {
  std::mt19937_64 engine(1);
  std::uniform_real_distribution<double> inDomain(-function.domain, function.domain);
  std::vector<double> x = {0.0, -0.0, kInfinity, -kInfinity, kNaN,
                           1.0, -1.0, 0x1p-1074, -0x1p-1074, 0x1p1023};
  for (const auto& [argument, result] : function.cases) x.push_back(argument);
  for (int i = 0; i < 3000; ++i) x.push_back(inDomain(engine));
  for (int i = 0; i < 500; ++i) x.push_back(std::bit_cast<double>(engine()));
  return x;
}

class RoundingScope {
 public:
  explicit RoundingScope(int mode) : former_(std::fegetround()) { std::fesetround(mode); }
  ~RoundingScope() { std::fesetround(former_); }
  RoundingScope(const RoundingScope&) = delete;
  RoundingScope& operator=(const RoundingScope&) = delete;

 private:
  int former_;
};

}  // namespace

TEST(Elementary, HardCasesAreWithinAStep) {
  for (const Function& function : Functions()) {
    for (const auto& [x, result] : function.cases)
      EXPECT_LE(StepsBetween(function.scalar(x), result), 1U) << function.name << " of " << x;
  }
  for (const auto& [x, y, result] : elementary_cases::kPowers)
    EXPECT_LE(StepsBetween(Power(x, y), result), 1U) << x << " to the power " << y;
  for (const auto& [x, y, result] : elementary_cases::kHypotenuses) {
    EXPECT_LE(StepsBetween(Hypotenuse(x, y), result), 1U) << x << " and " << y;
    EXPECT_LE(StepsBetween(Hypotenuse(y, 0.0, x), result), 1U) << x << " and " << y;
  }
}

TEST(Elementary, SpecialValuesAreThoseOfTheStandard) {
  const double tiny = 0x1p-1074;
  const struct {
    double got;
    double expected;
  } cases[] = {
      {Exponential(0.0), 1.0},
      {Exponential(-kInfinity), 0.0},
      {Exponential(kInfinity), kInfinity},
      {Exponential(kNaN), kNaN},
      {Exponential(709.8), kInfinity},
      {Exponential(-745.2), 0.0},
      {Exponential(1e300), kInfinity},
      {Exponential(-1e300), 0.0},
      {Logarithm(1.0), 0.0},
      {Logarithm(0.0), -kInfinity},
      {Logarithm(-0.0), -kInfinity},
      {Logarithm(-1.0), kNaN},
      {Logarithm(-tiny), kNaN},
      {Logarithm(kInfinity), kInfinity},
      {Logarithm(-kInfinity), kNaN},
      {Logarithm(kNaN), kNaN},
      {Sine(0.0), 0.0},
      {Sine(-0.0), -0.0},
      {Sine(tiny), tiny},
      {Sine(kInfinity), kNaN},
      {Sine(kNaN), kNaN},
      {Cosine(0.0), 1.0},
      {Cosine(-kInfinity), kNaN},
      {Arctangent(-0.0), -0.0},
      {Arctangent(kInfinity), std::acos(0.0)},
      {Arctangent(-kInfinity), -std::acos(0.0)},
      {Arctangent(kNaN), kNaN},
      {Arctangent(0.0, -1.0), std::acos(-1.0)},
      {Arctangent(-0.0, -0.0), -std::acos(-1.0)},
      {Arctangent(-0.0, 1.0), -0.0},
      {Arctangent(-3.0, 0.0), -std::acos(0.0)},
      {Arctangent(kInfinity, kInfinity), std::acos(0.0) / 2.0},
      {Arctangent(1.0, -kInfinity), std::acos(-1.0)},
      {Arctangent(kNaN, 1.0), kNaN},
      {Arcsine(-0.0), -0.0},
      {Arcsine(1.5), kNaN},
      {Arcsine(kNaN), kNaN},
      {Arccosine(1.0), 0.0},
      {Arccosine(-1.5), kNaN},
      {Arccosine(kInfinity), kNaN},
      {Hypotenuse(0.0, -0.0), 0.0},
      {Hypotenuse(-kInfinity, kNaN), kInfinity},
      {Hypotenuse(kNaN, 1.0), kNaN},
      {Hypotenuse(1e308, 1.7e308), kInfinity},
      {Hypotenuse(0.0, -5.0), 5.0},
      {Hypotenuse(2.0, 3.0, 6.0), 7.0},
      {Hypotenuse(2e300, 3e300, 6e300), 7e300},
      {Hypotenuse(1.0, kInfinity, kNaN), kInfinity},
      {Power(kNaN, 0.0), 1.0},
      {Power(1.0, kNaN), 1.0},
      {Power(kNaN, 1.0), kNaN},
      {Power(2.0, kNaN), kNaN},
      {Power(0.0, 3.0), 0.0},
      {Power(-0.0, 3.0), -0.0},
      {Power(-0.0, 2.0), 0.0},
      {Power(-0.0, 0.5), 0.0},
      {Power(0.0, -1.0), kInfinity},
      {Power(-0.0, -3.0), -kInfinity},
      {Power(-0.0, -2.0), kInfinity},
      {Power(0.0, -kInfinity), kInfinity},
      {Power(-1.0, kInfinity), 1.0},
      {Power(0.5, kInfinity), 0.0},
      {Power(0.5, -kInfinity), kInfinity},
      {Power(-2.0, kInfinity), kInfinity},
      {Power(2.0, -kInfinity), 0.0},
      {Power(kInfinity, 0.1), kInfinity},
      {Power(kInfinity, -0.1), 0.0},
      {Power(-kInfinity, 3.0), -kInfinity},
      {Power(-kInfinity, 2.5), kInfinity},
      {Power(-kInfinity, -3.0), -0.0},
      {Power(-8.0, 1.0 / 3.0), kNaN},
      {Power(-1.0, 1e300), 1.0},
      {Power(-2.0, 3.0), -8.0},
      {Power(-2.0, 1023.0), -0x1p1023},
      {Power(-2.0, 1025.0), -kInfinity},
      {Power(1.5, 1e300), kInfinity},
      {Power(1.5, -1e300), 0.0},
      {Power(-1.5, -9007199254740991.0), -0.0},
  };
  for (const auto& [got, expected] : cases)
    EXPECT_LE(StepsBetween(got, expected), 0U)
        << got << " instead of " << expected << ", case " << (&got - &cases[0].got) / 2;
}

TEST(Elementary, LanesGiveTheBitsOfSingleNumbers) {
  for (const Function& function : Functions()) {
    const std::vector<double> x = ArgumentsOf(function);
    for (const InstructionSet set :
         {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
      const InstructionSetScope scope(set);
      std::vector<double> results(x.size());
      function.array(x.data(), static_cast<std::int64_t>(x.size()), results.data());
      for (std::size_t i = 0; i < x.size(); ++i)
        ASSERT_EQ(StepsBetween(results[i], function.scalar(x[i])), 0U) << function.name << " of " << x[i];
    }
  }
}

// A host may have set another mode: errors grow to a few units, nothing hangs, the mode stays.
TEST(Elementary, OtherRoundingModesCostAFewUnits) {
  for (const Function& function : Functions()) {
    const std::vector<double> x = ArgumentsOf(function);
    for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
      std::vector<double> results(x.size());
      {
        const RoundingScope rounding(mode);
        function.array(x.data(), static_cast<std::int64_t>(x.size()), results.data());
        ASSERT_EQ(std::fegetround(), mode);
      }
      for (std::size_t i = 0; i < x.size(); ++i)
        ASSERT_LE(StepsBetween(results[i], function.scalar(x[i])), 4U) << function.name << " of " << x[i];
    }
  }
}

#if defined(__SSE2__)
// Where a host flushes subnormal numbers, normal arguments with normal results notice nothing.
TEST(Elementary, FlushingSubnormalNumbersChangesNoNormalResult) {
  for (const Function& function : Functions()) {
    for (const double x : ArgumentsOf(function)) {
      const double expected = function.scalar(x);
      constexpr unsigned kFlushBoth = 0x8040;
      const unsigned former = _mm_getcsr();
      _mm_setcsr(former | kFlushBoth);
      const double got = function.scalar(x);
      _mm_setcsr(former);
      if (std::isnormal(x) && !std::isnormal(expected)) continue;
      if (!std::isnormal(x)) continue;
      ASSERT_EQ(StepsBetween(got, expected), 0U) << function.name << " of " << x;
    }
  }
}
#endif

TEST(ComplexNumber, QuotientsUndoProducts) {
  const struct {
    Complex dividend;
    Complex divisor;
    Complex quotient;
  } cases[] = {{{-5.0, 10.0}, {3.0, 4.0}, {1.0, 2.0}},
               {{-5.0, 10.0}, {1.0, 2.0}, {3.0, 4.0}},
               {{0x1p1000, 0x1p1000}, {0x1p1000, 0x1p1000}, {1.0, 0.0}},
               {{0x1p-1000, 0.0}, {0.0, 0x1p-1000}, {0.0, -1.0}}};
  for (const auto& [dividend, divisor, quotient] : cases) {
    EXPECT_EQ((dividend / divisor).real(), quotient.real());
    EXPECT_EQ((dividend / divisor).imag(), quotient.imag());
  }
  const Complex product = Complex(3.0, 4.0) * Complex(1.0, 2.0);
  EXPECT_EQ(product.real(), -5.0);
  EXPECT_EQ(product.imag(), 10.0);
  EXPECT_EQ(Modulus(Complex(-0x3p700, 0x4p700)), 0x5p700);
}
