#pragma once

#include <cstdint>

#include "mth/clustering/Mth_clustering_kernel_internal.h"

// The hot loops of evidential c-means and of fusion. Their code is in Mth_evidential_loops_internal.h and
// Mth_fusion_loops_internal.h.

namespace mth_internal {

/// x to the power e by the evidential rule: 1 when e is 0, otherwise 0 when x is 0, otherwise the sign of x
/// times exp(e ln|x|). Whole exponents up to 16 are products of |x| from left to right, their negatives the
/// reciprocals of these; others take the library's own exp and ln.
double EvidentialPower(double x, double exponent);

/// What one run knows of its hypotheses; the arrays have one entry per hypothesis, of which the first, the
/// empty set's, is not used.
struct EvidentialRule {
  int clusters;
  int hypotheses;
  double distanceExponent;      // of the distances, in the masses
  double massExponent;          // of the masses, in the normal equations
  const double* massFactors;    // size to the power of alpha / (1 - beta)
  const double* crossFactors;   // size to the power of alpha - 2
  const double* targetFactors;  // size to the power of alpha - 1
  // The hypotheses with clusters k and l, ascending, for (k, l) = (0, 0), (0, 1) ... (1, 1) ... of the upper
  // triangle; those of a pair begin at its start and end at the next one's.
  const int* supersets;
  const std::int64_t* supersetStarts;
};

/// Sums over the samples, in their order, of the sums over hypotheses: first the upper triangle of the
/// clusters x clusters matrix of the normal equations, then their right-hand side, clusters x dimensions.
inline std::int64_t CountEvidentialSums(int clusters, int dimensions) {
  return std::int64_t{clusters} * (clusters + 1) / 2 + std::int64_t{clusters} * dimensions;
}

/// Sums are added up in groups of this many, the last one filled up.
inline constexpr int kEvidentialSumGroup = 8;

inline std::int64_t CountEvidentialRows(int clusters, int dimensions) {
  constexpr std::int64_t kGroup = kEvidentialSumGroup;
  return (CountEvidentialSums(clusters, dimensions) + kGroup - 1) / kGroup * kGroup;
}

/// Doubles of scratch for UpdateMasses.
inline std::int64_t CountEvidentialScratch(int clusters, int hypotheses, int dimensions) {
  return kBlockSamples *
         (3 * std::int64_t{hypotheses} + clusters + CountEvidentialRows(clusters, dimensions));
}

/// How two rows of masses are fused.
struct FusionRule {
  int hypotheses;
  const std::uint32_t* sets;    // of each hypothesis: bit k is cluster k
  const std::int32_t* targets;  // of each set but the empty one: its hypothesis, or `hypotheses` to drop it
  bool isNormalised;            // whether the conflict is shared out among the others, Dempster's rule
};

/// Pairs of hypotheses grow four times with each cluster, sums over subsets little more than twice; up to
/// this many clusters the pairs are taken, whose masses are exact to their own size.
inline constexpr int kMostClustersByPairs = 5;

/// Samples that are fused at a time.
inline constexpr int kFusionSamples = 8;

/// Doubles of scratch for FuseMasses.
inline std::int64_t CountFusionScratch(int hypotheses) {
  return kFusionSamples * (3 * std::int64_t{hypotheses} + 1);
}

}  // namespace mth_internal

#define MTH_DECLARE_EVIDENTIAL_KERNELS                                                                      \
  namespace evidential {                                                                                    \
  /* The sum of the distances of all samples to all centroids, sample by sample. `scratch`: clusters *      \
   * kBlockSamples. */                                                                                      \
  double SumDistances(const SampleView& samples, const CentroidView& centroids, double* scratch);           \
  /* Masses from the distances to the hypotheses' centres (hypotheses x dimensions), `outliers` being the   \
   * empty set's share of their denominators. Writes them, samples x hypotheses, unless `masses` is null;   \
   * adds to the sums unless `sums` is null. */                                                             \
  void UpdateMasses(const SampleView& samples, const double* centers, const EvidentialRule& rule,           \
                    double outliers, double* scratch, double* masses, double* sums);                        \
  /* Fuses `count` rows of masses with as many others. */                                                   \
  void FuseMasses(const double* first, const double* second, std::int64_t count, const FusionRule& rule,    \
                  double* scratch, double* fused);                                                          \
  /* The same for the exact rules, by sums over subsets; `rule` needs no targets. */                        \
  void FuseByCommonalities(const double* first, const double* second, std::int64_t count,                   \
                           const FusionRule& rule, double* scratch, double* fused);                         \
  /* For each of `count` rows of masses, of each hypothesis the sum of the masses of all that meet it;      \
   * `rule` needs no targets. `scratch`: as of FuseMasses. */                                               \
  void SumPlausibilities(const double* masses, std::int64_t count, const FusionRule& rule, double* scratch, \
                         double* plausibilities);                                                           \
  }

namespace mth_internal {
namespace baseline {
MTH_DECLARE_EVIDENTIAL_KERNELS
}
#if MTH_MULTIVERSION
namespace avx2 {
MTH_DECLARE_EVIDENTIAL_KERNELS
}
namespace avx512 {
MTH_DECLARE_EVIDENTIAL_KERNELS
}
#endif
}  // namespace mth_internal

#undef MTH_DECLARE_EVIDENTIAL_KERNELS
