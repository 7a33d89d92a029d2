// The bidiagonal form of a square matrix by reflections from both sides, compiled per instruction set.

#include "mth/decomposition/Mth_qr_loops_internal.h"

constexpr int kDotVectors = kDotLanes / kLanes;

// The upper half of the lanes joins the lower one, and so on.
template <class V>
MTH_INLINE double SumByHalves(V values) {
  constexpr int kHalf = sizeof(V) / sizeof(double) / 2;
  if constexpr (kHalf == 0) {
    return values;
  } else {
    using Half = Doubles<kHalf>;
    double lanes[2 * kHalf];
    Store(lanes, values);
    return SumByHalves(Load<Half>(lanes) + Load<Half>(lanes + kHalf));
  }
}

// The kDotLanes partial sums of a dot product, in a fixed tree.
MTH_INLINE double SumOfLanes(const Lanes (&sums)[kDotVectors]) {
  Lanes halves[kDotVectors];
  std::copy_n(sums, kDotVectors, halves);
#pragma GCC unroll 4
  for (int count = kDotVectors / 2; count > 0; count /= 2) {
#pragma GCC unroll 16
    for (int v = 0; v < count; ++v) halves[v] += halves[v + count];
  }
  return SumByHalves(halves[0]);
}

// The trailing rows of the matrix while a right reflection, of the last step, has not been subtracted yet.
struct PendingRows {
  double* elements;
  std::int64_t stride;
  const double* direction;
  double factor;
  double* dots;  // of each row with the direction

  double Step(std::int64_t row) const { return factor * dots[row]; }
};

// sums += weights[i] x row i, of kRows rows from `row` on.
template <int kRows>
MTH_INLINE void AddRows(const PendingRows& a, std::int64_t row, const double* weights, double* sums,
                        std::int64_t first) {
  Lanes steps[kRows];
  Lanes scales[kRows];
  for (int r = 0; r < kRows; ++r) {
    steps[r] = Spread<Lanes>(a.Step(row + r));
    scales[r] = Spread<Lanes>(weights[row + r]);
  }
  const double* elements = a.elements + row * a.stride;
  for (std::int64_t j = first; j < a.stride; j += kLanes) {
    const Lanes direction = Load<Lanes>(a.direction + j);
    Lanes sum = Load<Lanes>(sums + j);
#pragma GCC unroll 8
    for (int r = 0; r < kRows; ++r)
      sum += scales[r] * (Load<Lanes>(elements + r * a.stride + j) - steps[r] * direction);
    Store(sums + j, sum);
  }
}

// Subtracts what is pending and factor x weights[row] x direction from a row, and sends its dot product with
// `other` to the dots.
MTH_INLINE void SubtractAndDot(const PendingRows& a, std::int64_t row, double factor, const double* weights,
                               const double* direction, const double* other, std::int64_t first) {
  Lanes sums[kDotVectors] = {};
  const Lanes pendingStep = Spread<Lanes>(a.Step(row));
  const Lanes step = Spread<Lanes>(factor * weights[row]);
  double* const elements = a.elements + row * a.stride;
  for (std::int64_t j = first; j < a.stride; j += kDotLanes) {
    // The next row comes from a farther cache, and the additions here leave no room to wait for it.
    PrefetchForWriting(elements + a.stride + j);
    PrefetchForWriting(elements + a.stride + j + kDotLanes / 2);
#pragma GCC unroll 16
    for (int v = 0; v < kDotVectors; ++v) {
      const std::int64_t i = j + v * kLanes;
      const Lanes x = Load<Lanes>(elements + i) - pendingStep * Load<Lanes>(a.direction + i) -
                      step * Load<Lanes>(direction + i);
      Store(elements + i, x);
      sums[v] += x * Load<Lanes>(other + i);
    }
  }
  a.dots[row] = SumOfLanes(sums);
}

// Makes the vector's elements [first, last) a reflection vector.
// @return  its factor; `image` receives what becomes of the first element.
inline double MakeReflectionVector(double* vector, std::int64_t first, std::int64_t last, double& image) {
  Lanes sums[kDotVectors] = {};
  const std::int64_t start = first / kDotLanes * kDotLanes;
  for (std::int64_t j = start; j < PaddedRow(last); j += kDotLanes) {
    for (int v = 0; v < kDotVectors; ++v) {
      const Lanes x = Load<Lanes>(vector + j + v * kLanes);
      sums[v] += x * x;
    }
  }
  const Reflection reflection = ReflectionOf(vector[first], SumOfLanes(sums));
  image = reflection.image;
  vector[first] = reflection.head;
  return reflection.factor;
}

// Reduces a (size x size, rows `stride` apart, padded with zeros) to the diagonal d and superdiagonal e.
// Left reflection k is 0 above row k, right reflection k up to column k; each row of `left` and `right` is
// one.
// @return  false when the host gives up.
inline bool Bidiagonalise(double* a, std::int64_t size, std::int64_t stride, const Reflections& left,
                          const Reflections& right, double* d, double* e, double* work) {
  double* sums = work;           // ut A
  double* dots = work + stride;  // A v
  double* zeros = work + 2 * stride;
  std::fill_n(work, 3 * stride, 0.0);
  PendingRows pending{a, stride, zeros, 0.0, dots};
  for (std::int64_t k = 0; k < size; ++k) {
    if (IsGivenUp(size)) return false;
    const std::int64_t start = k / kDotLanes * kDotLanes;
    // Column k once the former right reflection has reached it.
    double* u = left.vectors + k * stride;
    std::fill_n(u, stride, 0.0);
    for (std::int64_t i = k; i < size; ++i) u[i] = a[i * stride + k] - pending.Step(i) * pending.direction[k];
    const double leftFactor = MakeReflectionVector(u, k, size, d[k]);
    left.factors[k] = leftFactor;
    std::fill_n(sums, stride, 0.0);
    std::int64_t i = k;
    for (; i + 4 <= size; i += 4) AddRows<4>(pending, i, u, sums, start);
    for (; i < size; ++i) AddRows<1>(pending, i, u, sums, start);

    double* v = right.vectors + k * stride;
    std::fill_n(v, stride, 0.0);
    const double* row = a + k * stride;
    for (std::int64_t j = k + 1; j < size; ++j)
      v[j] = row[j] - pending.Step(k) * pending.direction[j] - leftFactor * u[k] * sums[j];
    double rightFactor = 0.0;
    e[k] = 0.0;
    if (k + 1 < size) rightFactor = MakeReflectionVector(v, k + 1, size, e[k]);
    right.factors[k] = rightFactor;
    for (i = k + 1; i < size; ++i) SubtractAndDot(pending, i, leftFactor, u, sums, v, start);
    pending.direction = v;
    pending.factor = rightFactor;
  }
  return true;
}
