// The lines of a grid of complex numbers: how they are read and written, and columns transformed side by
// side.

#include "mth/image/Mth_fft_loops_internal.h"

// ---- complex numbers as they lie in memory ----

#if MTH_HAS_VECTORS
// The even, or the odd, doubles of two vectors.
inline Lanes EvenOf(Lanes a, Lanes b) {
#if MTH_VECTOR_BYTES == 64
  return __builtin_shufflevector(a, b, 0, 2, 4, 6, 8, 10, 12, 14);
#elif MTH_VECTOR_BYTES == 32
  return __builtin_shufflevector(a, b, 0, 2, 4, 6);
#else
  return __builtin_shufflevector(a, b, 0, 2);
#endif
}
inline Lanes OddOf(Lanes a, Lanes b) {
#if MTH_VECTOR_BYTES == 64
  return __builtin_shufflevector(a, b, 1, 3, 5, 7, 9, 11, 13, 15);
#elif MTH_VECTOR_BYTES == 32
  return __builtin_shufflevector(a, b, 1, 3, 5, 7);
#else
  return __builtin_shufflevector(a, b, 1, 3);
#endif
}
// The first, or the last, halves of two vectors, alternating.
inline Lanes AlternateFirst(Lanes a, Lanes b) {
#if MTH_VECTOR_BYTES == 64
  return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
#elif MTH_VECTOR_BYTES == 32
  return __builtin_shufflevector(a, b, 0, 4, 1, 5);
#else
  return __builtin_shufflevector(a, b, 0, 2);
#endif
}
inline Lanes AlternateLast(Lanes a, Lanes b) {
#if MTH_VECTOR_BYTES == 64
  return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
#elif MTH_VECTOR_BYTES == 32
  return __builtin_shufflevector(a, b, 2, 6, 3, 7);
#else
  return __builtin_shufflevector(a, b, 1, 3);
#endif
}
#endif

inline void Split(const double* complex, std::int64_t count, double* re, double* im) {
  std::int64_t i = 0;
#if MTH_HAS_VECTORS
  for (; i + kLanes <= count; i += kLanes) {
    const Lanes a = Load<Lanes>(complex + 2 * i);
    const Lanes b = Load<Lanes>(complex + 2 * i + kLanes);
    Store(re + i, EvenOf(a, b));
    Store(im + i, OddOf(a, b));
  }
#endif
  for (; i < count; ++i) {
    re[i] = complex[2 * i];
    im[i] = complex[2 * i + 1];
  }
}

inline void Join(const double* re, const double* im, std::int64_t count, double* complex) {
  std::int64_t i = 0;
#if MTH_HAS_VECTORS
  for (; i + kLanes <= count; i += kLanes) {
    const Lanes a = Load<Lanes>(re + i);
    const Lanes b = Load<Lanes>(im + i);
    Store(complex + 2 * i, AlternateFirst(a, b));
    Store(complex + 2 * i + kLanes, AlternateLast(a, b));
  }
#endif
  for (; i < count; ++i) {
    complex[2 * i] = re[i];
    complex[2 * i + 1] = im[i];
  }
}

// ---- panels of columns ----

// `kStages` stages from number `stage` on of all columns of a panel, lanes running across these.
template <int kStages>
inline void RunPanelStages(const FactorTable& table, int stage, std::int64_t n, double* re, double* im) {
  constexpr int kValues = 1 << kStages;
  const std::int64_t span = std::int64_t{1} << stage;
  for (std::int64_t j = 0; j < span; ++j) {
    double u1[kValues - 1];
    double u2[kValues - 1];
    for (int s = 0; s < kStages; ++s) {
      for (int part = 0; part < 1 << s; ++part) {
        const Factors& row = table[static_cast<std::size_t>(stage + s)];
        u1[(1 << s) - 1 + part] = row.re[part * span + j];
        u2[(1 << s) - 1 + part] = row.im[part * span + j];
      }
    }
    for (std::int64_t i = j; i < n; i += kValues * span) {
#pragma GCC unroll 4
      for (std::int64_t lane = 0; lane < kPanelColumns; lane += kLanes) {
        double* const panelRe = re + i * kPanelColumns + lane;
        double* const panelIm = im + i * kPanelColumns + lane;
        Butterflies values[kValues];
#pragma GCC unroll 8
        for (int k = 0; k < kValues; ++k)
          values[k] = LoadButterflies(panelRe + k * span * kPanelColumns, panelIm + k * span * kPanelColumns);
#pragma GCC unroll 3
        for (int s = 0; s < kStages; ++s) {
          const int parts = 1 << s;
#pragma GCC unroll 8
          for (int k = 0; k < kValues; ++k) {
            if ((k & parts) != 0) continue;
            const int row = parts - 1 + (k & (parts - 1));
            Combine(u1[row], u2[row], values[k], values[k + parts]);
          }
        }
#pragma GCC unroll 8
        for (int k = 0; k < kValues; ++k) {
          Store(panelRe + k * span * kPanelColumns, values[k].re);
          Store(panelIm + k * span * kPanelColumns, values[k].im);
        }
      }
    }
  }
}

// The rows of the grid go to their reversed places in the panel and come back from it.
inline void TransformColumns(const FactorTable& table, int dir, int m, MTH_COMPLEX** rows,
                             std::int64_t firstColumn, int count, double* work) {
  const std::int64_t n = std::int64_t{1} << m;
  double* const re = work;
  double* const im = work + n * kPanelColumns;
  std::int64_t reversed = 0;
  for (std::int64_t i = 0; i < n; ++i) {
    Split(reinterpret_cast<const double*>(rows[i] + firstColumn), count, re + reversed * kPanelColumns,
          im + reversed * kPanelColumns);
    std::int64_t bit = n / 2;
    for (; bit > 0 && (reversed & bit) != 0; bit /= 2) reversed -= bit;
    reversed += bit;
  }
  constexpr int kStagesAtOnce = MTH_VECTOR_BYTES == 64 ? 3 : 2;  // as many as there are registers for
  int stage = 0;
  for (; stage + kStagesAtOnce <= m; stage += kStagesAtOnce)
    RunPanelStages<kStagesAtOnce>(table, stage, n, re, im);
  for (; stage < m; ++stage) RunPanelStages<1>(table, stage, n, re, im);
  if (dir == kInverse) Scale(1.0 / static_cast<double>(n), 2 * n * kPanelColumns, work);
  for (std::int64_t i = 0; i < n; ++i) {
    Join(re + i * kPanelColumns, im + i * kPanelColumns, count,
         reinterpret_cast<double*>(rows[i] + firstColumn));
  }
}
