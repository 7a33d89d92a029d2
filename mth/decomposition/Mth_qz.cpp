#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/decomposition/Mth_qz_internal.h"
#include "mth/decomposition/Mth_reflections_internal.h"
#include "mth/decomposition/Mth_small_reflections_internal.h"

#define MTH_KERNEL_FILE "mth/decomposition/Mth_qz_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

// Generalised real Schur form.

namespace mth_internal {

bool ReduceToGeneralisedSchur(const Pencil& p, double* work) {
  const auto reduce = MTH_SELECT(RunQZReduction);
  return reduce(p, work);
}

}  // namespace mth_internal
