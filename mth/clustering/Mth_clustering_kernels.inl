// Compiled once per instruction set. Lanes run across samples, or across the clusters of one sample: a sum over
// samples is one chain, in sample order, and several such chains run side by side.

using Lanes = double __attribute__((vector_size(MTH_VECTOR_BYTES)));
using LaneIndices = std::int64_t __attribute__((vector_size(MTH_VECTOR_BYTES)));
using SumLanes = double __attribute__((vector_size(kSumLanes * sizeof(double))));

inline constexpr int kLanes = sizeof(Lanes) / sizeof(double);
inline constexpr int kCacheLine = 8;  // doubles

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

// Whether some lane of a comparison's result is true.
inline bool HasAny(const LaneIndices& mask) {
#if MTH_VECTOR_BYTES == 64
  return _mm512_movepi64_mask(__m512i(mask)) != 0;
#elif MTH_VECTOR_BYTES == 32
  return _mm256_movemask_pd(__m256d(mask)) != 0;
#else
  std::int64_t any = 0;
  for (int lane = 0; lane < kLanes; ++lane) any |= mask[lane];
  return any != 0;
#endif
}

inline Lanes SquareRoots(const Lanes& values) {
#if MTH_VECTOR_BYTES == 64
  return Lanes(_mm512_maskz_sqrt_pd(0xFF, __m512d(values)));  // g++ 12 warns of its own unmasked one
#elif MTH_VECTOR_BYTES == 32
  return Lanes(_mm256_sqrt_pd(__m256d(values)));
#else
  Lanes roots;
  for (int lane = 0; lane < kLanes; ++lane) roots[lane] = std::sqrt(values[lane]);
  return roots;
#endif
}

// ---- sums ----

// The sums of one group of clusters over `kDimensions` features, in registers.
template <int kDimensions>
class GroupSums {
 public:
  GroupSums(const double* weights, const double* features) : weights_(Load<SumLanes>(weights)) {
    for (int d = 0; d < kDimensions; ++d) features_[d] = Load<SumLanes>(features + d * kSumLanes);
  }
  // Adds one sample; `features` points to it in its block.
  void Add(const double* weights, const double* features) {
    const SumLanes lanes = Load<SumLanes>(weights);
    weights_ += lanes;
    for (int d = 0; d < kDimensions; ++d) features_[d] += lanes * features[d * kBlockSamples];
  }
  void StoreWeights(double* weights) const { Store(weights_, weights); }
  void StoreFeatures(double* features) const {
    for (int d = 0; d < kDimensions; ++d) Store(features_[d], features + d * kSumLanes);
  }

 private:
  SumLanes weights_;
  SumLanes features_[kDimensions];
};

// Adds all features of a block to the sums of one group of clusters. weightRow(b) tells where the kSumLanes weights
// of sample b stand. kDimensions is 0 to take it at run time.
template <int kDimensions, class WeightRow>
inline void AddBlock(WeightRow weightRow, const double* features, int dimensions, int count, double* weightSums,
                     double* featureSums) {
  constexpr int kTogether = std::max(kDimensions, 1);
  for (std::ptrdiff_t d = 0; d < dimensions; d += kTogether) {
    GroupSums<kTogether> sums(weightSums, featureSums + d * kSumLanes);
    for (int b = 0; b < count; ++b) sums.Add(weightRow(b), features + d * kBlockSamples + b);
    if (d + kTogether >= dimensions) sums.StoreWeights(weightSums);  // once: every round sums them up again
    sums.StoreFeatures(featureSums + d * kSumLanes);
  }
}

// Calls addGroup(group, weight sums, feature sums) for every group of kSumLanes clusters.
template <class AddGroup>
inline void ForEachGroup(const SumView& sums, int clusters, int dimensions, AddGroup addGroup) {
  const std::ptrdiff_t groups = (clusters - 1) / kSumLanes + 1;
  for (std::ptrdiff_t group = 0; group < groups; ++group) {
    addGroup(group, sums.weights + group * kSumLanes, sums.features + group * dimensions * kSumLanes);
  }
}

// ---- powers ----

struct SquarePower {
  Lanes operator()(const Lanes& base) const { return base * base; }
};

struct ProductPower {
  int factors;
  Lanes operator()(const Lanes& base) const {
    Lanes product = base;
    for (int factor = 1; factor < factors; ++factor) product *= base;
    return product;
  }
};

struct AnyPower {
  double exponent;
  Lanes operator()(const Lanes& base) const {
    Lanes power;
    for (int lane = 0; lane < kLanes; ++lane) power[lane] = std::pow(base[lane], exponent);
    return power;
  }
};

template <class Function>
inline auto WithPower(const PowerRule& rule, Function function) {
  if (rule.factors == 2) return function(SquarePower{});
  if (rule.factors != 0) return function(ProductPower{rule.factors});
  return function(AnyPower{rule.exponent});
}

template <int kDimensions, class Power>
inline void AddMemberBlock(const double* memberships, const double* features, int count, int clusters,
                           int dimensions, Power power, const SumView& sums) {
  ForEachGroup(sums, clusters, dimensions, [&](std::ptrdiff_t group, double* weightSums, double* featureSums) {
    alignas(64) double weights[kBlockSamples][kSumLanes] = {};
    const std::ptrdiff_t firstCluster = group * kSumLanes;
    for (std::ptrdiff_t lane = 0; lane < kSumLanes && firstCluster + lane < clusters; ++lane) {
      const double* membership = memberships + (firstCluster + lane) * kBlockSamples;
      for (int b = 0; b < kBlockSamples; b += kLanes) {
        const Lanes powers = power(Load<Lanes>(membership + b));
        for (int i = 0; i < kLanes; ++i) weights[b + i][lane] = powers[i];
      }
    }
    AddBlock<kDimensions>([&weights](int b) { return weights[b]; }, features, dimensions, count, weightSums, featureSums);
  });
}

// ---- blocks and distances ----

// Calls visit(block, samples in it, its features) for every block.
template <class Visit>
inline void ForEachBlock(const SampleView& samples, Visit visit) {
  const double* features = samples.features;
  std::ptrdiff_t block = 0;
  for (int left = samples.count; left > 0; left -= kBlockSamples) {
    visit(block++, std::min(left, kBlockSamples), features);
    features += std::ptrdiff_t{samples.dimensions} * kBlockSamples;
  }
}

// The number of dimensions as a constant for the compiler where it is small, as 0 to take it at run time otherwise.
template <int kValue>
struct Dimensions {
  static constexpr int value = kValue;
};

template <class Function>
inline auto WithDimensions(int dimensions, Function function) {
  if (dimensions == 1) return function(Dimensions<1>{});
  if (dimensions == 2) return function(Dimensions<2>{});
  if (dimensions == 3) return function(Dimensions<3>{});
  return function(Dimensions<0>{});
}

// The squared distances of kLanes samples, each summed over ascending dimensions.
template <int kDimensions>
inline Lanes SquaredDistances(const double* features, const double* centroid, int dimensions) {
  Lanes difference = Load<Lanes>(features) - centroid[0];
  Lanes sum = difference * difference;
  const std::ptrdiff_t count = kDimensions > 0 ? kDimensions : dimensions;
  for (std::ptrdiff_t d = 1; d < count; ++d) {
    difference = Load<Lanes>(features + d * kBlockSamples) - centroid[d];
    sum += difference * difference;
  }
  return sum;
}

// ---- k-means ----

// Samples that are assigned at a time.
inline constexpr int kStep = 8;

// Finds the nearest centroids of kStep samples by squared distances. Returns whether some comparison was so close that
// the roots may be equal, which is a tie.
template <int kDimensions>
inline bool CompareSquares(const double* features, const CentroidView& centroids, int dimensions,
                           std::int64_t* nearest) {
  constexpr double kCloser = 1.0 - 1e-15;  // squares farther apart than this have different roots
  constexpr int kVectors = kStep / kLanes;
  const double* centroid = centroids.coordinates;
  LaneIndices isClose = {};
  Lanes best[kVectors];
  LaneIndices bestCluster[kVectors] = {};
  for (int i = 0; i < kVectors; ++i) {
    best[i] = SquaredDistances<kDimensions>(features + i * kLanes, centroid, dimensions);
  }
  LaneIndices cluster = {};
  for (int k = 1; k < centroids.count; ++k) {
    centroid += dimensions;
    cluster += 1;
    for (int i = 0; i < kVectors; ++i) {
      const Lanes candidate = SquaredDistances<kDimensions>(features + i * kLanes, centroid, dimensions);
      isClose |= (candidate < best[i]) & (candidate > best[i] * kCloser);
      bestCluster[i] = candidate < best[i] ? cluster : bestCluster[i];
      best[i] = candidate < best[i] ? candidate : best[i];
    }
  }
  for (int i = 0; i < kVectors; ++i) Store(bestCluster[i], nearest + i * kLanes);
  return HasAny(isClose);
}

// The same by the distances themselves.
inline void CompareDistances(const double* features, const CentroidView& centroids, int dimensions,
                             std::int64_t* nearest) {
  for (int b = 0; b < kStep; b += kLanes) {
    const double* centroid = centroids.coordinates;
    Lanes best = SquareRoots(SquaredDistances<0>(features + b, centroid, dimensions));
    LaneIndices bestCluster = {};
    LaneIndices cluster = {};
    for (int k = 1; k < centroids.count; ++k) {
      centroid += dimensions;
      const Lanes candidate = SquareRoots(SquaredDistances<0>(features + b, centroid, dimensions));
      cluster += 1;
      bestCluster = candidate < best ? cluster : bestCluster;
      best = candidate < best ? candidate : best;
    }
    Store(bestCluster, nearest + b);
  }
}

// A sample weighs 1 in its cluster and 0 in the others. These are not skipped: 0 times an infinity or NaN is NaN.
alignas(64) inline constexpr double kUnitWeights[kSumLanes + 1][kSumLanes] = {
    {1.0}, {0.0, 1.0}, {0.0, 0.0, 1.0}, {0.0, 0.0, 0.0, 1.0}, {}};

// Sums of at most kSumLanes clusters and few dimensions: they stay in registers from the first sample to the last.
template <int kDimensions>
class FewLabelledSums {
 public:
  FewLabelledSums(const SumView& sums, int /*clusters*/, int /*dimensions*/)
      : result_(sums), sums_(sums.weights, sums.features) {}
  ~FewLabelledSums() {
    sums_.StoreWeights(result_.weights);
    sums_.StoreFeatures(result_.features);
  }
  void Add(const std::int64_t* labels, const double* features, int count) {
    if (count == kStep) {
      for (int b = 0; b < kStep; ++b) sums_.Add(kUnitWeights[labels[b]], features + b);
    } else {
      for (int b = 0; b < count; ++b) sums_.Add(kUnitWeights[labels[b]], features + b);
    }
  }

 private:
  SumView result_;
  GroupSums<kDimensions> sums_;
};

class ManyLabelledSums {
 public:
  ManyLabelledSums(const SumView& sums, int clusters, int dimensions)
      : sums_(sums), clusters_(clusters), dimensions_(dimensions) {}
  void Add(const std::int64_t* labels, const double* features, int count) const {
    ForEachGroup(sums_, clusters_, dimensions_, [&](std::ptrdiff_t group, double* weightSums, double* featureSums) {
      const auto weightRow = [&](int b) {
        const auto lane = static_cast<std::uint64_t>(labels[b] - group * kSumLanes);  // other groups' are large
        return kUnitWeights[std::min(lane, std::uint64_t{kSumLanes})];
      };
      AddBlock<0>(weightRow, features, dimensions_, count, weightSums, featureSums);
    });
  }

 private:
  SumView sums_;
  int clusters_;
  int dimensions_;
};

template <int kDimensions, class LabelledSums>
inline std::int64_t AssignBlocks(const SampleView& samples, const CentroidView& centroids, std::int32_t* labels,
                                 const SumView& sumView) {
  const int dimensions = kDimensions > 0 ? kDimensions : samples.dimensions;
  LabelledSums sums(sumView, centroids.count, dimensions);
  std::int32_t moves[kBlockSamples] = {};
  alignas(64) std::int64_t nearestOfTwo[2][kBlockSamples];
  const double* formerFeatures = nullptr;
  int formerCount = 0;
  ForEachBlock(samples, [&](std::ptrdiff_t block, int count, const double* features) {
    const std::ptrdiff_t blockValues = std::ptrdiff_t{dimensions} * kBlockSamples;
    for (std::ptrdiff_t i = 0; i < blockValues; i += kCacheLine) __builtin_prefetch(features + 2 * blockValues + i);
    std::int64_t* nearest = nearestOfTwo[block % 2];
    const std::int64_t* formerNearest = nearestOfTwo[(block + 1) % 2];
    // The sums wait for each other, the comparisons do not: summing the former block meanwhile keeps both going.
    for (int first = 0; first < kBlockSamples; first += kStep) {
      const double* stepFeatures = features + first;
      if (CompareSquares<kDimensions>(stepFeatures, centroids, dimensions, nearest + first)) {
        CompareDistances(stepFeatures, centroids, dimensions, nearest + first);
      }
      if (formerCount > 0) sums.Add(formerNearest + first, formerFeatures + first, kStep);
    }
    std::int32_t* blockLabels = labels + block * kBlockSamples;
    for (int b = 0; b < kBlockSamples; ++b) {
      const auto label = static_cast<std::int32_t>(nearest[b]);
      moves[b] += (label != blockLabels[b]) & (b < count);
      blockLabels[b] = label;
    }
    formerFeatures = features;
    formerCount = count;
  });
  const std::int64_t* lastNearest = nearestOfTwo[(samples.count - 1) / kBlockSamples % 2];
  sums.Add(lastNearest, formerFeatures, formerCount);
  return std::accumulate(moves, moves + kBlockSamples, std::int64_t{0});
}

std::int64_t AssignToNearest(const SampleView& samples, const CentroidView& centroids, std::int32_t* labels,
                             const SumView& sums) {
  return WithDimensions(samples.dimensions, [&](auto constant) {
    constexpr int kDimensions = decltype(constant)::value;
    if constexpr (kDimensions > 0) {
      if (centroids.count <= kSumLanes) {
        return AssignBlocks<kDimensions, FewLabelledSums<kDimensions>>(samples, centroids, labels, sums);
      }
    }
    return AssignBlocks<kDimensions, ManyLabelledSums>(samples, centroids, labels, sums);
  });
}

// ---- fuzzy c-means ----

void AddMembers(const SampleView& samples, const double* memberships, int clusters, const PowerRule& rule,
                const SumView& sums) {
  WithPower(rule, [&](auto power) {
    ForEachBlock(samples, [&](std::ptrdiff_t block, int count, const double* features) {
      AddMemberBlock<0>(memberships + block * clusters * kBlockSamples, features, count, clusters, samples.dimensions,
                        power, sums);
    });
  });
}

// Quotients as the divider rounds them.
struct DivisionQuotient {
  Lanes operator()(const Lanes& numerator, const Lanes& denominator, const Lanes& /*reciprocal*/) const {
    return numerator / denominator;
  }
};

#if MTH_HAS_FUSED

inline Lanes FusedNegative(const Lanes& left, const Lanes& right, const Lanes& sum) {  // sum - left * right
#if MTH_VECTOR_BYTES == 64
  return Lanes(_mm512_fnmadd_pd(__m512d(left), __m512d(right), __m512d(sum)));
#else
  return Lanes(_mm256_fnmadd_pd(__m256d(left), __m256d(right), __m256d(sum)));
#endif
}

inline Lanes Fused(const Lanes& left, const Lanes& right, const Lanes& sum) {  // left * right + sum
#if MTH_VECTOR_BYTES == 64
  return Lanes(_mm512_fmadd_pd(__m512d(left), __m512d(right), __m512d(sum)));
#else
  return Lanes(_mm256_fmadd_pd(__m256d(left), __m256d(right), __m256d(sum)));
#endif
}

// The same quotients from the rounded reciprocal of the denominator, without the divider: each step takes the
// remainder exactly and corrects the quotient by it (Markstein, IBM J. Res. Dev. 34, 1990). The remainders are exact
// as long as no quotient is near underflow or overflow: distances, being roots, are 0 or above 1e-162, and
// denominators that count are above 1e-6, so that it is enough to bound the distances from above.
inline constexpr double kLargestCorrectable = 1e100;

struct CorrectedQuotient {
  Lanes operator()(const Lanes& numerator, const Lanes& denominator, const Lanes& reciprocal) const {
    Lanes quotient = numerator * reciprocal;
    quotient = Fused(FusedNegative(denominator, quotient, numerator), reciprocal, quotient);
    return Fused(FusedNegative(denominator, quotient, numerator), reciprocal, quotient);
  }
};
using FastQuotient = CorrectedQuotient;

#else

using FastQuotient = DivisionQuotient;

#endif

// The distances of kLanes samples and, for FastQuotient, their reciprocals. Returns whether FastQuotient is exact.
template <int kDimensions>
inline bool ComputeDistances(const double* features, const CentroidView& centroids, int dimensions,
                             double* distances, [[maybe_unused]] double* reciprocals) {
  LaneIndices isLarge = {};
  const double* centroid = centroids.coordinates;
  for (int k = 0; k < centroids.count; ++k) {
    const Lanes distance = SquareRoots(SquaredDistances<kDimensions>(features, centroid, dimensions));
    Store(distance, distances);
#if MTH_HAS_FUSED
    Store(1.0 / distance, reciprocals);
    isLarge |= ~(distance < kLargestCorrectable);  // a NaN, too
    reciprocals += kLanes;
#endif
    centroid += dimensions;
    distances += kLanes;
  }
  return !HasAny(isLarge);
}

// The sum over the clusters j of (d_k / d_j) to the power, for kLanes samples.
template <class Quotient, class Power>
inline Lanes SumRatios(const double* distances, const double* reciprocals, int k, int clusters, Quotient quotient,
                       Power power) {
  constexpr double kSmallestDistance = 0.000001;
  const Lanes own = Load<Lanes>(distances + std::ptrdiff_t{k} * kLanes);
  Lanes sum = {};
  for (std::ptrdiff_t j = 0; j < clusters; ++j) {
    const Lanes other = Load<Lanes>(distances + j * kLanes);
    const Lanes term = power(quotient(own, other, Load<Lanes>(reciprocals + j * kLanes)));
    sum += other > kSmallestDistance ? term : Lanes{};
  }
  return sum;
}

// New memberships of kLanes samples; returns their changes where isSample says so, or largest so far.
template <class Quotient, class Power>
inline Lanes UpdateLanes(const double* distances, const double* reciprocals, int clusters, Quotient quotient,
                         Power power, const LaneIndices& isSample, double* memberships, Lanes largest) {
  constexpr double kSmallestSum = 0.001;
  for (int k = 0; k < clusters; ++k) {
    const Lanes sum = SumRatios(distances, reciprocals, k, clusters, quotient, power);
    const Lanes updated = sum > kSmallestSum ? 1.0 / sum : Lanes{};
    const Lanes difference = updated - Load<Lanes>(memberships);
    const Lanes change = difference < 0.0 ? -difference : difference;
    largest = isSample & (change > largest) ? change : largest;  // a change that is no number does not count
    Store(updated, memberships);
    memberships += kBlockSamples;
  }
  return largest;
}

double UpdateMemberships(const SampleView& samples, const CentroidView& centroids, const FuzzyRule& rule,
                         double* scratch, double* memberships, const SumView& sums) {
  const int clusters = centroids.count;
  double* distances = scratch;
  double* reciprocals = scratch + std::ptrdiff_t{clusters} * kLanes;
  LaneIndices lane;
  for (int i = 0; i < kLanes; ++i) lane[i] = i;
  Lanes largest = {};
  const auto update = [&](auto constant, auto ratioPower) {
    constexpr int kDimensions = decltype(constant)::value;
    const int dimensions = kDimensions > 0 ? kDimensions : samples.dimensions;
    ForEachBlock(samples, [&](std::ptrdiff_t block, int count, const double* features) {
      double* members = memberships + block * clusters * kBlockSamples;
      for (int b = 0; b < kBlockSamples; b += kLanes) {
        const LaneIndices isSample = lane < std::int64_t{count - b};
        const auto updateLanes = [&](auto quotient) {
          largest = UpdateLanes(distances, reciprocals, clusters, quotient, ratioPower, isSample, members + b, largest);
        };
        if (ComputeDistances<kDimensions>(features + b, centroids, dimensions, distances, reciprocals)) {
          updateLanes(FastQuotient{});
        } else {
          updateLanes(DivisionQuotient{});
        }
      }
      WithPower(rule.weight, [&](auto weightPower) {
        AddMemberBlock<kDimensions>(members, features, count, clusters, dimensions, weightPower, sums);
      });
    });
  };
  WithDimensions(samples.dimensions, [&](auto constant) {
    WithPower(rule.ratio, [&](auto ratioPower) { update(constant, ratioPower); });
  });
  double delta = 0.0;
  for (int i = 0; i < kLanes; ++i) delta = largest[i] > delta ? largest[i] : delta;
  return delta;
}
