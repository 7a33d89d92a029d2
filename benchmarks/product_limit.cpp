#include "product_limit.h"

#include <cmath>
#include <cstring>

#include "mth/core/Mth_compiler_internal.h"

#define MTH_KERNEL_FILE "benchmarks/product_limit_loops.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

double mth_benchmark::MultiplyAndAdd(std::int64_t terms, bool isFused) {
  return isFused ? MTH_SELECT(MultiplyAndAdd<true>)(terms) : MTH_SELECT(MultiplyAndAdd<false>)(terms);
}
