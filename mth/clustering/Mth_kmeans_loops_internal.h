// The assignment of k-means, compiled per instruction set; included by Mth_clustering_loops_internal.h.

bool FindLabels(const double* memberships, int clusters, std::int32_t* labels) {
  LaneIndices isSeveral = {};
  for (std::int64_t b = 0; b < kBlockSamples; b += kLanes) {
    LaneIndices found = LaneIndices{} + kNoLabel;
    LaneIndices cluster = {};
    const double* membership = memberships + b;
    for (int k = 0; k < clusters; ++k, membership += kBlockSamples) {
      const LaneIndices isOne = Load<Lanes>(membership) == 1.0;
      isSeveral |= isOne & (found != kNoLabel);
      found = isOne ? cluster : found;
      cluster += 1;
    }
    std::int64_t clustersFound[kLanes];
    SetAt(clustersFound, found);
    for (std::int64_t i = 0; i < kLanes; ++i) labels[b + i] = static_cast<std::int32_t>(clustersFound[i]);
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
  for (int i = 0; i < kVectors; ++i) SetAt(nearest + i * kLanes, bestCluster[i]);
  return HasAny(isClose);
}

// The same by the distances themselves.
inline void CompareDistances(const double* features, const CentroidView& centroids, int dimensions,
                             std::int64_t* nearest) {
  for (std::int64_t b = 0; b < kStep; b += kLanes) {
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
    SetAt(nearest + b, bestCluster);
  }
}

// A sample weighs 1 in its cluster and 0 in the others. These are not skipped: 0 times an infinity or NaN is
// NaN.
alignas(64) inline constexpr double kUnitWeights[kSumLanes + 1][kSumLanes] = {
    {1.0}, {0.0, 1.0}, {0.0, 0.0, 1.0}, {0.0, 0.0, 0.0, 1.0}, {}};

// Sums of at most kSumLanes clusters and few dimensions: they stay in registers from the first sample to
// Finish.
template <int kDimensions>
class FewLabelledSums {
 public:
  FewLabelledSums(const SumView& sums, int /*clusters*/, int /*dimensions*/)
      : result_(sums), sums_(sums.weights, sums.features) {}
  void Add(const std::int64_t* labels, const double* features, int count) {
    if (count == kStep) {  // a constant for the compiler
      for (int b = 0; b < kStep; ++b) sums_.Add(kUnitWeights[labels[b]], features + b);
    } else {
      for (int b = 0; b < count; ++b) sums_.Add(kUnitWeights[labels[b]], features + b);
    }
  }
  void Finish() const {
    sums_.StoreWeights(result_.weights);
    sums_.StoreFeatures(result_.features);
  }

 private:
  SumView result_;
  GroupSums<kDimensions> sums_;
};

// Sums of any number of clusters and dimensions, kept up to date in memory.
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
  void Finish() const {}

 private:
  SumView sums_;
  int clusters_;
  int dimensions_;
};

// A block of samples with the nearest centroids that were found for them.
struct AssignedBlock {
  const double* features = nullptr;
  int count = 0;
  alignas(64) std::int64_t nearest[kBlockSamples];
};

// Finds the nearest centroids of kStep samples of a block.
template <int kDimensions>
inline void AssignStep(AssignedBlock& block, int first, const CentroidView& centroids, int dimensions) {
  const double* const features = block.features + first;
  if (CompareSquares<kDimensions>(features, centroids, dimensions, block.nearest + first)) {
    CompareDistances(features, centroids, dimensions, block.nearest + first);
  }
}

// Writes the labels of a block, and counts in moves[b] whether that of sample b changed.
inline void WriteLabels(const AssignedBlock& block, std::int32_t* labels, std::int32_t* moves) {
  for (int b = 0; b < kBlockSamples; ++b) {
    const auto label = static_cast<std::int32_t>(block.nearest[b]);
    moves[b] += (label != labels[b]) & (b < block.count);
    labels[b] = label;
  }
}

// The additions of a sum wait for each other, comparisons do not: adding one block while the next is compared
// keeps both going. Therefore the sums are one block behind the labels.
template <int kDimensions, class LabelledSums>
inline std::int64_t AssignBlocks(const SampleView& samples, const CentroidView& centroids,
                                 std::int32_t* labels, const SumView& sumView) {
  const int dimensions = kDimensions > 0 ? kDimensions : samples.dimensions;
  const std::ptrdiff_t blockValues = std::ptrdiff_t{dimensions} * kBlockSamples;
  LabelledSums sums(sumView, centroids.count, dimensions);
  std::int32_t moves[kBlockSamples] = {};
  AssignedBlock blocks[2];
  AssignedBlock* present = &blocks[0];
  AssignedBlock* former = &blocks[1];  // empty before the first block
  ForEachBlock(samples, [&](std::ptrdiff_t block, int count, const double* features) {
    for (std::ptrdiff_t i = 0; i < blockValues; i += kCacheLineDoubles)
      Prefetch(features + kBlocksAhead * blockValues + i);
    present->features = features;
    present->count = count;
    for (int first = 0; first < kBlockSamples; first += kStep) {
      AssignStep<kDimensions>(*present, first, centroids, dimensions);
      if (former->count > 0) sums.Add(former->nearest + first, former->features + first, kStep);
    }
    WriteLabels(*present, labels + block * kBlockSamples, moves);
    std::swap(present, former);
  });
  sums.Add(former->nearest, former->features, former->count);
  sums.Finish();
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
