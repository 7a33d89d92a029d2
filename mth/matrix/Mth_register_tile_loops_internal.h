// A tile of a matrix that stays in registers while products join its entries, compiled per instruction set. A
// vector holds neighbouring columns; every entry meets its products one by one, in the order of k.

#include "mth/core/Mth_lanes_internal.h"

// 24 sums where there are 32 registers, as with 64-byte vectors and on arm64, or 12 of 16. Wide rather than
// high: each row's element of the left factor is spread over a vector, which takes an arithmetic unit on some
// processors.
constexpr int kTileRows = 6;
#if MTH_VECTOR_BYTES == 64 || defined(__aarch64__)
constexpr int kTileVectors = 4;
#else
constexpr int kTileVectors = 2;
#endif
constexpr std::int64_t kTileColumns = kTileVectors * kLanes;

// Runs body(row, rows of the tile as a compile-time constant) over [first, last): whole tiles, then ever
// smaller ones. 16 rows are two tiles of 8: the sums of 12 and 4 rows would wait for each other.
template <int kRows, class Body>
MTH_INLINE void ForEachTileRow(std::int64_t first, std::int64_t last, Body body) {
  const auto isWhole = [&] { return first + kRows <= last && !(kRows == 12 && last - first == 16); };
  for (; isWhole(); first += kRows) body(first, std::integral_constant<int, kRows>{});
  constexpr int kFewer = kRows > 8 ? 8 : kRows > 4 ? 4 : kRows / 2;
  if constexpr (kFewer > 0) ForEachTileRow<kFewer>(first, last, body);
}

// Rows or columns that are solved together and stay in registers, fewer and longer ones than those of a tile,
// and the vectors of each.
constexpr int kGroup = 4;
constexpr int kGroupVectors = kTileRows * kTileVectors / kGroup;

// Runs body(position, V{}, number of vectors V as a compile-time constant) over [first, last): by so many
// vectors, then by one, then by one double.
template <int kVectors, class Body>
MTH_INLINE void ForEachVectors(std::int64_t first, std::int64_t last, Body body) {
  std::int64_t i = first;
  const auto cover = [&](auto lanes, auto vectors) {
    constexpr std::int64_t kWidth = vectors() * sizeof(lanes) / sizeof(double);
    for (; i + kWidth <= last; i += kWidth) body(i, lanes, vectors);
  };
  cover(Lanes{}, std::integral_constant<int, kVectors>{});
  cover(Lanes{}, std::integral_constant<int, 1>{});
  cover(double{}, std::integral_constant<int, 1>{});
}

// How a product joins a sum.
struct SeparateStep {
  template <class V>
  MTH_INLINE static V Add(V sum, V left, V right) {
    return sum + left * right;
  }
};

// The same for the elimination, which takes products away.
struct SubtractStep {
  template <class V>
  MTH_INLINE static V Add(V sum, V left, V right) {
    return sum - left * right;
  }
};

// For float elements: their product is exact in double, so the fused operation gives the bits of the separate
// ones, at half the cost.
struct FusedStep {
  template <class V>
  MTH_INLINE static V Add(V sum, V left, V right) {
#if MTH_HAS_FUSED
    return FusedSum(left, right, sum);
#else
    return SeparateStep::Add(sum, left, right);
#endif
  }
};

// Elements of the left factor, as far apart as said.
template <class T>
struct LeftFactor {
  const T* elements;
  std::int64_t rowStride;
  std::int64_t columnStride;
};

// What each step of a sum does beside, with its vectors of the right factor: nothing, or it asks the memory
// for a little of what comes next, or packs the factor for the tiles to come. An address is a number because
// it may lie beyond what is there.
struct DoNothing {
  template <class Factors>
  MTH_INLINE void operator()(const Factors&) {}
};
struct AskAhead {
  std::uintptr_t address;
  std::uintptr_t bytesAStep;

  template <class Factors>
  MTH_INLINE void operator()(const Factors&) {
    PrefetchToSecondCache(reinterpret_cast<const void*>(address));
    address += bytesAStep;
  }
};
struct Pack {
  double* packed;

  template <class V, std::size_t kVectors>
  MTH_INLINE void operator()(const V (&factors)[kVectors]) {
#pragma GCC unroll 4
    for (std::size_t v = 0; v < kVectors; ++v) Store(packed + v * (sizeof(V) / sizeof(double)), factors[v]);
    packed += kTileColumns;
  }
};

// kRows x (kVectors vectors) entries of the result.
template <class V, int kRows, int kVectors>
struct Tile {
  static constexpr std::int64_t kWidth = sizeof(V) / sizeof(double);
  V sums[kRows][kVectors];

  MTH_INLINE void Clear() {
#pragma GCC unroll 12
    for (int i = 0; i < kRows; ++i) {
#pragma GCC unroll 4
      for (int v = 0; v < kVectors; ++v) sums[i][v] = V{};
    }
  }
  MTH_INLINE void LoadFrom(const double* source, std::int64_t stride) {
#pragma GCC unroll 12
    for (int i = 0; i < kRows; ++i) {
#pragma GCC unroll 4
      for (int v = 0; v < kVectors; ++v) sums[i][v] = Load<V>(source + i * stride + v * kWidth);
    }
  }
  template <class T>
  MTH_INLINE void StoreTo(T* target, std::int64_t stride) const {
#pragma GCC unroll 12
    for (int i = 0; i < kRows; ++i) {
#pragma GCC unroll 4
      for (int v = 0; v < kVectors; ++v) Store(target + i * stride + v * kWidth, sums[i][v]);
    }
  }
  // Which NaN a sum has become depends on the processor and on the compiler's order of operands: it becomes
  // the one without a sign or a payload. Most tiles have none.
  MTH_INLINE void MakeNaNsPlain() {
    if (!MayHaveNaN()) return;
#pragma GCC unroll 12
    for (int i = 0; i < kRows; ++i) {
#pragma GCC unroll 4
      for (int v = 0; v < kVectors; ++v) {
        const V sum = sums[i][v];
        sums[i][v] = sum == sum ? sum : Spread<V>(std::numeric_limits<double>::quiet_NaN());
      }
    }
  }
  MTH_INLINE bool MayHaveNaN() const {
    NaNWatch<V> watch;
#pragma GCC unroll 12
    for (int i = 0; i < kRows; ++i) {
#pragma GCC unroll 4
      for (int v = 0; v < kVectors; v += 2) watch.Meet(sums[i][v], sums[i][std::min(v + 1, kVectors - 1)]);
    }
    return watch.MayHaveMetOne();
  }
  // Lets `depth` products join each sum; the right factor is row-major. Steps of k follow each other without
  // counting between them, which takes turns of the arithmetic units.
  template <class Step, class T, class U, class Beside = DoNothing>
  MTH_INLINE void Accumulate(LeftFactor<T> left, const U* right, std::int64_t rightStride, std::int64_t depth,
                             Beside beside = {}) {
#pragma GCC unroll 4
    for (std::int64_t k = 0; k < depth; ++k, right += rightStride) {
      V factors[kVectors];
#pragma GCC unroll 4
      for (int v = 0; v < kVectors; ++v) factors[v] = Load<V>(right + v * kWidth);
      beside(factors);
#pragma GCC unroll 12
      for (int i = 0; i < kRows; ++i) {
        const V factor =
            Spread<V>(static_cast<double>(left.elements[i * left.rowStride + k * left.columnStride]));
#pragma GCC unroll 4
        for (int v = 0; v < kVectors; ++v) sums[i][v] = Step::template Add<V>(sums[i][v], factor, factors[v]);
      }
    }
  }
};
