#include <gtest/gtest.h>

#include <limits>
#include <utility>

#include "support/allocation_faults.h"
#include "support/matrices.h"
#include "support/values.h"

namespace mth_test {
namespace {

// What a matrix without elements tells of itself.
void ExpectUnallocated(const MTH_MATRIX& matrix, int type, int status) {
  EXPECT_FALSE(matrix.IsAllocated());
  EXPECT_EQ(matrix.GetNbRows(), -1);
  EXPECT_EQ(matrix.GetNbCols(), -1);
  EXPECT_EQ(matrix.GetType(), type);
  EXPECT_EQ(matrix.GetStatusError(), status);
  EXPECT_EQ(matrix.GetEDataAddress(), nullptr);
  EXPECT_EQ(matrix.GetFDataAddress(), nullptr);
}

void ExpectAllocated(const MTH_MATRIX& matrix, int rows, int columns, int type) {
  EXPECT_TRUE(matrix.IsAllocated());
  EXPECT_EQ(matrix.GetNbRows(), rows);
  EXPECT_EQ(matrix.GetNbCols(), columns);
  EXPECT_EQ(matrix.GetType(), type);
  EXPECT_EQ(matrix.GetStatusError(), 0);
  EXPECT_EQ(matrix.GetEDataAddress() != nullptr, type == kDouble);
  EXPECT_EQ(matrix.GetFDataAddress() != nullptr, type == kFloat);
}

MTH_MATRIX WithStatusTwo() {
  MTH_MATRIX matrix = Matrix({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
  matrix.Get(9, 9);
  return matrix;
}

TEST(MatrixStorage, GoesThroughItsStates) {
  MTH_MATRIX matrix;
  ExpectUnallocated(matrix, 0, 0);
  matrix.Desallocate();
  ExpectUnallocated(matrix, 0, 0);
  matrix.Allocate(2, 3, kFloat);
  ExpectAllocated(matrix, 2, 3, kFloat);
  matrix.Get(5, 5);
  matrix.Allocate(30, 20, kDouble);
  ExpectAllocated(matrix, 30, 20, kDouble);
  matrix.Desallocate();
  ExpectUnallocated(matrix, -1, 0);
  for (int type : {7, -1, 2, kIntMin}) {
    matrix.Allocate(2, 2, kDouble);
    matrix.Allocate(2, 2, type);
    ExpectUnallocated(matrix, -1, 14);
    ExpectUnallocated(MTH_MATRIX(2, 2, type), -1, 14);
  }
  matrix.Allocate(1, 1, kDouble);
  ExpectAllocated(matrix, 1, 1, kDouble);
}

TEST(MatrixStorage, EmptyShapesAreMatrices) {
  for (int type : {kDouble, kFloat}) {
    ExpectAllocated(MTH_MATRIX(0, 3, type), 0, 3, type);
    ExpectAllocated(MTH_MATRIX(3, 0, type), 3, 0, type);
    ExpectAllocated(MTH_MATRIX(0, kIntMax, type), 0, kIntMax, type);
  }
}

TEST(MatrixStorage, ImpossibleSizesAreRefusedBeforeAllocating) {
  const int sizes[][2] = {{-1, 3},
                          {3, -1},
                          {-1, -1},
                          {-65536, -65536},
                          {65536, 65536},
                          {kIntMax, kIntMax},
                          {kIntMin, kIntMin},
                          {kIntMin, 2},
                          {65536, 32768},
                          {1 << 30, 4}};
  for (const auto& [rows, columns] : sizes) {
    for (int type : {kDouble, kFloat}) {
      const AllocationWatch watch;
      ExpectUnallocated(MTH_MATRIX(rows, columns, type), -1, 1);
      EXPECT_LT(watch.LargestRequest(), 1000U) << rows << " x " << columns;
    }
  }
}

TEST(MatrixCopy, ConstructionClearsTheStatusAndAssignmentCopiesIt) {
  const MTH_MATRIX source = WithStatusTwo();
  const MTH_MATRIX copy(source);
  EXPECT_TRUE(SameBits(copy, source));
  EXPECT_NE(copy.GetEDataAddress(), source.GetEDataAddress());
  EXPECT_EQ(MTH_MATRIX(copy).GetStatusError(), 0);

  MTH_MATRIX noisy = copy;
  noisy.Get(-1, 0);
  EXPECT_EQ(MTH_MATRIX(noisy).GetStatusError(), 0);
  MTH_MATRIX target(1, 1, kFloat);
  EXPECT_EQ(&(target = noisy), &target);
  EXPECT_TRUE(SameBits(target, noisy));
  EXPECT_EQ(target.GetStatusError(), 2);
  EXPECT_EQ(target.GetFDataAddress(), nullptr);
  const MTH_MATRIX& self = target;
  target = self;
  EXPECT_TRUE(SameBits(target, noisy));
  EXPECT_EQ(target.GetStatusError(), 2);
}

TEST(MatrixCopy, OfAnUnallocatedMatrix) {
  const MTH_MATRIX unallocated;
  ExpectUnallocated(MTH_MATRIX(unallocated), -1, 1);
  MTH_MATRIX target = Matrix({{1.0, 2.0}});
  target = unallocated;
  EXPECT_EQ(target.GetStatusError(), 3);
  EXPECT_TRUE(SameBits(target, Matrix({{1.0, 2.0}})));
}

TEST(MatrixElement, OutOfRangeIsStickyAndHarmless) {
  for (int type : {kDouble, kFloat}) {
    const int places[][2] = {{-1, 0},     {0, -1}, {2, 0}, {0, 3}, {kIntMin, kIntMin}, {kIntMax, kIntMax},
                             {0, kIntMax}};
    for (const auto& [row, column] : places) {
      const MTH_MATRIX expected = Matrix({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}}, type);
      MTH_MATRIX matrix = expected;
      EXPECT_EQ(matrix.Get(row, column), 0.0);
      EXPECT_EQ(matrix.GetStatusError(), 2);
      EXPECT_EQ(matrix.Get(1, 0), 4.0);
      EXPECT_EQ(matrix.GetStatusError(), 2);
      matrix = expected;
      matrix.Set(row, column, 9.0);
      EXPECT_EQ(matrix.GetStatusError(), 2);
      matrix = expected;
      matrix.Set(row, column, 9.0F);
      EXPECT_EQ(matrix.GetStatusError(), 2);
      matrix.Set(1, 2, 6.0F);
      EXPECT_EQ(matrix.GetStatusError(), 2);
      EXPECT_TRUE(SameBits(matrix, expected));
    }
  }
}

TEST(MatrixElement, IsRoundedToTheElementType) {
  MTH_MATRIX floats(1, 2, kFloat);
  floats.Set(0, 0, 0.1);
  floats.Set(0, 1, 1e300);
  EXPECT_EQ(floats.Get(0, 0), double{0.1F});
  EXPECT_EQ(floats.Get(0, 1), std::numeric_limits<double>::infinity());
  MTH_MATRIX doubles(1, 2, kDouble);
  doubles.Set(0, 0, 0.1);
  doubles.Set(0, 1, 0.1F);
  EXPECT_EQ(doubles.Get(0, 0), 0.1);
  EXPECT_EQ(doubles.Get(0, 1), double{0.1F});
  doubles.Set(0, 0, -7);
  doubles.Set(0, 1, std::size_t{1} << 40);
  EXPECT_EQ(doubles.Get(0, 0), -7.0);
  EXPECT_EQ(doubles.Get(0, 1), 1099511627776.0);
}

TEST(MatrixElement, UnallocatedMatricesIgnoreEverything) {
  MTH_MATRIX matrix;
  double value = 1.0;
  EXPECT_EQ(matrix.Get(0, 0), 0.0);
  matrix.Set(0, 0, 1.0);
  matrix.Set(-1, -1, 1.0F);
  matrix.SetZero();
  matrix.SetIdentity();
  matrix.SetVector(nullptr, 1);
  matrix.SetVector(&value, 1);
  matrix.SetDiagVector(nullptr, 1);
  matrix.SetDiagVector(&value, 1);
  EXPECT_EQ(matrix.GetTrace(), 0.0);
  EXPECT_EQ(matrix.GetMax(nullptr, nullptr), 0.0);
  EXPECT_EQ(matrix.GetMin(nullptr, nullptr), 0.0);
  EXPECT_EQ(matrix.ComputeFrobeniusNorm(), 0.0);
  ExpectUnallocated(matrix, 0, 0);
}

TEST(MatrixFill, OfEveryShape) {
  const int shapes[][2] = {{1, 1}, {2, 2}, {2, 5}, {5, 2}, {9, 9}, {1, 6}, {6, 1}, {0, 2}, {2, 0}};
  for (int type : {kDouble, kFloat}) {
    for (const auto& shape : shapes) {
      const int rows = shape[0];
      const int columns = shape[1];
      const auto filled = [&](auto fill) {
        MTH_MATRIX matrix = RandomMatrix(rows, columns, type, 3);
        fill(matrix);
        EXPECT_EQ(matrix.GetStatusError(), 0);
        return matrix;
      };
      const auto expected = [&](auto rule) { return FromRule(rows, columns, type, rule); };
      const double values[] = {0.1, -2.0, 3.5, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0};
      EXPECT_TRUE(SameBits(filled([](auto& m) { m.SetZero(); }), expected([](int, int) { return 0.0; })));
      EXPECT_TRUE(
          SameBits(filled([](auto& m) { m.SetIdentity(); }), expected([](int i, int j) { return i == j; })));
      for (int count : {9, 3, 1, 0, -1}) {
        EXPECT_TRUE(SameBits(filled([&](auto& m) { m.SetDiagVector(values, count); }),
                             expected([&](int i, int j) { return i == j && i < count ? values[i] : 0.0; })))
            << rows << " x " << columns << ", " << count << " values";
      }
    }
  }
}

TEST(MatrixFill, SetVectorChecksItsArguments) {
  double values[] = {0.1, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0};
  for (int type : {kDouble, kFloat}) {
    const MTH_MATRIX before = RandomMatrix(2, 3, type, 4);
    struct Case {
      double* values;
      int count, status;
    };
    for (const Case& c : {Case{nullptr, 6, 3}, {nullptr, 0, 3}, {values, 5, 4}, {values, -1, 4}}) {
      MTH_MATRIX matrix = before;
      matrix.SetVector(c.values, c.count);
      EXPECT_EQ(matrix.GetStatusError(), c.status);
      EXPECT_TRUE(SameBits(matrix, before));
    }
    for (int count : {6, 7}) {
      MTH_MATRIX matrix = before;
      matrix.SetVector(std::as_const(values), count);
      EXPECT_EQ(matrix.GetStatusError(), 0);
      EXPECT_TRUE(SameBits(matrix, FromRule(2, 3, type, [&](int i, int j) { return values[3 * i + j]; })));
    }
    MTH_MATRIX diagonal = before;
    diagonal.SetDiagVector(nullptr, 2);
    EXPECT_EQ(diagonal.GetStatusError(), 3);
    EXPECT_TRUE(SameBits(diagonal, before));
  }
}

}  // namespace
}  // namespace mth_test
