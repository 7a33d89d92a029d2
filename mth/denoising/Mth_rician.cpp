#include <algorithm>
#include <cmath>
#include <numbers>

#include "mth/core/Mth_elementary_internal.h"
#include "mth/denoising/Mth_rician_internal.h"

namespace mth_internal {
namespace {

const double kMeanOfNoise = std::sqrt(std::numbers::pi / 2.0);

// L(-x) = e^-x M(3/2, 1, x): Kummer's series, all of whose terms are positive.
double MeanBySeries(double signal) {
  const double x = 0.5 * signal * signal;
  double term = 1.0;
  double sum = 1.0;
  for (int k = 1; term > 1e-17 * sum; ++k) {
    term *= x * (k + 0.5) / (static_cast<double>(k) * k);
    sum += term;
  }
  return kMeanOfNoise * Exponential(-x) * sum;
}

double SignalByBisection(double mean) {
  double low = 0.0;
  double high = mean;
  for (int step = 0; step < 50; ++step) {
    const double middle = 0.5 * (low + high);
    (MeanBySeries(middle) < mean ? low : high) = middle;
  }
  return low;
}

}  // namespace

RicianLaw::RicianLaw() : excess_(), correction_() {
  for (std::size_t i = 0; i < excess_.size(); ++i) {
    const double step = static_cast<double>(i) / kCellsPerUnit;
    const double mean = MeanBySeries(step);
    excess_[i] = mean * mean - step * step - 1.0;
    const double signal = SignalByBisection(kMeanOfNoise + step);
    correction_[i] = signal * signal - (kMeanOfNoise + step) * (kMeanOfNoise + step) + 1.0;
  }
}

double RicianLaw::Root(double square) {
  // Lanes take the root first: never of less than 0.
  return square > 0.0 ? std::sqrt(std::abs(square)) : 0.0;
}

double RicianLaw::Correction(double mean) const {
  return Interpolate(correction_, mean, kMeanOfNoise, -0.5);
}

double RicianLaw::Interpolate(const Table& table, double x, double first, double tail) {
  const double position = std::max(0.0, (x - first) * kCellsPerUnit);
  if (!(position < kCellsPerUnit * kUnits)) return tail / (x * x);
  const auto cell = static_cast<std::size_t>(position);
  const double share = position - static_cast<double>(cell);
  return table[cell] + share * (table[cell + 1] - table[cell]);
}

}  // namespace mth_internal
