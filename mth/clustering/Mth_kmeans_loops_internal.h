// The assignment of k-means, compiled per instruction set; included by Mth_clustering_loops_internal.h.

bool FindLabels(const double* memberships, int clusters, std::int32_t* labels) {
  LaneIndices isSeveral = {};
  for (int b = 0; b < kBlockSamples; b += kLanes) {
    LaneIndices found = LaneIndices{} + kNoLabel;
    LaneIndices cluster = {};
    const double* membership = memberships + b;
    for (int k = 0; k < clusters; ++k, membership += kBlockSamples) {
      const LaneIndices isOne = Load<Lanes>(membership) == 1.0;
      isSeveral |= isOne & (found != kNoLabel);
      found = isOne ? cluster : found;
      cluster += 1;
    }
    for (int i = 0; i < kLanes; ++i) labels[b + i] = static_cast<std::int32_t>(found[i]);
  }
  return HasAny(isSeveral);
}

// Samples that are assigned at a time.
inline constexpr int kStep = 8;

// Features are asked for this many blocks before their turn: those of a volume come from beyond the caches.
inline constexpr int kBlocksAhead = 16;

// Finds the nearest centroids of kStep samples by squared distances. Returns whether some comparison was so
// close that the roots may be equal, which is a tie.
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

// A sample weighs 1 in its cluster and 0 in the others. These are not skipped: 0 times an infinity or NaN is
// NaN.
alignas(64) inline constexpr double kUnitWeights[kSumLanes + 1][kSumLanes] = {
    {1.0}, {0.0, 1.0}, {0.0, 0.0, 1.0}, {0.0, 0.0, 0.0, 1.0}, {}};

// Sums of at most kSumLanes clusters and few dimensions: they stay in registers from the first sample to the
// last.
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
    ForEachGroup(
        sums_, clusters_, dimensions_, [&](std::ptrdiff_t group, double* weightSums, double* featureSums) {
          const auto weightRow = [&](int b) {
            const auto lane =
                static_cast<std::uint64_t>(labels[b] - group * kSumLanes);  // other groups' are large
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
inline std::int64_t AssignBlocks(const SampleView& samples, const CentroidView& centroids,
                                 std::int32_t* labels, const SumView& sumView) {
  const int dimensions = kDimensions > 0 ? kDimensions : samples.dimensions;
  LabelledSums sums(sumView, centroids.count, dimensions);
  std::int32_t moves[kBlockSamples] = {};
  alignas(64) std::int64_t nearestOfTwo[2][kBlockSamples];
  const double* formerFeatures = nullptr;
  int formerCount = 0;
  ForEachBlock(samples, [&](std::ptrdiff_t block, int count, const double* features) {
    const std::ptrdiff_t blockValues = std::ptrdiff_t{dimensions} * kBlockSamples;
    for (std::ptrdiff_t i = 0; i < blockValues; i += kCacheLine)
      __builtin_prefetch(features + kBlocksAhead * blockValues + i);
    std::int64_t* nearest = nearestOfTwo[block % 2];
    const std::int64_t* formerNearest = nearestOfTwo[(block + 1) % 2];
    // The sums wait for each other, the comparisons do not: summing the former block meanwhile keeps both
    // going.
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
