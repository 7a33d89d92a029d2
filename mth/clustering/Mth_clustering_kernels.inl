// Compiled once per instruction set. Lanes run across samples, or across the clusters of one sample: a sum
// over samples is one chain, in sample order, and several such chains run side by side.

using Lanes = double __attribute__((vector_size(MTH_VECTOR_BYTES)));
using LaneIndices = std::int64_t __attribute__((vector_size(MTH_VECTOR_BYTES)));
using Weights = double __attribute__((vector_size(kWeightLanes * sizeof(double))));

inline constexpr int kLanes = sizeof(Lanes) / sizeof(double);

template <class Vector, class Value>
inline Vector Load(const Value* values) {
  Vector vector;
  std::memcpy(&vector, values, sizeof vector);
  return vector;
}

template <class Vector, class Value>
inline void Store(const Vector& vector, Value* values) {
  std::memcpy(values, &vector, sizeof vector);
}

// Adds `kDimensions` features of a block. weightRow(b) tells where the kWeightLanes weights of sample b
// stand.
template <int kDimensions, bool kWithWeights, class WeightRow>
inline void AddFeatures(WeightRow weightRow, const double* features, int count, double* weightSums,
                        double* featureSums) {
  Weights weightSum = Load<Weights>(weightSums);
  Weights featureSum[kDimensions];
  for (int d = 0; d < kDimensions; ++d) featureSum[d] = Load<Weights>(featureSums + d * kWeightLanes);
  for (int b = 0; b < count; ++b) {
    const Weights weights = Load<Weights>(weightRow(b));
    if constexpr (kWithWeights) weightSum += weights;
    for (int d = 0; d < kDimensions; ++d) featureSum[d] += weights * features[d * kBlockSamples + b];
  }
  if constexpr (kWithWeights) Store(weightSum, weightSums);
  for (int d = 0; d < kDimensions; ++d) Store(featureSum[d], featureSums + d * kWeightLanes);
}

template <class WeightRow>
inline void AddAllFeatures(WeightRow weightRow, const double* features, int dimensions, int count,
                           double* weightSums, double* featureSums) {
  constexpr int kTogether = 3;
  int d = 0;
  if (dimensions >= kTogether) {
    AddFeatures<kTogether, true>(weightRow, features, count, weightSums, featureSums);
    d = kTogether;
  } else {
    AddFeatures<1, true>(weightRow, features, count, weightSums, featureSums);
    d = 1;
  }
  for (; d < dimensions; ++d) {
    AddFeatures<1, false>(weightRow, features + d * kBlockSamples, count, weightSums,
                          featureSums + d * kWeightLanes);
  }
}

void AddWeightedSamples(const double* weights, const double* features, int dimensions, int count,
                        double* weightSums, double* featureSums) {
  AddAllFeatures([weights](int b) { return weights + b * kWeightLanes; }, features, dimensions, count,
                 weightSums, featureSums);
}

void AddLabelledSamples(const double* weightOfLabel, const std::int32_t* labels, const double* features,
                        int dimensions, int count, double* weightSums, double* featureSums) {
  AddAllFeatures([weightOfLabel, labels](int b) { return weightOfLabel + labels[b] * kWeightLanes; },
                 features, dimensions, count, weightSums, featureSums);
}

// The squared distance of one sample, summed over ascending dimensions.
inline double SquaredDistance(const double* sample, const double* centroid, int dimensions) {
  double sum = 0.0;
  for (int d = 0; d < dimensions; ++d) {
    const double difference = sample[d * kBlockSamples] - centroid[d];
    sum += difference * difference;
  }
  return sum;
}

// One row of squared distances.
inline void SquaredDistances(const double* features, const double* centroid, int dimensions, int count,
                             double* __restrict squares) {
  for (int b = 0; b < count; ++b) squares[b] = SquaredDistance(features + b, centroid, 1);
  for (int d = 1; d < dimensions; ++d) {
    for (int b = 0; b < count; ++b) {
      squares[b] += SquaredDistance(features + d * kBlockSamples + b, centroid + d, 1);
    }
  }
}

// The squared distances of kLanes samples, each summed over ascending dimensions. The dimensions are their
// number at compile time, or 0 to take it at run time.
template <int kDimensions>
inline Lanes SquaredDistanceLanes(const double* features, const double* centroid, int dimensions) {
  Lanes difference = Load<Lanes>(features) - centroid[0];
  Lanes sum = difference * difference;
  for (int d = 1; d < (kDimensions > 0 ? kDimensions : dimensions); ++d) {
    difference = Load<Lanes>(features + d * kBlockSamples) - centroid[d];
    sum += difference * difference;
  }
  return sum;
}

// Compares squared distances. Returns whether some comparison was so close that the roots may be equal.
template <int kDimensions>
inline bool CompareSquares(const double* features, const double* centroids, int clusters, int dimensions,
                           int count, std::int64_t* nearest) {
  constexpr double kCloser = 1.0 - 1e-15;  // squares farther apart than this have different roots
  LaneIndices isClose = {};
  for (int b = 0; b < count; b += kLanes) {
    Lanes best = SquaredDistanceLanes<kDimensions>(features + b, centroids, dimensions);
    LaneIndices bestCluster = {};
    LaneIndices cluster = {};
    for (int k = 1; k < clusters; ++k) {
      const double* centroid = centroids + k * dimensions;
      const Lanes candidate = SquaredDistanceLanes<kDimensions>(features + b, centroid, dimensions);
      cluster += 1;
      isClose |= (candidate < best) & (candidate > best * kCloser);
      bestCluster = candidate < best ? cluster : bestCluster;
      best = candidate < best ? candidate : best;
    }
    Store(bestCluster, nearest + b);
  }
  std::int64_t lanes[kLanes];
  Store(isClose, lanes);
  return std::any_of(lanes, lanes + kLanes, [](std::int64_t lane) { return lane != 0; });
}

inline void CompareDistances(const double* features, const double* centroids, int clusters, int dimensions,
                             int count, std::int64_t* nearest) {
  for (int b = 0; b < count; ++b) {
    double best = std::sqrt(SquaredDistance(features + b, centroids, dimensions));
    nearest[b] = 0;
    for (int k = 1; k < clusters; ++k) {
      const double distance =
          std::sqrt(SquaredDistance(features + b, centroids + k * dimensions, dimensions));
      if (!(distance < best)) continue;
      best = distance;
      nearest[b] = k;
    }
  }
}

int FindNearest(const double* features, const double* centroids, int clusters, int dimensions, int count,
                std::int32_t* labels) {
  std::int64_t nearest[kBlockSamples];
  const double* nextBlock = features + dimensions * kBlockSamples;
  for (int i = 0; i < dimensions * kBlockSamples; i += kCacheLine) __builtin_prefetch(nextBlock + i);
  const auto compare = dimensions == 1   ? CompareSquares<1>
                       : dimensions == 2 ? CompareSquares<2>
                       : dimensions == 3 ? CompareSquares<3>
                                         : CompareSquares<0>;
  // The contract compares distances, not their squares: where rounding may make two roots equal, take them.
  if (compare(features, centroids, clusters, dimensions, count, nearest)) {
    CompareDistances(features, centroids, clusters, dimensions, count, nearest);
  }
  int moves = 0;
  for (int b = 0; b < count; ++b) {
    const auto label = static_cast<std::int32_t>(nearest[b]);
    moves += label != labels[b];
    labels[b] = label;
  }
  return moves;
}

// The powers of the ratios d_k / d_j and of the memberships.
struct SquarePower {
  double operator()(double base) const { return base * base; }
};

struct AnyPower {
  const PowerRule& rule;
  double operator()(double base) const {
    if (rule.factors == 0) return std::pow(base, rule.exponent);
    double product = base;
    for (int factor = 1; factor < rule.factors; ++factor) product *= base;
    return product;
  }
};

template <class Function>
inline auto WithPower(const PowerRule& rule, Function function) {
  return rule.factors == 2 ? function(SquarePower{}) : function(AnyPower{rule});
}

#if MTH_HAS_FUSED

// Whether quotients of these distances stay so far from overflow and underflow that CorrectedQuotient is
// exact.
inline bool AreOrdinary(const double* distances, int count) {
  constexpr double kSmallest = 1e-100;
  constexpr double kLargest = 1e100;
  std::int64_t strange = 0;
  for (int b = 0; b < count; ++b) {
    const bool isOrdinary = distances[b] == 0.0 || (distances[b] > kSmallest && distances[b] < kLargest);
    strange |= static_cast<std::int64_t>(!isOrdinary);
  }
  return strange == 0;
}

// numerator / denominator as the divider rounds it, from the rounded reciprocal of the denominator: each
// fused step takes the remainder exactly and corrects the quotient by it (Markstein, IBM J. Res. Dev. 34,
// 1990).
inline double CorrectedQuotient(double numerator, double denominator, double reciprocal) {
  double quotient = numerator * reciprocal;
  quotient = std::fma(std::fma(-denominator, quotient, numerator), reciprocal, quotient);
  return std::fma(std::fma(-denominator, quotient, numerator), reciprocal, quotient);
}

#endif

template <class Power>
inline void AddRatios(const double* own, const double* other, const double* reciprocals, bool areOrdinary,
                      int count, Power power, double* __restrict sums) {
  constexpr double kSmallestDistance = 0.000001;
#if MTH_HAS_FUSED
  if (areOrdinary) {
    for (int b = 0; b < count; ++b) {
      const double term = power(CorrectedQuotient(own[b], other[b], reciprocals[b]));
      sums[b] += other[b] > kSmallestDistance ? term : 0.0;
    }
    return;
  }
#else
  static_cast<void>(reciprocals);
  static_cast<void>(areOrdinary);
#endif
  for (int b = 0; b < count; ++b) {
    const double term = power(own[b] / other[b]);
    sums[b] += other[b] > kSmallestDistance ? term : 0.0;
  }
}

double UpdateMemberships(const double* features, const double* centroids, int clusters, int dimensions,
                         int count, const PowerRule& rule, double* scratch, double* memberships,
                         double delta) {
  constexpr double kSmallestSum = 0.001;
  alignas(64) double sums[kBlockSamples];
  double* distances = scratch;
  double* reciprocals = scratch + clusters * kBlockSamples;
  bool areOrdinary = MTH_HAS_FUSED != 0;
  for (int k = 0; k < clusters; ++k) {
    double* row = distances + k * kBlockSamples;
    SquaredDistances(features, centroids + k * dimensions, dimensions, count, row);
    for (int b = 0; b < count; ++b) row[b] = std::sqrt(row[b]);
#if MTH_HAS_FUSED
    areOrdinary = areOrdinary && AreOrdinary(row, count);
    double* __restrict reciprocal = reciprocals + k * kBlockSamples;
    for (int b = 0; b < count; ++b) reciprocal[b] = 1.0 / row[b];
#endif
  }
  for (int k = 0; k < clusters; ++k) {
    for (int b = 0; b < count; ++b) sums[b] = 0.0;
    WithPower(rule, [&](auto power) {
      for (int j = 0; j < clusters; ++j) {
        AddRatios(distances + k * kBlockSamples, distances + j * kBlockSamples,
                  reciprocals + j * kBlockSamples, areOrdinary, count, power, sums);
      }
    });
    double* __restrict membership = memberships + k * kBlockSamples;
    for (int b = 0; b < count; ++b) {
      const double updated = sums[b] > kSmallestSum ? 1.0 / sums[b] : 0.0;
      sums[b] = std::abs(updated - membership[b]);
      membership[b] = updated;
    }
    for (int b = 0; b < count; ++b) delta = sums[b] > delta ? sums[b] : delta;
  }
  return delta;
}

void WeightMemberships(const double* memberships, int clusters, int count, const PowerRule& rule,
                       double* weights) {
  WithPower(rule, [&](auto power) {
    for (int k = 0; k < clusters; ++k) {
      double* lane = weights + k / kWeightLanes * kBlockSamples * kWeightLanes + k % kWeightLanes;
      for (int b = 0; b < count; ++b) lane[b * kWeightLanes] = power(memberships[k * kBlockSamples + b]);
    }
  });
}
