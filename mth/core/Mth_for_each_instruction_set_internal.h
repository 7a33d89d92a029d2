// Compiles MTH_KERNEL_FILE once per instruction set. Included, not once only, by the source that owns the
// kernels, outside any namespace, after every header that the kernels need. In the kernel file
// MTH_VECTOR_BYTES is the width of one vector register and MTH_HAS_FUSED tells whether a fused multiply-add
// is one instruction.

#include <limits>

#include "mth/core/Mth_elementary_internal.h"
#include "mth/core/Mth_elementary_tables_internal.h"
#include "mth/core/Mth_instruction_set_internal.h"

#define MTH_VECTOR_BYTES 16
#define MTH_HAS_FUSED 0
namespace mth_internal::baseline {
#include MTH_KERNEL_FILE
}
#undef MTH_VECTOR_BYTES
#undef MTH_HAS_FUSED

#if MTH_MULTIVERSION

#define MTH_HAS_FUSED 1

#define MTH_VECTOR_BYTES 32
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2,fma"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2,fma")
#endif
namespace mth_internal::avx2 {
#include MTH_KERNEL_FILE
}
#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif
#undef MTH_VECTOR_BYTES

#define MTH_VECTOR_BYTES 64
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx512f,avx512dq,avx512bw,avx512vl,avx2,fma"))), \
                             apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx512f,avx512dq,avx512bw,avx512vl,avx2,fma")
#endif
namespace mth_internal::avx512 {
#include MTH_KERNEL_FILE
}
#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif
#undef MTH_VECTOR_BYTES

#undef MTH_HAS_FUSED

#endif  // MTH_MULTIVERSION

#undef MTH_KERNEL_FILE
