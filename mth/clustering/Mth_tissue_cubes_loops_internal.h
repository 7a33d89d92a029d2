// Sums over neighbouring cubes, compiled per instruction set. Lanes run across the cubes of a row.

#include "mth/core/Mth_lanes_internal.h"

// sums[i] += weight (a[i] + b[i])
inline void AddWeightedPair(const double* a, const double* b, double weight, std::int64_t count,
                            double* sums) {
  ForEachLanes(0, count, [&]<class V>(std::int64_t i, V) {
    Store(sums + i, Load<V>(sums + i) + weight * (Load<V>(a + i) + Load<V>(b + i)));
  });
}

inline void AddWeighted(const double* a, double weight, std::int64_t count, double* sums) {
  ForEachLanes(0, count, [&]<class V>(std::int64_t i, V) {
    Store(sums + i, Load<V>(sums + i) + weight * Load<V>(a + i));
  });
}
