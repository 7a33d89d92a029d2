#pragma once

#include <cstdint>

#include "mth/Mth_instruction_set_internal.h"

// The hot loops of k-means and fuzzy c-means, each on one block of samples: rows of kBlockSamples values, one
// per dimension or cluster, of which the first `count` are used; rows of features are
// filled up with 0. Their code is in Mth_clustering_kernels.inl.

namespace mth_internal {

/// Samples of a block; a block's distances stay in the caches next to the core.
inline constexpr int kBlockSamples = 256;

/// Clusters whose sums run side by side. Weights come in groups of this many clusters; a group's missing
/// clusters weigh 0.
inline constexpr int kWeightLanes = 4;

/// Doubles of a cache line.
inline constexpr int kCacheLine = 8;

/// How x to the power `exponent` is taken: as products from left to right when the exponent is a small whole
/// number, as the C library rounds it otherwise.
struct PowerRule {
  explicit PowerRule(double exponent);
  double exponent;
  int factors;  // 0 when it takes the C library
};

}  // namespace mth_internal

#define MTH_DECLARE_CLUSTERING_KERNELS                                                                       \
  /* Adds the weights, and the weighted features, of one group of clusters to its sums, in sample order. */  \
  void AddWeightedSamples(const double* weights, const double* features, int dimensions, int count,          \
                          double* weightSums, double* featureSums);                                          \
  /* The same for weights that depend on a sample's label alone. */                                          \
  void AddLabelledSamples(const double* weightOfLabel, const std::int32_t* labels, const double* features,   \
                          int dimensions, int count, double* weightSums, double* featureSums);               \
  /* labels = the nearest centroid of every sample, of equally near ones the first; returns how many         \
   * changed. */                                                                                             \
  int FindNearest(const double* features, const double* centroids, int clusters, int dimensions, int count,  \
                  std::int32_t* labels);                                                                     \
  /* New fuzzy memberships; returns their largest change, at least `delta`. `scratch`: two rows per cluster. \
   */                                                                                                        \
  double UpdateMemberships(const double* features, const double* centroids, int clusters, int dimensions,    \
                           int count, const PowerRule& rule, double* scratch, double* memberships,           \
                           double delta);                                                                    \
  /* The weights of all groups: memberships to that power. */                                                \
  void WeightMemberships(const double* memberships, int clusters, int count, const PowerRule& rule,          \
                         double* weights);

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
