#pragma once

#include "mth/geometry/Mth_matrix_chgref.h"
#include "mth/geometry/Mth_rigid_map_internal.h"

namespace mth_internal {

/// Matched points, the caller's or a part of them.
struct MatchedPoints {
  MTH_3D_DOUBLE* first;
  MTH_3D_DOUBLE* second;
  int count;
};

/// How far a transform takes a point from its match.
inline double DistanceAt(const RigidMap& map, const MatchedPoints& points, int i) {
  return map(points.first[i]).Distance(points.second[i]);
}

inline double MeanDistance(const RigidMap& map, const MatchedPoints& points) {
  double sum = 0.0;
  for (int i = 0; i < points.count; ++i) sum += DistanceAt(map, points, i);
  return sum / points.count;
}

/// The least-squares transform; false as MTH_MATRIX_CHGREF::ComputeFromSetsByQuaternion.
inline bool FitLeastSquares(const MatchedPoints& points, RigidMap& map) {
  MTH_MATRIX_CHGREF fit(points.count, points.first, points.second);
  if (!fit.ComputeFromSetsByQuaternion()) return false;
  map = ReadRigidMap(fit);
  return true;
}

}  // namespace mth_internal
