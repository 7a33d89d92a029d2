// The stages of the transform, several fused per pass over the data. Lanes run across butterflies of one
// stage, which are independent: every value sees the operations of the plain loops, in their order.

#include "mth/core/Mth_lanes_internal.h"

struct Butterflies {
  Lanes re;
  Lanes im;
};

// One butterfly: (a, b) becomes (a + u b, a - u b).
template <class Factor>
inline void Combine(Factor u1, Factor u2, Butterflies& a, Butterflies& b) {
  const Lanes t1 = u1 * b.re - u2 * b.im;
  const Lanes t2 = u1 * b.im + u2 * b.re;
  b.re = a.re - t1;
  b.im = a.im - t2;
  a.re = a.re + t1;
  a.im = a.im + t2;
}

// `kStages` stages from number `first` on in one pass; their spans are multiples of the lanes.
template <int kStages>
inline void RunStages(const Twiddles& twiddles, int first, std::int64_t n, double* re, double* im) {
  constexpr int kValues = 1 << kStages;
  const std::int64_t span = std::int64_t{1} << first;
  StageFactors factors[kStages];
  for (int stage = 0; stage < kStages; ++stage) factors[stage] = twiddles.stages[first + stage];
  for (std::int64_t block = 0; block < n; block += kValues * span) {
    for (std::int64_t j = block; j < block + span; j += kLanes) {
      Butterflies values[kValues];
#pragma GCC unroll 8
      for (int k = 0; k < kValues; ++k)
        values[k] = {Load<Lanes>(re + j + k * span), Load<Lanes>(im + j + k * span)};
#pragma GCC unroll 3
      for (int stage = 0; stage < kStages; ++stage) {
#pragma GCC unroll 8
        for (int k = 0; k < kValues; ++k) {
          if ((k >> stage & 1) != 0) continue;
          const std::int64_t factor = j - block + (k & ((1 << stage) - 1)) * span;
          Combine(Load<Lanes>(factors[stage].re + factor), Load<Lanes>(factors[stage].im + factor), values[k],
                  values[k + (1 << stage)]);
        }
      }
#pragma GCC unroll 8
      for (int k = 0; k < kValues; ++k) {
        Store(re + j + k * span, values[k].re);
        Store(im + j + k * span, values[k].im);
      }
    }
  }
}

constexpr int kReversed[kRowLength] = {0, 4, 2, 6, 1, 5, 3, 7};  // the three bits of an index, reversed

// Takes the eight rows of a tile in reversed order through the first three stages, lanes running along the
// rows, which decimation has made independent transforms.
inline void RunFirstStagesOfTile(const Twiddles& twiddles, const double* re, const double* im,
                                 std::int64_t stride, Tile& tile) {
  for (std::int64_t lane = 0; lane < kRowLength; lane += kLanes) {
    Butterflies values[kRowLength];
#pragma GCC unroll 8
    for (int k = 0; k < kRowLength; ++k) {
      values[k] = {Load<Lanes>(re + kReversed[k] * stride + lane),
                   Load<Lanes>(im + kReversed[k] * stride + lane)};
    }
#pragma GCC unroll 3
    for (int stage = 0; stage < 3; ++stage) {
#pragma GCC unroll 8
      for (int k = 0; k < kRowLength; ++k) {
        if ((k >> stage & 1) != 0) continue;
        const int factor = k & ((1 << stage) - 1);
        const StageFactors& factors = twiddles.stages[stage];
        Combine(factors.re[factor], factors.im[factor], values[k], values[k + (1 << stage)]);
      }
    }
#pragma GCC unroll 8
    for (int k = 0; k < kRowLength; ++k) {
      Store(tile.re[k] + lane, values[k].re);
      Store(tile.im[k] + lane, values[k].im);
    }
  }
}

// Row k of the result is column reversed(k) of the rows.
#if MTH_VECTOR_BYTES == 64
// Exchanges halves of neighbouring rows: single values, then pairs, then fours.
inline void StoreTransposed(const double (&rows)[kRowLength][kRowLength], double* target,
                            std::int64_t stride) {
  Lanes single[kRowLength];
#pragma GCC unroll 4
  for (int k = 0; k < kRowLength; k += 2) {
    const Lanes a = Load<Lanes>(rows[k]);
    const Lanes b = Load<Lanes>(rows[k + 1]);
    single[k] = __builtin_shufflevector(a, b, 0, 8, 2, 10, 4, 12, 6, 14);
    single[k + 1] = __builtin_shufflevector(a, b, 1, 9, 3, 11, 5, 13, 7, 15);
  }
  Lanes pairs[kRowLength];
#pragma GCC unroll 8
  for (int k = 0; k < kRowLength; ++k) {
    if ((k & 2) != 0) continue;
    pairs[k] = __builtin_shufflevector(single[k], single[k + 2], 0, 1, 8, 9, 4, 5, 12, 13);
    pairs[k + 2] = __builtin_shufflevector(single[k], single[k + 2], 2, 3, 10, 11, 6, 7, 14, 15);
  }
#pragma GCC unroll 4
  for (int k = 0; k < kRowLength / 2; ++k) {
    Store(target + kReversed[k] * stride,
          __builtin_shufflevector(pairs[k], pairs[k + 4], 0, 1, 2, 3, 8, 9, 10, 11));
    Store(target + kReversed[k + 4] * stride,
          __builtin_shufflevector(pairs[k], pairs[k + 4], 4, 5, 6, 7, 12, 13, 14, 15));
  }
}
#else
inline void StoreTransposed(const double (&rows)[kRowLength][kRowLength], double* target,
                            std::int64_t stride) {
  for (int k = 0; k < kRowLength; ++k) {
    for (int column = 0; column < kRowLength; ++column)
      target[k * stride + column] = rows[column][kReversed[k]];
  }
}
#endif

// The bit-reversal permutation and the first three stages, in one pass. An index is three high bits, middle
// bits and three low bits: reversed, the tile of one middle goes to the tile of the reversed middle.
inline void RunFirstStages(const Twiddles& twiddles, int m, double* re, double* im) {
  const std::int64_t stride = (std::int64_t{1} << m) / kRowLength;
  const std::int64_t middles = stride / kRowLength;
  std::int64_t reversed = 0;
  Tile tile;
  Tile other;
  for (std::int64_t middle = 0; middle < middles; ++middle) {
    double* const re1 = re + middle * kRowLength;
    double* const im1 = im + middle * kRowLength;
    double* const re2 = re + reversed * kRowLength;
    double* const im2 = im + reversed * kRowLength;
    if (middle <= reversed) {
      RunFirstStagesOfTile(twiddles, re2, im2, stride, tile);
      if (middle < reversed) {
        RunFirstStagesOfTile(twiddles, re1, im1, stride, other);
        StoreTransposed(other.re, re2, stride);
        StoreTransposed(other.im, im2, stride);
      }
      StoreTransposed(tile.re, re1, stride);
      StoreTransposed(tile.im, im1, stride);
    }
    std::int64_t bit = middles / 2;
    for (; bit > 0 && (reversed & bit) != 0; bit /= 2) reversed -= bit;
    reversed += bit;
  }
}

constexpr int kStagesInCache = 12;  // of transforms that stay in the cache

// Stages [stage, last) of n values.
inline void RunPasses(const Twiddles& twiddles, int stage, int last, std::int64_t n, double* re, double* im) {
  if ((last - stage) % 2 != 0) {
    // The rows of a long transform share few places of the cache: too few for three stages at a time.
    if (last <= kStagesInCache) {
      RunStages<3>(twiddles, stage, n, re, im);
      stage += 3;
    } else {
      RunStages<1>(twiddles, stage, n, re, im);
      ++stage;
    }
  }
  for (; stage < last; stage += 2) RunStages<2>(twiddles, stage, n, re, im);
}

inline void Transform(const Twiddles& twiddles, int m, double* re, double* im) {
  constexpr int kFirstStages = 3;
  const std::int64_t n = std::int64_t{1} << m;
  RunFirstStages(twiddles, m, re, im);
  // All stages that do not leave a block, block by block.
  const int inBlock = std::min(m, kStagesInCache);
  const std::int64_t block = std::int64_t{1} << inBlock;
  for (std::int64_t first = 0; first < n; first += block) {
    RunPasses(twiddles, kFirstStages, inBlock, block, re + first, im + first);
  }
  RunPasses(twiddles, inBlock, m, n, re, im);
}
