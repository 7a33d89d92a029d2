// The memberships of fuzzy c-means, compiled per instruction set; included by
// Mth_clustering_loops_internal.h.

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
// remainder exactly and corrects the quotient by it (Markstein, IBM J. Res. Dev. 34, 1990). The remainders
// are exact as long as no quotient is near underflow or overflow: distances, being roots, are 0 or above
// 1e-162, and denominators that count are above 1e-6, so that it is enough to bound the distances from above.
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

// The distances of kLanes samples and, for FastQuotient, their reciprocals. Returns whether FastQuotient is
// exact.
template <int kDimensions>
inline bool ComputeDistances(const double* features, const CentroidView& centroids, int dimensions,
                             double* distances, [[maybe_unused]] double* reciprocals) {
  LaneIndices isLarge = {};
  const double* centroid = centroids.coordinates;
  for (int k = 0; k < centroids.count; ++k) {
    const Lanes distance = SquareRoots(SquaredDistances<kDimensions>(features, centroid, dimensions));
    Store(distances, distance);
#if MTH_HAS_FUSED
    Store(reciprocals, 1.0 / distance);
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
inline Lanes SumRatios(const double* distances, const double* reciprocals, int k, int clusters,
                       Quotient quotient, Power power) {
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
    const LaneIndices isLarger = isSample & (change > largest);  // a change that is no number does not count
    largest = isLarger ? change : largest;
    Store(memberships, updated);
    memberships += kBlockSamples;
  }
  return largest;
}

double UpdateMemberships(const SampleView& samples, const CentroidView& centroids, const FuzzyRule& rule,
                         double* scratch, double* memberships, const SumView& sums) {
  const int clusters = centroids.count;
  double* distances = scratch;
  double* reciprocals = scratch + std::ptrdiff_t{clusters} * kLanes;
  const LaneIndices lane = LaneNumbers();
  Lanes largest = {};
  const auto update = [&](auto constant, auto ratioPower) {
    constexpr int kDimensions = decltype(constant)::value;
    const int dimensions = kDimensions > 0 ? kDimensions : samples.dimensions;
    ForEachBlock(samples, [&](std::ptrdiff_t block, int count, const double* features) {
      double* members = memberships + block * clusters * kBlockSamples;
      for (std::int64_t b = 0; b < kBlockSamples; b += kLanes) {
        const LaneIndices isSample = lane < count - b;
        const auto updateLanes = [&](auto quotient) {
          largest = UpdateLanes(distances, reciprocals, clusters, quotient, ratioPower, isSample, members + b,
                                largest);
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
  double changes[kLanes];
  Store(changes, largest);
  double delta = 0.0;
  for (const double change : changes) delta = change > delta ? change : delta;
  return delta;
}
