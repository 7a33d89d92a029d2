#include "mth/optimise/Mth_funct_ajust_rayleigh_cost.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/core/Mth_convert_internal.h"
#include "mth/core/Mth_elementary_internal.h"

namespace {

constexpr int kParametersCount = 3;
constexpr int kBlock = 256;  // samples whose exponentials are taken together

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
  double bells[kBlock];
  for (int start = first, length = 0; start < count_; start += length) {
    length = std::min(kBlock, count_ - start);
    for (int i = 0; i < length; ++i) {
      const double t = (start + i) - onset;
      bells[i] = -0.5 * (t * t) / variance;
    }
    mth_internal::Exponentials(bells, length, bells);
    for (int i = 0; i < length; ++i) {
      const double t = (start + i) - onset;
      const double difference = data_[start + i] - t * amplitude / variance * bells[i];
      error += difference * difference;
    }
  }
  SetValue(std::sqrt(error));
}
