// Laplacians in one pass, compiled per instruction set. Lanes run across the elements of a row; every element
// sees the operations of the contract in its order, in the element type T.

#include "mth/Mth_lanes_kernel_internal.h"

// ---- rows of elements, in vectors of any width ----

#if defined(__GNUC__) || defined(__clang__)
constexpr int kWidestBytes = MTH_VECTOR_BYTES;
template <class T, int kBytes>
struct PackOf {
  typedef T Type __attribute__((vector_size(kBytes)));
  typedef T Loose __attribute__((vector_size(kBytes), aligned(sizeof(T)), may_alias));
};
template <>
struct PackOf<double, sizeof(double)> {
  using Type = double;
  using Loose = double;
};
template <>
struct PackOf<float, sizeof(float)> {
  using Type = float;
  using Loose = float;
};
#else
constexpr int kWidestBytes = 1;  // one element at a time
template <class T, int>
struct PackOf {
  using Type = T;
  using Loose = T;
};
#endif

// V is T or a vector of T.
template <class V, class T>
MTH_INLINE V At(const T* source) {
  return *reinterpret_cast<const typename PackOf<T, sizeof(V)>::Loose*>(source);
}

// Writes past the cache what will not be read soon: the old contents of the target are then not fetched
// first.
template <class V, class T>
MTH_INLINE void StreamTo(T* target, V values) {
#if MTH_MULTIVERSION && MTH_VECTOR_BYTES == 64
  _mm512_stream_si512(reinterpret_cast<__m512i*>(target), std::bit_cast<__m512i>(values));
#elif MTH_MULTIVERSION && MTH_VECTOR_BYTES == 32
  _mm256_stream_si256(reinterpret_cast<__m256i*>(target), std::bit_cast<__m256i>(values));
#elif MTH_MULTIVERSION
  _mm_stream_si128(reinterpret_cast<__m128i*>(target), std::bit_cast<__m128i>(values));
#else
  *reinterpret_cast<typename PackOf<T, sizeof(V)>::Loose*>(target) = values;
#endif
}

// Streamed stores are ordered after what follows only by a fence.
inline void FinishStreaming() {
#if MTH_MULTIVERSION
  _mm_sfence();
#endif
}

template <class V, class T, class Body>
MTH_INLINE std::int64_t Put(T* target, std::int64_t x, Body body) {
  *reinterpret_cast<typename PackOf<T, sizeof(V)>::Loose*>(target + x) = body(x, V{});
  return x + static_cast<std::int64_t>(sizeof(V) / sizeof(T));
}

// From one element on, in vectors that double, up to where the widest ones lie aligned.
template <int kBytes, class T, class Body>
MTH_INLINE std::int64_t PutHead(T* target, std::int64_t x, std::int64_t last, Body body) {
  if constexpr (kBytes < kWidestBytes) {
    const bool isOdd = (reinterpret_cast<std::uintptr_t>(target + x) & kBytes) != 0;
    const bool fits = x + static_cast<std::int64_t>(kBytes / sizeof(T)) <= last;
    if (isOdd && fits) x = Put<typename PackOf<T, kBytes>::Type>(target, x, body);
    x = PutHead<2 * kBytes>(target, x, last, body);
  }
  return x;
}

// What the widest vectors leave, in ever smaller ones.
template <int kBytes, class T, class Body>
MTH_INLINE void PutTail(T* target, std::int64_t x, std::int64_t last, Body body) {
  if (x + static_cast<std::int64_t>(kBytes / sizeof(T)) <= last)
    x = Put<typename PackOf<T, kBytes>::Type>(target, x, body);
  if constexpr (kBytes > static_cast<int>(sizeof(T))) PutTail<kBytes / 2>(target, x, last, body);
}

// target[x] = body(x, V{}) for x in [first, last), V being a vector of T or T itself.
template <class T, class Body>
MTH_INLINE void FillRow(T* target, std::int64_t first, std::int64_t last, bool streams, Body body) {
  std::int64_t x = first;
  if constexpr (kWidestBytes > static_cast<int>(sizeof(T))) {
    using Widest = typename PackOf<T, kWidestBytes>::Type;
    constexpr std::int64_t kCount = kWidestBytes / sizeof(T);
    x = PutHead<sizeof(T)>(target, x, last, body);
    if (streams) {
      for (; x + kCount <= last; x += kCount) StreamTo(target + x, body(x, Widest{}));
    } else {
      while (x + kCount <= last) x = Put<Widest>(target, x, body);
    }
    PutTail<kWidestBytes / 2>(target, x, last, body);
  } else {
    while (x < last) x = Put<T>(target, x, body);
  }
}

// ---- mean of the halved second derivatives ----

// The derivative along one axis for one position on it, and for all elements of a row beside each other.
template <class T>
struct AxisTerm {
  const T* centre;   // where the second difference is taken; null: the term is 0
  const T* further;  // for a border that continues linearly: the next place inwards; else null
  std::int64_t stride;
};

template <class T>
MTH_INLINE AxisTerm<T> TermFor(const T* start, std::int64_t stride, std::int64_t position,
                               std::int64_t length) {
  if (length < 3) return {nullptr, nullptr, stride};
  if (position > 0 && position < length - 1) return {start + position * stride, nullptr, stride};
  const std::int64_t inwards = position == 0 ? stride : -stride;
  const T* const centre = start + position * stride + inwards;
  return {centre, length > 3 ? centre + inwards : nullptr, stride};
}

template <class V, class T>
MTH_INLINE V HalvedSecondDifference(const T* centre, std::int64_t stride) {
  const V middle = At<V>(centre);
  return ((At<V>(centre + stride) - middle) - (middle - At<V>(centre - stride))) * static_cast<T>(0.5);
}

template <class V, class T>
MTH_INLINE V Evaluate(const AxisTerm<T>& term, std::int64_t x) {
  if (term.centre == nullptr) return V{};
  const V value = HalvedSecondDifference<V>(term.centre + x, term.stride);
  if (term.further == nullptr) return value;
  return static_cast<T>(2) * value - HalvedSecondDifference<V>(term.further + x, term.stride);
}

// The sum starts from 0 and takes the axes in order; from 0 also so that no result is -0.
template <class T>
void AverageDerivatives(const T* in, T* __restrict out, const VolumeSize& size, T scale, bool streams) {
  const std::int64_t rowStride = size.nx;
  const std::int64_t planeStride = size.nx * size.ny;
  for (std::int64_t z = 0; z < size.nz; ++z) {
    for (std::int64_t y = 0; y < size.ny; ++y) {
      const T* const row = in + z * planeStride + y * rowStride;
      T* const target = out + z * planeStride + y * rowStride;
      const AxisTerm<T> alongY = TermFor(in + z * planeStride, rowStride, y, size.ny);
      const AxisTerm<T> alongZ = TermFor(in + y * rowStride, planeStride, z, size.nz);
      const auto sumAt = [&](std::int64_t x, auto alongX) {
        using V = decltype(alongX);
        return ((V{} + alongX + Evaluate<V>(alongY, x)) + Evaluate<V>(alongZ, x)) * scale;
      };
      const auto borderAt = [&](std::int64_t x) {
        return sumAt(x, Evaluate<T>(TermFor(row, std::int64_t{1}, x, size.nx), 0));
      };
      target[0] = borderAt(0);
      FillRow(target, 1, size.nx - 1, streams, [&](std::int64_t x, auto kind) {
        return sumAt(x, HalvedSecondDifference<decltype(kind)>(row + x, 1));
      });
      if (size.nx > 1) target[size.nx - 1] = borderAt(size.nx - 1);
    }
  }
  FinishStreaming();
}

// ---- sum of the second differences, not scaled ----

template <class V>
MTH_INLINE V SecondDifference(const float* centre, std::int64_t stride) {
  return At<V>(centre - stride) + At<V>(centre + stride) - 2.0F * At<V>(centre);
}

// Adds to a border row or plane the linear continuation of the two next to it, as they are by now.
inline void AddContinuation(float* __restrict border, const float* nearest, const float* further,
                            std::int64_t count) {
  for (std::int64_t i = 0; i < count; ++i) border[i] += 2.0F * nearest[i] - further[i];
}

// The terms along x in a line of a plane, borders included, and those along y and z whose strides are not 0.
inline void SumRow(const float* row, float* target, std::int64_t nx, std::int64_t yStride,
                   std::int64_t zStride, bool streams) {
  const auto addOthers = [&](std::int64_t x, auto alongX) {
    using V = decltype(alongX);
    V sum = alongX;
    if (yStride != 0) sum = sum + SecondDifference<V>(row + x, yStride);
    if (zStride != 0) sum = sum + SecondDifference<V>(row + x, zStride);
    return sum;
  };
  const auto alongX = [row](std::int64_t x) { return 0.0F + SecondDifference<float>(row + x, 1); };
  float first = 0.0F;
  float last = 0.0F;
  if (nx >= 3) {
    // With three elements the continuations meet: the last border is still 0, and then the first one is not.
    first += 2.0F * alongX(1) - (nx > 3 ? alongX(2) : last);
    last += 2.0F * alongX(nx - 2) - (nx > 3 ? alongX(nx - 3) : first);
  }
  target[0] = addOthers(0, first);
  FillRow(target, 1, nx - 1, streams, [&](std::int64_t x, auto kind) {
    using V = decltype(kind);
    return addOthers(x, V{} + SecondDifference<V>(row + x, 1));
  });
  if (nx > 1) target[nx - 1] = addOthers(nx - 1, last);
}

// How many rows or planes at each end a continuation reads or writes.
constexpr std::int64_t kContinuationReach = 3;

inline bool IsReached(std::int64_t position, std::int64_t length) {
  return position < kContinuationReach || position >= length - kContinuationReach;
}

// A plane with its terms along x and y, and with those along z when zStride is not 0. The continuation along
// y takes sums without the terms along z: rows that it reaches get those last.
inline void SumPlane(const float* plane, float* target, std::int64_t nx, std::int64_t ny,
                     std::int64_t zStride, bool streams) {
  const bool hasContinuation = ny >= 3;
  for (std::int64_t y = 0; y < ny; ++y) {
    const bool waits = hasContinuation && IsReached(y, ny);
    const std::int64_t yStride = y > 0 && y < ny - 1 ? nx : 0;
    SumRow(plane + y * nx, target + y * nx, nx, yStride, waits ? 0 : zStride, streams && !waits);
  }
  if (!hasContinuation) return;
  AddContinuation(target, target + nx, target + 2 * nx, nx);
  AddContinuation(target + (ny - 1) * nx, target + (ny - 2) * nx, target + (ny - 3) * nx, nx);
  for (std::int64_t y = 0; zStride != 0 && y < ny; ++y) {
    if (!IsReached(y, ny)) continue;
    float* const row = target + y * nx;
    FillRow(row, 0, nx, false, [&](std::int64_t x, auto kind) {
      using V = decltype(kind);
      return At<V>(row + x) + SecondDifference<V>(plane + y * nx + x, zStride);
    });
  }
}

inline void SumSecondDifferences(const float* in, float* __restrict out, const VolumeSize& size,
                                 bool streams) {
  const std::int64_t planeCount = size.nx * size.ny;
  const auto planeAt = [&](std::int64_t z) { return out + z * planeCount; };
  for (std::int64_t z = 0; z < size.nz; ++z) {
    const std::int64_t zStride = z > 0 && z < size.nz - 1 ? planeCount : 0;
    SumPlane(in + z * planeCount, planeAt(z), size.nx, size.ny, zStride, streams && !IsReached(z, size.nz));
    if (z == 2) AddContinuation(planeAt(0), planeAt(1), planeAt(2), planeCount);
  }
  if (size.nz >= 3)
    AddContinuation(planeAt(size.nz - 1), planeAt(size.nz - 2), planeAt(size.nz - 3), planeCount);
  FinishStreaming();
}
