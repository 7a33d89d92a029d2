// The scales by which the elements of a column are compared for the pivot: 1 / the largest magnitude of each
// row, of which a NaN is none. Compiled per instruction set.

template <class V>
MTH_INLINE V Magnitudes(V values) {
  return values < V{} ? -values : values;
}

inline double LargestOf(Lanes values, double largest) {
  double numbers[kLanes];
  Store(numbers, values);
  for (const double number : numbers) largest = number > largest ? number : largest;
  return largest;
}

// Copies a square matrix and finds its scales.
// @return  false when the largest of a row is 0.
template <class T>
bool CopyLongRows(const T* elements, std::int64_t size, double* copy, double* scales) {
  constexpr std::int64_t kVectors = 4;  // each maximum waits for the one before
  for (std::int64_t i = 0; i < size; ++i, elements += size, copy += size) {
    Lanes bests[kVectors] = {};
    std::int64_t j = 0;
    for (; j + kVectors * kLanes <= size; j += kVectors * kLanes) {
#pragma GCC unroll 4
      for (std::int64_t v = 0; v < kVectors; ++v) {
        const Lanes values = Load<Lanes>(elements + j + v * kLanes);
        const Lanes candidate = Magnitudes(values);
        bests[v] = candidate > bests[v] ? candidate : bests[v];
        Store(copy + j + v * kLanes, values);
      }
    }
    double best = 0.0;
    for (; j < size; ++j) {
      copy[j] = static_cast<double>(elements[j]);
      const double candidate = Magnitudes(copy[j]);
      best = candidate > best ? candidate : best;
    }
    for (const Lanes& some : bests) best = LargestOf(some, best);
    if (best == 0.0) return false;
    scales[i] = 1.0 / best;
  }
  return true;
}

// The scales alone, of rows that are not worth vectors.
inline bool FindRowScales(const double* elements, std::int64_t size, double* scales) {
  for (std::int64_t i = 0; i < size; ++i, elements += size) {
    double largest = 0.0;
    for (std::int64_t j = 0; j < size; ++j) {
      const double magnitude = std::abs(elements[j]);
      if (magnitude > largest) largest = magnitude;
    }
    if (largest == 0.0) return false;
    scales[i] = 1.0 / largest;
  }
  return true;
}
