// The LU of a few rows, without panels: the same running differences as of many. Compiled per instruction
// set.

// Step k of the LU of a few rows. Both numbers may be known when this is compiled.
template <class T, class Size, class Index>
MTH_INLINE void FactorStep(double* a, Size size, Index k, double* scales, int* permutation) {
  std::int64_t pivot = k;
  double best = 0.0;
  for (std::int64_t i = k; i < size; ++i) {
    double& element = a[i * size + k];
    element = RoundedTo<T>(element);
    const double candidate = Magnitudes(element) * scales[i];
    if (candidate >= best) {
      best = candidate;
      pivot = i;
    }
  }
  double* row = a + k * size;
  if (pivot != k) {
    std::swap_ranges(row, row + size, a + pivot * size);
    std::swap(permutation[k], permutation[pivot]);
    scales[pivot] = scales[k];
  }
  if (row[k] == 0.0) row[k] = static_cast<double>(static_cast<T>(kTinyPivot));
  for (std::int64_t j = k + 1; j < size; ++j) row[j] = RoundedTo<T>(row[j]);
  const double inverse = 1.0 / row[k];
  for (std::int64_t i = k + 1; i < size; ++i) {
    double* __restrict below = a + i * size;
    below[k] = RoundedTo<T>(below[k] * inverse);
    for (std::int64_t j = k + 1; j < size; ++j) below[j] -= below[k] * row[j];
  }
}

template <std::int64_t kCount>
using Steps = std::make_integer_sequence<std::int64_t, kCount>;

// The first steps, of so many rows.
// @return  their number.
template <class T, std::int64_t kSize, std::int64_t... k>
std::int64_t FactorUnrolled(double* a, double* scales, int* permutation,
                            std::integer_sequence<std::int64_t, k...>) {
  constexpr std::integral_constant<std::int64_t, kSize> size{};
  (FactorStep<T>(a, size, std::integral_constant<std::int64_t, k>{}, scales, permutation), ...);
  return sizeof...(k);
}

// @return  as FindRowScales.
template <class T>
bool FactorSmall(double* a, std::int64_t size, int* permutation) {
  double scales[kSmallSystem];
  if (!FindRowScales(a, size, scales)) return false;
  std::int64_t done = 0;
  // Not for float, whose unrolled steps raise floating-point flags that the loop does not: hosts may trap
  // them. The last of three is left to the loop for what its scale and its reciprocal raise, though nothing
  // is done with them.
  if constexpr (std::is_same_v<T, double>) {
    if (size == 3) done = FactorUnrolled<T, 3>(a, scales, permutation, Steps<2>{});
    if (size == 4) done = FactorUnrolled<T, 4>(a, scales, permutation, Steps<4>{});
    if (size == 8) done = FactorUnrolled<T, 8>(a, scales, permutation, Steps<8>{});
  }
  for (std::int64_t k = done; k < size; ++k) FactorStep<T>(a, size, k, scales, permutation);
  return true;
}
