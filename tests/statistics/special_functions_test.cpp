#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

#include "mth/core/Mth_elementary_internal.h"
#include "mth/statistics/Mth_special_functions.h"
#include "mth/statistics/Mth_special_functions_internal.h"
#include "support/recording_display.h"
#include "support/values.h"

namespace {

using mth_test::kNaN;

using mth_internal::IncompleteGammaFraction;
using mth_internal::IncompleteGammaP;
using mth_internal::IncompleteGammaSeries;
using Values = std::vector<double>;

// The probability of at least a successes in n trials: I_x(a, n - a + 1) for whole a.
double AtLeast(int a, int n, double x) {
  double sum = 0.0;
  for (int j = a; j <= n; ++j) {
    sum += std::exp(std::lgamma(n + 1.0) - std::lgamma(j + 1.0) - std::lgamma(n - j + 1.0)) * std::pow(x, j) *
           std::pow(1.0 - x, n - j);
  }
  return sum;
}

TEST(SpecialFunctions, GammaMeetsTheCLibrary) {
  for (double x = 0.01; x < 150.0; x *= 1.07) {
    EXPECT_NEAR(Mth_Gamma(x), std::tgamma(x), 2e-10 * std::tgamma(x)) << x;
    EXPECT_NEAR(Mth_LogarithmGamma(1e4 * x), std::lgamma(1e4 * x),
                1e-12 * std::abs(std::lgamma(1e4 * x)) + 2e-10)
        << x;
  }
  EXPECT_NEAR(Mth_LogarithmGamma(1.0), 0.0, 1e-10);
  EXPECT_NEAR(Mth_LogarithmGamma(2.0), 0.0, 1e-10);
}

// Lanczos' formula with its published coefficients, at so many places that the last digit of any of them
// shows.
TEST(SpecialFunctions, GammaIsLanczosFormula) {
  constexpr double kCoefficients[] = {76.18009172947146,  -86.50532032941678,   24.01409824083091,
                                      -1.231739572450155, 0.001208650973866179, -5.395239384953e-06};
  const auto expectFormula = [&](double x) {
    double series = 1.000000000190015;
    double denominator = x;
    for (const double coefficient : kCoefficients) series += coefficient / (denominator += 1.0);
    const double shifted = x + 5.5 - (x + 0.5) * mth_internal::Logarithm(x + 5.5);
    ASSERT_EQ(Mth_LogarithmGamma(x), -shifted + mth_internal::Logarithm(2.5066282746310005 * series / x))
        << x;
  };
  for (double x = 1e-3; x < 8.0; x += 1.0 / 16384.0) expectFormula(x);
  expectFormula(5.1133815050125122);  // the last digit of the smallest coefficient
}

// P(1/2, x) by its two expansions as they are published, every variable a float.
float PlainIncompleteGamma(float x) {
  const float a = 0.5f;
  const auto logGamma = static_cast<float>(Mth_LogarithmGamma(0.5));
  const double factor = std::exp(-x + a * std::log(static_cast<double>(x)) - logGamma);
  if (x < a + 1.0f) {
    float ap = a;
    float del = 1.0f / a;
    float sum = del;
    while (std::abs(del) >= std::abs(sum) * 3e-7) {
      ap += 1.0f;
      del *= x / ap;
      sum += del;
    }
    return x == 0.0f ? 0.0f : static_cast<float>(sum * factor);
  }
  float gold = 0.0f, g = 0.0f, fac = 1.0f, b1 = 1.0f, b0 = 0.0f, a0 = 1.0f, a1 = x;
  for (float n = 1.0f; n <= 100.0f; n += 1.0f) {
    const float ana = n - a;
    a0 = (a1 + a0 * ana) * fac;
    b0 = (b1 + b0 * ana) * fac;
    const float anf = n * fac;
    a1 = x * a0 + anf * a1;
    b1 = x * b0 + anf * b1;
    fac = 1.0f / a1;
    g = b1 * fac;
    if (std::abs((g - gold) / g) < 3e-7) break;
    gold = g;
  }
  return 1.0f - static_cast<float>(factor * g);
}

TEST(SpecialFunctions, ErrorFunctionHasTheBitsOfSinglePrecision) {
  for (float x = 0.0f; x < 5.0f; x += 0.000244140625f) {
    EXPECT_EQ(Mth_ErrorFunction(x), PlainIncompleteGamma(x * x)) << x;
  }
  EXPECT_EQ(IncompleteGammaP(0.5f, 1.5f), PlainIncompleteGamma(1.5f));  // where the expansions meet
}

TEST(SpecialFunctions, IncompleteBetaMeetsBinomialSumsAndATable) {
  for (const int n : {1, 2, 5, 17, 60}) {
    for (int a = 1; a <= n; a += 1 + n / 9) {
      for (const double x : {0.01, 0.2, 0.3, 0.5, 0.77, 0.999}) {
        EXPECT_NEAR(Mth_IncompleteBeta(a, n - a + 1.0, x), AtLeast(a, n, x), 4e-7)
            << a << ' ' << n << ' ' << x;
      }
    }
  }
  struct Case {
    double a, b, x, value;
  };
  const Case cases[] = {// mpmath 1.2.1, betainc(a, b, 0, x, regularized=True)
                        {0.5, 0.5, 0.25, 0.33333333333333333},   {0.5, 0.5, 0.99, 0.93623143914148012},
                        {2.5, 0.5, 0.1, 0.001114437541507422},   {2.5, 0.5, 0.7, 0.20311066372005491},
                        {2.5, 0.5, 0.999, 0.94634234530818643},  {17, 0.5, 0.9, 0.060252071502404812},
                        {499, 0.5, 0.99, 0.0015441161074010866}, {499, 0.5, 0.9999, 0.75212384097484436},
                        {0.1, 30, 0.001, 0.7371893001109396},    {3.7, 8.2, 0.3, 0.49990255911910811},
                        {1000, 1000, 0.51, 0.81444734056848855}, {5e6, 0.5, 0.9999995, 0.025347304038508631}};
  for (const Case& c : cases) {
    EXPECT_NEAR(Mth_IncompleteBeta(c.a, c.b, c.x), c.value, 1e-6 * c.value)
        << c.a << ' ' << c.b << ' ' << c.x;
    EXPECT_NEAR(Mth_IncompleteBeta(c.b, c.a, 1.0 - c.x), 1.0 - c.value, 1e-6)
        << c.a << ' ' << c.b << ' ' << c.x;
    EXPECT_EQ(Mth_IncompleteBeta(c.a, c.b, 0.0), 0.0);
    EXPECT_EQ(Mth_IncompleteBeta(c.a, c.b, 1.0), 1.0);
  }
  EXPECT_NEAR(Mth_IncompleteBeta(29500, 29500, 0.5), 0.5, 1e-6);       // converges at the 99th term
  EXPECT_NEAR(Mth_UsedByIncompleteBeta(1, 3, 0.5), 14.0 / 3.0, 2e-6);  // its first denominator is 0
}

TEST(SpecialFunctions, ErrorFunctionsKeepTheirPrecision) {
  constexpr double kCoefficients[] = {0.170872277, -0.82215223, 1.48851587, -1.13520398, 0.27886807,
                                      -0.18628806, 0.09678418,  0.37409196, 1.00002368,  -1.26551223};
  double worst = 0.0;
  for (double x = 0.0; x < 6.0; x += 0.01) {
    const double t = 1.0 / (1.0 + 0.5 * x);
    double exponent = 0.0;
    for (const double coefficient : kCoefficients) exponent = coefficient + t * exponent;
    const double fit = t * std::exp(exponent - x * x);
    EXPECT_NEAR(Mth_ComplementaryErrorFunction(x), fit, 1e-13 * fit) << x;
    const double expected = std::erfc(x);
    worst = std::max(worst, std::abs(Mth_ComplementaryErrorFunction(x) - expected) / expected);
    EXPECT_EQ(Mth_ComplementaryErrorFunction(-x - 1e-9), 2.0 - Mth_ComplementaryErrorFunction(x + 1e-9));
    const auto single = static_cast<float>(x);
    EXPECT_NEAR(Mth_ErrorFunction(single), std::erf(single), 1e-6f) << x;
    EXPECT_EQ(Mth_ErrorFunction(-single), -Mth_ErrorFunction(single)) << x;
  }
  EXPECT_LE(worst, 5.2e-7);
  EXPECT_GT(worst, 1.2e-7);  // what the fit would keep with the coefficient as published
  EXPECT_EQ(Mth_ComplementaryErrorFunction(std::numeric_limits<double>::infinity()), 0.0);
  EXPECT_TRUE(std::isnan(Mth_ComplementaryErrorFunction(kNaN)));
}

TEST(SpecialFunctions, IncompleteGammaMeetsATable) {
  struct Case {
    float a, x;
    double value;
  };
  const Case cases[] = {// mpmath 1.2.1, gammainc(a, 0, x, regularized=True)
                        {0.5f, 0.01f, 0.11246291601828489}, {0.5f, 1.4f, 0.90573569315878969},
                        {0.5f, 1.6f, 0.92636172987969735},  {0.5f, 9, 0.99997790950300141},
                        {0.1f, 2, 0.99432617602018847},     {2.5f, 0.7f, 0.075686727198333053},
                        {2.5f, 7, 0.98439058389973309},     {20, 10, 0.0034543419758568077},
                        {20, 30, 0.97812653155860915},      {60, 60, 0.51716927262938722},
                        {396, 396, 0.50668262785365098}};  // converges at the 100th term
  for (const Case& c : cases) {
    // The exponent is rounded to single precision where it is largest, in ln Gamma(a).
    const double tolerance = 1e-6 * (1.0 + std::abs(std::lgamma(c.a)) / 8.0);
    EXPECT_NEAR(IncompleteGammaP(c.a, c.x), c.value, tolerance) << c.a << ' ' << c.x;
  }
  // Series and fraction are two ways to one function where both converge.
  for (const float x : {0.9f, 1.5f, 2.5f, 4.0f}) {
    EXPECT_NEAR(IncompleteGammaSeries(1.5f, x), 1.0f - IncompleteGammaFraction(1.5f, x), 2e-6f) << x;
  }
}

TEST(SpecialFunctions, FailuresAreToldInTheirWords) {
  const std::string outside = "x non adapté dans Mth_IncompleteBeta";
  const std::string unfinished = "Problème dans Mth_UsedByIncompleteBeta";
  const std::string invalid = "Arguments Invalides dans la routine";
  const std::string negative = "X est inférieur à 0 dans la routine GSER";
  const std::string series = " a est très grand, ITMAX est très petit dans la routine";
  const std::string fraction = "a est très grand!!!, ITMAX doit être très petit dans la routine GCF";
  struct Case {
    std::function<double()> call;
    double result;
    std::vector<std::string> texts;
  };
  const Case cases[] = {
      {[] { return Mth_IncompleteBeta(2, 3, 1.5); }, 0, {outside}},
      {[] { return Mth_IncompleteBeta(2, 3, -1e-9); }, 0, {outside}},
      {[] { return Mth_IncompleteBeta(1e6, 1e6, 0.4999); }, 0, {unfinished}},
      {[] { return Mth_IncompleteBeta(1e6, 1e6, 0.5); }, 1, {unfinished}},  // 1 - 0, from there on
      {[] { return Mth_IncompleteBeta(2, 3, kNaN); }, kNaN, {unfinished}},
      {[] { return Mth_UsedByIncompleteBeta(1e6, 1e6, 0.4999); }, 0, {unfinished}},
      {[] { return Mth_UsedByIncompleteBeta(3e4, 3e4, 0.5); }, 0, {unfinished}},  // converges at the 100th
      {[] { return IncompleteGammaP(1.0f, -1.0f); }, 0, {invalid, negative}},
      {[] { return IncompleteGammaP(0.0f, 2.0f); }, 1, {invalid}},
      {[] { return IncompleteGammaP(1.0f, 0.0f); }, 0, {}},
      {[] { return IncompleteGammaP(1e4f, 1e4f); }, 0, {series}},
      {[] { return IncompleteGammaP(1e4f, 1.0002e4f); }, 1, {fraction}},
  };
  for (const Case& c : cases) {
    mth_test::RecordingDisplay display;
    const double result = c.call();
    EXPECT_TRUE(result == c.result || (std::isnan(result) && std::isnan(c.result))) << result;
    std::vector<mth_test::ShownMessage> expected;
    for (const std::string& text : c.texts) expected.push_back({text, MessageKind::Information, "Quorvan"});
    EXPECT_EQ(display.messages, expected);
  }
}

TEST(SpecialFunctions, MannWhitneyMeetsATableWithTies) {
  struct Case {
    Values x, y;
    double significance;
  };
  Values thirty(30);
  std::iota(thirty.begin(), thirty.end(), 0.0);
  Values thirtyFive = thirty;
  for (double& value : thirtyFive) value += 5.0;
  // scipy 1.10.1, mannwhitneyu(x, y, use_continuity=True, alternative='two-sided', method='asymptotic')
  const Case cases[] = {{{3, 1, 2}, {6, 4, 5}, 0.08085559837005224},
                        {{1, 2, 3, 4, 5}, {3, 4, 5, 6, 7}, 0.11384629800665805},
                        {{4, 4, 3, 3, 2, 2, 1, 1}, {2, 3, 3, 4, 5, 5, 5, 6}, 0.03721045373820211},
                        {{3, 3, 3, 3}, {3, 3, 3, 4}, 0.4532547047537364},
                        {{5, 9, 1, 7}, {7, 1, 5, 9}, 1.0},
                        {{0.8, 0.83, 1.89, 1.04, 1.45}, {1.15, 0.88, 0.9, 0.74, 1.21}, 0.6761033140231469},
                        {thirty, thirtyFive, 0.04274735330571392},
                        {Values(40, 1.0), Values(40, 2.0), 6.529240988816291e-19},
                        {Values(9, 4.0), Values(9, 4.0), 1.0},
                        {{}, {}, 1.0}};
  for (Case c : cases) {
    const int n = static_cast<int>(c.x.size());
    Values x = c.x;
    Values y = c.y;
    EXPECT_NEAR(Mth_TestMannWhitney(c.x.data(), c.y.data(), n), c.significance, 6e-7 * c.significance);
    EXPECT_DOUBLE_EQ(Mth_TestMannWhitney(y.data(), x.data(), n),
                     Mth_TestMannWhitney(c.x.data(), c.y.data(), n));
    std::sort(x.begin(), x.end());
    std::sort(y.begin(), y.end());
    EXPECT_EQ(c.x, x);
    EXPECT_EQ(c.y, y);
  }
  EXPECT_EQ(Mth_TestMannWhitney(thirty.data(), thirty.data(), -1), 1.0);
  for (Values undefined : {Values{kNaN, 1, 2}, Values{2, 1, kNaN}}) {
    const Values before = undefined;
    EXPECT_TRUE(std::isnan(Mth_TestMannWhitney(undefined.data(), thirty.data(), 3)));
    EXPECT_TRUE(std::isnan(Mth_TestMannWhitney(thirty.data(), undefined.data(), 3)));
    EXPECT_EQ(undefined[1], before[1]);
  }
  EXPECT_EQ(Mth_TestMannWhitney(nullptr, thirty.data(), 30), 1.0);
  EXPECT_EQ(Mth_TestMannWhitney(thirty.data(), nullptr, 30), 1.0);
  Values equal(165166, 4.0);  // so many that the variance is not 0 once rounded
  EXPECT_EQ(Mth_TestMannWhitney(equal.data(), equal.data(), 165166), 1.0);
}

}  // namespace
