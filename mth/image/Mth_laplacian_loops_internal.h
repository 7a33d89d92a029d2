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

// Rows are short streams of many, which the processor does not foresee well: asks for memory that far ahead,
// also for that which is only written, since it is fetched first.
constexpr std::int64_t kFetchedAheadBytes = 4096;
constexpr std::int64_t kWrittenAheadBytes = 2048;

// A line of the cache, and how many elements it holds.
constexpr std::int64_t kLineBytes = 64;
template <class T>
constexpr std::int64_t kLine = kLineBytes / static_cast<std::int64_t>(sizeof(T));

// target[x] = body(x, V{}) for whole lines of the cache, from where the first one lies. Results that are
// streamed go past the cache; both halves of a line together, since one that is not whole when it leaves is
// fetched first.
template <bool kStreams, class Widest, class T, class Body>
MTH_INLINE std::int64_t PutLines(T* target, std::int64_t x, std::int64_t last, const T* ahead, Body body) {
  constexpr std::int64_t kCount = sizeof(Widest) / sizeof(T);
  constexpr std::int64_t kVectors = kLine<T> / kCount;
  for (; x + kLine<T> <= last; x += kLine<T>) {
    Prefetch(ahead + x);
    if constexpr (!kStreams)
      PrefetchForWriting(target + x + kWrittenAheadBytes / static_cast<std::int64_t>(sizeof(T)));
    Widest line[kVectors];
    for (std::int64_t i = 0; i < kVectors; ++i) line[i] = body(x + i * kCount, Widest{});
    for (std::int64_t i = 0; i < kVectors; ++i) {
      if constexpr (kStreams) {
        StreamTo(target + x + i * kCount, line[i]);
      } else {
        SetAt(target + x + i * kCount, line[i]);
      }
    }
  }
  return x;
}

// A row that is computed: `inside` gives its elements but for the two at the borders.
template <class T, class Inside>
struct RowToFill {
  T* target;
  std::int64_t nx;
  T first;
  T last;
  const T* ahead;  // fetched for the rows to come
  Inside inside;
};

// Through the cache.
template <class T, class Inside>
MTH_INLINE void FillRow(const RowToFill<T, Inside>& row) {
  const std::int64_t last = row.nx - 1;
  Prefetch(row.ahead);
  Prefetch(row.ahead + last);
  row.target[0] = row.first;
  std::int64_t x = 1;
  if constexpr (kWidestBytes > static_cast<int>(sizeof(T))) {
    using Widest = typename PackOf<T, kWidestBytes>::Type;
    x = PutHead<sizeof(T)>(row.target, x, last, row.inside);
    x = PutLines<false, Widest>(row.target, x, last, row.ahead, row.inside);
    while (x + static_cast<std::int64_t>(kWidestBytes / sizeof(T)) <= last)
      x = Put<Widest>(row.target, x, row.inside);
    PutTail<kWidestBytes / 2>(row.target, x, last, row.inside);
  } else {
    while (x < last) x = Put<T>(row.target, x, row.inside);
  }
  if (last > 0) row.target[last] = row.last;
}

// Rows that follow one another in memory, past the cache. The line where one ends and the next begins is put
// together here first: written in parts it would be fetched, and what follows would wait for it.
template <class T>
class StreamedRows {
 public:
  static bool CanTake(std::int64_t nx) { return nx >= 2 * kLine<T>; }

  template <class Inside>
  MTH_INLINE void Fill(const RowToFill<T, Inside>& row) {
    Prefetch(row.ahead);
    Prefetch(row.ahead + row.nx);
    const std::int64_t head = FillHead(row);
    FillTail(row, PutLines<true, Widest>(row.target, head, row.nx - 1, row.ahead, row.inside));
  }

  // Writes what the last row has left of a line.
  void Finish() {
    std::copy_n(line_, count_, start_);
    count_ = 0;
  }

 private:
  using Widest = typename PackOf<T, kWidestBytes>::Type;
  static constexpr std::int64_t kCount = sizeof(Widest) / sizeof(T);

  // The elements in the line where the row begins; returns how many. Whole vectors: the last one goes beyond.
  template <class Inside>
  MTH_INLINE std::int64_t FillHead(const RowToFill<T, Inside>& row) {
    const auto before =
        static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(row.target) % kLineBytes / sizeof(T));
    const bool continues = count_ == before && (before == 0 || start_ + before == row.target);
    if (!continues) Finish();
    line_[before] = row.first;
    for (std::int64_t i = before + 1; i < kLine<T>; i += kCount)
      SetAt(line_ + i, row.inside(i - before, Widest{}));
    if (continues) {
      StreamLine(row.target - before);
    } else {
      std::copy(line_ + before, line_ + kLine<T>, row.target);
    }
    count_ = 0;
    return kLine<T> - before;
  }

  // The elements from x on, a line or less. Whole vectors: the first one begins before x.
  template <class Inside>
  MTH_INLINE void FillTail(const RowToFill<T, Inside>& row, std::int64_t x) {
    start_ = row.target + x;
    count_ = row.nx - x;
    line_[count_ - 1] = row.last;
    for (std::int64_t i = count_ - 1; i > 0; i -= kCount)
      SetAt(line_ + i - kCount, row.inside(x + i - kCount, Widest{}));
    if (count_ == kLine<T>) {
      StreamLine(start_);
      count_ = 0;
    }
  }

  MTH_INLINE void StreamLine(T* target) const {
    for (std::int64_t i = 0; i < kLine<T>; i += kCount) StreamTo(target + i, At<Widest>(line_ + i));
  }

  alignas(kLineBytes) T room_[3 * kLine<T>]{};  // the line, and what vectors write on both sides of it
  T* const line_ = room_ + kLine<T>;
  T* start_ = nullptr;      // where the line begins in memory
  std::int64_t count_ = 0;  // of its elements that are here
};

template <class T, class Inside>
MTH_INLINE void FillRow(const RowToFill<T, Inside>& row, bool streams, StreamedRows<T>& streamed) {
  if constexpr (MTH_MULTIVERSION) {
    if (streams && StreamedRows<T>::CanTake(row.nx)) return streamed.Fill(row);
  }
  FillRow(row);
}

// What is read for the first time kFetchedAheadBytes after the newest that a row needs.
template <class T>
MTH_INLINE const T* AheadOf(const T* in, std::int64_t row, const GridSize& size) {
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
};

// The sum starts from 0, so that no result is -0, and takes the axes in order.
template <class T, class TermAlongY, class TermAlongZ>
MTH_INLINE void AverageRow(const AveragedRow<T>& line, TermAlongY alongY, TermAlongZ alongZ, bool streams,
                           StreamedRows<T>& streamed) {
  const T scale = line.scale;
  const T* const row = line.row;
  const auto finish = [&](std::int64_t x, auto sum, auto middle) {
    return alongZ.AddTo(alongY.AddTo(sum, middle, x), middle, x) * scale;
  };
  const auto atBorder = [&](std::int64_t x) {
    return finish(x, TermFor(row, std::int64_t{1}, x, line.nx).AddTo(T{}, row[x], 0), row[x]);
  };
  const auto inside = [&](std::int64_t x, auto zero) {
    const auto middle = At<decltype(zero)>(row + x);
    return finish(x, zero + HalvedSecondDifference(row + x, middle, 1), middle);
  };
  const RowToFill<T, decltype(inside)> whole{line.target,           line.nx,    atBorder(0),
                                             atBorder(line.nx - 1), line.ahead, inside};
  FillRow(whole, streams, streamed);
}

// Planes [firstPlane, lastPlane) of the result.
template <class T>
void AverageDerivatives(const T* in, T* out, const GridSize& size, T scale, bool streams,
                        std::int64_t firstPlane, std::int64_t lastPlane) {
  const std::int64_t rowStride = size.nx;
  const std::int64_t planeStride = size.nx * size.ny;
  StreamedRows<T> streamed;
  for (std::int64_t z = firstPlane; z < lastPlane; ++z) {
    for (std::int64_t y = 0; y < size.ny; ++y) {
      const std::int64_t start = z * planeStride + y * rowStride;
      const AveragedRow<T> line{in + start, out + start, AheadOf(in, start, size), size.nx, scale};
      const AxisTerm<T> alongY = TermFor(in + z * planeStride, rowStride, y, size.ny);
      const AxisTerm<T> alongZ = TermFor(in + y * rowStride, planeStride, z, size.nz);
      const InsideTerm<T> insideY{line.row, rowStride};
      const InsideTerm<T> insideZ{line.row, planeStride};
      if (alongY.IsTakenAt(line.row) && alongZ.IsZero()) {
        AverageRow(line, insideY, ZeroTerm{}, streams, streamed);
      } else if (alongY.IsTakenAt(line.row) && alongZ.IsTakenAt(line.row)) {
        AverageRow(line, insideY, insideZ, streams, streamed);
      } else {
        AverageRow(line, alongY, alongZ, streams, streamed);
      }
    }
  }
  streamed.Finish();
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
  SecondDifferenceSum(const float* in, float* out, const GridSize& size, bool streams)
      : in_(in), out_(out), size_(size), planeStride_(size.nx * size.ny), streams_(streams) {}

  void Run() {
    for (std::int64_t z = 0; z < size_.nz; ++z) {
      SumPlane(z);
      if (z == 2) AddContinuation(PlaneOf(0), PlaneOf(1), PlaneOf(2), planeStride_);
    }
    const std::int64_t last = size_.nz - 1;
    if (last >= 2) AddContinuation(PlaneOf(last), PlaneOf(last - 1), PlaneOf(last - 2), planeStride_);
    streamed_.Finish();
    FinishStreaming();
  }

 private:
  float* PlaneOf(std::int64_t z) const { return out_ + z * planeStride_; }

  // The continuation along y takes sums without the terms along z: rows that it reaches get those last.
  void SumPlane(std::int64_t z) {
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
  void SumRow(std::int64_t start, std::int64_t yStride, std::int64_t zStride, bool streams) {
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
    const auto inside = [&](std::int64_t x, auto kind) {
      using V = decltype(kind);
      return addOthers(x, V{} + SecondDifference<V>(row + x, At<V>(row + x), 1));
    };
    const RowToFill<float, decltype(inside)> whole{
        target, nx, addOthers(0, first), addOthers(nx - 1, last), AheadOf(in_, start, size_), inside};
    FillRow(whole, streams, streamed_);
  }

  void AddTermAlongZ(std::int64_t start) const {
    const float* const row = in_ + start;
    float* const target = out_ + start;
    const auto sum = [&](std::int64_t x, auto kind) {
      using V = decltype(kind);
      return At<V>(target + x) + SecondDifference<V>(row + x, At<V>(row + x), planeStride_);
    };
    FillRow(RowToFill<float, decltype(sum)>{target, size_.nx, sum(0, float{}), sum(size_.nx - 1, float{}),
                                            row, sum});
  }

  const float* in_;
  float* out_;
  GridSize size_;
  std::int64_t planeStride_;
  bool streams_;
  StreamedRows<float> streamed_;
};

inline void SumSecondDifferences(const float* in, float* out, const GridSize& size, bool streams) {
  SecondDifferenceSum(in, out, size, streams).Run();
}
