// The memberships of fuzzy c-means, compiled per instruction set; included by
// Mth_clustering_loops_internal.h. A whole power of the ratio of two distances is a product. Of any other
// one, the power of each distance is taken once; it serves the weights, too, unless the exponents are so
// large that they would lose digits.

// Distances below this are far from overflow, whatever is done to them here.
inline constexpr double kLargestCorrectable = 1e100;

// What the ratios need of the distances of kLanes samples, or of their powers: a vector per cluster each.
struct DistanceRows {
  double* distances;
  double* divisors;     // the distances; infinite for one that does not count
  double* reciprocals;  // of the distances; 0 for one that does not count
  double* counted;      // 1 for a distance that counts, 0 for one that does not
};

MTH_INLINE double* LaneRow(double* rows, std::ptrdiff_t cluster) {
  return rows + cluster * kLanes;
}

// The sum of term(j) over the clusters j in their order; own is the term of k itself.
template <class Term>
MTH_INLINE Lanes SumWithOwn(std::ptrdiff_t k, std::ptrdiff_t clusters, Lanes own, Term term) {
  Lanes sum = {};
  for (std::ptrdiff_t j = 0; j < clusters; ++j) sum += j == k ? own : term(j);
  return sum;
}

// The sums of the powers of d_k / d_j over all j that count, as the divider rounds the quotients. Nothing is
// divided by 0. Of finite distances d_k / d_k is 1.
template <bool kAreFinite>
struct DividedRatios {
  template <class Power>
  MTH_INLINE static Lanes Sum(const DistanceRows& rows, std::ptrdiff_t k, std::ptrdiff_t clusters,
                              Power power) {
    const Lanes own = Load<Lanes>(LaneRow(rows.distances, k));
    const auto term = [&](std::ptrdiff_t j) {
      const Lanes ratio = power(own / Load<Lanes>(LaneRow(rows.divisors, j)));
      return Load<Lanes>(LaneRow(rows.counted, j)) > 0.0 ? ratio : Lanes{};
    };
    return SumWithOwn(k, clusters, kAreFinite ? Load<Lanes>(LaneRow(rows.counted, k)) : term(k), term);
  }
};

#if MTH_HAS_FUSED

// The same quotients from the rounded reciprocal of the denominator, without the divider: each step takes the
// remainder exactly and corrects the quotient by it (Markstein, IBM J. Res. Dev. 34, 1990). The remainders
// are exact as long as no quotient is near underflow or overflow: distances, being roots, are 0 or above
// 1e-162, and denominators that count are above 1e-6, so that it is enough to bound the distances from above.
MTH_INLINE Lanes CorrectedQuotient(Lanes numerator, Lanes denominator, Lanes reciprocal) {
  Lanes quotient = numerator * reciprocal;
  quotient = FusedSum(FusedDifference(numerator, denominator, quotient), reciprocal, quotient);
  return FusedSum(FusedDifference(numerator, denominator, quotient), reciprocal, quotient);
}

// The same sums with corrected quotients; a reciprocal of 0 gives the quotient 0, and so does its power.
struct CorrectedRatios {
  template <class Power>
  MTH_INLINE static Lanes Sum(const DistanceRows& rows, std::ptrdiff_t k, std::ptrdiff_t clusters,
                              Power power) {
    const Lanes own = Load<Lanes>(LaneRow(rows.distances, k));
    return SumWithOwn(k, clusters, Load<Lanes>(LaneRow(rows.counted, k)), [&](std::ptrdiff_t j) {
      return power(CorrectedQuotient(own, Load<Lanes>(LaneRow(rows.distances, j)),
                                     Load<Lanes>(LaneRow(rows.reciprocals, j))));
    });
  }
};
using FastRatios = CorrectedRatios;

#else

using FastRatios = DividedRatios<true>;

#endif

// Distances as they are, for ratios to a power that is a product.
struct PlainDistance {
  Lanes operator()(const Lanes& distance, LaneIndices& isLarge) const {
    isLarge |= (distance < kLargestCorrectable) == 0;  // a NaN, too
    return distance;
  }
};

// Distances to any power, where no ratio of two such powers leaves the range of a double.
class PowerOfDistance {
 public:
  explicit PowerOfDistance(double exponent)
      : exponent_(exponent), ofZero_(mth_internal::Power(0.0, exponent)) {
    constexpr double kLargestLogarithm = 200.0;  // e to it is below kLargestCorrectable
    longest_ = mth_internal::Exponential(kLargestLogarithm / std::max(exponent, 2.0));
    shortest_ = 1.0 / longest_;
  }
  Lanes operator()(const Lanes& distance, LaneIndices& isLarge) const {
    const LaneIndices isZero = distance == 0.0;
    const LaneIndices isInRange = (distance <= longest_) & (distance >= shortest_);
    isLarge |= (isInRange | isZero) == 0;
    const Lanes base = Opaque(isInRange ? distance : Spread<Lanes>(1.0));
    const Lanes power = PowerOfNormal<Lanes>(base, Spread<Lanes>(exponent_));
    return isZero ? Spread<Lanes>(ofZero_) : power;
  }

 private:
  double exponent_;
  double ofZero_;
  double longest_;
  double shortest_;
};

template <class Power>
inline PlainDistance MeasureFor(const Power&) {
  return {};
}
inline PowerOfDistance MeasureFor(const AnyPower& power) {
  return PowerOfDistance(power.exponent);
}

// Fills the rows with what measure(distance, isLarge) makes of the distances. Returns where it says that
// FastRatios would not be exact.
template <int kDimensions, class Measure>
MTH_INLINE LaneIndices ComputeDistances(const double* features, const CentroidView& centroids, int dimensions,
                                        const DistanceRows& rows, const Measure& measure) {
  LaneIndices isLarge = {};
  const double* centroid = centroids.coordinates;
  const Lanes one = Spread<Lanes>(1.0);
  const Lanes infinity = Spread<Lanes>(std::numeric_limits<double>::infinity());
  for (int k = 0; k < centroids.count; ++k, centroid += dimensions) {
    const Lanes distance = SquareRoots(SquaredDistances<kDimensions>(features, centroid, dimensions));
    const LaneIndices isCounted = distance > kSmallestFuzzyDistance;
    const Lanes measured = measure(distance, isLarge);
    Store(LaneRow(rows.distances, k), measured);
    Store(LaneRow(rows.counted, k), isCounted ? one : Lanes{});
    const Lanes divisor = Opaque(isCounted ? measured : infinity);
    Store(LaneRow(rows.divisors, k), divisor);
#if MTH_HAS_FUSED
    Store(LaneRow(rows.reciprocals, k), 1.0 / divisor);
#endif
  }
  return isLarge;
}

// New memberships in the lanes where isWritten says so; returns their changes where isSample does, or largest
// so far.
template <class Ratios, class Power>
MTH_INLINE Lanes UpdateLanes(const DistanceRows& rows, int clusters, Power power, LaneIndices isWritten,
                             LaneIndices isSample, double* memberships, Lanes largest) {
  const Lanes smallest = Spread<Lanes>(kSmallestFuzzySum);
  const Lanes one = Spread<Lanes>(1.0);  // whose reciprocal is exact
  for (int k = 0; k < clusters; ++k) {
    const Lanes sum = Ratios::Sum(rows, k, clusters, power);
    const Lanes old = Load<Lanes>(memberships);
    const Lanes reciprocal = 1.0 / Opaque(smallest < sum ? sum : one);
    const Lanes updated = smallest < sum ? reciprocal : Lanes{};
    const Lanes rise = updated - old;
    const Lanes fall = -rise;
    const Lanes magnitude = fall < rise ? rise : fall;
    const Lanes change = isWritten & isSample ? magnitude : Lanes{};
    largest = largest < change ? change : largest;  // one that is no number does not count
    Store(memberships, isWritten ? updated : old);
    memberships += kBlockSamples;
  }
  return largest;
}

// New memberships of kLanes samples, as UpdateLanes, from the rows of their distances, or of the powers of
// these where power is AnyPower. isLarge is what ComputeDistances returned when it filled the rows.
template <int kDimensions, class Power>
MTH_INLINE Lanes UpdateSamples(const double* features, const CentroidView& centroids, int dimensions,
                               const DistanceRows& rows, LaneIndices isLarge, Power power,
                               LaneIndices isSample, double* memberships, Lanes largest) {
  const LaneIndices isEvery = LaneIndices{} == 0;
  const auto update = [&]<class Ratios>(Ratios, auto ratioPower, LaneIndices isWritten) MTH_INLINE_LAMBDA {
    largest =
        UpdateLanes<Ratios>(rows, centroids.count, ratioPower, isWritten, isSample, memberships, largest);
  };
  if constexpr (std::is_same_v<Power, AnyPower>) {
    update(FastRatios{}, FirstPower{}, isLarge == 0);
    if (!HasAny(isLarge)) return largest;
    ComputeDistances<kDimensions>(features, centroids, dimensions, rows, PlainDistance{});
    update(DividedRatios<false>{}, power,
           isLarge);  // each sample by itself: the lanes beside it do not count
  } else if (HasAny(isLarge)) {
    update(DividedRatios<false>{}, power, isEvery);
  } else {
    update(FastRatios{}, power, isEvery);
  }
  return largest;
}

#include "mth/clustering/Mth_fuzzy_powers_loops_internal.h"

MTH_INLINE DistanceRows RowsIn(double* scratch, std::ptrdiff_t clusters) {
  return {scratch, LaneRow(scratch, clusters), LaneRow(scratch, 3 * clusters),
          LaneRow(scratch, 2 * clusters)};
}

// New memberships of kLanes samples, as UpdateLanes, and their weights, by shared powers.
template <int kDimensions>
MTH_INLINE Lanes ShareSamples(const double* features, const CentroidView& centroids, int dimensions,
                              const FuzzyRule& rule, double* scratch, LaneIndices isSample,
                              double* memberships, double* weights, Lanes largest) {
  const int clusters = centroids.count;
  const PowerRows powers{scratch, LaneRow(scratch, clusters)};
  Lanes total = {};
  const LaneIndices isFar =
      ComputePowers<kDimensions>(features, centroids, dimensions, *rule.shared, powers, total);
  largest =
      ShareTotal(powers, clusters, *rule.shared, total, isFar == 0, isSample, memberships, weights, largest);
  if (!HasAny(isFar)) return largest;
  const DistanceRows rows =
      RowsIn(scratch, clusters);  // each sample by itself: the lanes beside it keep theirs
  ComputeDistances<kDimensions>(features, centroids, dimensions, rows, PlainDistance{});
  largest = UpdateLanes<DividedRatios<false>>(rows, clusters, AnyPower(rule.ratio.exponent), isFar, isSample,
                                              memberships, largest);
  WeighLanes(memberships, clusters, AnyPower(rule.weight.exponent), isFar, weights);
  return largest;
}

template <int kDimensions>
inline Lanes UpdateBySharedPowers(const SampleView& samples, const CentroidView& centroids, int dimensions,
                                  const FuzzyRule& rule, double* scratch, double* memberships,
                                  const SumView& sums) {
  const int clusters = centroids.count;
  const LaneIndices lane = LaneNumbers();
  double* weights = scratch + std::ptrdiff_t{4} * clusters * kMostLanes;
  Lanes largest = {};
  ForEachBlock(samples, [&](std::ptrdiff_t block, int count, const double* features) {
    double* members = memberships + block * clusters * kBlockSamples;
    for (std::int64_t b = 0; b < kBlockSamples; b += kLanes) {
      largest = ShareSamples<kDimensions>(features + b, centroids, dimensions, rule, scratch,
                                          lane < count - b, members + b, weights + b, largest);
    }
    AddMemberBlock<kDimensions>(weights, features, count, clusters, dimensions, FirstPower{}, sums);
  });
  return largest;
}

template <int kDimensions, class Power>
inline Lanes UpdateByRatios(const SampleView& samples, const CentroidView& centroids, int dimensions,
                            const FuzzyRule& rule, Power ratioPower, double* scratch, double* memberships,
                            const SumView& sums) {
  const int clusters = centroids.count;
  const DistanceRows rows = RowsIn(scratch, clusters);
  const LaneIndices lane = LaneNumbers();
  const auto measure = MeasureFor(ratioPower);
  Lanes largest = {};
  ForEachBlock(samples, [&](std::ptrdiff_t block, int count, const double* features) {
    double* members = memberships + block * clusters * kBlockSamples;
    for (std::int64_t b = 0; b < kBlockSamples; b += kLanes) {
      const LaneIndices isLarge =
          ComputeDistances<kDimensions>(features + b, centroids, dimensions, rows, measure);
      largest = UpdateSamples<kDimensions>(features + b, centroids, dimensions, rows, isLarge, ratioPower,
                                           lane < count - b, members + b, largest);
    }
    WithPower(rule.weight, [&](auto weightPower) {
      AddMemberBlock<kDimensions>(members, features, count, clusters, dimensions, weightPower, sums);
    });
  });
  return largest;
}

// The same for a few clusters and m = 2, whose number the compiler knows. What waits for the one before goes
// on beside what does not: distances of the next samples beside the ratios of these, which wait for the
// divider, and the sums of one block, addition by addition, beside the next block.
template <int kDimensions, int kClusters>
inline Lanes UpdateFew(const SampleView& samples, const double* coordinates, double* memberships,
                       const SumView& sumView) {
  static_assert(kDimensions > 0 && kClusters <= kSumLanes);
  const CentroidView centroids{coordinates, kClusters};
  alignas(64) double scratch[2][4 * kClusters * kLanes];
  const DistanceRows rows[2] = {RowsIn(scratch[0], kClusters), RowsIn(scratch[1], kClusters)};
  const LaneIndices lane = LaneNumbers();
  GroupSums<kDimensions> sums(sumView.weights, sumView.features);
  alignas(64) double weights[2][kBlockSamples * kSumLanes];
  const double* former = nullptr;  // features of the block before
  Lanes largest = {};
  ForEachBlock(samples, [&](std::ptrdiff_t block, int count, const double* features) MTH_INLINE_LAMBDA {
    double* const members = memberships + block * kClusters * kBlockSamples;
    const double* const formerWeights = weights[(block + 1) % 2];
    const auto distancesOf = [&](std::int64_t b) MTH_INLINE_LAMBDA {
      return ComputeDistances<kDimensions>(features + b, centroids, kDimensions, rows[b / kLanes % 2],
                                           PlainDistance{});
    };
    LaneIndices isLarge = distancesOf(0);
    for (std::int64_t b = 0; b < kBlockSamples; b += kLanes) {
      const LaneIndices isNextLarge = b + kLanes < kBlockSamples ? distancesOf(b + kLanes) : LaneIndices{};
      largest = UpdateSamples<kDimensions>(features + b, centroids, kDimensions, rows[b / kLanes % 2],
                                           isLarge, SquarePower{}, lane < count - b, members + b, largest);
      isLarge = isNextLarge;
      if (former == nullptr) continue;
      for (std::int64_t i = b; i < b + kLanes; ++i) sums.Add(formerWeights + i * kSumLanes, former + i);
    }
    ComputeWeights(members, kClusters, SquarePower{}, weights[block % 2]);
    former = features;
  });
  const int blocks = (samples.count - 1) / kBlockSamples;
  for (int i = 0; i < samples.count - blocks * kBlockSamples; ++i)
    sums.Add(weights[blocks % 2] + i * kSumLanes, former + i);
  sums.StoreWeights(sumView.weights);
  sums.StoreFeatures(sumView.features);
  return largest;
}

// UpdateFew where it is made for these sizes and powers; otherwise false, and nothing is done.
template <int kDimensions>
inline bool DoUpdateFew(const SampleView& samples, const CentroidView& centroids, const FuzzyRule& rule,
                        double* memberships, const SumView& sums, Lanes& largest) {
  if constexpr (kDimensions > 0) {
    if (rule.ratio.factors != 2 || rule.weight.factors != 2) return false;
    const auto update = [&](auto clusters) {
      largest = UpdateFew<kDimensions, clusters()>(samples, centroids.coordinates, memberships, sums);
      return true;
    };
    if (centroids.count == 4) return update(std::integral_constant<int, 4>{});
    if (centroids.count == 3) return update(std::integral_constant<int, 3>{});
    if (centroids.count == 2) return update(std::integral_constant<int, 2>{});
  }
  return false;
}

double UpdateMemberships(const SampleView& samples, const CentroidView& centroids, const FuzzyRule& rule,
                         double* scratch, double* memberships, const SumView& sums) {
  const Lanes largest = WithDimensions(samples.dimensions, [&](auto constant) {
    constexpr int kDimensions = decltype(constant)::value;
    const int dimensions = kDimensions > 0 ? kDimensions : samples.dimensions;
    Lanes changes = {};
    if (DoUpdateFew<kDimensions>(samples, centroids, rule, memberships, sums, changes)) return changes;
    if (rule.shared) {
      return UpdateBySharedPowers<kDimensions>(samples, centroids, dimensions, rule, scratch, memberships,
                                               sums);
    }
    return WithPower(rule.ratio, [&](auto ratioPower) {
      return UpdateByRatios<kDimensions>(samples, centroids, dimensions, rule, ratioPower, scratch,
                                         memberships, sums);
    });
  });
  double changes[kLanes];
  Store(changes, largest);
  double delta = 0.0;
  for (const double change : changes) delta = change > delta ? change : delta;
  return delta;
}
