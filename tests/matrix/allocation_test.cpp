#include <gtest/gtest.h>

#include <functional>

#include "support/allocation_faults.h"
#include "support/matrices.h"

namespace mth_test {
namespace {

TEST(MatrixAllocation, WithoutMemoryAMatrixBecomesUnallocated) {
  const MTH_MATRIX source = RandomMatrix(6, 6, kDouble, 63);
  const std::function<void(MTH_MATRIX&)> changes[] = {[](MTH_MATRIX& m) { m.Allocate(9, 9, kFloat); },
                                                      [&](MTH_MATRIX& m) { m = source; }};
  for (const auto& change : changes) {
    MTH_MATRIX matrix = RandomMatrix(5, 5, kFloat, 64);
    {
      const AllocationFaults faults(0);
      change(matrix);
      EXPECT_TRUE(faults.HaveStruck());
    }
    EXPECT_FALSE(matrix.IsAllocated());
    EXPECT_EQ(matrix.GetNbRows(), -1);
    EXPECT_EQ(matrix.GetType(), -1);
    EXPECT_EQ(matrix.GetStatusError(), 1);
    EXPECT_EQ(matrix.GetEDataAddress(), nullptr);
    EXPECT_EQ(matrix.GetFDataAddress(), nullptr);
    change(matrix);
    EXPECT_EQ(matrix.GetStatusError(), 0);
  }
}

}  // namespace
}  // namespace mth_test
