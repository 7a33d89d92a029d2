#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <memory>
#include <numbers>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "mth/value/Mth_complex.h"
#include "support/decomposition_cases.h"
#include "support/matrices.h"
#include "support/recording_display.h"

// Finite matrices that decompositions have refused or answered wrongly.

namespace mth_test {
namespace {

using Complex = std::complex<double>;

constexpr double kEpsilon = 2.2e-16;

// Random with all but the columns from `firstColumn` and the rows from `firstRow` on replaced by 0.
MTH_MATRIX OnlyLast(int rows, int columns, int firstRow, int firstColumn) {
  const MTH_MATRIX random = RandomMatrix(rows, columns, kDouble, 17);
  return FromRule(rows, columns, kDouble,
                  [&](int i, int j) { return i >= firstRow && j >= firstColumn ? random.Get(i, j) : 0.0; });
}

MTH_MATRIX Scaled(const MTH_MATRIX& a, double factor) {
  return *MatrixPtr(a * factor);
}

double Largest(const MTH_MATRIX& a) {
  return std::max(a.GetMax(nullptr, nullptr), -a.GetMin(nullptr, nullptr));
}

MTH_MATRIX NearlyDiagonal(double beside) {
  return FromRule(4, 4, kDouble,
                  [=](int i, int j) { return i == j ? i + 1.0 : beside * (1.0 + 0.1 * (i + j)); });
}

std::vector<MTH_MATRIX> Nasty() {
  std::vector<MTH_MATRIX> list;
  for (const int n : {20, 24, 32, 50})
    list.push_back(
        FromRule(n, n, kDouble, [n](int i, int j) { return j == n - 1 ? std::sin(i + 1.0) : 0.0; }));
  for (const int n : {2, 3}) {
    list.push_back(OnlyLast(40, 40, 0, 40 - n));
    list.push_back(OnlyLast(40, 40, 40 - n, 0));
    list.push_back(OnlyLast(120, 40, 0, 40 - n));
  }
  list.push_back(OnlyLast(100, 100, 95, 0));
  for (const double beside : {1e-155, 1e-158, 1e-160, 1e-161, 1e-162}) list.push_back(NearlyDiagonal(beside));
  for (const double size : {1e305, 1e300, 1e155, 1e-155, 1e-300, 1e-307})
    list.push_back(Scaled(RandomMatrix(9, 7, kDouble, 3), size));
  // Singular values that rounding alone tells apart.
  for (const auto& [n, seed] : {std::pair(80, 19u), {90, 5u}})
    list.push_back(*MatrixPtr(Identity(n) + Scaled(RandomMatrix(n, n, kDouble, seed), 3e-16)));
  // A projector with noise: half of its values lie far below the root of epsilon, beside values of 1.
  const MTH_MATRIX noise = RandomMatrix(180, 180, kDouble, 4);
  list.push_back(FromRule(180, 180, kDouble, [&](int i, int j) {
    const double angle = 2.0 * std::numbers::pi / 180.0 * (i * j % 180);
    const double reflection = (std::cos(angle) + std::sin(angle)) / std::sqrt(180.0);
    return 0.5 * (i == j) + 0.5 * reflection + 1e-9 * noise.Get(i, j);
  }));
  list.push_back(RandomMatrix(3, 40, kDouble, 4));
  list.push_back(MTH_MATRIX(0, 3, kDouble));
  return list;
}

TEST(FiniteMatrices, HaveSingularValuesAndQR) {
  RecordingDisplay display;
  for (const MTH_MATRIX& a : Nasty()) {
    MTH_MATRIX* made[5] = {};
    ASSERT_TRUE(a.SVD(&made[0], &made[1], &made[2]));
    ASSERT_TRUE(a.QR(&made[3], &made[4]));
    std::vector<MatrixPtr> factors;
    for (MTH_MATRIX* factor : made) factors.emplace_back(factor);
    if (a.GetNbRows() == 0) continue;
    const double size = Largest(a);
    const double scale = std::ldexp(1.0, -std::ilogb(size));
    const double tolerance = 30.0 * std::max(a.GetNbRows(), a.GetNbCols()) * kEpsilon;
    EXPECT_TRUE(HasOrthonormalColumns(*factors[2], tolerance));
    EXPECT_TRUE(Near(Product(Product(*factors[0], Scaled(*factors[1], scale)), Transposed(*factors[2])),
                     Scaled(a, scale), tolerance));
    EXPECT_TRUE(HasOrthonormalColumns(*factors[3], tolerance));
    EXPECT_TRUE(Near(Product(*factors[3], Scaled(*factors[4], scale)), Scaled(a, scale), tolerance));
  }
  EXPECT_EQ(OnlyLast(40, 40, 0, 37).Rank(), 3);
  EXPECT_TRUE(display.messages.empty());
}

// Residual and unit norm; orthogonality too where the matrix is symmetric.
void CheckEigenproblem(const MTH_MATRIX& a) {
  MTH_COMPLEX* values = nullptr;
  MTH_COMPLEX* vectors = nullptr;
  ASSERT_TRUE(a.RealEigenvalueProblem(&values, &vectors));
  const std::unique_ptr<MTH_COMPLEX[]> ownedValues(values);
  const std::unique_ptr<MTH_COMPLEX[]> ownedVectors(vectors);
  const int n = a.GetNbRows();
  const double size = std::max(Largest(a), 1e-300);
  const auto vector = [&](int i, int j) {
    return Complex(vectors[i * n + j].getReal(), vectors[i * n + j].getImag());
  };
  const bool isSymmetric = SameBits(a, Transposed(a));
  for (int j = 0; j < n; ++j) {
    const Complex value = Complex(values[j].getReal(), values[j].getImag()) / size;
    for (int i = 0; i < n; ++i) {
      Complex rest = -value * vector(i, j);
      for (int k = 0; k < n; ++k) rest += a.Get(i, k) / size * vector(k, j);
      ASSERT_LE(std::abs(rest), 100.0 * n * kEpsilon);
    }
    for (int k = 0; isSymmetric && k <= j; ++k) {
      Complex dot = 0.0;
      for (int i = 0; i < n; ++i) dot += std::conj(vector(i, j)) * vector(i, k);
      ASSERT_NEAR(std::abs(dot), j == k ? 1.0 : 0.0, 100.0 * kEpsilon);
    }
  }
}

TEST(FiniteMatrices, HaveEigenvectors) {
  for (const MTH_MATRIX& a : Nasty()) {
    if (a.GetNbRows() == a.GetNbCols()) CheckEigenproblem(a);
  }
  CheckEigenproblem(Matrix({{1, 0, 0, 0}, {0, 0, 1, 0}, {1, 0, 0, 0}, {1, 0, 0, 0}}));
  CheckEigenproblem(Matrix({{0, 0, 0, 1}, {1, 0, 1, 0}, {0, 1, 0, 0}, {1, 0, 0, 0}}));
  CheckEigenproblem(Matrix({{0, 0, 0, 0}, {1, 1, 1, 1}, {1, 0, 1, 1}, {0, 1, 0, 0}}));
  CheckEigenproblem(Matrix({{1 - 1e-9, 1e-9, -2e-9}, {-1e-9, 1 + 1e-9, -2e-9}, {1e-9, 1e-9, 1 - 1e-9}}));
  CheckEigenproblem(Matrix({{0, -4}, {4, 1.2e-306}}));
  for (const int n : {5, 10, 20, 40}) {
    const MTH_MATRIX a = RandomMatrix(n, n, kDouble, static_cast<unsigned>(n));
    CheckEigenproblem(*MatrixPtr(a * *MatrixPtr(a.Inverse())));
  }
  for (int bits = 0; bits < 65536; ++bits)
    CheckEigenproblem(FromRule(4, 4, kDouble, [bits](int i, int j) { return (bits >> (4 * i + j)) & 1; }));
}

TEST(FiniteMatrices, PowerMethodTellsEigenvaluesOnly) {
  double value = 7.0;
  EXPECT_FALSE(Matrix({{1, 0}, {0, -1}}).PowerMethod(1e-6, &value));
  EXPECT_FALSE(Matrix({{1, 0}, {0, -1}}).PowerMethod(0.5, &value));
  EXPECT_EQ(value, 7.0);
  EXPECT_TRUE(Identity(3).PowerMethod(0.0, &value));
  EXPECT_EQ(value, 1.0);
  EXPECT_TRUE(Identity(3).PowerMethod(-1.0, &value) && Identity(3).PowerMethod(kNaN, &value));
  for (const double size : {1e300, 1e-300}) {
    EXPECT_TRUE(Matrix({{2 * size, 0}, {0, size}}).PowerMethod(size * 1e-10, &value));
    EXPECT_NEAR(value / size, 2.0, 1e-8);
  }
}

TEST(FiniteMatrices, NaNIsNeverAPivot) {
  EXPECT_EQ(MatrixPtr(Matrix({{kNaN, 0}, {1, 1}}).Inverse())->GetStatusError(),
            5);  // its row has nothing else
  int* permutation = nullptr;
  const MatrixPtr factors(Matrix({{kNaN, 2}, {4, 1}}).LU(&permutation));
  const std::unique_ptr<int[]> owned(permutation);
  EXPECT_EQ(permutation[0], 1);
}

TEST(Matrix, IsMovedWithoutACopy) {
  static_assert(std::is_nothrow_move_constructible_v<MTH_MATRIX> &&
                std::is_nothrow_move_assignable_v<MTH_MATRIX>);
  static_assert(!std::is_constructible_v<MTH_MATRIX, std::nullptr_t>);
  for (const int n : {0, 1, 2, 9}) {
    for (const int type : {kDouble, kFloat}) {
      const MTH_MATRIX original = RandomMatrix(n, n, type, 2);
      MTH_MATRIX source(original);
      source.Get(-1, 0);  // status 2
      const void* address = type == kDouble ? static_cast<const void*>(source.GetEDataAddress())
                                            : static_cast<const void*>(source.GetFDataAddress());
      MTH_MATRIX moved(std::move(source));
      EXPECT_TRUE(SameBits(moved, original));
      EXPECT_EQ(moved.GetStatusError(), 2);
      const void* newAddress = type == kDouble ? static_cast<const void*>(moved.GetEDataAddress())
                                               : static_cast<const void*>(moved.GetFDataAddress());
      EXPECT_EQ(n > 2, newAddress == address);
      MTH_MATRIX target = RandomMatrix(5, 5, kDouble, 3);
      target = std::move(moved);
      EXPECT_TRUE(SameBits(target, original));
      MTH_MATRIX& same = target;
      target = std::move(same);
      EXPECT_TRUE(SameBits(target, original));
      target = MTH_MATRIX();
      EXPECT_FALSE(target.IsAllocated());
      EXPECT_EQ(target.GetStatusError(), 0);
    }
  }
  EXPECT_EQ(MTH_MATRIX(static_cast<const char*>(nullptr)).GetStatusError(), 13);
}

TEST(Matrix, StatusesHaveSentences) {
  EXPECT_STREQ(Mth_StatusText(0), "");
  std::vector<std::string> texts;
  for (const int status : {-1, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 16, 17}) {
    texts.emplace_back(Mth_StatusText(status));
    EXPECT_FALSE(texts.back().empty());
  }
  std::sort(texts.begin(), texts.end());
  EXPECT_EQ(std::adjacent_find(texts.begin(), texts.end()), texts.end());
  EXPECT_STREQ(Mth_StatusText(15), Mth_StatusText(-1));
}

TEST(SetWhiteNoise, IsGaussianAndItsStreamsAreUnrelated) {
  constexpr int kCount = 100000;
  const auto noise = [](double deviation, int seed, int count, int type = kDouble) {
    MTH_MATRIX matrix(1, count, type);
    matrix.SetWhiteNoise(deviation, seed);
    return matrix;
  };
  const MTH_MATRIX first = noise(1.0, 5, kCount);
  EXPECT_TRUE(SameBits(first, noise(1.0, 5, kCount)));
  EXPECT_TRUE(SameBits(Scaled(first, 2.0), noise(2.0, 5, kCount)));
  EXPECT_EQ(noise(1.0, 5, 3, kFloat).Get(0, 2), static_cast<double>(static_cast<float>(first.Get(0, 2))));
  double sums[4] = {};
  for (int i = 0; i < kCount; ++i) {
    const double x = first.Get(0, i);
    for (int power = 0; power < 4; ++power) sums[power] += std::pow(x, power + 1) / kCount;
  }
  // Five deviations of each mean.
  EXPECT_NEAR(sums[0], 0.0, 5.0 / std::sqrt(kCount));
  EXPECT_NEAR(sums[1], 1.0, 5.0 * std::sqrt(2.0 / kCount));
  EXPECT_NEAR(sums[2], 0.0, 5.0 * std::sqrt(15.0 / kCount));
  EXPECT_NEAR(sums[3], 3.0, 5.0 * std::sqrt(96.0 / kCount));
  for (const int other : {6, 4, -5, 0, 2147483647}) {
    const MTH_MATRIX second = noise(1.0, other, kCount);
    double correlation = 0.0;
    for (int i = 0; i < kCount; ++i) correlation += first.Get(0, i) * second.Get(0, i) / kCount;
    EXPECT_NEAR(correlation, 0.0, 5.0 / std::sqrt(kCount)) << other;
    EXPECT_NE(first.Get(0, 0), second.Get(0, 0));
  }
  EXPECT_EQ(Largest(noise(-1.0, 1, 9)), 0.0);
  EXPECT_EQ(Largest(noise(kNaN, 1, 9)), 0.0);
  EXPECT_TRUE(std::isinf(noise(kInfinity, 1, 9).Get(0, 0)));
  MTH_MATRIX().SetWhiteNoise(1.0, 1);
}

}  // namespace
}  // namespace mth_test
