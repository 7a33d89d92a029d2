#include "mth/optimise/Mth_funct_ajust_gauss_cost.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "mth/optimise/Mth_bell_cache_internal.h"

namespace {

constexpr int kParametersPerGaussian = 3;
constexpr double kTwoPi = 6.283185307179586;

// -1, which gives a cost without parameters, when there are too many Gaussians to be counted.
int ParametersCount(int gaussians) {
  constexpr int kMost = std::numeric_limits<int>::max() / kParametersPerGaussian;
  return gaussians > kMost ? -1 : kParametersPerGaussian * std::max(gaussians, 0);
}

void AddScaled(double factor, const double* __restrict values, int count, double* __restrict sums) {
  for (int i = 0; i < count; ++i) sums[i] += factor * values[i];
}

}  // namespace

MTH_FUNCT_AJUST_GAUSS_COST::MTH_FUNCT_AJUST_GAUSS_COST(double* data, int count, int gaussians)
    : MTH_FUNCT(ParametersCount(gaussians)), data_(data), count_(count) {
  const bool hasParameters = GetParametersCount() == ParametersCount(gaussians);
  if (!hasParameters || (data == nullptr && count > 0)) return;
  cache_.reset(new (std::nothrow) mth_internal::BellCache(std::max(gaussians, 0), count));
  if (cache_ && !cache_->IsAllocated()) cache_.reset();
}

MTH_FUNCT_AJUST_GAUSS_COST::~MTH_FUNCT_AJUST_GAUSS_COST() = default;

void MTH_FUNCT_AJUST_GAUSS_COST::Evaluate() {
  SetValue(cache_ ? std::sqrt(SquaredError()) : std::numeric_limits<double>::quiet_NaN());
  SetDefined(true);
}

double MTH_FUNCT_AJUST_GAUSS_COST::SquaredError() const {
  double error = 0.0;
  for (int first = 0, length = 0; first < count_; first += length) {
    length = std::min(cache_->SegmentLength(), count_ - first);
    cache_->BeginSegment(first);
    double* const model = cache_->Model();
    std::fill_n(model, length, 0.0);
    const int gaussians = GetParametersCount() / kParametersPerGaussian;
    for (int g = 0; g < gaussians; ++g) {
      const double* const gaussian = GetParameters() + kParametersPerGaussian * std::ptrdiff_t{g};
      const double height = gaussian[0] / (std::sqrt(kTwoPi) * gaussian[2]);
      const double* const bells = cache_->Bells(g, gaussian[1], gaussian[2]);
      AddScaled(height, bells, length, model);
    }
    for (int i = 0; i < length; ++i) error += (data_[first + i] - model[i]) * (data_[first + i] - model[i]);
  }
  return error;
}
