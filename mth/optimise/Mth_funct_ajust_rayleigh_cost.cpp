#include "mth/optimise/Mth_funct_ajust_rayleigh_cost.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/core/Mth_convert_internal.h"

#include "mth/core/Mth_elementary_internal.h"

namespace {

constexpr int kParametersCount = 3;

}  // namespace

MTH_FUNCT_AJUST_RAYLEIGH_COST::MTH_FUNCT_AJUST_RAYLEIGH_COST(double* data, int count)
    : MTH_FUNCT(kParametersCount), data_(data), count_(count) {}

MTH_FUNCT_AJUST_RAYLEIGH_COST::~MTH_FUNCT_AJUST_RAYLEIGH_COST() = default;

void MTH_FUNCT_AJUST_RAYLEIGH_COST::Evaluate() {
  SetDefined(true);
  if (GetParametersCount() == 0 || (data_ == nullptr && count_ > 0)) {
    SetValue(std::numeric_limits<double>::quiet_NaN());
    return;
  }
  double* const parameters = GetParameters();
  parameters[1] = std::abs(parameters[1]);
  const double amplitude = parameters[0];
  const double onset = parameters[1];
  const double variance = parameters[2] * parameters[2];
  // An onset beyond the samples leaves no model; one that is NaN makes the whole model NaN.
  const int first = std::min(mth_internal::TruncateToInt(onset), count_);
  double error = 0.0;
  for (int i = 0; i < first; ++i) error += data_[i] * data_[i];
  for (int i = first; i < count_; ++i) {
    const double t = i - onset;
    const double model = t * amplitude / variance * mth_internal::Exponential(-0.5 * (t * t) / variance);
    error += (data_[i] - model) * (data_[i] - model);
  }
  SetValue(std::sqrt(error));
}
