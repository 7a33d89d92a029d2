#include "quality.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numeric>

#include "mth/matrix/Mth_matrix.h"

namespace fit_curve {

namespace {

double SumOfSquares(const std::vector<double>& values, double centre) {
  return std::accumulate(values.begin(), values.end(), 0.0, [centre](double sum, double value) {
    return sum + (value - centre) * (value - centre);
  });
}

// Central differences, with the step at which truncation and rounding balance.
std::vector<double> Derivative(const Problem& problem, const Curve& curve, std::size_t parameter) {
  std::vector<double> parameters = problem.Parameters();
  const double place = parameters[parameter];
  const double step = std::cbrt(std::numeric_limits<double>::epsilon()) *
                      std::max(std::abs(place), std::abs(problem.units[parameter]));
  std::vector<double> derivative;
  for (const double x : curve.x) {
    parameters[parameter] = place + step;
    const double after = problem.valueAt(parameters, x);
    parameters[parameter] = place - step;
    derivative.push_back((after - problem.valueAt(parameters, x)) / (2.0 * step));
  }
  return derivative;
}

// The roots of the diagonal of variance * inverse(J' J), each column of J scaled to length 1 first.
std::vector<double> StandardErrors(const Problem& problem, const Curve& curve, double variance,
                                   std::string& whyNone) {
  const std::size_t count = problem.names.size();
  std::vector<std::vector<double>> columns;
  std::vector<double> lengths;
  for (std::size_t k = 0; k < count; ++k) {
    columns.push_back(Derivative(problem, curve, k));
    lengths.push_back(std::sqrt(SumOfSquares(columns[k], 0.0)));
  }
  MTH_MATRIX normal(static_cast<int>(count), static_cast<int>(count), 0);
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t j = 0; j < count; ++j) {
      const double product =
          std::inner_product(columns[i].begin(), columns[i].end(), columns[j].begin(), 0.0);
      normal.Set(static_cast<int>(i), static_cast<int>(j), product / (lengths[i] * lengths[j]));
    }
  }
  const std::unique_ptr<MTH_MATRIX> inverse(normal.Inverse());
  const bool isKnown = inverse && inverse->IsAllocated();
  if (!isKnown) whyNone = Mth_StatusText(inverse ? inverse->GetStatusError() : normal.GetStatusError());
  std::vector<double> errors;
  for (std::size_t k = 0; k < count; ++k) {
    const int place = static_cast<int>(k);
    errors.push_back(isKnown ? std::sqrt(variance * inverse->Get(place, place)) / lengths[k]
                             : std::numeric_limits<double>::quiet_NaN());
  }
  return errors;
}

}  // namespace

Quality Assess(const Problem& problem, const Curve& curve) {
  Quality quality;
  const std::vector<double> parameters = problem.Parameters();
  for (std::size_t i = 0; i < curve.x.size(); ++i) {
    quality.fitted.push_back(problem.valueAt(parameters, curve.x[i]));
    quality.residuals.push_back(curve.y[i] - quality.fitted[i]);
  }
  const double mean =
      std::accumulate(curve.y.begin(), curve.y.end(), 0.0) / static_cast<double>(curve.y.size());
  const double unexplained = SumOfSquares(quality.residuals, 0.0);
  quality.rSquared = 1.0 - unexplained / SumOfSquares(curve.y, mean);
  // Without samples to spare 0 / 0, or less than nothing: not a number either way.
  const double freedom = static_cast<double>(curve.y.size()) - static_cast<double>(parameters.size());
  const double variance = freedom > 0.0 ? unexplained / freedom : std::numeric_limits<double>::quiet_NaN();
  quality.standardErrors = StandardErrors(problem, curve, variance, quality.whyNoErrors);
  return quality;
}

}  // namespace fit_curve
