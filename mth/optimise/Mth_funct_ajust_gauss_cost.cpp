#include "mth/optimise/Mth_funct_ajust_gauss_cost.h"

#include <cmath>
#include <limits>

namespace {

constexpr int kParametersPerGaussian = 3;
constexpr double kTwoPi = 6.283185307179586;

// -1, which gives a cost without parameters, when there are too many Gaussians to be counted.
int ParametersCount(int gaussians) {
  constexpr int kMost = std::numeric_limits<int>::max() / kParametersPerGaussian;
  return gaussians > kMost ? -1 : kParametersPerGaussian * (gaussians < 0 ? 0 : gaussians);
}

}  // namespace

MTH_FUNCT_AJUST_GAUSS_COST::MTH_FUNCT_AJUST_GAUSS_COST(double* data, int count, int gaussians)
    : MTH_FUNCT(ParametersCount(gaussians)), data_(data), count_(data != nullptr ? count : 0) {}

MTH_FUNCT_AJUST_GAUSS_COST::~MTH_FUNCT_AJUST_GAUSS_COST() = default;

void MTH_FUNCT_AJUST_GAUSS_COST::Evaluate() {
  const double root = std::sqrt(kTwoPi);
  const double* const parameters = GetParameters();
  const int n = GetParametersCount();
  double error = 0.0;
  for (int i = 0; i < count_; ++i) {
    double model = 0.0;
    for (int g = 0; g < n; g += kParametersPerGaussian) {
      const double z = (i - parameters[g + 1]) / parameters[g + 2];
      model += parameters[g] / (root * parameters[g + 2]) * std::exp(-0.5 * (z * z));
    }
    error += (data_[i] - model) * (data_[i] - model);
  }
  SetValue(std::sqrt(error));
  SetDefined(true);
}
