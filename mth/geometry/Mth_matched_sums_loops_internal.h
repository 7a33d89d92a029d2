// Fifteen sums over matched points side by side. One accumulator per coordinate of the first set, whose lanes
// multiply it by the second set's coordinates and by 1; a last one sums the second set.

#include "mth/core/Mth_lanes_internal.h"

using FourLanes = Doubles<4>;

inline void SumMatchedPoints(const MTH_3D_DOUBLE* first, const MTH_3D_DOUBLE* second, int n,
                             MatchedSums& sums) {
  FourLanes bySource[3] = {};
  FourLanes total = {};
  for (int i = 0; i < n; ++i) {
    const FourLanes target = {second[i].GetX(), second[i].GetY(), second[i].GetZ(), 1.0};
    bySource[0] = bySource[0] + target * first[i].GetX();
    bySource[1] = bySource[1] + target * first[i].GetY();
    bySource[2] = bySource[2] + target * first[i].GetZ();
    total = total + target;
  }
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) sums.products[i][j] = bySource[i][j];
    sums.first[i] = bySource[i][3];
    sums.second[i] = total[i];
  }
}
