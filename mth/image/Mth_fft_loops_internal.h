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

// `kStages` stages in one pass over n values, the first one of a span that is a multiple of the lanes, for
// the places [first, last) of each of its blocks. Each of the stages has a row of factors for each of the
// 2^stage parts of its own span that lie that far apart; `factors` holds these rows, beginning at the place
// `first`, stage after stage.
template <int kStages>
inline void RunStages(const Factors* factors, std::int64_t span, std::int64_t first, std::int64_t last,
                      std::int64_t n, double* re, double* im) {
  constexpr int kValues = 1 << kStages;
  for (std::int64_t block = 0; block < n; block += kValues * span) {
    for (std::int64_t j = first; j < last; j += kLanes) {
      double* const blockRe = re + block + j;
      double* const blockIm = im + block + j;
      Butterflies values[kValues];
#pragma GCC unroll 8
      for (int k = 0; k < kValues; ++k)
        values[k] = {Load<Lanes>(blockRe + k * span), Load<Lanes>(blockIm + k * span)};
#pragma GCC unroll 3
      for (int stage = 0; stage < kStages; ++stage) {
        const int parts = 1 << stage;
#pragma GCC unroll 8
        for (int k = 0; k < kValues; ++k) {
          if ((k & parts) != 0) continue;
          const Factors& row = factors[parts - 1 + (k & (parts - 1))];
          Combine(Load<Lanes>(row.re + j - first), Load<Lanes>(row.im + j - first), values[k],
                  values[k + parts]);
        }
      }
#pragma GCC unroll 8
      for (int k = 0; k < kValues; ++k) {
        Store(blockRe + k * span, values[k].re);
        Store(blockIm + k * span, values[k].im);
      }
    }
  }
}

// Stages from number `stage` on whose factors are in the table.
template <int kStages>
inline void RunTabledStages(const FactorTable& table, int stage, std::int64_t n, double* re, double* im) {
  const std::int64_t span = std::int64_t{1} << stage;
  Factors factors[(1 << kStages) - 1];
  for (int s = 0; s < kStages; ++s) {
    for (int part = 0; part < 1 << s; ++part)
      factors[(1 << s) - 1 + part] = table[static_cast<std::size_t>(stage + s)].From(part * span);
  }
  RunStages<kStages>(factors, span, 0, span, n, re, im);
}

constexpr int kReversed[kRowLength] = {0, 4, 2, 6, 1, 5, 3, 7};  // the three bits of an index, reversed

// Takes the eight rows of a tile in reversed order through the first three stages, lanes running along the
// rows, which decimation has made independent transforms.
inline void RunFirstStagesOfTile(const FactorTable& table, const double* re, const double* im,
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
        const Factors& row = table[static_cast<std::size_t>(stage)];
        Combine(row.re[factor], row.im[factor], values[k], values[k + (1 << stage)]);
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
#elif MTH_VECTOR_BYTES == 32
// In four squares of four: exchanges halves of neighbouring rows, single values, then pairs.
inline void StoreTransposed(const double (&rows)[kRowLength][kRowLength], double* target,
                            std::int64_t stride) {
#pragma GCC unroll 2
  for (int left = 0; left < kRowLength; left += 4) {
#pragma GCC unroll 2
    for (int top = 0; top < kRowLength; top += 4) {
      const Lanes a = Load<Lanes>(rows[top] + left);
      const Lanes b = Load<Lanes>(rows[top + 1] + left);
      const Lanes c = Load<Lanes>(rows[top + 2] + left);
      const Lanes d = Load<Lanes>(rows[top + 3] + left);
      const Lanes ab = __builtin_shufflevector(a, b, 0, 4, 2, 6);
      const Lanes ba = __builtin_shufflevector(a, b, 1, 5, 3, 7);
      const Lanes cd = __builtin_shufflevector(c, d, 0, 4, 2, 6);
      const Lanes dc = __builtin_shufflevector(c, d, 1, 5, 3, 7);
      const auto put = [&](int column, Lanes values) {
        Store(target + kReversed[column] * stride + top, values);
      };
      put(left, __builtin_shufflevector(ab, cd, 0, 1, 4, 5));
      put(left + 1, __builtin_shufflevector(ba, dc, 0, 1, 4, 5));
      put(left + 2, __builtin_shufflevector(ab, cd, 2, 3, 6, 7));
      put(left + 3, __builtin_shufflevector(ba, dc, 2, 3, 6, 7));
    }
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

// Where the tile of the next middle goes: the bits of the middle are counted from the other end.
inline std::int64_t NextReversed(std::int64_t reversed, std::int64_t middles) {
  std::int64_t bit = middles / 2;
  for (; bit > 0 && (reversed & bit) != 0; bit /= 2) reversed -= bit;
  return reversed + bit;
}

// The rows of a tile lie far apart and follow no order that the machine could foresee.
inline void PrefetchRows(const double* re, const double* im, std::int64_t stride) {
#pragma GCC unroll 8
  for (int k = 0; k < kRowLength; ++k) {
    PrefetchForWriting(re + k * stride);
    PrefetchForWriting(im + k * stride);
  }
}

// The bit-reversal permutation and the first three stages, in one pass. An index is three high bits, middle
// bits and three low bits: reversed, the tile of one middle goes to the tile of the reversed middle.
inline void RunFirstStages(const FactorTable& table, int m, double* re, double* im) {
  const std::int64_t stride = (std::int64_t{1} << m) / kRowLength;
  const std::int64_t middles = stride / kRowLength;
  const bool isLong = m > kTabledStages;
  std::int64_t reversed = 0;
  Tile tile;
  Tile other;
  for (std::int64_t middle = 0; middle < middles; ++middle) {
    double* const re1 = re + middle * kRowLength;
    double* const im1 = im + middle * kRowLength;
    double* const re2 = re + reversed * kRowLength;
    double* const im2 = im + reversed * kRowLength;
    const std::int64_t next = NextReversed(reversed, middles);
    if (isLong && middle < next) PrefetchRows(re + next * kRowLength, im + next * kRowLength, stride);
    if (middle <= reversed) {
      RunFirstStagesOfTile(table, re2, im2, stride, tile);
      if (middle < reversed) {
        RunFirstStagesOfTile(table, re1, im1, stride, other);
        StoreTransposed(other.re, re2, stride);
        StoreTransposed(other.im, im2, stride);
      }
      StoreTransposed(tile.re, re1, stride);
      StoreTransposed(tile.im, im1, stride);
    }
    reversed = next;
  }
}

// ---- stages beyond the table, whose factors are computed a chunk at a time ----

constexpr std::int64_t kChunk = std::int64_t{kRowLength} * kStateSpan;

// The factors of the stages from one on: row `part` of stage s has number 2^s - 1 + part.
template <int kStages>
struct FactorChunk {
  static constexpr int kRows = (1 << kStages) - 1;
  alignas(64) double re[kRows][kChunk];
  alignas(64) double im[kRows][kChunk];

  template <class Visit>
  static void ForEachRow(Visit visit) {
    for (int s = 0; s < kStages; ++s) {
      for (int part = 0; part < 1 << s; ++part) visit((1 << s) - 1 + part, s, part);
    }
  }
};

// Where the stages have states: chains of steps from kRowLength of these, side by side in lanes.
template <int kStages>
class FactorsFromStates {
 public:
  FactorsFromStates(int dir, int stage) : stage_(stage), isForward_(dir == kForward) {
    for (int s = 0; s < kStages; ++s) rotations_[s] = RotationOfStage(dir, stage + s);
  }

  void Compute(std::int64_t first, FactorChunk<kStages>& chunk) const {
    FactorChunk<kStages>::ForEachRow([&](int row, int s, int part) {
      const std::int64_t state = ((std::int64_t{part} << stage_) + first) / kStateSpan;
      ComputeRow(rotations_[s], StatesOfStage(stage_ + s).From(state), chunk.re[row], chunk.im[row]);
    });
  }

 private:
  void ComputeRow(const Rotation& rotation, Factors states, double* re, double* im) const {
    constexpr std::int64_t kGroups = kRowLength / kLanes;
    alignas(64) double first[2][kRowLength];
    for (int k = 0; k < kRowLength; ++k) {
      first[0][k] = states.re[kReversed[k]];  // as rows come out of the transposition
      first[1][k] = isForward_ ? 0.0 - states.im[kReversed[k]] : states.im[kReversed[k]];  // 0 stays 0
    }
    const Lanes c1 = Spread<Lanes>(rotation.c1);
    const Lanes c2 = Spread<Lanes>(rotation.c2);
    Lanes u1[kGroups];
    Lanes u2[kGroups];
#pragma GCC unroll 4
    for (std::int64_t g = 0; g < kGroups; ++g) {
      u1[g] = Load<Lanes>(first[0] + g * kLanes);
      u2[g] = Load<Lanes>(first[1] + g * kLanes);
    }
    for (int step = 0; step < kStateSpan; step += kRowLength) {
      Tile tile;
#pragma GCC unroll 8
      for (int k = 0; k < kRowLength; ++k) {
#pragma GCC unroll 4
        for (std::int64_t g = 0; g < kGroups; ++g) {
          Store(tile.re[k] + g * kLanes, u1[g]);
          Store(tile.im[k] + g * kLanes, u2[g]);
          const Lanes next = u1[g] * c1 - u2[g] * c2;
          u2[g] = u1[g] * c2 + u2[g] * c1;
          u1[g] = next;
        }
      }
      StoreTransposed(tile.re, re + step, kStateSpan);
      StoreTransposed(tile.im, im + step, kStateSpan);
    }
  }

  int stage_;
  bool isForward_;
  Rotation rotations_[kStages];
};

// Elsewhere: step by step, those of all rows side by side, since each waits for the one before it in its row.
template <int kStages>
class FactorsFromSteps {
 public:
  FactorsFromSteps(int dir, int stage) {
    FactorChunk<kStages>::ForEachRow([&](int row, int s, int part) {
      if (part == 0) {
        rotations_[row] = RotationOfStage(dir, stage + s);
        return;
      }
      rotations_[row] = rotations_[row - 1];
      for (std::int64_t j = 0; j < std::int64_t{1} << stage; ++j) rotations_[row].Step();
    });
  }

  void Compute(std::int64_t, FactorChunk<kStages>& chunk) {
    for (std::int64_t j = 0; j < kChunk; ++j) {
      for (int row = 0; row < FactorChunk<kStages>::kRows; ++row) {
        chunk.re[row][j] = rotations_[row].u1;
        chunk.im[row][j] = rotations_[row].u2;
        rotations_[row].Step();
      }
    }
  }

 private:
  Rotation rotations_[FactorChunk<kStages>::kRows];
};

template <int kStages, class Source>
inline void RunChunks(Source source, int stage, std::int64_t n, double* re, double* im) {
  FactorChunk<kStages> chunk;
  Factors factors[FactorChunk<kStages>::kRows];
  for (int row = 0; row < FactorChunk<kStages>::kRows; ++row) factors[row] = {chunk.re[row], chunk.im[row]};
  const std::int64_t span = std::int64_t{1} << stage;
  for (std::int64_t first = 0; first < span; first += kChunk) {
    source.Compute(first, chunk);
    RunStages<kStages>(factors, span, first, first + kChunk, n, re, im);
  }
}

template <int kStages>
inline void RunLongStages(int dir, int stage, std::int64_t n, double* re, double* im) {
  if (stage + kStages <= kStatedStages) {
    RunChunks<kStages>(FactorsFromStates<kStages>(dir, stage), stage, n, re, im);
  } else {
    RunChunks<kStages>(FactorsFromSteps<kStages>(dir, stage), stage, n, re, im);
  }
}

// Stages [stage, last) of n values, of which two at a time is what a long transform can do: its rows share
// few places of the cache, too few for three.
inline void RunPasses(const FactorTable& table, int stage, int last, std::int64_t n, double* re, double* im) {
  if ((last - stage) % 2 != 0 && last - stage >= 3) {
    RunTabledStages<3>(table, stage, n, re, im);
    stage += 3;
  } else if ((last - stage) % 2 != 0) {
    RunTabledStages<1>(table, stage, n, re, im);
    ++stage;
  }
  for (; stage < last; stage += 2) RunTabledStages<2>(table, stage, n, re, im);
}

inline void Transform(const FactorTable& table, int dir, int m, double* re, double* im) {
  constexpr int kFirstStages = 3;
  const std::int64_t n = std::int64_t{1} << m;
  RunFirstStages(table, m, re, im);
  // All stages that do not leave a block that stays in a cache, block by block: the tabled ones in the second
  // one, and of these the shorter ones in the first one.
  const int inBlock = std::min(m, kTabledStages);
  const int inSmallBlock = std::min(m, kTabledStages - 2);
  const std::int64_t block = std::int64_t{1} << inBlock;
  const std::int64_t smallBlock = std::int64_t{1} << inSmallBlock;
  for (std::int64_t first = 0; first < n; first += block) {
    for (std::int64_t place = first; place < first + block; place += smallBlock)
      RunPasses(table, kFirstStages, inSmallBlock, smallBlock, re + place, im + place);
    RunPasses(table, inSmallBlock, inBlock, block, re + first, im + first);
  }
  int stage = inBlock;
  if ((m - stage) % 2 != 0) RunLongStages<1>(dir, stage++, n, re, im);
  for (; stage < m; stage += 2) RunLongStages<2>(dir, stage, n, re, im);
}

// values[i] * factor
inline void Scale(double factor, std::int64_t n, double* values) {
  ForEachLanes(0, n, [=]<class V>(std::int64_t i, V) { Store(values + i, factor * Load<V>(values + i)); });
}
