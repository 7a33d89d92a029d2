// Householder QR, compiled per instruction set.
//
// The contract fixes each element's path: it meets the reflections in order, with its column's s summed over
// ascending rows. Columns are independent, so panels of them are carried through all reflections in cache.
// The rows of Q are columns of its transpose, and go the same way. T is the type that elements are rounded to
// between two reflections.

#include "mth/core/Mth_lanes_internal.h"

// Vector k is 0 above row k; Q = H0 H1 ..., Hk = I - factor v vt.
struct Reflections {
  double* vectors;  // `rows` apart
  double* factors;
  std::int64_t rows;
};

// Sends the columns of a panel, kCount vectors wide, through reflections [first, last).
template <class T, int kCount>
void ReflectPanel(double* panel, const Reflections& reflections, std::int64_t first, std::int64_t last) {
  if (first >= last) return;
  constexpr std::int64_t kWidth = kCount * kLanes;
  const std::int64_t rows = reflections.rows;
  const double* vector = reflections.vectors + first * rows;
  Lanes sums[kCount] = {};
  for (std::int64_t i = first; i < rows; ++i) {
#pragma GCC unroll 4
    for (int c = 0; c < kCount; ++c)
      sums[c] += Load<Lanes>(panel + i * kWidth + c * kLanes) * Spread<Lanes>(vector[i]);
  }
  for (std::int64_t k = first; k < last; ++k, vector += rows) {
    Lanes steps[kCount];
#pragma GCC unroll 4
    for (int c = 0; c < kCount; ++c) {
      steps[c] = Spread<Lanes>(reflections.factors[k]) * sums[c];
      double* element = panel + k * kWidth + c * kLanes;
      Store(element, RoundedTo<T>(Load<Lanes>(element) - steps[c] * Spread<Lanes>(vector[k])));
      sums[c] = Lanes{};
    }
    // One pass subtracts this reflection and sums for the next one, whose vector is 0 up to row k.
    const double* next = k + 1 < last ? vector + rows : vector;
    for (std::int64_t i = k + 1; i < rows; ++i) {
      const Lanes weight = Spread<Lanes>(vector[i]);
      const Lanes nextWeight = Spread<Lanes>(next[i]);
      double* element = panel + i * kWidth;
#pragma GCC unroll 4
      for (int c = 0; c < kCount; ++c) {
        const Lanes x = RoundedTo<T>(Load<Lanes>(element + c * kLanes) - steps[c] * weight);
        Store(element + c * kLanes, x);
        sums[c] += x * nextWeight;
      }
    }
  }
}

// Reflection k, which sends column `column` of a panel to a multiple of e_k.
inline void MakeReflection(const double* column, std::int64_t stride, const Reflections& reflections,
                           std::int64_t k) {
  double* vector = reflections.vectors + k * reflections.rows;
  if (k > 0) vector[k - 1] = 0.0;
  double squares = 0.0;
  for (std::int64_t i = k; i < reflections.rows; ++i) {
    vector[i] = column[i * stride];
    squares += vector[i] * vector[i];
  }
  for (int power = 0; power < 2; ++power) {  // one does not reach from a subnormal number to 1
    BringSquaresNearOne(vector + k, reflections.rows - k, squares);
  }
  const Reflection reflection = ReflectionOf(vector[k], squares);
  vector[k] = reflection.head;
  reflections.factors[k] = reflection.factor;
}

// Makes the reflections of the panel's columns, global columns from `first` on, and applies them to it.
template <class T, int kCount>
void FactorPanel(double* panel, const Reflections& reflections, std::int64_t first, std::int64_t last) {
  ReflectPanel<T, kCount>(panel, reflections, 0, std::min(first, last));
  for (std::int64_t k = first; k < std::min(first + kCount * kLanes, last); ++k) {
    MakeReflection(panel + (k - first), kCount * kLanes, reflections, k);
    ReflectPanel<T, kCount>(panel, reflections, k, k + 1);
  }
}

// Where the panels of a matrix lie: each behind the one before it, or all in the same place, one after the
// other.
struct Panels {
  double* memory;
  std::int64_t rows;
  bool areKept;
};

// Calls visit(first column, panel, std::integral_constant of its width in vectors) for each panel of so many
// columns: four vectors wide, or two where four of so many rows would not stay in the first cache.
// @return  false when the host gives the run up.
template <class Visit>
bool ForEachPanel(const Panels& panels, std::int64_t columns, const LongRun& run, Visit visit) {
  constexpr std::int64_t kFirstCache = 32 << 10;  // the least that processors have
  const bool isWide = panels.rows * 4 * kLanes * std::int64_t{sizeof(double)} <= kFirstCache;
  double* panel = panels.memory;
  std::int64_t j = 0;
  const auto step = [&](auto count) {
    if (run.IsGivenUp()) return false;
    visit(j, panel, count);
    j += count * kLanes;
    if (panels.areKept) panel += panels.rows * count * kLanes;
    return true;
  };
  while (isWide && columns - j > 2 * kLanes) {
    if (!step(std::integral_constant<int, 4>{})) return false;
  }
  while (columns - j > kLanes) {
    if (!step(std::integral_constant<int, 2>{})) return false;
  }
  return columns - j <= 0 || step(std::integral_constant<int, 1>{});
}

// The power of two by which elements are multiplied on their way: sums over those near the largest number
// would overflow, and products of those near the smallest one lose their last bits or their sign.
template <class T>
double ScaleToReflect(const T* elements, std::int64_t count) {
  constexpr double kLargest = 0x1p1000;
  constexpr double kSmallest = 0x1p-900;
  const double largest = LargestMagnitude(elements, count);
  const bool isOrdinary =
      largest == 0.0 || !std::isfinite(largest) || (largest < kLargest && largest > kSmallest);
  return isOrdinary ? 1.0 : PowerToUnit(largest);
}

// Factors r (rows x columns) in place and writes Q (rows x rows).
// @return  false when the host gives up.
template <class T>
bool FactorQR(T* r, std::int64_t rows, std::int64_t columns, T* q, double* scratch) {
  const std::int64_t count = std::min(rows, columns);
  const Reflections reflections{scratch, scratch + rows * count, rows};
  const Panels panels{reflections.factors + count, rows, true};
  const double scale = ScaleToReflect(r, rows * columns);
  const LongRun run(rows, std::max(rows, columns), count);
  const auto factor = [&](std::int64_t first, double* panel, auto width) {
    const std::int64_t stride = width * kLanes;
    const std::int64_t used = std::min(stride, columns - first);
    for (std::int64_t i = 0; i < rows; ++i) {
      for (std::int64_t j = 0; j < used; ++j)
        panel[i * stride + j] = static_cast<double>(r[i * columns + first + j]) * scale;
      std::fill_n(panel + i * stride + used, stride - used, 0.0);
    }
    FactorPanel<T, width>(panel, reflections, first, count);
  };
  const auto finish = [&](std::int64_t first, double* panel, auto width) {
    const std::int64_t stride = width * kLanes;
    ReflectPanel<T, width>(panel, reflections, std::min(first + stride, count), count);
    for (std::int64_t i = 0; i < rows; ++i) {
      for (std::int64_t j = 0; j < std::min(stride, columns - first); ++j)
        r[i * columns + first + j] = static_cast<T>(panel[i * stride + j] / scale);
    }
  };
  double* chunk = panels.memory;
  const auto accumulate = [&](std::int64_t first, double*, auto width) {
    const std::int64_t stride = width * kLanes;
    const std::int64_t used = std::min(stride, rows - first);
    std::fill_n(chunk, rows * stride, 0.0);
    for (std::int64_t j = 0; j < used; ++j) chunk[(first + j) * stride + j] = 1.0;
    ReflectPanel<T, width>(chunk, reflections, 0, count);
    for (std::int64_t j = 0; j < used; ++j) {
      for (std::int64_t i = 0; i < rows; ++i)
        q[(first + j) * rows + i] = static_cast<T>(chunk[i * stride + j]);
    }
  };
  return ForEachPanel(panels, columns, run, factor) && ForEachPanel(panels, columns, run, finish) &&
         ForEachPanel(panels, rows, run, accumulate);
}
