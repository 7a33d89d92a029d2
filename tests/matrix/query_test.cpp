#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/matrices.h"
#include "support/values.h"

namespace mth_test {
namespace {

TEST(MatrixQuery, TraceRunsOverTheColumns) {
  for (int type : {kDouble, kFloat}) {
    struct Case {
      MTH_MATRIX matrix;
      double trace;
      int status;
    };
    const Case cases[] = {{Matrix({{1.0, 2.0}, {3.0, 4.0}}, type), 5.0, 0},
                          {Matrix({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}}, type), 6.0, 2},
                          {Matrix({{1.0, 2.0}, {3.0, 4.0}, {5.0, 6.0}}, type), 5.0, 0},
                          {MTH_MATRIX(0, 2, type), 0.0, 2},
                          {MTH_MATRIX(0, kIntMax, type), 0.0, 2},
                          {MTH_MATRIX(2, 0, type), 0.0, 0}};
    for (const Case& c : cases) {
      EXPECT_EQ(c.matrix.GetTrace(), c.trace);
      EXPECT_EQ(c.matrix.GetStatusError(), c.status) << c.matrix.GetNbRows() << " x " << c.matrix.GetNbCols();
    }
    const MTH_MATRIX unallocated;
    EXPECT_EQ(unallocated.GetTrace(), 0.0);
    EXPECT_EQ(unallocated.GetStatusError(), 0);
    // In single precision the 1 would be lost.
    EXPECT_EQ(Matrix({{16777216.0, 0.0}, {0.0, 1.0}}, type).GetTrace(), 16777217.0);
  }
}

TEST(MatrixQuery, ExtremaAreTheFirstOnesAndTellNoPosition) {
  struct Case {
    std::initializer_list<std::initializer_list<double>> rows;
    double smallest, largest;
  };
  const Case cases[] = {
      {{{1.0, 5.0}, {5.0, 2.0}}, 1.0, 5.0},
      {{{-3.0}}, -3.0, -3.0},
      {{{0.0, -0.0}}, 0.0, 0.0},
      {{{-0.0, 0.0, -0.0}}, -0.0, -0.0},
      {{{1.0, -0.0}, {0.0, 2.0}}, -0.0, 2.0},
      {{{kNaN, 1.0}, {-1.0, 3.0}}, kNaN, kNaN},  // nothing is strictly beyond a NaN
      {{{1.0, kNaN}, {-1.0, 3.0}}, -1.0, 3.0},
      {{{2.0, kInfinity}, {-kInfinity, kNaN}}, -kInfinity, kInfinity},
  };
  for (int type : {kDouble, kFloat}) {
    for (const Case& c : cases) {
      const MTH_MATRIX matrix = Matrix(c.rows, type);
      int row = 77;
      int column = 78;
      const MTH_MATRIX actual = Matrix({{matrix.GetMin(&row, &column), matrix.GetMax(&row, &column)}});
      EXPECT_TRUE(SameBits(actual, Matrix({{c.smallest, c.largest}})));
      EXPECT_EQ(row, 77);
      EXPECT_EQ(column, 78);
      EXPECT_EQ(matrix.GetMax(nullptr, nullptr) == matrix.GetMax(&row, &column), !std::isnan(c.largest));
    }
    EXPECT_EQ(MTH_MATRIX(0, 4, type).GetMax(nullptr, nullptr), 0.0);
    EXPECT_EQ(MTH_MATRIX(4, 0, type).GetMin(nullptr, nullptr), 0.0);
  }
}

TEST(MatrixQuery, FrobeniusNormIsSummedInDoubleWithoutScaling) {
  for (int type : {kDouble, kFloat}) {
    EXPECT_EQ(Matrix({{2.0, -4.0}, {4.0, 8.0}}, type).ComputeFrobeniusNorm(), 10.0);
    // The square has too many digits for a float.
    EXPECT_EQ(Matrix({{4097.0}}, type).ComputeFrobeniusNorm(), 4097.0);
    EXPECT_EQ(MTH_MATRIX(0, 3, type).ComputeFrobeniusNorm(), 0.0);
    const MTH_MATRIX random = RandomMatrix(7, 9, type, 32);
    double sum = 0.0;
    for (int n = 0; n < 63; ++n) sum += random.Get(n / 9, n % 9) * random.Get(n / 9, n % 9);
    EXPECT_EQ(random.ComputeFrobeniusNorm(), std::sqrt(sum));
  }
  EXPECT_EQ(Matrix({{1e200}}).ComputeFrobeniusNorm(), kInfinity);
  EXPECT_EQ(Matrix({{1e30}}, kFloat).ComputeFrobeniusNorm(), double{1e30F});
}

// The rule of a block over everything that may be asked of a small matrix, and some that may not.
TEST(MatrixQuery, ExtractAndRegionAgreeWithBruteForce) {
  const int numbers[] = {kIntMin, -2, -1, 0, 1, 2, 3, 4, kIntMax};
  for (int type : {kDouble, kFloat}) {
    const MTH_MATRIX source = RandomMatrix(3, 4, type, 33);
    const auto expectBlock = [&](MTH_MATRIX* actual, bool exists, int row, int column, int rows,
                                 int columns) {
      const MatrixPtr owned(actual);
      ASSERT_EQ(owned->GetStatusError(), exists ? 0 : 4)
          << row << " " << column << " " << rows << " " << columns;
      if (!exists) {
        EXPECT_FALSE(owned->IsAllocated());
        return;
      }
      EXPECT_TRUE(SameBits(*owned, FromRule(rows, columns, type,
                                            [&](int i, int j) { return source.Get(row + i, column + j); })));
    };
    for (int a : numbers) {
      for (int b : numbers) {
        for (int c : numbers) {
          for (int d : numbers) {
            const bool isInside =
                a >= 0 && b >= 0 && c >= 0 && d >= 0 && c <= 3 && d <= 4 && a <= 3 - c && b <= 4 - d;
            expectBlock(source.GetExtract(a, b, c, d), isInside, a, b, c, d);

            const int top = std::max(a, 0), left = std::max(b, 0), bottom = std::min(c, 2),
                      right = std::min(d, 3);
            const bool hasAny = top <= bottom && left <= right;
            expectBlock(source.RegionOfMatrix(a, b, c, d), hasAny, top, left, hasAny ? bottom - top + 1 : 0,
                        hasAny ? right - left + 1 : 0);
          }
        }
      }
    }
    EXPECT_EQ(source.GetStatusError(), 0);
  }
}

}  // namespace
}  // namespace mth_test
