// The memberships of fuzzy c-means where its exponents are no whole numbers, compiled per instruction set;
// included by Mth_fuzzy_loops_internal.h. With q_k = d_k^(-2/(m-1)) and S the sum of those q that count, the
// membership is u_k = q_k / S, and its weight u_k^m = u_k S^(1-m) / d_k^2: one power for each distance, taken
// of its square, and one for each sample.

// Rows of a vector per cluster, of kLanes samples.
struct PowerRows {
  double* squares;  // of the distances; 1 for one that has no power
  double* powers;   // q; 0, and so no membership, for a distance of 0 and for none
};

// Fills the rows, and adds up the q that count. Returns where a distance is out of range: the sample is then
// no business of these loops.
template <int kDimensions>
MTH_INLINE LaneIndices ComputePowers(const double* features, const CentroidView& centroids, int dimensions,
                                     const SharedPowers& shared, const PowerRows& rows, Lanes& total) {
  LaneIndices isFar = {};
  const double* centroid = centroids.coordinates;
  for (int k = 0; k < centroids.count; ++k, centroid += dimensions) {
    const Lanes square = SquaredDistances<kDimensions>(features, centroid, dimensions);
    const LaneIndices isInRange = (square <= shared.longest) & (square >= shared.shortest);
    isFar |= (isInRange == 0) & (square != 0.0) & (square == square);
    const Lanes base = Opaque(isInRange ? square : Spread<Lanes>(1.0));
    const Lanes power = FixedPower<Lanes>(shared.ofSquare, base);
    const LaneIndices isCounted = isInRange & (square > shared.smallest);
    total += isCounted ? power : Lanes{};
    Store(LaneRow(rows.squares, k), base);
    Store(LaneRow(rows.powers, k), isInRange ? power : Lanes{});
  }
  return isFar;
}

// New memberships in the lanes where isWritten says so, and the weights of all; returns their changes where
// isSample does, too, or largest so far.
MTH_INLINE Lanes ShareTotal(const PowerRows& rows, int clusters, const SharedPowers& shared, Lanes total,
                            LaneIndices isWritten, LaneIndices isSample, double* memberships, double* weights,
                            Lanes largest) {
  const Lanes sum = Opaque(total > 0.0 ? total : Spread<Lanes>(1.0));
  const Lanes factor = FixedPower<Lanes>(shared.ofSum, sum);
  for (int k = 0; k < clusters; ++k) {
    const Lanes power = Load<Lanes>(LaneRow(rows.powers, k));
    const LaneIndices isMember = total > kSmallestFuzzySum * power;
    const Lanes updated = Opaque(isMember ? power : Lanes{}) / sum;
    const Lanes old = Load<Lanes>(memberships);
    const Lanes difference = updated - old;
    const Lanes change = difference < 0.0 ? -difference : difference;
    const LaneIndices isLarger = isWritten & isSample & (change > largest);
    largest = isLarger ? change : largest;
    Store(memberships, isWritten ? updated : old);
    Store(weights, updated * (factor / Load<Lanes>(LaneRow(rows.squares, k))));
    memberships += kBlockSamples;
    weights += kBlockSamples;
  }
  return largest;
}

// The weights of the lanes where isWritten says so, from their memberships.
template <class Power>
MTH_INLINE void WeighLanes(const double* memberships, int clusters, Power power, LaneIndices isWritten,
                           double* weights) {
  for (int k = 0; k < clusters; ++k) {
    const Lanes weight = power(Load<Lanes>(memberships));
    Store(weights, isWritten ? weight : Load<Lanes>(weights));
    memberships += kBlockSamples;
    weights += kBlockSamples;
  }
}
