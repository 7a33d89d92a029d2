// The one vector layer of the kernel files, which include this inside their own namespace and therefore not
// once only. Lanes are independent outputs; a compiler without vector types gets one lane. V is Lanes or a
// shorter vector, or double for what is left at the end of a row.

#if MTH_HAS_VECTORS

constexpr int kWidestBytes = MTH_VECTOR_BYTES;
constexpr std::int64_t kLanes = MTH_VECTOR_BYTES / sizeof(double);

// So many bytes of elements; Loose is the same as it lies in memory, anywhere.
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

using Lanes = PackOf<double, MTH_VECTOR_BYTES>::Type;
using LaneIndices = PackOf<std::int64_t, MTH_VECTOR_BYTES>::Type;  // and what comparisons of Lanes give

// A whole vector of elements as they are stored, for what needs no sums in double.
template <class T>
struct VectorOf : PackOf<T, MTH_VECTOR_BYTES> {
  static constexpr int kCount = MTH_VECTOR_BYTES / sizeof(T);
};

// So many doubles side by side on every instruction set.
template <int kCount>
using Doubles = typename PackOf<double, kCount * sizeof(double)>::Type;

#else

constexpr int kWidestBytes = 1;  // one element at a time
constexpr std::int64_t kLanes = 1;
template <class T, int>
struct PackOf {
  using Type = T;
};
using Lanes = double;
using LaneIndices = std::int64_t;
template <class T>
struct VectorOf : PackOf<T, 1> {
  static constexpr int kCount = 1;
};
template <int kCount>
struct Doubles {
  double values[kCount];
  double& operator[](int i) { return values[i]; }
  double operator[](int i) const { return values[i]; }
  friend Doubles operator+(Doubles a, const Doubles& b) {
    for (int i = 0; i < kCount; ++i) a[i] += b[i];
    return a;
  }
  friend Doubles operator*(Doubles a, double factor) {
    for (int i = 0; i < kCount; ++i) a[i] *= factor;
    return a;
  }
};

#endif

// ---- memory ----

// Elements as they are stored: V is T or a vector of T.
template <class V, class T>
MTH_INLINE V At(const T* source) {
#if MTH_HAS_VECTORS
  return *reinterpret_cast<const typename PackOf<T, sizeof(V)>::Loose*>(source);
#else
  V values;
  std::memcpy(&values, source, sizeof values);
  return values;
#endif
}
template <class V, class T>
MTH_INLINE void SetAt(T* target, V values) {
#if MTH_HAS_VECTORS
  *reinterpret_cast<typename PackOf<T, sizeof(V)>::Loose*>(target) = values;
#else
  std::memcpy(target, &values, sizeof values);
#endif
}

// Floats as doubles, and back.
template <class V>
MTH_INLINE V Widened(typename PackOf<float, sizeof(V) / 2>::Type values) {
#if MTH_HAS_VECTORS
  // By the instruction itself: g++ would widen in halves and put them together.
#if MTH_VECTOR_BYTES == 64
  if constexpr (sizeof(V) == 64)
    return V(_mm512_maskz_cvtps_pd(0xFF, __m256(values)));  // g++ 12 warns of the unmasked
#endif
#if MTH_VECTOR_BYTES >= 32
  if constexpr (sizeof(V) == 32) return V(_mm256_cvtps_pd(__m128(values)));
#endif
  if constexpr (sizeof(V) > sizeof(double)) return __builtin_convertvector(values, V);
#endif
  if constexpr (sizeof(V) == sizeof(double)) return static_cast<double>(values);
}
template <class V>
MTH_INLINE typename PackOf<float, sizeof(V) / 2>::Type Narrowed(V values) {
#if MTH_HAS_VECTORS
  if constexpr (sizeof(V) > sizeof(double))
    return __builtin_convertvector(values, typename PackOf<float, sizeof(V) / 2>::Type);
#endif
  if constexpr (sizeof(V) == sizeof(double)) return static_cast<float>(values);
}

// Elements as doubles. Float ones are widened and rounded.
template <class V>
MTH_INLINE V Load(const double* source) {
  return At<V>(source);
}
template <class V>
MTH_INLINE V Load(const float* source) {
  return Widened<V>(At<typename PackOf<float, sizeof(V) / 2>::Type>(source));
}
template <class V>
MTH_INLINE void Store(double* target, V values) {
  SetAt(target, values);
}
template <class V>
MTH_INLINE void Store(float* target, V values) {
  SetAt(target, Narrowed<V>(values));
}

// Writes a whole vector, aligned, past the cache: the old contents of the target are then not fetched first.
template <class V, class T>
MTH_INLINE void StreamTo(T* target, V values) {
#if MTH_MULTIVERSION && MTH_VECTOR_BYTES == 64
  _mm512_stream_si512(reinterpret_cast<__m512i*>(target), __m512i(values));
#elif MTH_MULTIVERSION && MTH_VECTOR_BYTES == 32
  _mm256_stream_si256(reinterpret_cast<__m256i*>(target), __m256i(values));
#elif MTH_MULTIVERSION
  _mm_stream_si128(reinterpret_cast<__m128i*>(target), __m128i(values));
#else
  SetAt(target, values);
#endif
}

// Streamed stores are ordered after what follows only by a fence.
MTH_INLINE void FinishStreaming() {
#if MTH_MULTIVERSION
  _mm_sfence();
#endif
}

// ---- values ----

template <class V>
MTH_INLINE V Spread(double value) {
  if constexpr (sizeof(V) == sizeof(double)) {
    return value;
  } else {
    return value - V{};  // x - 0 is x, signed zeros and NaN included
  }
}

// The values, of which the compiler then knows nothing. Without it, it moves a choice between two operands
// behind the operation, which then meets the operand not chosen, and a trap that a host has unmasked.
template <class V>
MTH_INLINE V Opaque(V values) {
#if (defined(__GNUC__) || defined(__clang__)) && defined(__x86_64__)
#if MTH_VECTOR_BYTES == 64
  asm("" : "+v"(values));
#else
  asm("" : "+x"(values));
#endif
#elif (defined(__GNUC__) || defined(__clang__)) && defined(__aarch64__)
  asm("" : "+w"(values));
#elif defined(__GNUC__) || defined(__clang__)
  asm("" : "+m"(values));
#endif
  return values;
}

// The values as an element of type T holds them. A single one is opaque on the way: g++ 12 leaves the
// rounding of unrolled steps out when it puts them together to vectors.
template <class T, class V>
MTH_INLINE V RoundedTo(V values) {
  if constexpr (sizeof(T) == sizeof(double)) {
    return values;
  } else if constexpr (sizeof(V) == sizeof(double)) {
    return static_cast<double>(Opaque(static_cast<float>(values)));
  } else {
    return Widened<V>(Narrowed<V>(values));
  }
}

// The last lane first.
MTH_INLINE double Reversed(double value) {
  return value;
}
#if MTH_HAS_VECTORS
MTH_INLINE Lanes Reversed(Lanes values) {
#if MTH_VECTOR_BYTES == 64
  return __builtin_shufflevector(values, values, 7, 6, 5, 4, 3, 2, 1, 0);
#elif MTH_VECTOR_BYTES == 32
  return __builtin_shufflevector(values, values, 3, 2, 1, 0);
#else
  return __builtin_shufflevector(values, values, 1, 0);
#endif
}
#endif

// The lanes' square roots, as the divider rounds them.
template <class V>
MTH_INLINE V SquareRoots(V values) {
#if MTH_VECTOR_BYTES == 64
  if constexpr (sizeof(V) == 64)
    return V(_mm512_maskz_sqrt_pd(0xFF, __m512d(values)));  // g++ 12 warns of its own unmasked one
#endif
#if MTH_VECTOR_BYTES >= 32
  if constexpr (sizeof(V) == 32) return V(_mm256_sqrt_pd(__m256d(values)));
#endif
  if constexpr (sizeof(V) == sizeof(double)) {
    return std::sqrt(values);
  } else if constexpr (sizeof(V) <= 16) {
    V roots = values;
    for (int lane = 0; lane < static_cast<int>(sizeof(V) / sizeof(double)); ++lane)
      roots[lane] = std::sqrt(values[lane]);
    return roots;
  }
}

#if MTH_HAS_FUSED
// left * right + sum, rounded once.
template <class V>
MTH_INLINE V FusedSum(V left, V right, V sum) {
#if MTH_VECTOR_BYTES == 64
  if constexpr (sizeof(V) == 64) return V(_mm512_fmadd_pd(__m512d(left), __m512d(right), __m512d(sum)));
#endif
  if constexpr (sizeof(V) == 32) return V(_mm256_fmadd_pd(__m256d(left), __m256d(right), __m256d(sum)));
  if constexpr (sizeof(V) == 16) return V(_mm_fmadd_pd(__m128d(left), __m128d(right), __m128d(sum)));
  if constexpr (sizeof(V) == sizeof(double)) return __builtin_fma(left, right, sum);
}
// sum - left * right, rounded once: g++ would not see it in a FusedSum of a negative.
MTH_INLINE Lanes FusedDifference(Lanes sum, Lanes left, Lanes right) {
#if MTH_VECTOR_BYTES == 64
  return Lanes(_mm512_fnmadd_pd(__m512d(left), __m512d(right), __m512d(sum)));
#else
  return Lanes(_mm256_fnmadd_pd(__m256d(left), __m256d(right), __m256d(sum)));
#endif
}
#endif

// Whether some lane of a comparison's result is true.
MTH_INLINE bool HasAny(bool isTrue) {
  return isTrue;
}
MTH_INLINE bool HasAny(LaneIndices mask) {
#if MTH_VECTOR_BYTES == 64
  return _mm512_movepi64_mask(__m512i(mask)) != 0;
#elif MTH_VECTOR_BYTES == 32
  return _mm256_movemask_pd(__m256d(mask)) != 0;
#elif MTH_HAS_VECTORS
  return (mask[0] | mask[1]) != 0;
#else
  return mask != 0;
#endif
}

// Meets vectors, two at once, and tells whether one of them may have held a NaN; raises no flag. Short
// vectors are not looked at.
template <class V>
class NaNWatch {
 public:
  MTH_INLINE void Meet(V, V) {}
  MTH_INLINE bool MayHaveMetOne() const { return true; }
};
#if MTH_VECTOR_BYTES == 64
template <>
class NaNWatch<Lanes> {
 public:
  MTH_INLINE void Meet(Lanes a, Lanes b) {
    numbers_ = _mm512_mask_cmp_pd_mask(numbers_, __m512d(a), __m512d(b), _CMP_ORD_Q);
  }
  MTH_INLINE bool MayHaveMetOne() const { return numbers_ != kAll; }

 private:
  static constexpr __mmask8 kAll = 0xFF;
  __mmask8 numbers_ = kAll;
};
#elif MTH_VECTOR_BYTES == 32
template <>
class NaNWatch<Lanes> {
 public:
  MTH_INLINE void Meet(Lanes a, Lanes b) {
    nans_ |= LaneIndices(_mm256_cmp_pd(__m256d(a), __m256d(b), _CMP_UNORD_Q));
  }
  MTH_INLINE bool MayHaveMetOne() const { return HasAny(nans_); }

 private:
  LaneIndices nans_{};
};
#endif

// 0, 1, 2 ... in the lanes.
MTH_INLINE LaneIndices LaneNumbers() {
#if MTH_HAS_VECTORS
  LaneIndices numbers{};
  for (int lane = 0; lane < static_cast<int>(kLanes); ++lane) numbers[lane] = lane;
  return numbers;
#else
  return 0;
#endif
}

// ---- loops ----

// Runs body(position, V{}) over [first, last) for V = Lanes, then for V = double over what is left.
template <class Body>
MTH_INLINE void ForEachLanes(std::int64_t first, std::int64_t last, Body body) {
  std::int64_t i = first;
  for (; i + kLanes <= last; i += kLanes) body(i, Lanes{});
  for (; i < last; ++i) body(i, double{});
}
