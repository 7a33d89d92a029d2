#include <gtest/gtest.h>

#include <limits>

#include "support/matrices.h"

namespace mth_test {
namespace {

TEST(MatrixElement, OutOfRangeIsStickyAndHarmless) {
  MTH_MATRIX matrix = Matrix({{1.0, 2.0}, {3.0, 4.0}});
  EXPECT_EQ(matrix.Get(-1, 0), 0.0);
  EXPECT_EQ(matrix.GetStatusError(), 2);
  EXPECT_EQ(matrix.Get(1, 0), 3.0);
  EXPECT_EQ(matrix.GetStatusError(), 2);
}

}  // namespace
}  // namespace mth_test
