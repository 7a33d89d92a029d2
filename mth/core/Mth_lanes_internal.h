// Vectors of doubles for kernel files, which include this inside their own namespace and therefore not once
// only. Lanes are independent outputs; a compiler without vector types gets one lane.

#if defined(__GNUC__) || defined(__clang__)
#define MTH_INLINE [[gnu::always_inline]] inline
#define MTH_NOINLINE [[gnu::noinline]]
constexpr std::int64_t kLanes = MTH_VECTOR_BYTES / sizeof(double);
typedef double Lanes __attribute__((vector_size(MTH_VECTOR_BYTES)));

// A whole vector of elements as they are stored, for what needs no sums in double; Loose is one in memory.
template <class T>
struct VectorOf {
  static constexpr int kCount = MTH_VECTOR_BYTES / sizeof(T);
  typedef T Type __attribute__((vector_size(MTH_VECTOR_BYTES)));
  typedef T Loose __attribute__((vector_size(MTH_VECTOR_BYTES), aligned(sizeof(T)), may_alias));
};

// A vector of that many bytes of doubles, for rows that are shorter than Lanes; as it lies in memory, there
// also as floats.
template <int kBytes>
struct DoublesOf {
  typedef double Type __attribute__((vector_size(kBytes)));
  typedef double Loose __attribute__((vector_size(kBytes), aligned(8), may_alias));
  typedef float LooseFloats __attribute__((vector_size(kBytes / 2), aligned(4), may_alias));
};
template <>
struct DoublesOf<sizeof(double)> {
  using Type = double;
};

// Floats as doubles. By the instruction itself: g++ would widen in halves and put them together.
template <class V>
MTH_INLINE V Widened(typename DoublesOf<sizeof(V)>::LooseFloats values) {
#if MTH_VECTOR_BYTES == 64
  if constexpr (sizeof(V) == 64)
    return V(_mm512_maskz_cvtps_pd(0xFF, __m256(values)));  // g++ 12 warns of the unmasked
#endif
#if MTH_VECTOR_BYTES >= 32
  if constexpr (sizeof(V) == 32) return V(_mm256_cvtps_pd(__m128(values)));
#endif
  return __builtin_convertvector(values, V);
}

// V is Lanes or a shorter vector, or double for what is left at the end of a row. Float elements are widened
// and rounded.
template <class V>
MTH_INLINE V Load(const double* source) {
  if constexpr (sizeof(V) == sizeof(double)) {
    return *source;
  } else {
    return *reinterpret_cast<const typename DoublesOf<sizeof(V)>::Loose*>(source);
  }
}
template <class V>
MTH_INLINE V Load(const float* source) {
  if constexpr (sizeof(V) == sizeof(double)) {
    return static_cast<double>(*source);
  } else {
    return Widened<V>(*reinterpret_cast<const typename DoublesOf<sizeof(V)>::LooseFloats*>(source));
  }
}
template <class V>
MTH_INLINE void Store(double* target, V values) {
  if constexpr (sizeof(V) == sizeof(double)) {
    *target = values;
  } else {
    *reinterpret_cast<typename DoublesOf<sizeof(V)>::Loose*>(target) = values;
  }
}
template <class V>
MTH_INLINE void Store(float* target, V values) {
  if constexpr (sizeof(V) == sizeof(double)) {
    *target = static_cast<float>(values);
  } else {
    using Vector = DoublesOf<sizeof(V)>;
    *reinterpret_cast<typename Vector::LooseFloats*>(target) =
        __builtin_convertvector(static_cast<typename Vector::Loose>(values), typename Vector::LooseFloats);
  }
}
// The values as an element of type T holds them.
template <class T, class V>
MTH_INLINE V RoundedTo(V values) {
  if constexpr (sizeof(T) == sizeof(double)) {
    return values;
  } else if constexpr (sizeof(V) == sizeof(double)) {
    return static_cast<double>(static_cast<T>(values));
  } else {
    using Vector = DoublesOf<sizeof(V)>;
    return Widened<V>(
        __builtin_convertvector(static_cast<typename Vector::Loose>(values), typename Vector::LooseFloats));
  }
}
template <class V>
MTH_INLINE V Spread(double value) {
  if constexpr (sizeof(V) == sizeof(double)) {
    return value;
  } else {
    return value - V{};  // x - 0 is x, signed zeros and NaN included
  }
}
#else
#define MTH_INLINE inline
#define MTH_NOINLINE
constexpr std::int64_t kLanes = 1;
using Lanes = double;
template <int kBytes>
struct DoublesOf {
  using Type = double;
};
template <class T>
struct VectorOf {
  static constexpr int kCount = 1;
  using Type = T;
  using Loose = T;
};
template <class V, class T>
MTH_INLINE V Load(const T* source) {
  return static_cast<double>(*source);
}
template <class V, class T>
MTH_INLINE void Store(T* target, V values) {
  *target = static_cast<T>(values);
}
template <class T, class V>
MTH_INLINE V RoundedTo(V values) {
  return static_cast<double>(static_cast<T>(values));
}
template <class V>
MTH_INLINE V Spread(double value) {
  return value;
}
#endif

// Runs body(position, V{}) over [first, last) for V = Lanes, then for V = double over what is left.
template <class Body>
MTH_INLINE void ForEachLanes(std::int64_t first, std::int64_t last, Body body) {
  std::int64_t i = first;
  for (; i + kLanes <= last; i += kLanes) body(i, Lanes{});
  for (; i < last; ++i) body(i, double{});
}
