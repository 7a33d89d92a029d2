#include "mth/geometry/Mth_matched_sums_kernel_internal.h"

namespace mth_internal {
namespace {

struct MatchedSums {
  double first[3];
  double second[3];
  double products[3][3];
};

}  // namespace
}  // namespace mth_internal

#define MTH_KERNEL_FILE "mth/geometry/Mth_matched_sums_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

namespace mth_internal {

MatchedMoments ComputeMatchedMoments(const MTH_3D_DOUBLE* first, const MTH_3D_DOUBLE* second, int n) {
  MatchedSums sums;
  MTH_SELECT(SumMatchedPoints)(first, second, n, sums);
  const double weight = 1.0 / n;
  MatchedMoments moments;
  for (int i = 0; i < 3; ++i) {
    moments.firstMean[i] = sums.first[i] / n;
    moments.secondMean[i] = sums.second[i] / n;
  }
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      moments.covariance[i][j] = sums.products[i][j] * weight - moments.firstMean[i] * moments.secondMean[j];
    }
  }
  return moments;
}

}  // namespace mth_internal
