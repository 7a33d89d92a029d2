#pragma once

#include "mth/geometry/Mth_vector3_internal.h"
#include "mth/matrix/Mth_matrix.h"

namespace mth_internal {

/// The first three rows of a change of reference, read once for many points.
struct RigidMap {
  double rows[3][4];

  double MapRow(int i, const Vector3& p) const {
    return rows[i][0] * p.x + rows[i][1] * p.y + rows[i][2] * p.z + rows[i][3];
  }
  MTH_3D_DOUBLE operator()(const MTH_3D_DOUBLE& point) const {
    const Vector3 p = ToVector(point);
    return {MapRow(0, p), MapRow(1, p), MapRow(2, p)};
  }
};

inline RigidMap ReadRigidMap(const MTH_MATRIX& matrix) {
  RigidMap map;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 4; ++j) map.rows[i][j] = matrix.Get(i, j);
  }
  return map;
}

}  // namespace mth_internal
