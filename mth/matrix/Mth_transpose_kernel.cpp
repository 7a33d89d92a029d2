#include <algorithm>
#include <cstdint>
#include <utility>

#include "mth/matrix/Mth_transpose_kernel_internal.h"

#define MTH_KERNEL_FILE "mth/matrix/Mth_transpose_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

template <class T>
void mth_internal::Transpose(const T* source, std::int64_t rows, std::int64_t columns, T* target) {
  MTH_SELECT(TransposeArray<T>)(source, rows, columns, target);
}

template void mth_internal::Transpose(const double*, std::int64_t, std::int64_t, double*);
template void mth_internal::Transpose(const float*, std::int64_t, std::int64_t, float*);
