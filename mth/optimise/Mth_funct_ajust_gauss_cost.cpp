#include "mth/optimise/Mth_funct_ajust_gauss_cost.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr int kParametersPerGaussian = 3;
constexpr double kTwoPi = 6.283185307179586;
constexpr int kBlock = 64;

// -1, which gives a cost without parameters, when there are too many Gaussians to be counted.
int ParametersCount(int gaussians) {
  constexpr int kMost = std::numeric_limits<int>::max() / kParametersPerGaussian;
  return gaussians > kMost ? -1 : kParametersPerGaussian * (gaussians < 0 ? 0 : gaussians);
}

void AddGaussian(const double* parameters, int first, int length, double* model) {
  const double centre = parameters[1];
  const double width = parameters[2];
  const double height = parameters[0] / (std::sqrt(kTwoPi) * width);
  double exponents[kBlock];
  for (int i = 0; i < length; ++i) {
    const double z = ((first + i) - centre) / width;
    exponents[i] = -0.5 * (z * z);
  }
  for (int i = 0; i < length; ++i) model[i] += height * std::exp(exponents[i]);
}

}  // namespace

MTH_FUNCT_AJUST_GAUSS_COST::MTH_FUNCT_AJUST_GAUSS_COST(double* data, int count, int gaussians)
    : MTH_FUNCT(ParametersCount(gaussians)), data_(data), count_(data != nullptr ? count : 0) {}

MTH_FUNCT_AJUST_GAUSS_COST::~MTH_FUNCT_AJUST_GAUSS_COST() = default;

// Samples go through in blocks, so that everything but the exponential runs in vector lanes; each sample
// still sums its Gaussians in order.
void MTH_FUNCT_AJUST_GAUSS_COST::Evaluate() {
  double model[kBlock];
  double error = 0.0;
  for (int first = 0; first < count_; first += kBlock) {
    const int length = std::min(kBlock, count_ - first);
    std::fill_n(model, length, 0.0);
    for (int g = 0; g < GetParametersCount(); g += kParametersPerGaussian) {
      AddGaussian(GetParameters() + g, first, length, model);
    }
    for (int i = 0; i < length; ++i) {
      error += (data_[first + i] - model[i]) * (data_[first + i] - model[i]);
    }
  }
  SetValue(std::sqrt(error));
  SetDefined(true);
}
