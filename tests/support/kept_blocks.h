#pragma once

#include "mth/matrix/Mth_matrix.h"
#include "support/allocation_faults.h"

namespace mth_test {

/// Has the library give back the freed blocks that it keeps for later results, as it does where memory cannot
/// be had. Needs allocation_faults.cpp among the sources of the test.
inline void GiveBackKeptBlocks() {
  const AllocationFaults faults(0);
  const MTH_MATRIX refused(3000, 3000, 0);  // larger than any that is kept
}

}  // namespace mth_test
