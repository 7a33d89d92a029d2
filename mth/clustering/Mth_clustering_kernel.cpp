#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numeric>
#include <type_traits>
#include <utility>

#include "mth/clustering/Mth_clustering_kernel_internal.h"

#define MTH_KERNEL_FILE "mth/clustering/Mth_clustering_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"
