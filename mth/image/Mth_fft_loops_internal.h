// The stages of the transform, several fused per pass over the data. Lanes run across butterflies of one
// stage, which are independent: every value sees the operations of the plain loops, in their order.

#include "mth/core/Mth_lanes_internal.h"

struct Butterflies {
  Lanes re;
  Lanes im;
};

// The compiler keeps them in registers; left to itself it reads them again for each of their uses.
inline Butterflies LoadButterflies(const double* re, const double* im) {
  return {Opaque(Load<Lanes>(re)), Opaque(Load<Lanes>(im))};
}

// (a, b) becomes (a + t, a - t).
inline void AddAndSubtract(Lanes t1, Lanes t2, Butterflies& a, Butterflies& b) {
  b.re = a.re - t1;
  b.im = a.im - t2;
  a.re = a.re + t1;
  a.im = a.im + t2;
}

// One butterfly: (a, b) becomes (a + u b, a - u b).
template <class Factor>
inline void Combine(Factor u1, Factor u2, Butterflies& a, Butterflies& b) {
  AddAndSubtract(u1 * b.re - u2 * b.im, u1 * b.im + u2 * b.re, a, b);
}

// The same with u1 = 1, whose products change no bit and are left out; those with u2 = 0 make signs of zeros,
// and NaN of what is not finite.
inline void CombineByOne(double u2, Butterflies& a, Butterflies& b) {
  AddAndSubtract(b.re - u2 * b.im, b.im + u2 * b.re, a, b);
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
      for (int k = 0; k < kValues; ++k) values[k] = LoadButterflies(blockRe + k * span, blockIm + k * span);
#pragma GCC unroll 3
      for (int stage = 0; stage < kStages; ++stage) {
        const int parts = 1 << stage;
#pragma GCC unroll 4
        for (int part = 0; part < parts; ++part) {
          const Factors& row = factors[parts - 1 + part];
          const Lanes u1 = Opaque(Load<Lanes>(row.re + j - first));
          const Lanes u2 = Opaque(Load<Lanes>(row.im + j - first));
#pragma GCC unroll 4
          for (int k = part; k < kValues; k += 2 * parts) Combine(u1, u2, values[k], values[k + parts]);
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

// Takes values that are in reversed order through the first stages, lanes running across transforms of
// kValues.
template <int kValues>
inline void RunFirstStagesOf(const FactorTable& table, Butterflies (&values)[kValues]) {
#pragma GCC unroll 3
  for (int span = 1, stage = 0; span < kValues; span *= 2, ++stage) {
    const Factors& row = table[static_cast<std::size_t>(stage)];
#pragma GCC unroll 8
    for (int k = 0; k < kValues; ++k) {
      const int factor = k & (span - 1);
      if ((k & span) != 0) continue;
      if (factor == 0) {
        CombineByOne(row.im[0], values[k], values[k + span]);
      } else {
        Combine(row.re[factor], row.im[factor], values[k], values[k + span]);
      }
    }
  }
}

constexpr int kReversed[kRowLength] = {0, 4, 2, 6, 1, 5, 3, 7};  // the three bits of an index, reversed

// Row k of the result is column reversed(k) of the rows.
#if MTH_VECTOR_BYTES == 64
// Exchanges halves of neighbouring rows: single values, then pairs, then fours.
inline void StoreRowsTransposed(const double (&rows)[kRowLength][kRowLength], double* target,
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
// Four rows of four: exchanges halves of neighbouring rows, single values, then pairs.
inline void StoreSquare(Lanes a, Lanes b, Lanes c, Lanes d, double* target, std::int64_t stride) {
  const Lanes ab = __builtin_shufflevector(a, b, 0, 4, 2, 6);
  const Lanes ba = __builtin_shufflevector(a, b, 1, 5, 3, 7);
  const Lanes cd = __builtin_shufflevector(c, d, 0, 4, 2, 6);
  const Lanes dc = __builtin_shufflevector(c, d, 1, 5, 3, 7);
  Store(target, __builtin_shufflevector(ab, cd, 0, 1, 4, 5));
  Store(target + 2 * stride, __builtin_shufflevector(ba, dc, 0, 1, 4, 5));
  Store(target + stride, __builtin_shufflevector(ab, cd, 2, 3, 6, 7));
  Store(target + 3 * stride, __builtin_shufflevector(ba, dc, 2, 3, 6, 7));
}
inline void StoreRowsTransposed(const double (&rows)[kRowLength][kRowLength], double* target,
                                std::int64_t stride) {
#pragma GCC unroll 2
  for (int left = 0; left < kRowLength; left += 4) {
#pragma GCC unroll 2
    for (int top = 0; top < kRowLength; top += 4) {
      StoreSquare(Load<Lanes>(rows[top] + left), Load<Lanes>(rows[top + 1] + left),
                  Load<Lanes>(rows[top + 2] + left), Load<Lanes>(rows[top + 3] + left),
                  target + kReversed[left] * stride + top, 2 * stride);
    }
  }
}
#else
inline void StoreRowsTransposed(const double (&rows)[kRowLength][kRowLength], double* target,
                                std::int64_t stride) {
  for (int k = 0; k < kRowLength; ++k) {
    for (int column = 0; column < kRowLength; ++column)
      target[k * stride + column] = rows[column][kReversed[k]];
  }
}
#endif

// Eight rows of eight values, taken in reversed order through the first three stages, lanes running along the
// rows, which decimation has made independent transforms.
class EightRows {
 public:
  static constexpr int kStages = 3;

  void Load(const FactorTable& table, const double* re, const double* im, std::int64_t stride) {
    for (std::int64_t lane = 0; lane < kRowLength; lane += kLanes) {
      Butterflies values[kRowLength];
#pragma GCC unroll 8
      for (int k = 0; k < kRowLength; ++k)
        values[k] = LoadButterflies(re + kReversed[k] * stride + lane, im + kReversed[k] * stride + lane);
      RunFirstStagesOf(table, values);
#pragma GCC unroll 8
      for (int k = 0; k < kRowLength; ++k) {
        Store(tile_.re[k] + lane, values[k].re);
        Store(tile_.im[k] + lane, values[k].im);
      }
    }
  }

  void StoreTransposed(double* re, double* im, std::int64_t stride) const {
    StoreRowsTransposed(tile_.re, re, stride);
    StoreRowsTransposed(tile_.im, im, stride);
  }

 private:
  Tile tile_;
};

#if MTH_VECTOR_BYTES == 32
// Four rows of four values and the first two stages: what sixteen registers hold without going through
// memory.
class FourRows {
 public:
  static constexpr int kStages = 2;

  void Load(const FactorTable& table, const double* re, const double* im, std::int64_t stride) {
    constexpr int kReversedPairs[] = {0, 2, 1, 3};
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k)
      values_[k] = LoadButterflies(re + kReversedPairs[k] * stride, im + kReversedPairs[k] * stride);
    RunFirstStagesOf(table, values_);
  }

  void StoreTransposed(double* re, double* im, std::int64_t stride) const {
    StoreSquare(values_[0].re, values_[1].re, values_[2].re, values_[3].re, re, stride);
    StoreSquare(values_[0].im, values_[1].im, values_[2].im, values_[3].im, im, stride);
  }

 private:
  Butterflies values_[4];
};
using ShortRows = FourRows;
#else
using ShortRows = EightRows;
#endif

// Where the tile of the next middle goes: the bits of the middle are counted from the other end.
inline std::int64_t NextReversed(std::int64_t reversed, std::int64_t middles) {
  std::int64_t bit = middles / 2;
  for (; bit > 0 && (reversed & bit) != 0; bit /= 2) reversed -= bit;
  return reversed + bit;
}

// The rows of a tile lie far apart and follow no order that the machine could foresee.
inline void PrefetchRows(const double* re, const double* im, std::int64_t rows, std::int64_t stride) {
#pragma GCC unroll 8
  for (std::int64_t k = 0; k < rows; ++k) {
    PrefetchForWriting(re + k * stride);
    PrefetchForWriting(im + k * stride);
  }
}

// The bit-reversal permutation and the first stages, in one pass. An index is the high bits that number the
// rows of a square tile, middle bits and as many low bits: reversed, the tile of one middle goes to the tile
// of the reversed middle.
// @return  the number of stages.
template <class Rows>
inline int RunFirstStages(const FactorTable& table, int m, double* re, double* im) {
  constexpr std::int64_t kCount = 1 << Rows::kStages;
  const std::int64_t stride = (std::int64_t{1} << m) / kCount;
  const std::int64_t middles = stride / kCount;
  const bool isLong = m > kTabledStages;
  std::int64_t reversed = 0;
  for (std::int64_t middle = 0; middle < middles; ++middle) {
    double* const re1 = re + middle * kCount;
    double* const im1 = im + middle * kCount;
    double* const re2 = re + reversed * kCount;
    double* const im2 = im + reversed * kCount;
    const std::int64_t next = NextReversed(reversed, middles);
    if (isLong && middle < next) PrefetchRows(re + next * kCount, im + next * kCount, kCount, stride);
    if (middle <= reversed) {
      Rows tile;
      tile.Load(table, re2, im2, stride);
      if (middle < reversed) {
        Rows other;
        other.Load(table, re1, im1, stride);
        other.StoreTransposed(re2, im2, stride);
      }
      tile.StoreTransposed(re1, im1, stride);
    }
    reversed = next;
  }
  return Rows::kStages;
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
  void ComputeRow(const StageRotation& rotation, Factors states, double* re, double* im) const {
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
      StoreRowsTransposed(tile.re, re + step, kStateSpan);
      StoreRowsTransposed(tile.im, im + step, kStateSpan);
    }
  }

  int stage_;
  bool isForward_;
  StageRotation rotations_[kStages];
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
  StageRotation rotations_[FactorChunk<kStages>::kRows];
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
  const std::int64_t n = std::int64_t{1} << m;
  const int done = m > kTabledStages ? RunFirstStages<EightRows>(table, m, re, im)
                                     : RunFirstStages<ShortRows>(table, m, re, im);
  // All stages that do not leave a block that stays in a cache, block by block: the tabled ones in the second
  // one, and of these the shorter ones in the first one.
  const int inBlock = std::min(m, kTabledStages);
  const int inSmallBlock = std::min(m, kTabledStages - 2);
  const std::int64_t block = std::int64_t{1} << inBlock;
  const std::int64_t smallBlock = std::int64_t{1} << inSmallBlock;
  for (std::int64_t first = 0; first < n; first += block) {
    for (std::int64_t place = first; place < first + block; place += smallBlock)
      RunPasses(table, done, inSmallBlock, smallBlock, re + place, im + place);
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
