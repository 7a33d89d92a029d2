#include "mth/statistics/Mth_special_functions.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/core/Mth_elementary_internal.h"
#include "mth/core/Mth_message_internal.h"
#include "mth/core/Mth_new_array_internal.h"
#include "mth/statistics/Mth_sort.h"
#include "mth/statistics/Mth_special_functions_internal.h"

namespace mth_internal {
namespace {

constexpr int kTermsMax = 100;
constexpr double kRelativePrecision = 3e-7;
constexpr double kSmallest = 1e-30;  // stands for a zero denominator of the Lentz method

void Report(const char* text) {
  mth_internal::ShowFailure(text, MessageKind::Information, "Quorvan");
}

double AwayFromZero(double value) {
  return std::abs(value) < kSmallest ? kSmallest : value;
}

// The state of the modified Lentz method: numerator ratio, inverted denominator ratio, value.
struct LentzFraction {
  double c;
  double d;
  double value;

  void Append(double coefficient) {
    d = 1.0 / AwayFromZero(1.0 + coefficient * d);
    c = AwayFromZero(1.0 + coefficient / c);
    value *= d * c;
  }
  // Neither ratio is a number ever again once it is none.
  bool IsLost() const { return std::isnan(c) || std::isnan(d); }
};

// The continued fraction of the incomplete beta function; 0, after a message, without convergence.
double BetaFraction(double a, double b, double x) {
  const double sum = a + b;
  const double above = a + 1.0;
  const double below = a - 1.0;
  const double start = 1.0 / AwayFromZero(1.0 - sum * x / above);
  LentzFraction fraction{1.0, start, start};
  // Convergence at the very last term counts as none.
  for (int m = 1; m < kTermsMax && !fraction.IsLost(); ++m) {
    const double m2 = 2.0 * m;
    fraction.Append(m * (b - m) * x / ((below + m2) * (a + m2)));
    fraction.Append(-(a + m) * (sum + m) * x / ((a + m2) * (above + m2)));
    if (std::abs(fraction.d * fraction.c - 1.0) < kRelativePrecision) return fraction.value;
  }
  Report("Problème dans Mth_UsedByIncompleteBeta");
  return 0.0;
}

// x^a e^-x / Gamma(a), the factor of both expansions of P(a, x).
double GammaFactor(float a, float x) {
  const float logGamma = static_cast<float>(Mth_LogarithmGamma(a));
  return Exponential(-x + a * Logarithm(static_cast<double>(x)) - logGamma);
}

}  // namespace

float IncompleteGammaSeries(float a, float x) {
  if (x < 0.0f) Report("X est inférieur à 0 dans la routine GSER");
  if (x <= 0.0f) return 0.0f;
  float denominator = a;
  float term = 1.0f / a;
  float sum = term;
  for (int n = 1; n <= kTermsMax; ++n) {
    denominator += 1.0f;
    term *= x / denominator;
    sum += term;
    if (std::abs(term) < std::abs(sum) * kRelativePrecision) {
      return static_cast<float>(sum * GammaFactor(a, x));
    }
  }
  Report(" a est très grand, ITMAX est très petit dans la routine");
  return 0.0f;
}

float IncompleteGammaFraction(float a, float x) {
  // Numerators b and denominators a of two successive convergents, rescaled so that the later a is 1.
  float previous = 0.0f;
  float scale = 1.0f;
  float b0 = 0.0f;
  float b1 = 1.0f;
  float a0 = 1.0f;
  float a1 = x;
  for (int n = 1; n <= kTermsMax; ++n) {
    const float order = static_cast<float>(n);
    const float even = order - a;
    a0 = (a1 + a0 * even) * scale;
    b0 = (b1 + b0 * even) * scale;
    const float odd = order * scale;
    a1 = x * a0 + odd * a1;
    b1 = x * b0 + odd * b1;
    if (std::isnan(a1)) break;  // for good
    if (a1 == 0.0f) continue;
    scale = 1.0f / a1;
    const float value = b1 * scale;
    if (std::abs((value - previous) / value) < kRelativePrecision) {
      return static_cast<float>(GammaFactor(a, x) * value);
    }
    previous = value;
  }
  Report("a est très grand!!!, ITMAX doit être très petit dans la routine GCF");
  return 0.0f;
}

float IncompleteGammaP(float a, float x) {
  if (x < 0.0f || a <= 0.0f) Report("Arguments Invalides dans la routine");
  return x < a + 1.0f ? IncompleteGammaSeries(a, x) : 1.0f - IncompleteGammaFraction(a, x);
}

namespace {

bool HasNaN(const double* values, int n) {
  return std::any_of(values, values + n, [](double value) { return std::isnan(value); });
}

bool SortSample(double* values, int n) {
  const auto companions = NewArray<double>(n);
  return companions != nullptr && Mth_Sort(n, values, companions.get());
}

// Twice the sum of the 1-based ranks of one sample among both, and the sum of t^3 - t over groups of t equal
// values. Doubled, a mean rank is a whole number.
struct PooledRanks {
  double doubledRankSum = 0.0;
  double ties = 0.0;
};

// Merges two sorted samples of n numbers each.
PooledRanks RankTogether(const double* x, const double* y, int n) {
  PooledRanks ranks;
  for (int i = 0, j = 0; i < n || j < n;) {
    const double value = j == n || (i < n && !(y[j] < x[i])) ? x[i] : y[j];
    const int firstX = i;
    const int firstY = j;
    while (i < n && x[i] == value) ++i;
    while (j < n && y[j] == value) ++j;
    const double first = static_cast<double>(firstX) + firstY;
    const double end = static_cast<double>(i) + j;
    const double count = end - first;
    ranks.doubledRankSum += (i - firstX) * (first + end + 1.0);
    ranks.ties += count * count * count - count;
  }
  return ranks;
}

}  // namespace
}  // namespace mth_internal

using namespace mth_internal;

double Mth_LogarithmGamma(double x) {
  constexpr double kCoefficients[] = {76.18009172947146,  -86.50532032941678,   24.01409824083091,
                                      -1.231739572450155, 0.001208650973866179, -5.395239384953e-06};
  double exponent = x + 5.5;
  exponent -= (x + 0.5) * Logarithm(exponent);
  double series = 1.000000000190015;
  double denominator = x;
  for (const double coefficient : kCoefficients) {
    denominator += 1.0;
    series += coefficient / denominator;
  }
  return -exponent + Logarithm(2.5066282746310005 * series / x);
}

double Mth_Gamma(double x) {
  return Exponential(Mth_LogarithmGamma(x));
}

double Mth_IncompleteBeta(double a, double b, double x) {
  if (x < 0.0 || x > 1.0) {
    Report("x non adapté dans Mth_IncompleteBeta");
    return 0.0;
  }
  double factor = 0.0;
  if (x != 0.0 && x != 1.0) {
    factor = Exponential(Mth_LogarithmGamma(a + b) - Mth_LogarithmGamma(a) - Mth_LogarithmGamma(b) +
                         a * Logarithm(x) + b * Logarithm(1.0 - x));
  }
  // Each fraction converges fast on its side of the mean.
  const bool isBelowMean = x < (a + 1.0) / (a + b + 2.0);
  const double fraction = isBelowMean ? BetaFraction(a, b, x) : BetaFraction(b, a, 1.0 - x);
  return isBelowMean ? factor * fraction / a : 1.0 - factor * fraction / b;
}

double Mth_UsedByIncompleteBeta(double a, double b, double x) {
  return BetaFraction(a, b, x);
}

double Mth_ComplementaryErrorFunction(double x) {
  constexpr double kCoefficients[] = {0.170872277, -0.82215223, 1.48851587, -1.13520398, 0.27886807,
                                      -0.18628806, 0.09678418,  0.37409196, 1.00002368};
  if (std::isnan(x)) return x;
  const double z = std::abs(x);
  const double t = 1.0 / (1.0 + 0.5 * z);
  double polynomial = 0.0;
  for (const double coefficient : kCoefficients) polynomial = coefficient + t * polynomial;
  const double tail = t * Exponential(-z * z - 1.26551223 + t * polynomial);
  return x >= 0.0 ? tail : 2.0 - tail;
}

float Mth_ErrorFunction(const float x) {
  const float magnitude = IncompleteGammaP(0.5f, x * x);
  return x < 0.0f ? -magnitude : magnitude;
}

double Mth_TestMannWhitney(double* x, double* y, int n) {
  if (n < 1 || x == nullptr || y == nullptr) return 1.0;
  if (HasNaN(x, n) || HasNaN(y, n)) return std::numeric_limits<double>::quiet_NaN();
  if (!SortSample(x, n) || !SortSample(y, n)) return 1.0;
  const PooledRanks ranks = RankTogether(x, y, n);
  const double size = n;
  const double total = 2.0 * size;
  if (ranks.ties == total * total * total - total) return 1.0;  // all values are equal
  const double statistic = 0.5 * ranks.doubledRankSum - 0.5 * size * (size + 1.0);
  const double variance = size * size / 12.0 * (total + 1.0 - ranks.ties / (total * (total - 1.0)));
  const double distance = std::max(std::abs(statistic - 0.5 * size * size) - 0.5, 0.0);
  return Mth_ComplementaryErrorFunction(distance / std::sqrt(2.0 * variance));
}
