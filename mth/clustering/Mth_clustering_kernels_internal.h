#pragma once

#include <cstdint>

#include "mth/Mth_instruction_set_internal.h"
#include "mth/clustering/Mth_clustering_partition_internal.h"

// The hot loops of k-means and fuzzy c-means, each on one block of samples: rows of kBlockSamples values, of
// which the first `count` are used. Their code is in Mth_clustering_kernels.inl.

#define MTH_DECLARE_CLUSTERING_KERNELS                                                                       \
  /* Adds the weights, and the weighted features, to the sums, in sample order. */                           \
  void AddWeightedSamples(const double* weights, const double* features, int clusters, int dimensions,       \
                          int count, double* weightSums, double* featureSums);                               \
  /* The nearest centroid of every sample, of equally near ones the first. `distances`: 2 rows of scratch.   \
   */                                                                                                        \
  void FindNearest(const double* features, const double* centroids, int clusters, int dimensions, int count, \
                   double* distances, std::int64_t* nearest);                                                \
  /* New fuzzy memberships; returns their largest change, at least `delta`. `scratch`: clusters + 2 rows. */ \
  double UpdateMemberships(const double* features, const double* centroids, int clusters, int dimensions,    \
                           int count, const PowerRule& power, double* scratch, double* memberships,          \
                           double delta);                                                                    \
  /* target = source to that power; they may be the same row. */                                             \
  void RaiseToPower(const double* source, int count, const PowerRule& power, double* target);

namespace mth_internal {
namespace baseline {
MTH_DECLARE_CLUSTERING_KERNELS
}
#if MTH_MULTIVERSION
namespace avx2 {
MTH_DECLARE_CLUSTERING_KERNELS
}
namespace avx512 {
MTH_DECLARE_CLUSTERING_KERNELS
}
#endif
}  // namespace mth_internal

#undef MTH_DECLARE_CLUSTERING_KERNELS
