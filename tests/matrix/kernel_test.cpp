#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <random>
#include <tuple>

#include "mth/core/Mth_instruction_set_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "support/matrices.h"

// Every version of the hot loops, for every instruction set, against the loop that fixes the bits.

namespace mth_test {
namespace {

using mth_internal::InstructionSet;

constexpr InstructionSet kSets[] = {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512};

// Random elements over many magnitudes; every `oneIn`-th or so is a zero of either sign, an infinity or a
// NaN.
MTH_MATRIX WildMatrix(int rows, int columns, int type, unsigned seed, unsigned oneIn) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  const double infinity = std::numeric_limits<double>::infinity();
  const double special[] = {0.0, -0.0, infinity, -infinity, std::nan("")};
  MTH_MATRIX matrix(rows, columns, type);
  for (int i = 0; i < rows; ++i) {
    for (int j = 0; j < columns; ++j) {
      const double value = std::ldexp(uniform(engine), static_cast<int>(engine() % 30) - 15);
      matrix.Set(i, j, oneIn != 0 && engine() % oneIn == 0 ? special[engine() % 5] : value);
    }
  }
  return matrix;
}

MTH_MATRIX LiteralProduct(const MTH_MATRIX& a, const MTH_MATRIX& b) {
  MTH_MATRIX product(a.GetNbRows(), b.GetNbCols(), a.GetType());
  for (int i = 0; i < a.GetNbRows(); ++i) {
    for (int j = 0; j < b.GetNbCols(); ++j) {
      double sum = 0.0;
      for (int k = 0; k < a.GetNbCols(); ++k) sum += a.Get(i, k) * b.Get(k, j);
      product.Set(i, j, sum);
    }
  }
  return product;
}

// Shapes around register tiles, panels and the blocks of the inner dimension.
constexpr std::tuple<int, int, int> kProducts[] = {
    {1, 1, 1},       {2, 3, 4},      {4, 4, 4},       {3, 3, 3},       {7, 5, 6},       {28, 9, 5},
    {16, 40, 48},    {40, 70, 64},   {12, 16, 16},    {13, 17, 19},    {24, 8, 33},     {65, 64, 63},
    {5, 300, 7},     {1, 500, 130},  {130, 500, 1},   {129, 131, 127}, {140, 257, 150}, {192, 256, 160},
    {200, 600, 141}, {30, 1100, 40}, {26, 420, 1100}, {9, 70, 65},     {12, 600, 40},   {40, 600, 8},
    {25, 90, 20},    {13, 1100, 31}, {0, 3, 2},       {3, 0, 2},       {3, 2, 0}};

TEST(MatrixKernel, ProductsHaveTheBitsOfThePlainLoop) {
  for (const auto& [rows, inner, columns] : kProducts) {
    for (int type : {kDouble, kFloat}) {
      for (unsigned oneIn : {0u, 5000u, 40u}) {
        const MTH_MATRIX a = WildMatrix(rows, inner, type, 1, oneIn);
        const MTH_MATRIX b = WildMatrix(inner, columns, type, 2, oneIn);
        const MTH_MATRIX expected = LiteralProduct(a, b);
        for (InstructionSet set : kSets) {
          const mth_internal::InstructionSetScope scope(set);
          const MatrixPtr product(a * b);
          ASSERT_TRUE(SameBits(*product, expected)) << rows << "x" << inner << "x" << columns << " type "
                                                    << type << " set " << static_cast<int>(set);
        }
      }
    }
  }
}

// Sums in several blocks of k, of rows that are packed or read where they lie; columns in several slabs, the
// last one narrower than any tile at 7201. The widths leave rests of every kind over tiles of 4, 8 and 16
// columns.
TEST(MatrixKernel, LargeProductsHaveTheBitsOfThePlainLoop) {
  constexpr std::tuple<int, int, int> kShapes[] = {
      {110, 1025, 150}, {40, 2048, 73}, {17, 150, 1030}, {16, 1030, 1028}, {16, 24, 7201}};
  for (const auto& [rows, inner, columns] : kShapes) {
    for (int type : {kDouble, kFloat}) {
      const MTH_MATRIX a = WildMatrix(rows, inner, type, 6, 0);
      const MTH_MATRIX b = WildMatrix(inner, columns, type, 7, 0);
      const MTH_MATRIX expected = LiteralProduct(a, b);
      for (InstructionSet set : kSets) {
        const mth_internal::InstructionSetScope scope(set);
        ASSERT_TRUE(SameBits(*MatrixPtr(a * b), expected))
            << rows << "x" << inner << "x" << columns << " type " << type << " set " << static_cast<int>(set);
      }
    }
  }
}

// Which of several NaN a sum becomes is the machine's choice; what is stored is not.
TEST(MatrixKernel, EveryNanOfAProductIsTheSame) {
  for (const auto& [rows, inner, columns] : {std::tuple{1, 2, 1}, {13, 40, 25}, {30, 70, 65}}) {
    MTH_MATRIX a = WildMatrix(rows, inner, kDouble, 8, 30);
    MTH_MATRIX b = WildMatrix(inner, columns, kDouble, 9, 30);
    a.Set(0, 1, -std::nan("0x6000000000000"));
    b.Set(0, 0, std::nan("0x4000000000000"));
    for (InstructionSet set : kSets) {
      const mth_internal::InstructionSetScope scope(set);
      const MatrixPtr product(a * b);
      for (int i = 0; i < rows * columns; ++i) {
        const double entry = product->GetEDataAddress()[i];
        if (!std::isnan(entry)) continue;
        EXPECT_EQ(std::bit_cast<std::uint64_t>(entry), 0x7ff8000000000000U);
      }
      EXPECT_TRUE(std::isnan(product->Get(0, 0)));
    }
  }
}

// The only one among all entries as well, wherever it is: infinity times zero is the machine's own NaN.
TEST(MatrixKernel, ASingleNanOfAProductIsTheSame) {
  constexpr int kRows = 17;
  constexpr int kColumns = 71;
  const double infinity = std::numeric_limits<double>::infinity();
  for (InstructionSet set : kSets) {
    const mth_internal::InstructionSetScope scope(set);
    for (int i = 0; i < kRows * kColumns; ++i) {
      MTH_MATRIX a(kRows, 1, kDouble);
      MTH_MATRIX b(1, kColumns, kDouble);
      a.GetEDataAddress()[i / kColumns] = infinity;
      for (int j = 0; j < kColumns; ++j) b.GetEDataAddress()[j] = j == i % kColumns ? 0.0 : 1.0;
      const MatrixPtr product(a * b);
      EXPECT_EQ(std::bit_cast<std::uint64_t>(product->GetEDataAddress()[i]), 0x7ff8000000000000U);
    }
  }
}

struct ElementRule {
  const char* name;
  std::function<MTH_MATRIX*(const MTH_MATRIX&, const MTH_MATRIX&)> operation;
  std::function<double(double, double)> inDouble;
  std::function<float(float, float)> inFloat;
};

TEST(MatrixKernel, ElementWiseOperationsHaveTheBitsOfThePlainLoop) {
  const double factor = 1.0 / 3.0;
  const auto inFloat = static_cast<float>(factor);
  const ElementRule rules[] = {
      {"sum", [](auto& a, auto& b) { return a + b; }, [](double a, double b) { return a + b; },
       [](float a, float b) { return a + b; }},
      {"difference", [](auto& a, auto& b) { return a - b; }, [](double a, double b) { return a - b; },
       [](float a, float b) { return a - b; }},
      {"quotient", [](auto& a, auto& b) { return a / b; }, [](double a, double b) { return a / b; },
       [](float a, float b) { return a / b; }},
      {"scaling", [=](auto& a, auto&) { return a * factor; }, [=](double a, double) { return a * factor; },
       [=](float a, float) { return a * inFloat; }},
      {"threshold", [=](auto& a, auto&) { return a.GetThresholding(factor); },
       [=](double a, double) { return a < factor ? 0.0 : 1.0; },
       [=](float a, float) { return a < inFloat ? 0.0f : 1.0f; }},
  };
  // The largest takes its result in huge pages.
  for (const auto& [rows, columns] : {std::pair{1, 1}, {3, 7}, {33, 31}, {1100, 1003}}) {
    for (int type : {kDouble, kFloat}) {
      const MTH_MATRIX a = WildMatrix(rows, columns, type, 3, 50);
      const MTH_MATRIX b = WildMatrix(rows, columns, type, 4, 50);
      for (const ElementRule& rule : rules) {
        MTH_MATRIX expected(rows, columns, type);
        for (int i = 0; i < rows; ++i) {
          for (int j = 0; j < columns; ++j) {
            const double x = a.Get(i, j);
            const double y = b.Get(i, j);
            const auto inSingle = [&] {
              return static_cast<double>(rule.inFloat(static_cast<float>(x), static_cast<float>(y)));
            };
            expected.Set(i, j, type == kDouble ? rule.inDouble(x, y) : inSingle());
          }
        }
        for (InstructionSet set : kSets) {
          const mth_internal::InstructionSetScope scope(set);
          const MatrixPtr result(rule.operation(a, b));
          ASSERT_TRUE(SameBits(*result, expected))
              << rule.name << " " << rows << "x" << columns << " type " << type;
        }
      }
    }
  }
}

// Results that the cache cannot hold are written past it, block by block, but for a rest.
TEST(MatrixKernel, ResultsBeyondTheCacheHaveTheBitsOfThePlainLoop) {
  constexpr int kCount = 3300001;
  const double factor = 1.0 / 3.0;
  for (int type : {kDouble, kFloat}) {
    const MTH_MATRIX a = RandomMatrix(1, kCount, type, 10);
    const MTH_MATRIX b = RandomMatrix(1, kCount, type, 11);
    for (InstructionSet set : kSets) {
      const mth_internal::InstructionSetScope scope(set);
      const MatrixPtr sum(a + b);
      const MatrixPtr scaled(a * factor);
      int differences = 0;
      for (int j = 0; j < kCount; ++j) {
        const auto rounded = [&](double value) {
          return type == kDouble ? value : static_cast<double>(static_cast<float>(value));
        };
        const double x = a.Get(0, j);
        differences += sum->Get(0, j) != rounded(x + b.Get(0, j));
        differences += scaled->Get(0, j) != rounded(x * rounded(factor));
      }
      EXPECT_EQ(differences, 0) << "type " << type << " set " << static_cast<int>(set);
    }
  }
}

TEST(MatrixKernel, TransposesEveryShape) {
  for (const auto& [rows, columns] :
       {std::pair{1, 1}, {1, 9}, {9, 1}, {8, 8}, {16, 24}, {17, 23}, {64, 65}, {1030, 1021}}) {
    for (int type : {kDouble, kFloat}) {
      const MTH_MATRIX matrix = WildMatrix(rows, columns, type, 5, 20);
      for (InstructionSet set : kSets) {
        const mth_internal::InstructionSetScope scope(set);
        const MatrixPtr transposed(matrix.Transpose());
        ASSERT_EQ(transposed->GetNbRows(), columns);
        ASSERT_EQ(transposed->GetNbCols(), rows);
        const MatrixPtr back(transposed->Transpose());
        ASSERT_TRUE(SameBits(*back, matrix)) << rows << "x" << columns;
        for (int i = 0; i < rows; i += 7) {
          for (int j = 0; j < columns; ++j) {
            const double element = matrix.Get(i, j);
            ASSERT_TRUE(transposed->Get(j, i) == element || std::isnan(element)) << i << " " << j;
          }
        }
      }
    }
  }
}

TEST(MatrixKernel, ExtremaAreThoseOfThePlainScan) {
  for (int columns : {1, 2, 7, 16, 33, 100, 5000}) {
    for (unsigned seed = 0; seed < 60; ++seed) {
      for (int type : {kDouble, kFloat}) {
        MTH_MATRIX matrix = WildMatrix(1, columns, type, seed, seed % 3 == 0 ? 0 : 3);
        if (seed % 4 == 1) {  // zeros of both signs decide
          for (int j = 0; j < columns; ++j)
            matrix.Set(0, j, (seed + static_cast<unsigned>(j * j)) % 3 == 0 ? -0.0 : 0.0);
        }
        double largest = matrix.Get(0, 0);
        double smallest = largest;
        for (int j = 1; j < columns; ++j) {
          if (matrix.Get(0, j) > largest) largest = matrix.Get(0, j);
          if (matrix.Get(0, j) < smallest) smallest = matrix.Get(0, j);
        }
        for (InstructionSet set : kSets) {
          const mth_internal::InstructionSetScope scope(set);
          const auto check = [&](double actual, double expected) {
            return (std::isnan(actual) && std::isnan(expected)) ||
                   (actual == expected && std::signbit(actual) == std::signbit(expected));
          };
          ASSERT_TRUE(check(matrix.GetMax(nullptr, nullptr), largest)) << columns << " seed " << seed;
          ASSERT_TRUE(check(matrix.GetMin(nullptr, nullptr), smallest)) << columns << " seed " << seed;
        }
      }
    }
  }
}

}  // namespace
}  // namespace mth_test
