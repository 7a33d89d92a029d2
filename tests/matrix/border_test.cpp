#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "support/allocation_faults.h"
#include "support/matrices.h"
#include "support/recording_display.h"
#include "support/values.h"

namespace mth_test {
namespace {

MatrixPtr Bordered(const MTH_MATRIX& matrix, bool alongColumns, int width) {
  return MatrixPtr(alongColumns ? matrix.AddColBySymetry(width) : matrix.AddRowBySymetry(width));
}

// Walks outwards from the edge and stays at the farthest element when the border is wider than the matrix.
int MirroredIndex(int position, int width, int count) {
  if (position < width) return std::min(width - 1 - position, count - 1);
  if (position >= width + count) return std::max(count - 1 - (position - width - count), 0);
  return position - width;
}

TEST(MatrixBorder, AgreesWithBruteForceForEveryWidth) {
  const int shapes[][2] = {{1, 1}, {2, 3}, {3, 2}, {1, 5}, {5, 1}, {9, 8}};
  for (int type : {kDouble, kFloat}) {
    for (const auto& [rows, columns] : shapes) {
      const MTH_MATRIX source = RandomMatrix(rows, columns, type, 41);
      for (int width = 0; width < 12; ++width) {
        EXPECT_TRUE(
            SameBits(*Bordered(source, true, width),
                     FromRule(source.GetNbRows(), source.GetNbCols() + 2 * width, type, [&](int i, int j) {
                       return source.Get(i, MirroredIndex(j, width, source.GetNbCols()));
                     })));
        EXPECT_TRUE(
            SameBits(*Bordered(source, false, width),
                     FromRule(source.GetNbRows() + 2 * width, source.GetNbCols(), type, [&](int i, int j) {
                       return source.Get(MirroredIndex(i, width, source.GetNbRows()), j);
                     })));
      }
    }
  }
}

TEST(MatrixBorder, ImpossibleWidthsAndOperands) {
  MTH_MATRIX desallocated(1, 1, kDouble);
  desallocated.Desallocate();
  const MTH_MATRIX refused(-1, 1, kFloat);
  const MTH_MATRIX two = Matrix({{1.0, 2.0}, {3.0, 4.0}});
  for (bool alongColumns : {true, false}) {
    EXPECT_EQ(Bordered(MTH_MATRIX(), alongColumns, 1)->GetStatusError(), 1);
    EXPECT_EQ(Bordered(desallocated, alongColumns, 1)->GetStatusError(), 14);  // its element type is -1
    EXPECT_EQ(Bordered(refused, alongColumns, 1)->GetStatusError(), 14);
    EXPECT_EQ(Bordered(two, alongColumns, -1)->GetStatusError(), 4);
    EXPECT_EQ(Bordered(two, alongColumns, std::numeric_limits<int>::min())->GetStatusError(), 4);
    EXPECT_EQ(Bordered(two, alongColumns, kIntMax)->GetStatusError(), 1);
    EXPECT_EQ(Bordered(two, alongColumns, kIntMax / 2)->GetStatusError(), 1);
    EXPECT_TRUE(SameBits(*Bordered(two, alongColumns, 0), two));
  }
  // There is nothing to mirror.
  EXPECT_TRUE(SameBits(*Bordered(MTH_MATRIX(2, 0, kDouble), true, 1), Matrix({{0.0, 0.0}, {0.0, 0.0}})));
}

// The definition: every entry adds its terms in row-major order of the source, in single precision.
MTH_MATRIX Convolved(const MTH_MATRIX& source, const MTH_MATRIX& kernel) {
  return FromRule(source.GetNbRows() + kernel.GetNbRows() - 1, source.GetNbCols() + kernel.GetNbCols() - 1,
                  kFloat, [&](int i, int j) {
                    float sum = 0.0F;
                    for (int a = 0; a < source.GetNbRows(); ++a) {
                      for (int b = 0; b < source.GetNbCols(); ++b) {
                        const bool isInKernel = i - a >= 0 && i - a < kernel.GetNbRows() && j - b >= 0 &&
                                                j - b < kernel.GetNbCols();
                        if (!isInKernel) continue;
                        const float weight = static_cast<float>(kernel.Get(i - a, j - b));
                        sum += static_cast<float>(source.Get(a, b)) * weight;
                      }
                    }
                    return sum;
                  });
}

TEST(MatrixConvolution, AgreesWithTheDefinitionInBothModes) {
  const int shapes[][4] = {{1, 1, 1, 1}, {3, 4, 2, 2}, {2, 2, 3, 4},   {1, 9, 1, 3}, {9, 1, 3, 1},
                           {5, 7, 3, 3}, {6, 5, 4, 5}, {20, 37, 5, 9}, {4, 3, 2, 4}};
  for (int kernelType : {kDouble, kFloat}) {
    for (const auto& [rows, columns, kernelRows, kernelColumns] : shapes) {
      MTH_MATRIX source = RandomMatrix(rows, columns, kFloat, 42);
      source.Set(rows - 1, columns / 2,
                 std::numeric_limits<double>::infinity());  // reaches only its own terms
      MTH_MATRIX kernel = RandomMatrix(kernelRows, kernelColumns, kernelType, 43);
      kernel.Set(0, 0, 0.0);
      const MTH_MATRIX expected = Convolved(source, kernel);
      for (int mode : {0, 2, -1})
        EXPECT_TRUE(SameBits(*MatrixPtr(source.Convolution2D(&kernel, mode)), expected));

      const MatrixPtr inside(source.Convolution2D(&kernel, 1));
      const int firstColumn = kernelColumns - 1;
      ASSERT_EQ(inside->IsAllocated(), columns >= firstColumn);
      if (!inside->IsAllocated()) continue;
      EXPECT_TRUE(SameBits(*inside, FromRule(expected.GetNbRows(), columns - firstColumn, kFloat,
                                             [&](int i, int j) { return expected.Get(i, firstColumn + j); })))
          << rows << " x " << columns << " by " << kernelRows << " x " << kernelColumns;
      EXPECT_EQ(source.GetStatusError() + kernel.GetStatusError(), 0);
    }
  }
}

TEST(MatrixConvolution, RefusesWhatItCannotConvolve) {
  RecordingDisplay display;
  MTH_MATRIX unallocated;
  MTH_MATRIX floats = RandomMatrix(2, 2, kFloat, 44);
  MTH_MATRIX doubles = RandomMatrix(2, 2, kDouble, 44);
  MTH_MATRIX wide = RandomMatrix(1, 4, kFloat, 45);
  MTH_MATRIX empty(0, 0, kFloat);
  const auto status = [](const MTH_MATRIX& source, MTH_MATRIX& kernel, int mode) {
    const MatrixPtr result(source.Convolution2D(&kernel, mode));
    EXPECT_FALSE(result->IsAllocated());
    return result->GetStatusError();
  };
  for (int mode : {0, 1}) {
    EXPECT_EQ(status(unallocated, floats, mode), 1);
    EXPECT_EQ(status(floats, unallocated, mode), 1);
    EXPECT_EQ(status(doubles, floats, mode), 14);
    EXPECT_EQ(status(empty, empty, mode), 1);
  }
  EXPECT_EQ(status(floats, wide, 1), 1);
  MTH_MATRIX flat(1, 0, kFloat);  // leaves one column more than an int counts
  EXPECT_EQ(status(MTH_MATRIX(0, std::numeric_limits<int>::max(), kFloat), flat, 1), 1);
  EXPECT_TRUE(display.messages.empty());

  {  // no memory for the message: nothing reaches the host but the failure value
    const AllocationFaults faults(0);
    EXPECT_EQ(floats.Convolution2D(nullptr, 0), nullptr);
  }
  EXPECT_EQ(floats.Convolution2D(nullptr, 0), nullptr);
  ASSERT_EQ(display.messages.size(), 1U);
  EXPECT_EQ(display.messages[0], Information("Erreur dans les matrices d'entrées!"));
}

}  // namespace
}  // namespace mth_test
