// Cosine transforms of overlapping blocks. Lanes run across the blocks of a row; a block's own sums run in
// the order of its coefficients, and what several blocks give to a voxel is added in the order of the blocks,
// whatever the width of a vector.

#include "mth/denoising/Mth_floats_loops_internal.h"

// Coefficients of the orthonormal cosine transform of kSide samples: row k holds those of the first half of
// the samples; the second half mirrors it, with the opposite sign where k is odd.
template <int kSide>
struct Cosines;
template <>
struct Cosines<4> {
  static constexpr float kRows[4][2] = {{0.5F, 0.5F},
                                        {0.653281482438188264F, 0.270598050073098492F},
                                        {0.5F, -0.5F},
                                        {0.270598050073098492F, -0.653281482438188264F}};
};
template <>
struct Cosines<6> {
  static constexpr float kRows[6][3] = {
      {0.408248290463863016F, 0.408248290463863016F, 0.408248290463863016F},
      {0.557677535825205350F, 0.408248290463863016F, 0.149429245361342137F},
      {0.5F, 0.0F, -0.5F},
      {0.408248290463863016F, -0.408248290463863016F, -0.408248290463863016F},
      {0.288675134594812882F, -0.577350269189625764F, 0.288675134594812882F},
      {0.149429245361342137F, -0.408248290463863016F, 0.557677535825205350F}};
};

// In place. A side of 1 is no transform.
template <int kSide>
MTH_INLINE void Transform(Floats (&samples)[kSide]) {
  if constexpr (kSide > 1) {
    constexpr int kHalf = kSide / 2;
    Floats sums[kHalf];
    Floats differences[kHalf];
#pragma GCC unroll 8
    for (int i = 0; i < kHalf; ++i) {
      sums[i] = samples[i] + samples[kSide - 1 - i];
      differences[i] = samples[i] - samples[kSide - 1 - i];
    }
#pragma GCC unroll 8
    for (int k = 0; k < kSide; ++k) {
      const auto& row = Cosines<kSide>::kRows[k];
      const auto& terms = k % 2 == 0 ? sums : differences;
      Floats sum = row[0] * terms[0];
#pragma GCC unroll 8
      for (int i = 1; i < kHalf; ++i) sum += row[i] * terms[i];
      samples[k] = sum;
    }
  }
}

template <int kSide>
MTH_INLINE void TransformBack(Floats (&coefficients)[kSide]) {
  if constexpr (kSide > 1) {
    constexpr int kHalf = kSide / 2;
    const auto& rows = Cosines<kSide>::kRows;
    Floats even[kHalf];
    Floats odd[kHalf];
#pragma GCC unroll 8
    for (int i = 0; i < kHalf; ++i) {
      even[i] = rows[0][i] * coefficients[0];
      odd[i] = rows[1][i] * coefficients[1];
#pragma GCC unroll 8
      for (int k = 2; k < kSide; k += 2) {
        even[i] += rows[k][i] * coefficients[k];
        odd[i] += rows[k + 1][i] * coefficients[k + 1];
      }
    }
#pragma GCC unroll 8
    for (int i = 0; i < kHalf; ++i) {
      coefficients[i] = even[i] + odd[i];
      coefficients[kSide - 1 - i] = even[i] - odd[i];
    }
  }
}

// Transforms across kSide rows: coefficient k of every column goes to row k of `to`, `stride` floats on. The
// count is in whole vectors.
template <int kSide>
inline void TransformRows(const float* const* from, float* to, std::int64_t stride, std::int64_t count) {
  for (std::int64_t i = 0; i < count; i += kFloats) {
    Floats values[kSide];
#pragma GCC unroll 8
    for (int k = 0; k < kSide; ++k) values[k] = At<Floats>(from[k] + i);
    Transform<kSide>(values);
#pragma GCC unroll 8
    for (int k = 0; k < kSide; ++k) SetAt(to + k * stride + i, values[k]);
  }
}

// The way back; adds to the rows that are not null.
template <int kSide>
inline void AddRowsBack(const float* from, std::int64_t stride, float* const* to, std::int64_t count) {
  for (std::int64_t i = 0; i < count; i += kFloats) {
    Floats values[kSide];
#pragma GCC unroll 8
    for (int k = 0; k < kSide; ++k) values[k] = At<Floats>(from + k * stride + i);
    TransformBack<kSide>(values);
#pragma GCC unroll 8
    for (int k = 0; k < kSide; ++k) {
      if (to[k] != nullptr) SetAt(to[k] + i, At<Floats>(to[k] + i) + values[k]);
    }
  }
}

// Sets small coefficients to 0 and gives the block the weight 1 / (those that are left).
template <int kCount>
MTH_INLINE Floats ShrinkByThreshold(Floats* coefficients, float threshold) {
  Floats kept = 1.0F + Floats{};  // the constant one stays
  for (int c = 1; c < kCount; ++c) {
    const Floats magnitude = coefficients[c] < 0.0F ? -coefficients[c] : coefficients[c];
    coefficients[c] = magnitude > threshold ? coefficients[c] : Floats{};
    kept += magnitude > threshold ? 1.0F + Floats{} : Floats{};
  }
  return 1.0F / kept;
}

// Multiplies by Wiener's factors of the guide's coefficients; the weight is 1 / (sum of their squares).
template <int kCount>
MTH_INLINE Floats ShrinkByGuide(Floats* coefficients, const Floats* guide, float variance) {
  Floats squares = 1.0F + Floats{};  // the constant one stays
  for (int c = 1; c < kCount; ++c) {
    const Floats power = guide[c] * guide[c];
    const Floats factor = power / (power + variance);
    coefficients[c] *= factor;
    squares += factor * factor;
  }
  return 1.0F / squares;
}

// Where sample t of the block at position 0 lies in a row whose samples are sorted by their place modulo
// kStep, `half` floats apart.
template <int kStep>
MTH_INLINE std::int64_t SampleOffset(int t, std::int64_t half) {
  return (t % kStep) * half + t / kStep;
}

template <int kSide, int kStep, int kLines>
MTH_INLINE void LoadBlocks(const BlockRow& row, const float* lines, std::int64_t i,
                           Floats (&coefficients)[kSide * kLines]) {
  for (int line = 0; line < kLines; ++line) {
    Floats samples[kSide];
#pragma GCC unroll 8
    for (int t = 0; t < kSide; ++t)
      samples[t] = At<Floats>(lines + line * row.stride + SampleOffset<kStep>(t, row.half) + i);
    Transform<kSide>(samples);
#pragma GCC unroll 8
    for (int t = 0; t < kSide; ++t) coefficients[line * kSide + t] = samples[t];
  }
}

// Shrinks the blocks of a row, whose lines are already transformed along the other axes.
template <int kSide, int kStep, int kLines, bool kHasGuide>
inline void ShrinkBlocks(const BlockRow& row) {
  const std::int64_t width = row.half;
  for (std::int64_t i = 0; i < row.positions; i += kFloats) {
    Floats coefficients[kSide * kLines];
    LoadBlocks<kSide, kStep, kLines>(row, row.lines, i, coefficients);
    Floats weight;
    if constexpr (kHasGuide) {
      Floats guide[kSide * kLines];
      LoadBlocks<kSide, kStep, kLines>(row, row.guide, i, guide);
      weight = ShrinkByGuide<kSide * kLines>(coefficients, guide, row.level);
    } else {
      weight = ShrinkByThreshold<kSide * kLines>(coefficients, row.level);
    }
    SetAt(row.weights + i, weight);
    for (int line = 0; line < kLines; ++line) {
      Floats samples[kSide];
#pragma GCC unroll 8
      for (int t = 0; t < kSide; ++t) samples[t] = weight * coefficients[line * kSide + t];
      TransformBack<kSide>(samples);
#pragma GCC unroll 8
      for (int t = 0; t < kSide; ++t) SetAt(row.samples + (line * kSide + t) * width + i, samples[t]);
    }
  }
}

// The sum of what the blocks of a row give to the samples of one phase: blocks in ascending order.
template <int kSide, int kStep>
MTH_INLINE void AddUpPhase(const float* samples, std::int64_t width, int phase, std::int64_t count,
                           float* to) {
  constexpr int kBlocks = kSide / kStep;
  for (std::int64_t i = 0; i < count; i += kFloats) {
    Floats sum{};
#pragma GCC unroll 8
    for (int b = kBlocks - 1; b >= 0; --b) sum += At<Floats>(samples + (b * kStep + phase) * width + i - b);
    SetAt(to + i, sum);
  }
}

// The same for all lines of a row, and for the blocks' weights.
template <int kSide, int kStep, int kLines>
inline void AddUpBlocks(const BlockRow& row) {
  for (int phase = 0; phase < kStep; ++phase) {
    for (int line = 0; line < kLines; ++line) {
      AddUpPhase<kSide, kStep>(row.samples + line * kSide * row.half, row.half, phase, row.positions,
                               row.lines + line * row.stride + phase * row.half);
    }
    constexpr int kBlocks = kSide / kStep;
    for (std::int64_t i = 0; i < row.positions; i += kFloats) {
      Floats sum{};
#pragma GCC unroll 8
      for (int b = kBlocks - 1; b >= 0; --b) sum += At<Floats>(row.weights + i - b);
      SetAt(row.weightSums + phase * row.half + i, sum);
    }
  }
}

template <int kSide, int kStep, int kLines, bool kHasGuide>
inline void FilterBlocks(const BlockRow& row) {
  ShrinkBlocks<kSide, kStep, kLines, kHasGuide>(row);
  AddUpBlocks<kSide, kStep, kLines>(row);
}

inline void AddRow(const float* from, std::int64_t count, float* to) {
  ForEachFloats(count, [&]<class V>(std::int64_t i, V) { SetAt(to + i, At<V>(to + i) + At<V>(from + i)); });
}
