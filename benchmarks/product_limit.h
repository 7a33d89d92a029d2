#pragma once

#include <cstdint>

#include "mth/core/Mth_compiler_internal.h"

namespace mth_benchmark {

/// So many products and sums in registers alone, by the vectors of the present instruction set: rounded one
/// by one or, where the set can, fused.
double MultiplyAndAdd(std::int64_t terms, bool isFused);

}  // namespace mth_benchmark
