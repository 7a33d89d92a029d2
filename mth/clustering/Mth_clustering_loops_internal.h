// The hot loops of k-means and fuzzy c-means, compiled per instruction set. Lanes run across samples, or
// across the clusters of one sample: a sum over samples is one chain, in sample order, and several such
// chains run side by side.

#include "mth/core/Mth_elementary_loops_internal.h"
#include "mth/core/Mth_fixed_power_loops_internal.h"

using SumLanes = Doubles<kSumLanes>;

inline constexpr int kCacheLineDoubles = 8;

// ---- sums ----

// The sums of one group of clusters over `kDimensions` features, in registers.
template <int kDimensions>
class GroupSums {
 public:
  GroupSums(const double* weights, const double* features) : weights_(At<SumLanes>(weights)) {
    for (int d = 0; d < kDimensions; ++d) features_[d] = At<SumLanes>(features + d * kSumLanes);
  }
  // Adds one sample; `features` points to it in its block.
  void Add(const double* weights, const double* features) {
    const SumLanes lanes = At<SumLanes>(weights);
    weights_ = weights_ + lanes;
    for (int d = 0; d < kDimensions; ++d) features_[d] = features_[d] + lanes * features[d * kBlockSamples];
  }
  void StoreWeights(double* weights) const { SetAt(weights, weights_); }
  void StoreFeatures(double* features) const {
    for (int d = 0; d < kDimensions; ++d) SetAt(features + d * kSumLanes, features_[d]);
  }

 private:
  SumLanes weights_;
  SumLanes features_[kDimensions];
};

// Adds all features of a block to the sums of one group of clusters. weightRow(b) tells where the kSumLanes
// weights of sample b stand. kDimensions is 0 to take it at run time.
template <int kDimensions, class WeightRow>
inline void AddBlock(WeightRow weightRow, const double* features, int dimensions, int count,
                     double* weightSums, double* featureSums) {
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

struct FirstPower {
  Lanes operator()(const Lanes& base) const { return base; }
};

struct AnyPower {
  explicit AnyPower(double value) : exponent(value), ofZero(mth_internal::Power(0.0, value)) {}
  double exponent;
  double ofZero;  // memberships are 0 often enough not to be taken one by one
  Lanes operator()(const Lanes& base) const {
    const LaneIndices isZero = base == 0.0;
    const Lanes power = Power<Lanes>(isZero ? Spread<Lanes>(1.0) : base, Spread<Lanes>(exponent));
    return isZero ? Spread<Lanes>(ofZero) : power;
  }
};

template <class Function>
inline auto WithPower(const PowerRule& rule, Function function) {
  if (rule.factors == 2) return function(SquarePower{});
  if (rule.factors != 0) return function(ProductPower{rule.factors});
  return function(AnyPower(rule.exponent));
}

// Four rows of four values, rows and columns exchanged.
MTH_INLINE void TransposeFours(const double* rows, std::ptrdiff_t rowStride, double* columns) {
  static_assert(kSumLanes == 4);
#if MTH_HAS_VECTORS
  const SumLanes a = At<SumLanes>(rows);
  const SumLanes b = At<SumLanes>(rows + rowStride);
  const SumLanes c = At<SumLanes>(rows + 2 * rowStride);
  const SumLanes d = At<SumLanes>(rows + 3 * rowStride);
  const SumLanes evenAb = __builtin_shufflevector(a, b, 0, 4, 2, 6);
  const SumLanes oddAb = __builtin_shufflevector(a, b, 1, 5, 3, 7);
  const SumLanes evenCd = __builtin_shufflevector(c, d, 0, 4, 2, 6);
  const SumLanes oddCd = __builtin_shufflevector(c, d, 1, 5, 3, 7);
  SetAt(columns, SumLanes(__builtin_shufflevector(evenAb, evenCd, 0, 1, 4, 5)));
  SetAt(columns + 4, SumLanes(__builtin_shufflevector(oddAb, oddCd, 0, 1, 4, 5)));
  SetAt(columns + 8, SumLanes(__builtin_shufflevector(evenAb, evenCd, 2, 3, 6, 7)));
  SetAt(columns + 12, SumLanes(__builtin_shufflevector(oddAb, oddCd, 2, 3, 6, 7)));
#else
  for (int row = 0; row < kSumLanes; ++row) {
    for (int column = 0; column < kSumLanes; ++column)
      columns[column * kSumLanes + row] = rows[row * rowStride + column];
  }
#endif
}

// The weights of one group of clusters for each sample of a block: powers of the memberships, 0 for what
// fills the group up.
template <class Power>
inline void ComputeWeights(const double* memberships, std::ptrdiff_t clusters, Power power, double* weights) {
  alignas(64) double powers[kSumLanes * kBlockSamples];
  const std::ptrdiff_t values = std::min<std::ptrdiff_t>(clusters, kSumLanes) * kBlockSamples;
  for (std::ptrdiff_t i = 0; i < values; i += kLanes) Store(powers + i, power(Load<Lanes>(memberships + i)));
  std::fill(powers + values, powers + kSumLanes * kBlockSamples, 0.0);
  for (std::ptrdiff_t b = 0; b < kBlockSamples; b += kSumLanes)
    TransposeFours(powers + b, kBlockSamples, weights + b * kSumLanes);
}

template <int kDimensions, class Power>
inline void AddMemberBlock(const double* memberships, const double* features, int count, int clusters,
                           int dimensions, Power power, const SumView& sums) {
  ForEachGroup(sums, clusters, dimensions,
               [&](std::ptrdiff_t group, double* weightSums, double* featureSums) {
                 alignas(64) double weights[kBlockSamples * kSumLanes];
                 const std::ptrdiff_t first = group * kSumLanes;
                 ComputeWeights(memberships + first * kBlockSamples, clusters - first, power, weights);
                 AddBlock<kDimensions>([&weights](int b) { return weights + b * kSumLanes; }, features,
                                       dimensions, count, weightSums, featureSums);
               });
}

// ---- blocks and distances ----

// Calls visit(block, samples in it, its features) for every block.
template <class Visit>
MTH_INLINE void ForEachBlock(const SampleView& samples, Visit visit) {
  const double* features = samples.features;
  std::ptrdiff_t block = 0;
  for (int left = samples.count; left > 0; left -= kBlockSamples) {
    visit(block++, std::min(left, kBlockSamples), features);
    features += std::ptrdiff_t{samples.dimensions} * kBlockSamples;
  }
}

// The number of dimensions as a constant for the compiler where it is small, as 0 to take it at run time
// otherwise.
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

// ---- algorithms ----

void AddMembers(const SampleView& samples, const double* memberships, int clusters, const PowerRule& rule,
                const SumView& sums) {
  WithPower(rule, [&](auto power) {
    ForEachBlock(samples, [&](std::ptrdiff_t block, int count, const double* features) {
      AddMemberBlock<0>(memberships + block * clusters * kBlockSamples, features, count, clusters,
                        samples.dimensions, power, sums);
    });
  });
}

#include "mth/clustering/Mth_fuzzy_loops_internal.h"
#include "mth/clustering/Mth_kmeans_loops_internal.h"
