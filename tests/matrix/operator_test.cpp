#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <utility>
#include <vector>

#include "support/matrices.h"
#include "support/values.h"

namespace mth_test {
namespace {

struct BinaryOperation {
  const char* name;
  bool isProduct;
  std::function<MTH_MATRIX*(const MTH_MATRIX&, const MTH_MATRIX&)> apply;
};

const BinaryOperation kBinaryOperations[] = {
    {"+", false, [](auto& a, auto& b) { return a + b; }},
    {"-", false, [](auto& a, auto& b) { return a - b; }},
    {"/", false, [](auto& a, auto& b) { return a / b; }},
    {"*", true, [](auto& a, auto& b) { return a * b; }},
};

// Unallocated before types, types before shapes.
TEST(MatrixOperator, ChecksInTheDocumentedOrder) {
  std::vector<MTH_MATRIX> operands;
  operands.reserve(12);  // a copy of an unallocated matrix would have status 1
  operands.resize(2);
  operands[1].Allocate(2, 3, kDouble);
  operands[1].Desallocate();
  for (int type : {kDouble, kFloat}) {
    for (const auto& [rows, columns] : {std::pair(2, 3), {3, 2}, {3, 4}, {2, 4}, {0, 0}}) {
      operands.push_back(RandomMatrix(rows, columns, type, 5));
    }
  }
  for (const auto& operation : kBinaryOperations) {
    for (const MTH_MATRIX& a : operands) {
      for (const MTH_MATRIX& b : operands) {
        const bool fits = operation.isProduct
                              ? a.GetNbCols() == b.GetNbRows()
                              : a.GetNbRows() == b.GetNbRows() && a.GetNbCols() == b.GetNbCols();
        int status = fits ? 0 : 4;
        if (a.GetType() != b.GetType()) status = 14;
        if (!a.IsAllocated() || !b.IsAllocated()) status = 1;
        const MatrixPtr result(operation.apply(a, b));
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->GetStatusError(), status)
            << a.GetNbRows() << " x " << a.GetNbCols() << " type " << a.GetType() << " " << operation.name
            << " " << b.GetNbRows() << " x " << b.GetNbCols() << " type " << b.GetType();
        EXPECT_EQ(result->IsAllocated(), status == 0);
        EXPECT_EQ(result->GetNbRows(), status == 0 ? a.GetNbRows() : -1);
        EXPECT_EQ(result->GetNbCols(), status == 0 ? b.GetNbCols() : -1);
        EXPECT_EQ(result->GetType(), status == 0 ? a.GetType() : 0);
      }
    }
  }
  for (const MTH_MATRIX& operand : operands) EXPECT_EQ(operand.GetStatusError(), 0);
}

TEST(MatrixOperator, ProductKeepsTheRulesOfSpecialValues) {
  for (int type : {kDouble, kFloat}) {
    const MTH_MATRIX zeroRow = Matrix({{0.0, 1.0}}, type);
    EXPECT_TRUE(
        std::isnan(MatrixPtr(zeroRow * Matrix({{kInfinity}, {1.0}}, type))->Get(0, 0)));  // zeros count
    const MatrixPtr sum(Matrix({{-1.0}}, type) * Matrix({{0.0}}, type));
    EXPECT_FALSE(std::signbit(sum->Get(0, 0)));  // 0 + -0
  }
  // The sum of float products is not rounded to float before its end.
  const MatrixPtr cancelled(Matrix({{16777216.0, 1.0, -16777216.0}}, kFloat) *
                            Matrix({{1.0}, {1.0}, {1.0}}, kFloat));
  EXPECT_EQ(cancelled->Get(0, 0), 1.0);
}

TEST(MatrixOperator, UnaryOperationsRefuseAnUnallocatedMatrix) {
  const MTH_MATRIX unallocated;
  MTH_MATRIX* results[] = {unallocated * 2.0,
                           unallocated.Transpose(),
                           unallocated.GetThresholding(0.0),
                           unallocated.GetExtract(0, 0, 1, 1),
                           unallocated.GetExtract(-1, 0, 1, 1),
                           unallocated.RegionOfMatrix(0, 0, 0, 0)};
  for (MTH_MATRIX* result : results) {
    const MatrixPtr owned(result);
    EXPECT_FALSE(owned->IsAllocated());
    EXPECT_EQ(owned->GetStatusError(), 1);
  }
  EXPECT_EQ(unallocated.GetStatusError(), 0);
}

}  // namespace
}  // namespace mth_test
