#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>
#include <utility>

#include "support/allocation_faults.h"
#include "support/matrices.h"

namespace mth_test {
namespace {

using Operation = std::function<MTH_MATRIX*()>;

TEST(MatrixAllocation, WithoutMemoryResultsAreNullOrUnallocated) {
  const MTH_MATRIX a = RandomMatrix(6, 6, kFloat, 61);
  MTH_MATRIX kernel = RandomMatrix(3, 3, kFloat, 62);
  const std::pair<const char*, Operation> operations[] = {
      {"+", [&] { return a + a; }},
      {"-", [&] { return a - a; }},
      {"*", [&] { return a * a; }},
      {"/", [&] { return a / a; }},
      {"scaling", [&] { return a * 2.0; }},
      {"Transpose", [&] { return a.Transpose(); }},
      {"GetExtract", [&] { return a.GetExtract(1, 1, 4, 4); }},
      {"RegionOfMatrix", [&] { return a.RegionOfMatrix(1, 1, 4, 4); }},
      {"GetThresholding", [&] { return a.GetThresholding(0.5); }},
      {"AddColBySymetry", [&] { return a.AddColBySymetry(2); }},
      {"AddRowBySymetry", [&] { return a.AddRowBySymetry(2); }},
      {"full convolution", [&] { return a.Convolution2D(&kernel, 0); }},
      {"inner convolution", [&] { return a.Convolution2D(&kernel, 1); }},
      {"a failure", [&] { return a + kernel; }},
      {"copy", [&] { return new (std::nothrow) MTH_MATRIX(a); }},
  };
  for (const auto& entry : operations) {
    const char* name = entry.first;
    const Operation& operation = entry.second;
    const MatrixPtr wanted(operation());
    const int faults = ForEachAllocationFault(operation, [&](MTH_MATRIX* result) {
      const MatrixPtr owned(result);
      if (!owned || !wanted->IsAllocated()) return;
      // Scratch memory may be missed without harm; the result's own may not.
      EXPECT_TRUE(owned->IsAllocated() ? SameBits(*owned, *wanted).operator bool()
                                       : owned->GetStatusError() == 1)
          << name;
    });
    EXPECT_GE(faults, wanted->IsAllocated() ? 2 : 1) << name;
  }
}

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
