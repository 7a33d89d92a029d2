// Vectors of floats for the kernels of this folder, on top of the lanes of doubles. V is Floats or, for what
// is left at the end of a row, float.

#include "mth/core/Mth_lanes_internal.h"

using Floats = VectorOf<float>::Type;
constexpr std::int64_t kFloats = VectorOf<float>::kCount;

// Runs body(position, V{}) over [0, count).
template <class Body>
MTH_INLINE void ForEachFloats(std::int64_t count, Body body) {
  std::int64_t i = 0;
  for (; i + kFloats <= count; i += kFloats) body(i, Floats{});
  for (; i < count; ++i) body(i, float{});
}
