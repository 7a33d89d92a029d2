#include "mth/optimise/Mth_funct_find_chainette.h"

#include <cmath>
#include <limits>

#include "mth/core/Mth_elementary_internal.h"

namespace {

constexpr int kParametersCount = 2;
constexpr double kLargestArgument = 14.0;
// Intended: a finite cost far above every other, so that a minimiser turns back.
constexpr double kOverflow = std::numeric_limits<float>::max();

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
  EvaluateMeanSquaredError([a, b](double x) {
    const double t = x / a;
    const bool isInRange = -kLargestArgument < t && t < kLargestArgument;
    return isInRange ? a * ((mth_internal::Exponential(t) + mth_internal::Exponential(-t)) * 0.5) + b
                     : a * kOverflow + b;
  });
}
