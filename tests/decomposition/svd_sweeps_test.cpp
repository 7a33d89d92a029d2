#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/decomposition/Mth_svd_internal.h"

#define MTH_KERNEL_FILE "mth/decomposition/Mth_svd_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

// The sweeps alone: matrices are scaled before them, so that no finite one can keep them from converging.

namespace mth_test {
namespace {

// Whether the bidiagonal matrix of diagonal d and superdiagonal e becomes diagonal; d then holds its values.
bool Diagonalise(std::vector<double>& d, std::vector<double> e) {
  using mth_internal::baseline::BidiagonalQR;
  using mth_internal::baseline::RotationBatch;
  const auto size = static_cast<std::int64_t>(d.size());
  const std::int64_t stride = mth_internal::PaddedRow(size);
  const std::int64_t recorded = mth_internal::kRecordedSweeps * (size + 2);
  std::vector<double> vectors(static_cast<std::size_t>(2 * size * stride));
  std::vector<mth_internal::Rotation> rotations(static_cast<std::size_t>(2 * recorded));
  RotationBatch left(vectors.data(), stride, rotations.data(), size);
  RotationBatch right(vectors.data() + size * stride, stride, rotations.data() + recorded, size);
  return BidiagonalQR(d.data(), e.data(), size, left, right).Run() == mth_internal::SVDResult::Done;
}

TEST(SVDSweeps, ConvergeOrGiveUpAtTheirCap) {
  std::vector<double> golden = {1.0, 1.0};  // [[1, 1], [0, 1]]: the golden ratio and its inverse
  ASSERT_TRUE(Diagonalise(golden, {1.0, 0.0}));
  std::sort(golden.begin(), golden.end(), [](double a, double b) { return std::abs(a) < std::abs(b); });
  EXPECT_NEAR(std::abs(golden[0]), 0.5 * (std::sqrt(5.0) - 1.0), 1e-15);
  EXPECT_NEAR(std::abs(golden[1]), 0.5 * (std::sqrt(5.0) + 1.0), 1e-15);

  EXPECT_EQ(mth_internal::kSVDIterationCap,
            50);  // so many by contract: none that converges needs nearly as many
  // Finite elements whose squares are not: every sweep makes NaN, which never becomes negligible.
  std::vector<double> huge = {1e200, 1e200, 1e200};
  EXPECT_FALSE(Diagonalise(huge, {1e200, 1e200, 0.0}));
  std::vector<double> none = {1.0, std::numeric_limits<double>::quiet_NaN()};
  EXPECT_FALSE(Diagonalise(none, {1.0, 0.0}));
}

}  // namespace
}  // namespace mth_test
