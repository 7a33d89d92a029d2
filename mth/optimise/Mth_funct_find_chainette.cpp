#include "mth/optimise/Mth_funct_find_chainette.h"

#include <algorithm>
#include <limits>

#include "mth/core/Mth_elementary_internal.h"

namespace {

constexpr int kParametersCount = 2;
constexpr double kLargestArgument = 14.0;
// Intended: a finite cost far above every other, so that a minimiser turns back.
constexpr double kOverflow = std::numeric_limits<float>::max();
constexpr int kBlock = 256;  // samples whose exponentials are taken together

// The catenary a cosh(x / a) + b.
void ComputeCatenary(const double* x, int count, double a, double b, double* model) {
  double* const rising = model;
  double falling[kBlock] = {};
  bool isInRange[kBlock] = {};
  for (int i = 0; i < count; ++i) {
    const double t = x[i] / a;
    isInRange[i] = -kLargestArgument < t && t < kLargestArgument;
    rising[i] = isInRange[i] ? t : 0.0;
    falling[i] = -rising[i];
  }
  mth_internal::Exponentials(rising, count, rising);
  mth_internal::Exponentials(falling, count, falling);
  for (int i = 0; i < count; ++i)
    model[i] = isInRange[i] ? a * ((rising[i] + falling[i]) * 0.5) + b : a * kOverflow + b;
}

}  // namespace

MTH_FUNCT_FIND_CHAINETTE::MTH_FUNCT_FIND_CHAINETTE(int count, double* x, double* y)
    : MTH_FUNCT_CURVE_COST(kParametersCount, count, x, y) {
  SetDefined(true);
}

MTH_FUNCT_FIND_CHAINETTE::~MTH_FUNCT_FIND_CHAINETTE() = default;

void MTH_FUNCT_FIND_CHAINETTE::Evaluate() {
  if (GetParametersCount() == 0) return StoreMeanSquaredError();  // there was no memory for them
  const double a = GetParameters()[0];
  const double b = GetParameters()[1];
  const double* const x = GetAbscissae();
  const int count = x != nullptr ? GetSamplesCount() : 0;
  for (int i = 0; i < count; i += std::min(kBlock, count - i))
    ComputeCatenary(x + i, std::min(kBlock, count - i), a, b, GetModel() + i);
  StoreMeanSquaredError();
}
