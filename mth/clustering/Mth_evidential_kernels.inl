// Compiled once per instruction set. Lanes run across the samples of a block; sums over samples are taken afterwards,
// each one chain in sample order, several chains side by side.

#include "mth/Mth_lanes_kernel_internal.h"
#include "mth/Mth_exp_log_kernel_internal.h"

namespace evidential {

// The lanes' square roots, as the divider rounds them.
MTH_INLINE Lanes SquareRoots(Lanes values) {
#if MTH_VECTOR_BYTES == 64
  return Lanes(_mm512_maskz_sqrt_pd(0xFF, __m512d(values)));  // g++ 12 warns of its own unmasked one
#elif MTH_VECTOR_BYTES == 32
  return Lanes(_mm256_sqrt_pd(__m256d(values)));
#elif defined(__GNUC__) || defined(__clang__)
  Lanes roots;
  for (int lane = 0; lane < kLanes; ++lane) roots[lane] = std::sqrt(values[lane]);
  return roots;
#else
  return std::sqrt(values);
#endif
}

// Distances of some samples of a block to a point.
MTH_INLINE Lanes Distances(const double* features, const double* point, std::int64_t dimensions) {
  Lanes sum = {};
  for (std::int64_t d = 0; d < dimensions; ++d) {
    const Lanes difference = Load<Lanes>(features + d * kBlockSamples) - point[d];
    sum += difference * difference;
  }
  return SquareRoots(sum);
}

// Calls visit(first sample, samples in it, its features) for every block.
template <class Visit>
MTH_INLINE void ForEachBlock(const SampleView& samples, Visit visit) {
  const double* features = samples.features;
  for (std::int64_t first = 0; first < samples.count; first += kBlockSamples) {
    visit(first, std::min<std::int64_t>(samples.count - first, kBlockSamples), features);
    features += std::int64_t{samples.dimensions} * kBlockSamples;
  }
}

double SumDistances(const SampleView& samples, const CentroidView& centroids, double* scratch) {
  double sum = 0.0;
  ForEachBlock(samples, [&](std::int64_t, std::int64_t count, const double* features) {
    for (std::int64_t k = 0; k < centroids.count; ++k) {
      const double* centroid = centroids.coordinates + k * samples.dimensions;
      for (std::int64_t b = 0; b < kBlockSamples; b += kLanes) {
        Store(scratch + k * kBlockSamples + b, Distances(features + b, centroid, samples.dimensions));
      }
    }
    for (std::int64_t b = 0; b < count; ++b) {
      for (std::int64_t k = 0; k < centroids.count; ++k) sum += scratch[k * kBlockSamples + b];
    }
  });
  return sum;
}

// ---- powers of numbers that are not negative ----

struct AnyPower {
  double exponent;
  MTH_INLINE Lanes operator()(Lanes base) const {
    const Lanes power = Exponential<Lanes>(exponent * Logarithm<Lanes>(base));
    return base == 0.0 ? Lanes{} : power;
  }
};

struct ZerothPower {
  MTH_INLINE Lanes operator()(Lanes) const { return Lanes{} + 1.0; }
};

template <class Function>
MTH_INLINE void WithPower(double exponent, Function function) {
  if (exponent == 0.0) return function(ZerothPower{});
  function(AnyPower{exponent});
}

// ---- one block ----

// The rows of one block, kBlockSamples values each.
struct BlockRows {
  double* masses;         // per hypothesis
  double* targetWeights;  // per cluster: what a sample weighs in the right-hand side
  double* terms;          // per sum: what a sample adds to it
};

MTH_INLINE double* Row(double* rows, std::int64_t row) { return rows + row * kBlockSamples; }

// Shares that are not yet divided by their sum, for kLanes samples. Returns the sum.
template <class Power>
MTH_INLINE Lanes ComputeShares(const double* features, std::int64_t dimensions, const double* centers,
                               const EvidentialRule& rule, Power power, double* shares) {
  Lanes sum = {};
  for (std::int64_t j = 1; j < rule.hypotheses; ++j) {
    const Lanes distance = Distances(features, centers + j * dimensions, dimensions);
    const Lanes share = rule.massFactors[j] * power(distance);
    Store(Row(shares, j), share);
    sum += share;
  }
  return sum;
}

// Shares become masses; the empty set gets the rest.
MTH_INLINE void DivideShares(Lanes denominator, std::int64_t hypotheses, double* masses) {
  Lanes total = {};
  for (std::int64_t j = 1; j < hypotheses; ++j) {
    const Lanes mass = Load<Lanes>(Row(masses, j)) / denominator;
    Store(Row(masses, j), mass);
    total += mass;
  }
  Store(masses, 1.0 - total);
}

MTH_INLINE void AddTo(double* target, Lanes term) { Store(target, Load<Lanes>(target) + term); }

// Adds the hypotheses, in their order, to the terms of kLanes samples.
template <class Power>
MTH_INLINE void AddHypotheses(const EvidentialRule& rule, Power power, const double* masses, double* targetWeights,
                              double* terms) {
  for (std::int64_t j = 1; j < rule.hypotheses; ++j) {
    const Lanes mass = power(Load<Lanes>(masses + j * kBlockSamples));
    const Lanes cross = rule.crossFactors[j] * mass;
    const Lanes target = rule.targetFactors[j] * mass;
    for (std::uint32_t left = rule.sets[j]; left != 0; left &= left - 1) {
      const std::int64_t k = std::countr_zero(left);
      AddTo(Row(targetWeights, k), target);
      // Where the row of cluster k begins in the upper triangle, counted from column 0.
      double* const triangle = Row(terms, k * rule.clusters - k * (k + 1) / 2);
      for (std::uint32_t right = left; right != 0; right &= right - 1) {
        AddTo(Row(triangle, std::countr_zero(right)), cross);
      }
    }
  }
}

MTH_INLINE void ComputeTargetTerms(const double* features, std::int64_t dimensions, std::int64_t clusters,
                                   const double* targetWeights, double* terms) {
  for (std::int64_t l = 0; l < clusters; ++l) {
    for (std::int64_t q = 0; q < dimensions; ++q) {
      const Lanes feature = Load<Lanes>(features + q * kBlockSamples);
      Store(Row(terms, l * dimensions + q), feature * Load<Lanes>(targetWeights + l * kBlockSamples));
    }
  }
}

// Adds the terms of a block to the sums, in sample order.
MTH_INLINE void AddTerms(const double* terms, std::int64_t rows, std::int64_t count, double* sums) {
  for (std::int64_t row = 0; row < rows; row += kEvidentialSumGroup) {
    double chains[kEvidentialSumGroup];
    std::copy_n(sums + row, kEvidentialSumGroup, chains);
    const double* const group = terms + row * kBlockSamples;
    for (std::int64_t b = 0; b < count; ++b) {
      for (int i = 0; i < kEvidentialSumGroup; ++i) chains[i] += group[i * kBlockSamples + b];
    }
    std::copy_n(chains, kEvidentialSumGroup, sums + row);
  }
}

inline void WriteMasses(const double* blockMasses, std::int64_t count, std::int64_t hypotheses, double* masses) {
  for (std::int64_t b = 0; b < count; ++b) {
    for (std::int64_t j = 0; j < hypotheses; ++j) masses[b * hypotheses + j] = blockMasses[j * kBlockSamples + b];
  }
}

void UpdateMasses(const SampleView& samples, const double* centers, const EvidentialRule& rule, double outliers,
                  double* scratch, double* masses, double* sums) {
  const std::int64_t dimensions = samples.dimensions;
  const std::int64_t rows = CountEvidentialRows(rule.clusters, samples.dimensions);
  const std::int64_t triangle = std::int64_t{rule.clusters} * (rule.clusters + 1) / 2;
  BlockRows block;
  block.masses = scratch;
  block.targetWeights = Row(block.masses, rule.hypotheses);
  block.terms = Row(block.targetWeights, rule.clusters);
  ForEachBlock(samples, [&](std::int64_t first, std::int64_t count, const double* features) {
    WithPower(rule.distanceExponent, [&](auto power) {
      for (std::int64_t b = 0; b < kBlockSamples; b += kLanes) {
        const Lanes sum = ComputeShares(features + b, dimensions, centers, rule, power, block.masses + b);
        DivideShares(outliers + sum, rule.hypotheses, block.masses + b);
      }
    });
    if (masses != nullptr) WriteMasses(block.masses, count, rule.hypotheses, masses + first * rule.hypotheses);
    if (sums == nullptr) return;
    std::fill_n(block.targetWeights, (rule.clusters + rows) * kBlockSamples, 0.0);
    WithPower(rule.massExponent, [&](auto power) {
      for (std::int64_t b = 0; b < kBlockSamples; b += kLanes) {
        AddHypotheses(rule, power, block.masses + b, block.targetWeights + b, block.terms + b);
        ComputeTargetTerms(features + b, dimensions, rule.clusters, block.targetWeights + b,
                           Row(block.terms, triangle) + b);
      }
    });
    AddTerms(block.terms, rows, count, sums);
  });
}

// ---- fusion ----

// Rows of masses, one per sample, turned into one row per hypothesis; what is missing to kFusionSamples is 0.
inline void GatherMasses(const double* masses, std::int64_t count, std::int64_t hypotheses, double* rows) {
  if (count < kFusionSamples) std::fill_n(rows, hypotheses * kFusionSamples, 0.0);
  for (std::int64_t b = 0; b < count; ++b) {
    for (std::int64_t j = 0; j < hypotheses; ++j) rows[j * kFusionSamples + b] = masses[b * hypotheses + j];
  }
}

inline void ScatterMasses(const double* rows, std::int64_t count, std::int64_t hypotheses, double* masses) {
  for (std::int64_t b = 0; b < count; ++b) {
    for (std::int64_t j = 0; j < hypotheses; ++j) masses[b * hypotheses + j] = rows[j * kFusionSamples + b];
  }
}

// The masses of kLanes samples on the intersections of all pairs of hypotheses.
MTH_INLINE void FusePairs(const double* first, const double* second, const FusionRule& rule, double* fused) {
  const auto row = [](auto* rows, std::int64_t j) { return rows + j * kFusionSamples; };
  Lanes conflict = {};
  for (std::int64_t j = 0; j < rule.hypotheses; ++j) {
    const Lanes firstMass = Load<Lanes>(row(first, j));
    const Lanes secondMass = Load<Lanes>(row(second, j));
    if (j > 0) AddTo(row(fused, rule.targets[rule.sets[j]]), firstMass * secondMass);
    for (std::int64_t k = j + 1; k < rule.hypotheses; ++k) {
      const Lanes direct = firstMass * Load<Lanes>(row(second, k));
      const Lanes crossed = Load<Lanes>(row(first, k)) * secondMass;
      const std::uint32_t shared = rule.sets[j] & rule.sets[k];
      if (shared == 0) {
        conflict += direct + crossed;
      } else {
        double* const target = row(fused, rule.targets[shared]);
        Store(target, Load<Lanes>(target) + direct + crossed);
      }
    }
  }
  conflict = Load<Lanes>(first) * Load<Lanes>(second) + conflict;
  Store(fused, rule.isNormalised ? Lanes{} : conflict);
  if (!rule.isNormalised) return;
  const Lanes scale = 1.0 / (1.0 - conflict);
  for (std::int64_t j = 1; j < rule.hypotheses; ++j) Store(row(fused, j), Load<Lanes>(row(fused, j)) * scale);
}

void FuseMasses(const double* first, const double* second, std::int64_t count, const FusionRule& rule,
                double* scratch, double* fused) {
  const std::int64_t hypotheses = rule.hypotheses;
  double* const firstRows = scratch;
  double* const secondRows = firstRows + hypotheses * kFusionSamples;
  double* const fusedRows = secondRows + hypotheses * kFusionSamples;
  for (std::int64_t done = 0; done < count; done += kFusionSamples) {
    const std::int64_t group = std::min<std::int64_t>(count - done, kFusionSamples);
    GatherMasses(first + done * hypotheses, group, hypotheses, firstRows);
    GatherMasses(second + done * hypotheses, group, hypotheses, secondRows);
    std::fill_n(fusedRows, (hypotheses + 1) * kFusionSamples, 0.0);
    for (std::int64_t b = 0; b < kFusionSamples; b += kLanes) {
      FusePairs(firstRows + b, secondRows + b, rule, fusedRows + b);
    }
    ScatterMasses(fusedRows, group, hypotheses, fused + done * hypotheses);
  }
}

}  // namespace evidential
