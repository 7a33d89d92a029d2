// Fifteen sums over matched points side by side. One accumulator per coordinate of the first set, whose lanes
// multiply it by the second set's coordinates and by 1; a last one sums the second set.

#if defined(__GNUC__) || defined(__clang__)
typedef double FourLanes __attribute__((vector_size(4 * sizeof(double))));
#else
struct FourLanes {
  double lanes[4];
  double& operator[](int i) { return lanes[i]; }
};
inline FourLanes operator*(double factor, FourLanes v) {
  return {{factor * v[0], factor * v[1], factor * v[2], factor * v[3]}};
}
inline FourLanes operator+(FourLanes a, FourLanes b) {
  return {{a[0] + b[0], a[1] + b[1], a[2] + b[2], a[3] + b[3]}};
}
#endif

inline void SumMatchedPoints(const MTH_3D_DOUBLE* first, const MTH_3D_DOUBLE* second, int n,
                             MatchedSums& sums) {
  FourLanes bySource[3] = {};
  FourLanes total = {};
  for (int i = 0; i < n; ++i) {
    const FourLanes target = {second[i].GetX(), second[i].GetY(), second[i].GetZ(), 1.0};
    bySource[0] = bySource[0] + first[i].GetX() * target;
    bySource[1] = bySource[1] + first[i].GetY() * target;
    bySource[2] = bySource[2] + first[i].GetZ() * target;
    total = total + target;
  }
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) sums.products[i][j] = bySource[i][j];
    sums.first[i] = bySource[i][3];
    sums.second[i] = total[i];
  }
}
