#include <algorithm>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <numbers>
#include <vector>

#include "mth/core/Mth_elementary_internal.h"
#include "mth/core/Mth_message_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/statistics/Mth_descriptive.h"
#include "mth/statistics/Mth_descriptive_internal.h"
#include "mth/statistics/Mth_sort.h"
#include "mth/statistics/Mth_sort_internal.h"
#include "mth/statistics/Mth_special_functions.h"

// Correlations with their significance, and the median of a vector.

using mth_internal::WorkArray;

namespace {

constexpr double kTiny = 1e-20;  // keeps a denominator from being 0

bool HasNull(std::initializer_list<const void*> pointers) {
  return std::find(pointers.begin(), pointers.end(), nullptr) != pointers.end();
}

// Sorts `values` with `others` alike, then replaces `values` by their ranks.
bool SortAndRank(int n, double* values, double* others, double& ties, int pendingPartsMax) {
  if (!mth_internal::SortWithCompanions(n, values, others, pendingPartsMax)) return false;
  Mth_ReplaceByRank(n, values, &ties);
  return true;
}

double CorrelationTail(double r, int n) {
  constexpr double kNormalFreedom = 1e7;  // degrees of freedom from which Student's law is the normal one
  const double freedom = static_cast<double>(n) - 2.0;
  const double t = r * std::sqrt(freedom / ((1.0 - r + kTiny) * (1.0 + r + kTiny)));
  const double u = -std::abs(t);
  if (freedom == 1.0) return mth_internal::Arctangent(u) / std::numbers::pi + 0.5;
  if (!(freedom > 0.0)) return 0.0;
  if (u == 0.0) return 0.5;
  if (freedom >= kNormalFreedom) {
    return 0.5 * Mth_ComplementaryErrorFunction(std::abs(u) / std::numbers::sqrt2);
  }
  return Mth_IncompleteBeta(0.5 * freedom, 0.5, freedom / (freedom + u * u));
}

// By Student's law, two-sided, of n pairs.
double RankCorrelationTail(double correlation, double n) {
  const double unexplained = (1.0 + correlation) * (1.0 - correlation);
  if (!(unexplained > 0.0)) return 0.0;
  const double freedom = n - 2.0;
  const double t = correlation * std::sqrt(freedom / unexplained);
  return Mth_IncompleteBeta(0.5 * freedom, 0.5, freedom / (freedom + t * t));
}

// The zero at a place of the sorted values when zeros of both signs, which are equal, keep their order: what
// a selection puts there differs from one standard library to the other.
double ZeroInOrder(const std::vector<double>& values, std::int64_t place) {
  place -= std::count_if(values.begin(), values.end(), [](double value) { return value < 0.0; });
  const auto isIt = [&place](double value) { return value == 0.0 && place-- == 0; };
  return *std::find_if(values.begin(), values.end(), isIt);
}

}  // namespace

void Mth_CorrelationRatioOfSpearman(double* x, double* y, int n, double* d, double* zd, double* probd,
                                    double* rs, double* probrs) {
  mth_internal::CorrelateRanks(x, y, n, d, zd, probd, rs, probrs);
}

void mth_internal::CorrelateRanks(const double* x, const double* y, int n, double* d, double* zd,
                                  double* probd, double* rs, double* probrs, int pendingPartsMax) {
  if (n < 0 || (n > 0 && HasNull({x, y})) || HasNull({d, zd, probd, rs, probrs})) return;
  const WorkArray<double> ranksX(n);
  const WorkArray<double> ranksY(n);
  if (!ranksX || !ranksY) return;
  std::copy_n(x, n, ranksX.Get());
  std::copy_n(y, n, ranksY.Get());
  double tiesX = 0.0;
  double tiesY = 0.0;
  if (!SortAndRank(n, ranksX.Get(), ranksY.Get(), tiesX, pendingPartsMax)) return;
  if (!SortAndRank(n, ranksY.Get(), ranksX.Get(), tiesY, pendingPartsMax)) return;

  double sum = 0.0;
  for (int i = 0; i < n; ++i) {
    const double difference = ranksX[i] - ranksY[i];
    sum += difference * difference;
  }
  const double en = n;
  const double en3n = en * en * en - en;
  const double expected = en3n / 6.0 - (tiesX + tiesY) / 12.0;
  const double tieFactor = (1.0 - tiesX / en3n) * (1.0 - tiesY / en3n);
  const double variance = (en - 1.0) * (en * en) * ((en + 1.0) * (en + 1.0)) / 36.0 * tieFactor;
  constexpr double kTruncatedRoot2 = 1.4142136;  // not the root of 2: results are fixed with this constant
  const double deviations = variance == 0.0 ? 0.0 : (sum - expected) / std::sqrt(variance);
  const double tail = Mth_ComplementaryErrorFunction(std::abs(deviations) / kTruncatedRoot2);
  const double unscaled = 1.0 - (6.0 / en3n) * (sum + (tiesX + tiesY) / 12.0);
  const double correlation = tieFactor == 0.0 ? 0.0 : unscaled / std::sqrt(tieFactor);
  // Stored last: a caller may give one place to several outputs.
  *d = sum;
  *zd = deviations;
  *probd = tail;
  *rs = correlation;
  *probrs = RankCorrelationTail(correlation, en);
}

void Mth_StatisticalCriterionCalculations(double* x, double* y, int n, double* meanX, double* varX,
                                          double* meanY, double* varY, double* covXY, double* r,
                                          double* slope, double* prob) {
  if ((n > 0 && HasNull({x, y})) || HasNull({meanX, varX, meanY, varY, covXY, r, slope, prob})) return;
  double sumX = 0.0;
  double sumXX = 0.0;
  double sumY = 0.0;
  double sumYY = 0.0;
  double sumXY = 0.0;
  for (int i = 0; i < n; ++i) {
    sumX += x[i];
    sumXX += x[i] * x[i];
    sumY += y[i];
    sumYY += y[i] * y[i];
    sumXY += x[i] * y[i];
  }
  const double count = n;
  const double meanOfX = sumX / count;
  const double meanOfY = sumY / count;
  // One grouping of the products throughout: equal data correlate with exactly 1.
  const double varianceX = (sumXX - count * meanOfX * meanOfX) / (count - 1.0);
  const double varianceY = (sumYY - count * meanOfY * meanOfY) / (count - 1.0);
  const double covariance = (sumXY - count * meanOfX * meanOfY) / (count - 1.0);
  const bool doBothVary = varianceX > kTiny && varianceY > kTiny;
  const double correlation = doBothVary ? covariance / (std::sqrt(varianceX * varianceY) + kTiny) : 0.0;
  // Stored last: a caller may give one place to several outputs.
  *meanX = meanOfX;
  *varX = varianceX;
  *meanY = meanOfY;
  *varY = varianceY;
  *covXY = covariance;
  *r = correlation;
  *slope = varianceX > kTiny ? covariance / (varianceX + kTiny) : 0.0;
  *prob = CorrelationTail(correlation, n);
}

double Mth_Median(std::vector<double> v, int& index) {
  if (v.empty()) return 0.0;
  index = -1;
  const auto count = static_cast<std::int64_t>(v.size());
  const WorkArray<double> sorted(count);
  if (!sorted) return 0.0;
  std::copy(v.begin(), v.end(), sorted.Get());
  const auto middlePlace = sorted.Get() + (count + 1) / 2 - 1;
  std::nth_element(sorted.Get(), middlePlace, sorted.Get() + count, mth_internal::AscendingNanLast());
  const double middle = *middlePlace == 0.0 ? ZeroInOrder(v, (count + 1) / 2 - 1) : *middlePlace;
  const bool isInRange = (middle >= 1.0 && middle <= 1000.0) || middle == 0.0 || middle == 0.5;
  if (!isInRange && !std::isnan(middle)) mth_internal::ShowFailure("dex", MessageKind::Error, "Error");
  const auto place = std::find(v.begin(), v.end(), middle);
  if (place != v.end()) index = static_cast<int>(place - v.begin());
  return middle;
}
