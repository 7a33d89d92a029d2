#pragma once

#include "mth/geometry/Mth_vector3_internal.h"

namespace mth_internal {

/// Means of two sets of n matched points and their population cross-covariance, entry (i, j) belonging to
/// coordinate i of the first set and j of the second. Each sum runs in the order of the points: the same bits
/// as Mth_MeanVector and Mth_CovarianceMatrix, in one pass.
struct MatchedMoments {
  double firstMean[3];
  double secondMean[3];
  double covariance[3][3];
};

MatchedMoments ComputeMatchedMoments(const MTH_3D_DOUBLE* first, const MTH_3D_DOUBLE* second, int n);

}  // namespace mth_internal
