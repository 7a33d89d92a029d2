#pragma once

#include <cmath>
#include <cstdint>
#include <optional>

#include "mth/core/Mth_fixed_power_internal.h"
#include "mth/core/Mth_instruction_set_internal.h"

// The hot loops of k-means and fuzzy c-means. Their code is in Mth_clustering_loops_internal.h.

namespace mth_internal {

/// Samples stand in blocks of this many: few enough that the sums over one block, which wait for each other,
/// and the assignment of the next one overlap in the processor.
inline constexpr int kBlockSamples = 32;

/// Clusters whose sums run side by side. The sums come in groups of this many clusters.
inline constexpr int kSumLanes = 4;

/// The doubles of the widest vector.
inline constexpr int kMostLanes = 8;

/// The label of a sample that is in no cluster.
inline constexpr std::int32_t kNoLabel = -1;

/// Features in blocks: in each block one row of kBlockSamples values per dimension, the last one filled up.
struct SampleView {
  const double* features;
  int count;
  int dimensions;
};

/// Clusters x dimensions.
struct CentroidView {
  const double* coordinates;
  int count;
};

/// Per group of clusters kSumLanes sums of weights, and per dimension kSumLanes sums of weighted features.
struct SumView {
  double* weights;
  double* features;
};

/// Number of factors when a power with that exponent is a product, from left to right: a whole number from 1
/// to 16; 0 otherwise.
inline int CountFactors(double exponent) {
  constexpr double kMostFactors = 16.0;
  const bool isProduct = exponent >= 1.0 && exponent <= kMostFactors && exponent == std::floor(exponent);
  return isProduct ? static_cast<int>(exponent) : 0;
}

/// How x to the power `exponent` is taken: as a product, or by the power function.
struct PowerRule {
  explicit PowerRule(double value) : exponent(value), factors(CountFactors(value)) {}
  double exponent;
  int factors;  // 0 when it takes the power function
};

/// A centroid no farther from a sample than this has no part in the sums of the sample's memberships.
inline constexpr double kSmallestFuzzyDistance = 0.000001;
/// A membership whose sum is no more than this is 0.
inline constexpr double kSmallestFuzzySum = 0.001;

/// What one power of each distance and one of their sum need to give memberships and weights, for the
/// fuzzifier m.
struct SharedPowers {
  /// Whether both exponents are moderate.
  static bool Suit(double m) {
    return 1.0 / (m - 1.0) <= FixedPowerTable::kMostExponent && m - 1.0 <= FixedPowerTable::kMostExponent;
  }
  explicit SharedPowers(double m);

  FixedPowerTable ofSquare;  // of the squared distances, to -1 / (m - 1)
  FixedPowerTable ofSum;     // of the sum of their powers, to 1 - m
  double longest;            // squared distances up to this, and not below 1 / this, have powers
  double shortest;
  double smallest;  // squared distances count above this
};

/// Work values of UpdateMemberships: four vectors and a block of weights per cluster.
inline std::int64_t FuzzyScratch(int clustersCount) {
  return (std::int64_t{4} * kMostLanes + kBlockSamples) * clustersCount;
}

/// The powers of one fuzzy run with the fuzzifier m.
struct FuzzyRule {
  explicit FuzzyRule(double m) : ratio(2.0 / (m - 1.0)), weight(m) {
    if (ratio.factors == 0 && SharedPowers::Suit(m)) shared.emplace(m);
  }
  PowerRule ratio;   // of the ratios of distances
  PowerRule weight;  // of the memberships, as weights
  std::optional<SharedPowers> shared;
};

}  // namespace mth_internal

// Memberships are blocks of one row per cluster. All sums are taken in sample order.
#define MTH_DECLARE_CLUSTERING_KERNELS                                                                       \
  /* Adds samples, weighted by their memberships to a power. */                                              \
  void AddMembers(const SampleView& samples, const double* memberships, int clusters, const PowerRule& rule, \
                  const SumView& sums);                                                                      \
  /* labels = the cluster of membership 1 of every sample of a block, the last of several, or kNoLabel;      \
   * returns whether some sample has several. */                                                             \
  bool FindLabels(const double* memberships, int clusters, std::int32_t* labels);                            \
  /* labels = the nearest centroid of every sample, of equally near ones the first; adds every sample to its \
   * cluster's sums; returns how many labels changed. */                                                     \
  std::int64_t AssignToNearest(const SampleView& samples, const CentroidView& centroids,                     \
                               std::int32_t* labels, const SumView& sums);                                   \
  /* New fuzzy memberships; adds the samples weighted by them; returns the largest change, NaN apart.        \
   * `scratch`: FuzzyScratch(clusters) values. */                                                            \
  double UpdateMemberships(const SampleView& samples, const CentroidView& centroids, const FuzzyRule& rule,  \
                           double* scratch, double* memberships, const SumView& sums);

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
