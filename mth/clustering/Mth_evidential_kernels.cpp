#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>

#include "mth/clustering/Mth_evidential_kernels_internal.h"

#if MTH_MULTIVERSION
#include <immintrin.h>
#endif

#define MTH_KERNEL_FILE "mth/clustering/Mth_evidential_kernels.inl"
#include "mth/Mth_for_each_instruction_set_internal.h"

double mth_internal::EvidentialPower(double x, double exponent) {
  if (exponent == 0.0) return 1.0;
  if (x == 0.0) return 0.0;
  const double magnitude = baseline::Exponential<double>(exponent * baseline::Logarithm<double>(std::abs(x)));
  return x < 0.0 ? -magnitude : magnitude;
}
