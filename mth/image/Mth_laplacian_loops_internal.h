// Laplacians in one pass, compiled per instruction set. Lanes run across the elements of a row; every element
// sees the operations of the contract in its order, in the element type T.

#include "mth/core/Mth_lanes_internal.h"

// ---- rows of elements, in vectors of any width ----

template <class V, class T, class Body>
MTH_INLINE std::int64_t Put(T* target, std::int64_t x, Body body) {
  SetAt(target + x, body(x, V{}));
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

// Rows are short streams of many, which the processor does not foresee well: asks for memory that far ahead.
constexpr std::int64_t kFetchedAheadBytes = 4096;

// Writes whole lines of the cache past it, from where the first one lies. Two halves apart would cost more
// than they save: a line that is not whole when it leaves is fetched first.
template <class Widest, class T, class Body>
MTH_INLINE std::int64_t PutStreamed(T* target, std::int64_t x, std::int64_t last, const T* ahead, Body body) {
  constexpr std::int64_t kLineBytes = 64;
  constexpr std::int64_t kCount = sizeof(Widest) / sizeof(T);
  constexpr std::int64_t kLine = kLineBytes / sizeof(T);
  while (x + kCount <= last && reinterpret_cast<std::uintptr_t>(target + x) % kLineBytes != 0) {
    x = Put<Widest>(target, x, body);
  }
  for (; x + kLine <= last; x += kLine) {
    Prefetch(ahead + x);
    Widest line[kLine / kCount];
    for (std::int64_t i = 0; i < kLine / kCount; ++i) line[i] = body(x + i * kCount, Widest{});
    for (std::int64_t i = 0; i < kLine / kCount; ++i) StreamTo(target + x + i * kCount, line[i]);
  }
  return x;
}

// target[x] = body(x, V{}) for x in [first, last), V being a vector of T or T itself. Fetches `ahead` for the
// rows to come.
template <class T, class Body>
MTH_INLINE void FillRow(T* target, std::int64_t first, std::int64_t last, bool streams, const T* ahead,
                        Body body) {
  Prefetch(ahead);
  Prefetch(ahead + last);
  std::int64_t x = first;
  if constexpr (kWidestBytes > static_cast<int>(sizeof(T))) {
    using Widest = typename PackOf<T, kWidestBytes>::Type;
    constexpr std::int64_t kCount = kWidestBytes / sizeof(T);
    x = PutHead<sizeof(T)>(target, x, last, body);
    if (streams) x = PutStreamed<Widest>(target, x, last, ahead, body);
    while (x + kCount <= last) {
      Prefetch(ahead + x);
      x = Put<Widest>(target, x, body);
    }
    PutTail<kWidestBytes / 2>(target, x, last, body);
  } else {
    while (x < last) x = Put<T>(target, x, body);
  }
}

// What is read for the first time kFetchedAheadBytes after the newest that a row needs.
template <class T>
MTH_INLINE const T* AheadOf(const T* in, std::int64_t row, const VolumeSize& size) {
  const std::int64_t count = size.nx * size.ny * size.nz;
  const std::int64_t newest = size.nz > 1 ? size.nx * size.ny : size.nx;
  const std::int64_t start = row + newest + kFetchedAheadBytes / static_cast<std::int64_t>(sizeof(T));
  return in + (start + size.nx <= count ? start : row);
}

// ---- mean of the halved second derivatives ----

template <class V, class T>
MTH_INLINE V HalvedSecondDifference(const T* centre, V middle, std::int64_t stride) {
  return ((At<V>(centre + stride) - middle) - (middle - At<V>(centre - stride))) * static_cast<T>(0.5);
}
template <class V, class T>
MTH_INLINE V HalvedSecondDifference(const T* centre, std::int64_t stride) {
  return HalvedSecondDifference<V>(centre, At<V>(centre), stride);
}

// The derivative along one axis for one position on it, and for all elements of a row beside each other.
template <class T>
struct AxisTerm {
  const T* centre;   // where the second difference is taken; null: the term is 0
  const T* further;  // for a border that continues linearly: the next place inwards; else null
  std::int64_t stride;

  bool IsZero() const { return centre == nullptr; }
  bool IsTakenAt(const T* row) const { return centre == row; }

  template <class V>
  MTH_INLINE V AddTo(V sum, V, std::int64_t x) const {
    if (IsZero()) return sum;
    const V value = HalvedSecondDifference<V>(centre + x, stride);
    if (further == nullptr) return sum + value;
    return sum + (static_cast<T>(2) * value - HalvedSecondDifference<V>(further + x, stride));
  }
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

// The terms of most rows, without choices in the loop. `middle` is the element of the row itself, read once.
struct ZeroTerm {
  template <class V>
  MTH_INLINE V AddTo(V sum, V, std::int64_t) const {
    return sum;
  }
};
template <class T>
struct InsideTerm {
  const T* centre;
  std::int64_t stride;

  template <class V>
  MTH_INLINE V AddTo(V sum, V middle, std::int64_t x) const {
    return sum + HalvedSecondDifference<V>(centre + x, middle, stride);
  }
};

// One row of the volume, and how its result is written.
template <class T>
struct AveragedRow {
  const T* row;
  T* target;
  const T* ahead;
  std::int64_t nx;
  T scale;
  bool streams;
};

// The sum starts from 0, so that no result is -0, and takes the axes in order.
template <class T, class TermAlongY, class TermAlongZ>
MTH_INLINE void AverageRow(const AveragedRow<T>& line, TermAlongY alongY, TermAlongZ alongZ) {
  const T scale = line.scale;
  const T* const row = line.row;
  const auto finish = [&](std::int64_t x, auto sum, auto middle) {
    return alongZ.AddTo(alongY.AddTo(sum, middle, x), middle, x) * scale;
  };
  const auto atBorder = [&](std::int64_t x) {
    return finish(x, TermFor(row, std::int64_t{1}, x, line.nx).AddTo(T{}, row[x], 0), row[x]);
  };
  line.target[0] = atBorder(0);
  FillRow(line.target, 1, line.nx - 1, line.streams, line.ahead, [&](std::int64_t x, auto zero) {
    const auto middle = At<decltype(zero)>(row + x);
    return finish(x, zero + HalvedSecondDifference(row + x, middle, 1), middle);
  });
  if (line.nx > 1) line.target[line.nx - 1] = atBorder(line.nx - 1);
}

// Planes [firstPlane, lastPlane) of the result.
template <class T>
void AverageDerivatives(const T* in, T* out, const VolumeSize& size, T scale, bool streams,
                        std::int64_t firstPlane, std::int64_t lastPlane) {
  const std::int64_t rowStride = size.nx;
  const std::int64_t planeStride = size.nx * size.ny;
  for (std::int64_t z = firstPlane; z < lastPlane; ++z) {
    for (std::int64_t y = 0; y < size.ny; ++y) {
      const std::int64_t start = z * planeStride + y * rowStride;
      const AveragedRow<T> line{in + start, out + start, AheadOf(in, start, size), size.nx, scale, streams};
      const AxisTerm<T> alongY = TermFor(in + z * planeStride, rowStride, y, size.ny);
      const AxisTerm<T> alongZ = TermFor(in + y * rowStride, planeStride, z, size.nz);
      const InsideTerm<T> insideY{line.row, rowStride};
      const InsideTerm<T> insideZ{line.row, planeStride};
      if (alongY.IsTakenAt(line.row) && alongZ.IsZero()) {
        AverageRow(line, insideY, ZeroTerm{});
      } else if (alongY.IsTakenAt(line.row) && alongZ.IsTakenAt(line.row)) {
        AverageRow(line, insideY, insideZ);
      } else {
        AverageRow(line, alongY, alongZ);
      }
    }
  }
  FinishStreaming();
}

// ---- sum of the second differences, not scaled ----

template <class V>
MTH_INLINE V SecondDifference(const float* centre, V middle, std::int64_t stride) {
  return At<V>(centre - stride) + At<V>(centre + stride) - 2.0F * middle;
}

// Adds to a border row or plane the linear continuation of the two next to it, as they are by now.
inline void AddContinuation(float* __restrict border, const float* nearest, const float* further,
                            std::int64_t count) {
  for (std::int64_t i = 0; i < count; ++i) border[i] += 2.0F * nearest[i] - further[i];
}

// How many rows or planes at each end a continuation reads or writes.
constexpr std::int64_t kContinuationReach = 3;

inline bool IsReached(std::int64_t position, std::int64_t length) {
  return position < kContinuationReach || position >= length - kContinuationReach;
}

inline bool IsInside(std::int64_t position, std::int64_t length) {
  return position > 0 && position < length - 1;
}

class SecondDifferenceSum {
 public:
  SecondDifferenceSum(const float* in, float* out, const VolumeSize& size, bool streams)
      : in_(in), out_(out), size_(size), planeStride_(size.nx * size.ny), streams_(streams) {}

  void Run() const {
    for (std::int64_t z = 0; z < size_.nz; ++z) {
      SumPlane(z);
      if (z == 2) AddContinuation(PlaneOf(0), PlaneOf(1), PlaneOf(2), planeStride_);
    }
    const std::int64_t last = size_.nz - 1;
    if (last >= 2) AddContinuation(PlaneOf(last), PlaneOf(last - 1), PlaneOf(last - 2), planeStride_);
    FinishStreaming();
  }

 private:
  float* PlaneOf(std::int64_t z) const { return out_ + z * planeStride_; }

  // The continuation along y takes sums without the terms along z: rows that it reaches get those last.
  void SumPlane(std::int64_t z) const {
    const std::int64_t start = z * planeStride_;
    const std::int64_t zStride = IsInside(z, size_.nz) ? planeStride_ : 0;
    const bool hasContinuation = size_.ny >= 3;
    for (std::int64_t y = 0; y < size_.ny; ++y) {
      const bool waits = hasContinuation && IsReached(y, size_.ny);
      const bool streams = streams_ && !waits && !IsReached(z, size_.nz);
      SumRow(start + y * size_.nx, IsInside(y, size_.ny) ? size_.nx : 0, waits ? 0 : zStride, streams);
    }
    if (!hasContinuation) return;
    float* const first = out_ + start;
    float* const last = first + (size_.ny - 1) * size_.nx;
    AddContinuation(first, first + size_.nx, first + 2 * size_.nx, size_.nx);
    AddContinuation(last, last - size_.nx, last - 2 * size_.nx, size_.nx);
    for (std::int64_t y = 0; zStride != 0 && y < size_.ny; ++y) {
      if (IsReached(y, size_.ny)) AddTermAlongZ(start + y * size_.nx);
    }
  }

  // The terms along x, borders included, and those along y and z whose strides are not 0.
  void SumRow(std::int64_t start, std::int64_t yStride, std::int64_t zStride, bool streams) const {
    const float* const row = in_ + start;
    float* const target = out_ + start;
    const std::int64_t nx = size_.nx;
    const auto addOthers = [&](std::int64_t x, auto alongX) {
      using V = decltype(alongX);
      const V middle = At<V>(row + x);
      V sum = alongX;
      if (yStride != 0) sum = sum + SecondDifference<V>(row + x, middle, yStride);
      if (zStride != 0) sum = sum + SecondDifference<V>(row + x, middle, zStride);
      return sum;
    };
    float first = 0.0F;
    float last = 0.0F;
    if (nx >= 3) {
      const auto alongX = [row](std::int64_t x) {
        return 0.0F + SecondDifference<float>(row + x, row[x], 1);
      };
      // Along three elements the continuations meet: the last border is still 0, and then the first is not.
      first += 2.0F * alongX(1) - (nx > 3 ? alongX(2) : last);
      last += 2.0F * alongX(nx - 2) - (nx > 3 ? alongX(nx - 3) : first);
    }
    target[0] = addOthers(0, first);
    FillRow(target, 1, nx - 1, streams, AheadOf(in_, start, size_), [&](std::int64_t x, auto kind) {
      using V = decltype(kind);
      return addOthers(x, V{} + SecondDifference<V>(row + x, At<V>(row + x), 1));
    });
    if (nx > 1) target[nx - 1] = addOthers(nx - 1, last);
  }

  void AddTermAlongZ(std::int64_t start) const {
    const float* const row = in_ + start;
    float* const target = out_ + start;
    FillRow(target, 0, size_.nx, false, row, [&](std::int64_t x, auto kind) {
      using V = decltype(kind);
      return At<V>(target + x) + SecondDifference<V>(row + x, At<V>(row + x), planeStride_);
    });
  }

  const float* in_;
  float* out_;
  VolumeSize size_;
  std::int64_t planeStride_;
  bool streams_;
};

inline void SumSecondDifferences(const float* in, float* out, const VolumeSize& size, bool streams) {
  SecondDifferenceSum(in, out, size, streams).Run();
}
