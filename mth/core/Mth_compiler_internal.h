#pragma once

/// @file
/// What the compiler offers to the hot loops. Everything here has a plain form as well, which any C++20
/// compiler builds; MTH_PLAIN_KERNELS asks for it where there is a choice.

// Vector types, and the loops compiled for several instruction sets.
#if (defined(__GNUC__) || defined(__clang__)) && !defined(MTH_PLAIN_KERNELS)
#define MTH_HAS_VECTORS 1
#else
#define MTH_HAS_VECTORS 0
#endif

#if MTH_HAS_VECTORS && defined(__x86_64__)
#define MTH_MULTIVERSION 1
#include <immintrin.h>
#else
#define MTH_MULTIVERSION 0
#endif

#if defined(__GNUC__) || defined(__clang__)
#define MTH_INLINE [[gnu::always_inline]] inline
#define MTH_INLINE_LAMBDA __attribute__((always_inline))  // after its parameters
#define MTH_NOINLINE [[gnu::noinline]]
#else
#define MTH_INLINE inline
#define MTH_INLINE_LAMBDA
#define MTH_NOINLINE
#endif

namespace mth_internal {

/// Asks for the cache line of an address before its turn comes; any address is allowed.
MTH_INLINE void Prefetch([[maybe_unused]] const void* address) {
#if MTH_HAS_VECTORS
  __builtin_prefetch(address);
#endif
}

/// The same for a line that is needed later: it comes no nearer than the second cache.
MTH_INLINE void PrefetchToSecondCache([[maybe_unused]] const void* address) {
#if MTH_HAS_VECTORS
  __builtin_prefetch(address, 0, 2);
#endif
}

/// As Prefetch for a line that will be written.
MTH_INLINE void PrefetchForWriting([[maybe_unused]] const void* address) {
#if MTH_HAS_VECTORS
  __builtin_prefetch(address, 1);
#endif
}

/// The address of static state, or a number to store in it, held in a register, of which the compiler then
/// knows nothing more. For state that goes from call to call through memory: Intel's processors hand what one
/// call has stored to the next at no cost where both reach it through a register and a register was stored,
/// but only after seven cycles where it is named relative to the instruction, as the compiler would, and
/// after far more where a constant was stored.
template <class Value>
MTH_INLINE Value InRegister(Value value) {
#if MTH_MULTIVERSION
  asm("" : "+r"(value));
#endif
  return value;
}

}  // namespace mth_internal
