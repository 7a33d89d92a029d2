// Non-local means of one shift, row by row. Lanes run along the row; whole rows are done one step after the
// other, so that the order of a voxel's sums does not depend on the width of a vector.

#include "mth/denoising/Mth_floats_loops_internal.h"

template <class V>
struct WholesOf {
  using Type = std::int32_t;
};
#if MTH_HAS_VECTORS
template <>
struct WholesOf<Floats> {
  using Type = VectorOf<std::int32_t>::Type;
};
#endif

// e to a power that is not positive, in floats, to 2 units in the last place; 0 below -87.
template <class V>
MTH_INLINE V DecayingExponential(V x) {
  constexpr float kLog2E = 1.44269504F;
  constexpr float kLn2High = 0.693359375F;  // 9 bits: whole numbers up to 2^14 times it are exact
  constexpr float kLn2Low = -2.12194440e-4F;
  constexpr float kRoundToWholeFloat = 0x1.8p23F;
  constexpr float kLeast = -87.0F;  // its result is still a normal number
  const V clamped = x < kLeast ? kLeast + V{} : x;
  const V shifted = clamped * kLog2E + kRoundToWholeFloat;
  const V whole = shifted - kRoundToWholeFloat;
  const V rest = (clamped - whole * kLn2High) - whole * kLn2Low;
  V sum = 1.0F / 720.0F + V{};
  sum = sum * rest + 1.0F / 120.0F;
  sum = sum * rest + 1.0F / 24.0F;
  sum = sum * rest + 1.0F / 6.0F;
  sum = sum * rest + 0.5F;
  sum = 1.0F + (rest + rest * rest * sum);
  // The low bits of the shifted number are the whole one: they become the exponent of a power of two.
  V power;
  if constexpr (sizeof(V) == sizeof(float)) {
    std::int32_t bits;  // not std::bit_cast, which not every standard library has
    std::memcpy(&bits, &shifted, sizeof bits);
    bits = static_cast<std::int32_t>(static_cast<std::uint32_t>(bits + 127) << 23);
    std::memcpy(&power, &bits, sizeof power);
  } else {
    using Wholes = typename WholesOf<V>::Type;
    power = (V)(((Wholes)shifted + 127) << 23);
  }
  return x < kLeast ? V{} : sum * power;
}

// Adds up each element of a row with its two neighbours; the row has room for one more at either end, which
// repeats the last.
inline void SumNeighbours(float* row, std::int64_t count, float* sums) {
  row[0] = row[1];
  row[count + 1] = row[count];
  ForEachFloats(count, [&]<class V>(std::int64_t i, V) {
    SetAt(sums + i, (At<V>(row + i) + At<V>(row + i + 1)) + At<V>(row + i + 2));
  });
}

inline void SquareDifferences(const float* a, const float* b, std::int64_t count, float* squares) {
  ForEachFloats(count, [&]<class V>(std::int64_t i, V) {
    const V difference = At<V>(a + i) - At<V>(b + i);
    SetAt(squares + i, difference * difference);
  });
}

inline void AddThreeRows(const float* a, const float* b, const float* c, std::int64_t count, float* sums) {
  ForEachFloats(count, [&]<class V>(std::int64_t i, V) {
    SetAt(sums + i, (At<V>(a + i) + At<V>(b + i)) + At<V>(c + i));
  });
}

// The weights of a row of pairs.
inline void WeighRow(const PairRow& row, std::int64_t count, float* weights) {
  ForEachFloats(count, [&]<class V>(std::int64_t i, V) {
    const V difference = At<V>(row.guide + i) - At<V>(row.otherGuide + i);
    const V ofMeans = At<V>(row.means + i) - At<V>(row.otherMeans + i);
    const V box = (At<V>(row.sums[0] + i) + At<V>(row.sums[1] + i)) + At<V>(row.sums[2] + i);
    const V distance = (difference * difference + 3.9F * (ofMeans * ofMeans)) + box * (0.7F / 27.0F);
    SetAt(weights + i, DecayingExponential<V>(-(distance * row.decay)));
  });
}

// Gives each voxel of a row its share of the magnitudes of others.
inline void GiveShares(const float* weights, const float* magnitudes, std::int64_t count, float* sumOfWeights,
                       float* sumOfSquaredWeights, float* sumOfShares) {
  ForEachFloats(count, [&]<class V>(std::int64_t i, V) {
    const V weight = At<V>(weights + i);
    SetAt(sumOfWeights + i, At<V>(sumOfWeights + i) + weight);
    SetAt(sumOfSquaredWeights + i, At<V>(sumOfSquaredWeights + i) + weight * weight);
    SetAt(sumOfShares + i, At<V>(sumOfShares + i) + weight * At<V>(magnitudes + i));
  });
}
