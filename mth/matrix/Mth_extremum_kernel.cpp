#include <algorithm>
#include <cstdint>
#include <cstring>

#include "mth/matrix/Mth_extremum_kernel_internal.h"

#define MTH_KERNEL_FILE "mth/matrix/Mth_extremum_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

template <bool kLargest, class T>
double mth_internal::FindExtremum(const T* elements, std::int64_t count) {
  return MTH_SELECT(ScanForExtremum<kLargest, T>)(elements, count);
}

template double mth_internal::FindExtremum<true>(const double*, std::int64_t);
template double mth_internal::FindExtremum<true>(const float*, std::int64_t);
template double mth_internal::FindExtremum<false>(const double*, std::int64_t);
template double mth_internal::FindExtremum<false>(const float*, std::int64_t);
