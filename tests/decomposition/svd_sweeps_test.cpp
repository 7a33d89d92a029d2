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
// @param swept  receives the number of rotations of the right vectors: only sweeps have those.
bool Diagonalise(std::vector<double>& d, std::vector<double> e, int* swept = nullptr) {
  using mth_internal::baseline::BidiagonalQR;
  using mth_internal::baseline::RotatedVectors;
  const auto size = static_cast<std::int64_t>(d.size());
  const std::int64_t stride = mth_internal::PaddedRow(size);
  const std::int64_t recorded = 2 * mth_internal::kRecordedSweeps * (size + 2);
  std::vector<double> vectors(static_cast<std::size_t>(2 * size * stride));
  std::vector<mth_internal::Rotation> rotations(static_cast<std::size_t>(2 * recorded));
  RotatedVectors left({vectors.data(), size, stride}, rotations.data() + recorded);
  RotatedVectors right({vectors.data() + size * stride, size, stride}, rotations.data());
  for (auto& rotation : rotations) rotation.c = -2.0;  // no cosine
  const bool isDone =
      BidiagonalQR(d.data(), e.data(), size, left, right).Run() == mth_internal::SVDResult::Done;
  const auto isRecorded = [](const mth_internal::Rotation& rotation) { return rotation.c != -2.0; };
  if (swept != nullptr)
    *swept = static_cast<int>(std::count_if(rotations.begin(), rotations.begin() + recorded, isRecorded));
  return isDone;
}

// What is just negligible beside the largest sum of a row counts as 0, beside the diagonal and on it.
TEST(SVDSweeps, TakeNegligibleElementsForZero) {
  constexpr double kNegligible = 2.0 * std::numeric_limits<double>::epsilon();  // beside 2
  for (const double excess : {1.0, 1.5}) {
    for (const bool isOnDiagonal : {false, true}) {
      std::vector<double> d = {isOnDiagonal ? kNegligible * excess : 1.0, 1.0, 2.0};
      int swept = 0;
      ASSERT_TRUE(Diagonalise(d, {isOnDiagonal ? 0.5 : kNegligible * excess, 0.0, 0.0}, &swept));
      EXPECT_EQ(swept > 0, excess > 1.0) << isOnDiagonal;
    }
  }
}

TEST(SVDSweeps, RotateNumbersWhoseSquaresVanish) {
  for (const double unit : {1.0, 1e-100, 1e-155, 1e-200, 1e-300}) {
    double x = 3.0 * unit;
    const mth_internal::Rotation rotation = mth_internal::baseline::MakeRotation(x, -4.0 * unit);
    EXPECT_NEAR(rotation.c, 0.6, 1e-15);
    EXPECT_NEAR(rotation.s, -0.8, 1e-15);
    EXPECT_NEAR(x / unit, 5.0, 1e-14);
  }
  double zero = 0.0;
  EXPECT_EQ(mth_internal::baseline::MakeRotation(zero, 0.0).c, 1.0);
  EXPECT_EQ(zero, 0.0);
}

TEST(SVDSweeps, ConvergeOrGiveUpAtTheirCap) {
  std::vector<double> golden = {1.0, 1.0};  // [[1, 1], [0, 1]]: the golden ratio and its inverse
  ASSERT_TRUE(Diagonalise(golden, {1.0, 0.0}));
  std::sort(golden.begin(), golden.end(), [](double a, double b) { return std::abs(a) < std::abs(b); });
  EXPECT_NEAR(std::abs(golden[0]), 0.5 * (std::sqrt(5.0) - 1.0), 1e-15);
  EXPECT_NEAR(std::abs(golden[1]), 0.5 * (std::sqrt(5.0) + 1.0), 1e-15);

  // So many by contract, and the last one is not swept any more.
  // Finite elements whose squares are not: every sweep makes NaN, which never becomes negligible.
  EXPECT_EQ(mth_internal::kSVDIterationCap, 50);
  std::vector<double> huge = {1e200, 1e200, 1e200};
  int swept = 0;
  EXPECT_FALSE(Diagonalise(huge, {1e200, 1e200, 0.0}, &swept));
  EXPECT_EQ(swept, 49 * 2);
  std::vector<double> none = {1.0, std::numeric_limits<double>::quiet_NaN()};
  EXPECT_FALSE(Diagonalise(none, {1.0, 0.0}));
}

}  // namespace
}  // namespace mth_test
