// Vectors of doubles for kernel files, which include this inside their own namespace and therefore not once
// only. Lanes are independent outputs; a compiler without vector types gets one lane.

#if defined(__GNUC__) || defined(__clang__)
#define MTH_INLINE [[gnu::always_inline]] inline
constexpr std::int64_t kLanes = MTH_VECTOR_BYTES / sizeof(double);
typedef double Lanes __attribute__((vector_size(MTH_VECTOR_BYTES)));
typedef double LooseLanes __attribute__((vector_size(MTH_VECTOR_BYTES), aligned(8), may_alias));
typedef float LooseFloatLanes __attribute__((vector_size(MTH_VECTOR_BYTES / 2), aligned(4), may_alias));

// V is Lanes, or double for what is left at the end of a row. Float elements are widened and rounded.
template <class V>
MTH_INLINE V Load(const double* source) {
  if constexpr (sizeof(V) == sizeof(double)) {
    return *source;
  } else {
    return *reinterpret_cast<const LooseLanes*>(source);
  }
}
template <class V>
MTH_INLINE V Load(const float* source) {
  if constexpr (sizeof(V) == sizeof(double)) {
    return static_cast<double>(*source);
  } else {
    return __builtin_convertvector(*reinterpret_cast<const LooseFloatLanes*>(source), LooseLanes);
  }
}
template <class V>
MTH_INLINE void Store(double* target, V values) {
  if constexpr (sizeof(V) == sizeof(double)) {
    *target = values;
  } else {
    *reinterpret_cast<LooseLanes*>(target) = values;
  }
}
template <class V>
MTH_INLINE void Store(float* target, V values) {
  if constexpr (sizeof(V) == sizeof(double)) {
    *target = static_cast<float>(values);
  } else {
    *reinterpret_cast<LooseFloatLanes*>(target) =
        __builtin_convertvector(static_cast<LooseLanes>(values), LooseFloatLanes);
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
    return __builtin_convertvector(__builtin_convertvector(static_cast<LooseLanes>(values), LooseFloatLanes),
                                   LooseLanes);
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
constexpr std::int64_t kLanes = 1;
using Lanes = double;
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
