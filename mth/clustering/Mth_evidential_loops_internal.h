// The hot loops of evidential c-means, compiled per instruction set. Lanes run across the samples of a block;
// sums over samples are taken afterwards, each one chain in sample order, several chains side by side.

#include "mth/core/Mth_elementary_loops_internal.h"

namespace evidential {

// Squared distances of some samples of a block to a point.
MTH_INLINE Lanes SquaredDistances(const double* features, const double* point, std::int64_t dimensions) {
  Lanes sum = {};
  for (std::int64_t d = 0; d < dimensions; ++d) {
    const Lanes difference = Load<Lanes>(features + d * kBlockSamples) - point[d];
    sum += difference * difference;
  }
  return sum;
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
        Store(scratch + k * kBlockSamples + b,
              SquareRoots(SquaredDistances(features + b, centroid, samples.dimensions)));
      }
    }
    for (std::int64_t b = 0; b < count; ++b) {
      for (std::int64_t k = 0; k < centroids.count; ++k) sum += scratch[k * kBlockSamples + b];
    }
  });
  return sum;
}

// ---- powers of numbers that are not negative ----

// Replaces values by function(value), whole vectors at a time.
template <class Function>
MTH_INLINE void Transform(const double* values, std::int64_t count, double* results, Function function) {
  for (std::int64_t i = 0; i < count; i += kLanes) Store(results + i, function(Load<Lanes>(values + i)));
}

MTH_INLINE Lanes Product(Lanes base, int factors) {
  Lanes product = base;
  for (int factor = 1; factor < factors; ++factor) product *= base;
  return product;
}

// Powers by the evidential rule; `results` may be `values`.
inline void TakePowers(const double* values, std::int64_t count, double exponent, double* results) {
  if (exponent == 0.0) {
    std::fill_n(results, count, 1.0);
    return;
  }
  const int factors = CountFactors(std::abs(exponent));
  if (exponent == 2.0) return Transform(values, count, results, [](Lanes base) { return base * base; });
  if (factors > 0 && exponent > 0.0) {
    return Transform(values, count, results, [factors](Lanes base) { return Product(base, factors); });
  }
  if (factors > 0) {
    const Lanes infinity = Spread<Lanes>(std::numeric_limits<double>::infinity());
    return Transform(values, count, results, [factors, infinity](Lanes base) {
      return 1.0 / Opaque(base == 0.0 ? infinity : Product(base, factors));  // the power of 0 is 0
    });
  }
  // In two passes: both are long chains, and more short ones than long ones overlap in the processor.
  Transform(values, count, results, [exponent](Lanes base) {
    constexpr double kLogarithmOfZero = -std::numeric_limits<double>::infinity();
    const Lanes product = exponent * Logarithm<Lanes>(base);
    return base == 0.0 ? Spread<Lanes>(kLogarithmOfZero) : product;  // so that the power is 0
  });
  Transform(results, count, results, [](Lanes power) { return Exponential<Lanes>(power); });
}

// Powers of distances, from their squares. Even whole exponents need no root.
inline void TakePowersOfRoots(double* squares, std::int64_t count, double exponent) {
  const bool isEven = CountFactors(std::abs(exponent)) % 2 == 0 && CountFactors(std::abs(exponent)) > 0;
  if (!isEven) Transform(squares, count, squares, [](Lanes square) { return SquareRoots(square); });
  TakePowers(squares, count, isEven ? exponent / 2.0 : exponent, squares);
}

// ---- one block ----

MTH_INLINE double* Row(double* rows, std::int64_t row) {
  return rows + row * kBlockSamples;
}
MTH_INLINE const double* Row(const double* rows, std::int64_t row) {
  return rows + row * kBlockSamples;
}

// The rows of one block, kBlockSamples values each.
struct BlockRows {
  double* masses;         // per hypothesis
  double* crosses;        // per hypothesis: powers of the masses, weighted for the matrix
  double* targets;        // and for the right-hand side
  double* targetWeights;  // per cluster: what a sample weighs in the right-hand side
  double* terms;          // per sum: what a sample adds to it
};

MTH_INLINE void ComputeSquares(const double* features, std::int64_t dimensions, const double* centers,
                               std::int64_t hypotheses, double* squares) {
  for (std::int64_t j = 1; j < hypotheses; ++j) {
    for (std::int64_t b = 0; b < kBlockSamples; b += kLanes) {
      Store(Row(squares, j) + b, SquaredDistances(features + b, centers + j * dimensions, dimensions));
    }
  }
}

// Powers of distances become masses, for kLanes samples; the empty set gets the rest.
MTH_INLINE void NormaliseMasses(const EvidentialRule& rule, double outliers, double* masses) {
  Lanes sum = {};
  for (std::int64_t j = 1; j < rule.hypotheses; ++j) {
    const Lanes share = rule.massFactors[j] * Load<Lanes>(Row(masses, j));
    Store(Row(masses, j), share);
    sum += share;
  }
  const Lanes denominator = outliers + sum;
  Lanes total = {};
  for (std::int64_t j = 1; j < rule.hypotheses; ++j) {
    const Lanes mass = Load<Lanes>(Row(masses, j)) / denominator;
    Store(Row(masses, j), mass);
    total += mass;
  }
  Store(masses, 1.0 - total);
}

// The sum of the rows of some hypotheses, in their order.
MTH_INLINE void SumRows(const double* rows, const int* hypotheses, std::int64_t count, double* sum) {
  constexpr int kTogether = kBlockSamples / kLanes < 4 ? kBlockSamples / kLanes : 4;  // vectors, in registers
  for (std::int64_t b = 0; b < kBlockSamples; b += kTogether * kLanes) {
    Lanes sums[kTogether] = {};
    for (std::int64_t n = 0; n < count; ++n) {
      const double* const row = Row(rows, hypotheses[n]) + b;
      for (int i = 0; i < kTogether; ++i) sums[i] += Load<Lanes>(row + i * kLanes);
    }
    for (int i = 0; i < kTogether; ++i) Store(sum + b + i * kLanes, sums[i]);
  }
}

// What each sample of a block adds to the sums.
MTH_INLINE void ComputeTerms(const double* features, std::int64_t dimensions, const EvidentialRule& rule,
                             const BlockRows& block) {
  double* term = block.terms;
  const std::int64_t* start = rule.supersetStarts;
  for (int k = 0; k < rule.clusters; ++k) {
    SumRows(block.targets, rule.supersets + start[0], start[1] - start[0], Row(block.targetWeights, k));
    for (int l = k; l < rule.clusters; ++l, ++start, term += kBlockSamples) {
      SumRows(block.crosses, rule.supersets + start[0], start[1] - start[0], term);
    }
  }
  for (std::int64_t k = 0; k < rule.clusters; ++k) {
    const double* const weights = Row(block.targetWeights, k);
    for (std::int64_t q = 0; q < dimensions; ++q, term += kBlockSamples) {
      for (std::int64_t b = 0; b < kBlockSamples; b += kLanes) {
        Store(term + b, Load<Lanes>(Row(features, q) + b) * Load<Lanes>(weights + b));
      }
    }
  }
}

// Weighs the powers of the masses by the hypotheses' sizes.
MTH_INLINE void WeighPowers(const EvidentialRule& rule, const BlockRows& block) {
  for (std::int64_t j = 1; j < rule.hypotheses; ++j) {
    for (std::int64_t b = 0; b < kBlockSamples; b += kLanes) {
      const Lanes power = Load<Lanes>(Row(block.crosses, j) + b);
      Store(Row(block.crosses, j) + b, rule.crossFactors[j] * power);
      Store(Row(block.targets, j) + b, rule.targetFactors[j] * power);
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

inline void WriteMasses(const double* blockMasses, std::int64_t count, std::int64_t hypotheses,
                        double* masses) {
  for (std::int64_t b = 0; b < count; ++b) {
    for (std::int64_t j = 0; j < hypotheses; ++j)
      masses[b * hypotheses + j] = blockMasses[j * kBlockSamples + b];
  }
}

void UpdateMasses(const SampleView& samples, const double* centers, const EvidentialRule& rule,
                  double outliers, double* scratch, double* masses, double* sums) {
  const std::int64_t dimensions = samples.dimensions;
  const std::int64_t rows = CountEvidentialRows(rule.clusters, samples.dimensions);
  BlockRows block;
  block.masses = scratch;
  block.crosses = Row(block.masses, rule.hypotheses);
  block.targets = Row(block.crosses, rule.hypotheses);
  block.targetWeights = Row(block.targets, rule.hypotheses);
  block.terms = Row(block.targetWeights, rule.clusters);
  std::fill_n(block.terms, rows * kBlockSamples, 0.0);  // for those that fill the last group up
  ForEachBlock(samples, [&](std::int64_t first, std::int64_t count, const double* features) {
    const std::int64_t values = (rule.hypotheses - 1) * std::int64_t{kBlockSamples};
    ComputeSquares(features, dimensions, centers, rule.hypotheses, block.masses);
    TakePowersOfRoots(Row(block.masses, 1), values, rule.distanceExponent);
    for (std::int64_t b = 0; b < kBlockSamples; b += kLanes)
      NormaliseMasses(rule, outliers, block.masses + b);
    if (masses != nullptr)
      WriteMasses(block.masses, count, rule.hypotheses, masses + first * rule.hypotheses);
    if (sums == nullptr) return;
    TakePowers(Row(block.masses, 1), values, rule.massExponent, Row(block.crosses, 1));
    WeighPowers(rule, block);
    ComputeTerms(features, dimensions, rule, block);
    AddTerms(block.terms, rows, count, sums);
  });
}

}  // namespace evidential

#include "mth/clustering/Mth_fusion_loops_internal.h"
#include "mth/clustering/Mth_subset_sums_loops_internal.h"
