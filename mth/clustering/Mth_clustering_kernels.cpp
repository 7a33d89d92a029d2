#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "mth/clustering/Mth_clustering_kernels_internal.h"

#define MTH_KERNEL_FILE "mth/clustering/Mth_clustering_kernels.inl"
#include "mth/Mth_for_each_instruction_set_internal.h"
