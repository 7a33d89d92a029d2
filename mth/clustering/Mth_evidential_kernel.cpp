#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>

#include "mth/clustering/Mth_evidential_kernel_internal.h"

#define MTH_KERNEL_FILE "mth/clustering/Mth_evidential_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

namespace mth_internal {
namespace {

double PositivePower(double x, double exponent) {
  const int factors = CountFactors(std::abs(exponent));
  if (factors == 0) return Exponential(exponent * Logarithm(x));
  double product = x;
  for (int factor = 1; factor < factors; ++factor) product *= x;
  return exponent > 0.0 ? product : 1.0 / product;
}

}  // namespace

double EvidentialPower(double x, double exponent) {
  if (exponent == 0.0) return 1.0;
  if (x == 0.0) return 0.0;
  const double power = PositivePower(std::abs(x), exponent);
  return x < 0.0 ? -power : power;
}

}  // namespace mth_internal
