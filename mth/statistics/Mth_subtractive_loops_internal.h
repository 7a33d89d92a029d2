// A pass of the subtractive method, compiled per instruction set. Lanes run across entries: 24 that follow
// one another do not depend on each other.

#include "mth/core/Mth_lanes_internal.h"

// Not the widest vectors: the single numbers that a caller works with between two passes would be slower for
// a while, and of 16 entries some depend on others.
constexpr int kPassBytes = std::min(kWidestBytes, 32);
using Entries = PackOf<std::int32_t, kPassBytes>::Type;
constexpr std::size_t kEntries = sizeof(Entries) / sizeof(std::int32_t);
static_assert(kEntries <= SubtractiveFamily::kLargestVector);

#if MTH_HAS_VECTORS

// Every entry's follower: the entries of `here` but the first, then the first of `next`.
MTH_INLINE Entries Followers(Entries here, Entries next) {
#if MTH_VECTOR_BYTES >= 32
  return __builtin_shufflevector(here, next, 1, 2, 3, 4, 5, 6, 7, 8);
#elif MTH_MULTIVERSION
  const __m128 moved = _mm_move_ss(__m128(here), __m128(next));  // g++ would take the vectors apart
  return Entries(_mm_shuffle_ps(moved, moved, _MM_SHUFFLE(0, 3, 2, 1)));
#else
  return __builtin_shufflevector(here, next, 1, 2, 3, 4);
#endif
}

using Uniforms = Doubles<kEntries / 2>;

// By the instructions themselves: g++ would convert halves of halves, and compare and choose instead of the
// minimum.
MTH_INLINE Uniforms Converted(const std::int32_t* entries) {
#if MTH_VECTOR_BYTES >= 32
  return Uniforms(_mm256_cvtepi32_pd(__m128i(At<PackOf<std::int32_t, 16>::Type>(entries))));
#else
  return __builtin_convertvector(At<PackOf<std::int32_t, 8>::Type>(entries), Uniforms);
#endif
}
MTH_INLINE Uniforms Smaller(Uniforms a, Uniforms b) {
#if MTH_VECTOR_BYTES >= 32
  return Uniforms(_mm256_min_pd(__m256d(a), __m256d(b)));
#elif MTH_MULTIVERSION
  return Uniforms(_mm_min_pd(__m128d(a), __m128d(b)));
#else
  return a < b ? a : b;
#endif
}

#endif

// The entries one place on, out of those that lie as they were stored: what lies across two stores could be
// read only when both have reached the cache.
MTH_INLINE Entries EntriesAfter(const std::int32_t* entries) {
#if MTH_HAS_VECTORS
  return Followers(At<Entries>(entries), At<Entries>(entries + kEntries));
#else
  return entries[1];
#endif
}

// SubtractiveFamily::Wrap in lanes. Of a negative difference and itself plus the modulus, the former is the
// larger one where both are taken as unsigned.
MTH_INLINE Entries Wrapped(Entries differences) {
#if MTH_MULTIVERSION && MTH_VECTOR_BYTES >= 32
  const Entries raised = differences + SubtractiveFamily::kModulus;
  return Entries(_mm256_min_epu32(__m256i(differences), __m256i(raised)));
#else
  return differences + (differences >> 31 & SubtractiveFamily::kModulus);
#endif
}

// SubtractiveFamily::Deviate in lanes. The entries come out of memory, which gives them in halves.
MTH_INLINE void SetDeviates(const std::int32_t* entries, double* deviates) {
#if MTH_HAS_VECTORS
  for (std::size_t i = 0; i < kEntries; i += kEntries / 2) {
    const Uniforms uniforms = Converted(entries + i) * SubtractiveFamily::kFactor;
    SetAt(deviates + i, Smaller(Spread<Uniforms>(kLargestUniform), uniforms));
  }
#else
  *deviates = SubtractiveFamily::Deviate(*entries);
#endif
}

// Draws every entry of a table once, out of the former one.
MTH_INLINE void DrawTable(const std::int32_t* former, std::int32_t* table, double* deviates) {
  constexpr std::size_t kSize = SubtractiveFamily::kPaddedTableSize;
  constexpr std::size_t kSpan = SubtractiveFamily::kSpan;
  for (std::size_t i = 0; i < kSize; i += kEntries) {
    const auto subtracted = At<Entries>(i < kSpan ? former + kSize - kSpan + i : table + i - kSpan);
    SetAt(table + i, Wrapped(EntriesAfter(former + i) - subtracted));
  }
  for (std::size_t i = 0; i < kSize; i += kEntries) SetDeviates(table + i, deviates + i);
}

// Draws what a pass has from `first` on: out of the table that lies there or, for a whole pass, as the last
// one has left it. That is read where it has long been: it is copied for when the pass is ended early.
inline void DrawPass(std::size_t first, std::int32_t* entries, double* deviates) {
  constexpr std::size_t kTable = SubtractiveFamily::kPaddedTableSize;
  const std::int32_t* former = entries + first;
  if (first == 0) {
    former = entries + SubtractiveFamily::kPassSize;
    for (std::size_t i = 0; i < kTable; i += kEntries) SetAt(entries + i, At<Entries>(former + i));
  }
  for (std::size_t i = first; i < SubtractiveFamily::kPassSize; i += kTable) {
    std::int32_t* const table = entries + i + kTable;
    DrawTable(former, table, deviates + i);
    former = table;
  }
}
