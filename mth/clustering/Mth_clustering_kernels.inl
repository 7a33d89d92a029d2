// Compiled once per instruction set. Lanes run across samples; a sum over samples is one chain in sample order,
// and several such chains run side by side.

template <int kChains, bool kWithWeights>
inline void AddRows(const double* weights, const double* feature, int count, double* weightSums,
                    double* featureSums, int featureStride) {
  double weightSum[kChains];
  double featureSum[kChains];
  for (int k = 0; k < kChains; ++k) {
    weightSum[k] = weightSums[k];
    featureSum[k] = featureSums[k * featureStride];
  }
  for (int b = 0; b < count; ++b) {
    for (int k = 0; k < kChains; ++k) {
      const double weight = weights[k * kBlockSamples + b];
      featureSum[k] += weight * feature[b];
      if (kWithWeights) weightSum[k] += weight;
    }
  }
  for (int k = 0; k < kChains; ++k) {
    weightSums[k] = weightSum[k];
    featureSums[k * featureStride] = featureSum[k];
  }
}

template <int kChains>
inline void AddClusters(const double* weights, const double* features, int dimensions, int count,
                        double* weightSums, double* featureSums) {
  AddRows<kChains, true>(weights, features, count, weightSums, featureSums, dimensions);
  for (int d = 1; d < dimensions; ++d) {
    AddRows<kChains, false>(weights, features + d * kBlockSamples, count, weightSums, featureSums + d, dimensions);
  }
}

void AddWeightedSamples(const double* weights, const double* features, int clusters, int dimensions, int count,
                        double* weightSums, double* featureSums) {
  int k = 0;
  for (; k + 4 <= clusters; k += 4) {
    AddClusters<4>(weights + k * kBlockSamples, features, dimensions, count, weightSums + k,
                   featureSums + k * dimensions);
  }
  for (; k < clusters; ++k) {
    AddClusters<1>(weights + k * kBlockSamples, features, dimensions, count, weightSums + k,
                   featureSums + k * dimensions);
  }
}

inline void SquaredDistances(const double* features, const double* centroid, int dimensions, int count,
                             double* __restrict squares) {
  for (int b = 0; b < count; ++b) {
    const double difference = features[b] - centroid[0];
    squares[b] = difference * difference;
  }
  for (int d = 1; d < dimensions; ++d) {
    const double* feature = features + d * kBlockSamples;
    for (int b = 0; b < count; ++b) {
      const double difference = feature[b] - centroid[d];
      squares[b] += difference * difference;
    }
  }
}

inline void TakeRoots(double* values, int count) {
  for (int b = 0; b < count; ++b) values[b] = std::sqrt(values[b]);
}

// Returns whether some comparison was so close that the roots of both distances may be equal.
template <bool kRooted>
inline bool CompareDistances(const double* features, const double* centroids, int clusters, int dimensions,
                             int count, double* __restrict best, double* __restrict candidate,
                             std::int64_t* __restrict nearest) {
  constexpr double kCloser = 1.0 - 1e-15;  // squares farther apart than this have different roots
  std::int64_t isClose = 0;
  SquaredDistances(features, centroids, dimensions, count, best);
  if (kRooted) TakeRoots(best, count);
  for (int b = 0; b < count; ++b) nearest[b] = 0;
  for (int k = 1; k < clusters; ++k) {
    SquaredDistances(features, centroids + k * dimensions, dimensions, count, candidate);
    if (kRooted) TakeRoots(candidate, count);
    for (int b = 0; b < count; ++b) {
      const bool isNearer = candidate[b] < best[b];
      const bool mayTie = candidate[b] > best[b] * kCloser;
      isClose |= static_cast<std::int64_t>(isNearer & mayTie);
      best[b] = isNearer ? candidate[b] : best[b];
      nearest[b] = isNearer ? k : nearest[b];
    }
  }
  return isClose != 0;
}

void FindNearest(const double* features, const double* centroids, int clusters, int dimensions, int count,
                 double* distances, std::int64_t* nearest) {
  double* candidate = distances + kBlockSamples;
  // The contract compares distances, not their squares: where rounding may make two roots equal, take them.
  if (CompareDistances<false>(features, centroids, clusters, dimensions, count, distances, candidate, nearest)) {
    CompareDistances<true>(features, centroids, clusters, dimensions, count, distances, candidate, nearest);
  }
}

void RaiseToPower(const double* source, int count, const PowerRule& power, double* target) {
  if (power.factors == 0) {
    for (int b = 0; b < count; ++b) target[b] = std::pow(source[b], power.exponent);
    return;
  }
  for (int b = 0; b < count; ++b) {
    const double base = source[b];
    double product = base;
    for (int factor = 1; factor < power.factors; ++factor) product *= base;
    target[b] = product;
  }
}

double UpdateMemberships(const double* features, const double* centroids, int clusters, int dimensions, int count,
                         const PowerRule& power, double* scratch, double* memberships, double delta) {
  constexpr double kSmallestDistance = 0.000001;
  constexpr double kSmallestSum = 0.001;
  double* __restrict ratios = scratch;
  double* __restrict sums = scratch + kBlockSamples;
  double* distances = scratch + 2 * kBlockSamples;
  for (int k = 0; k < clusters; ++k) {
    double* row = distances + k * kBlockSamples;
    SquaredDistances(features, centroids + k * dimensions, dimensions, count, row);
    TakeRoots(row, count);
  }
  for (int k = 0; k < clusters; ++k) {
    const double* own = distances + k * kBlockSamples;
    for (int b = 0; b < count; ++b) sums[b] = 0.0;
    for (int j = 0; j < clusters; ++j) {
      const double* other = distances + j * kBlockSamples;
      for (int b = 0; b < count; ++b) ratios[b] = own[b] / other[b];
      RaiseToPower(ratios, count, power, ratios);
      for (int b = 0; b < count; ++b) sums[b] += other[b] > kSmallestDistance ? ratios[b] : 0.0;
    }
    double* __restrict membership = memberships + k * kBlockSamples;
    for (int b = 0; b < count; ++b) {
      const double updated = sums[b] > kSmallestSum ? 1.0 / sums[b] : 0.0;
      const double change = std::abs(updated - membership[b]);
      membership[b] = updated;
      ratios[b] = change;
    }
    for (int b = 0; b < count; ++b) delta = ratios[b] > delta ? ratios[b] : delta;
  }
  return delta;
}
