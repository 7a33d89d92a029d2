#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <memory>
#include <string>
#include <vector>

#include "mth/decomposition/Mth_eigenproblem_internal.h"
#include "mth/value/Mth_complex.h"
#include "support/decomposition_cases.h"
#include "support/matrices.h"
#include "support/recording_display.h"

namespace mth_test {
namespace {

using Array = std::unique_ptr<double[]>;
using Complex = std::complex<double>;

std::vector<double> EigenValuesOf(const MTH_MATRIX& a, double tolerance) {
  double* values = nullptr;
  a.EigenValues(tolerance, &values);
  const Array owned(values);
  return values == nullptr ? std::vector<double>() : std::vector<double>(values, values + a.GetNbRows());
}

// Its eigenvalues as published: 6.84462111, 2.26853141, 1.08436446, -2.19751698.
MTH_MATRIX PublishedSymmetric(int type) {
  return Matrix({{4, 1, -2, 2}, {1, 2, 0, 1}, {-2, 0, 3, -2}, {2, 1, -2, -1}}, type);
}
const double kPublished[] = {6.84462111, 2.26853141, 1.08436446, -2.19751698};

TEST(EigenValues, StepsLikeQRFollowedByTheProduct) {
  const MTH_MATRIX a = RandomMatrix(20, 20, kFloat, 91);
  const MatrixPtr symmetric(a + Transposed(a));
  MTH_MATRIX iterate(*symmetric);
  std::vector<double> diagonal;
  for (bool isStill = false; !isStill;) {
    MTH_MATRIX* q = nullptr;
    MTH_MATRIX* r = nullptr;
    ASSERT_TRUE(iterate.QR(&q, &r));
    const MatrixPtr ownedQ(q);
    const MatrixPtr ownedR(r);
    iterate = *MatrixPtr(*r * *q);
    isStill = !diagonal.empty();
    std::vector<double> next;
    for (int i = 0; i < 20; ++i) {
      next.push_back(iterate.Get(i, i));
      isStill = isStill && std::abs(next.back() - diagonal[static_cast<std::size_t>(i)]) < 1e-3;
    }
    diagonal = next;
  }
  EXPECT_EQ(EigenValuesOf(*symmetric, 1e-3), diagonal);
}

TEST(EigenValues, BlindSpotsOfTheUnshiftedIteration) {
  // A rotation reproduces itself, and its diagonal stands still at once.
  EXPECT_EQ(EigenValuesOf(Matrix({{0, -1}, {1, 0}}), 1e-6), (std::vector<double>{0, 0}));
  // So does a reflection, whose eigenvalues 1 and -1 have the same modulus.
  for (const double value : EigenValuesOf(Matrix({{0, 1}, {1, 0}}), 1e-6)) EXPECT_NEAR(value, 0.0, 1e-15);
  // Whatever the tolerance, a step goes before the first comparison: the diagonal is that of the second
  // product.
  MTH_MATRIX twice = Matrix({{2, 1}, {1, 3}});
  for (int step = 0; step < 2; ++step) {
    MTH_MATRIX* q = nullptr;
    MTH_MATRIX* r = nullptr;
    ASSERT_TRUE(twice.QR(&q, &r));
    twice = Product(*MatrixPtr(r), *MatrixPtr(q));
  }
  const std::vector<double> second = EigenValuesOf(Matrix({{2, 1}, {1, 3}}), 1e300);
  ASSERT_EQ(second.size(), 2U);
  for (int i = 0; i < 2; ++i) EXPECT_NEAR(second[static_cast<std::size_t>(i)], twice.Get(i, i), 1e-14);
  // A scaled rotation by an angle away from 90 degrees under a shear turns for ever: the cap.
  EXPECT_TRUE(EigenValuesOf(Matrix({{1, -3}, {1, 0.5}}), 1e-6).empty());
  EXPECT_TRUE(EigenValuesOf(PublishedSymmetric(kDouble), 0.0).empty());
}

// Of eigenvalues 1 and kSlow, started half way between their directions: k steps leave a tangent of kSlow^k,
// and this Rayleigh quotient.
constexpr double kSlow = 0.9999;
double QuotientAfter(int k) {
  const double square = std::pow(kSlow, 2 * k);
  return (1.0 + kSlow * square) / (1.0 + square);
}

TEST(EigenValues, GiveUpAfterTenThousandIterations) {
  const double half = 0.5 * (1.0 + kSlow);
  const MTH_MATRIX a = Matrix({{half, 1.0 - half}, {1.0 - half, half}});
  // The step that comparison number k, from 1, sees on the diagonal; half a step beyond comparison number k.
  const auto step = [](int k) { return QuotientAfter(k + 1) - QuotientAfter(k); };
  const auto beyond = [step](int k) { return 0.5 * (step(k) + step(k - 1)); };
  EXPECT_FALSE(EigenValuesOf(a, beyond(10001)).empty());
  EXPECT_TRUE(EigenValuesOf(a, beyond(10002)).empty());
}

TEST(EigenValues, FailuresGiveNoArray) {
  for (const MTH_MATRIX& a : {MTH_MATRIX(), MTH_MATRIX(2, 3, kDouble), Matrix({{kNaN, 1}, {1, 2}}),
                              Matrix({{1, kInfinity}, {1, 2}})}) {
    double some = 0.0;
    double* values = &some;
    a.EigenValues(1e-6, &values);
    EXPECT_EQ(values, nullptr);
  }
  double* empty = nullptr;
  MTH_MATRIX(0, 0, kDouble).EigenValues(1e-6, &empty);
  EXPECT_NE(Array(empty), nullptr);
  MTH_MATRIX().EigenValues(1e-6, nullptr);
}

TEST(EigenVectors, SolveTheEigenvalueEquation) {
  for (const int type : {kDouble, kFloat}) {
    RecordingDisplay display;
    // Eigenvalues 8, 4, 2 and 1 converge alike: none is so exact that its vector is left out.
    const MTH_MATRIX h = *MatrixPtr(RandomMatrix(4, 1, type, 12).Householder());
    MTH_MATRIX d = Identity(4, type);
    for (int i = 0; i < 4; ++i) d.Set(i, i, 8.0 / (1 << i));
    const MTH_MATRIX a = *MatrixPtr(*MatrixPtr(h * d) * h);
    double* found = nullptr;
    const MatrixPtr vectors(a.SearchEigenValuesAndVectors(1e-4, &found));
    const Array values(found);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(vectors->GetType(), type);
    const MTH_MATRIX images = Product(a, *vectors);
    for (int j = 0; j < 4; ++j) {
      EXPECT_NEAR(found[j], 8.0 / (1 << j), 1e-3);
      double largest = 0.0;
      for (int i = 0; i < 4; ++i) {
        largest = std::max(largest, std::abs(vectors->Get(i, j)));
        EXPECT_NEAR(images.Get(i, j), found[j] * vectors->Get(i, j), 1e-3);
      }
      EXPECT_EQ(largest, 1.0);
    }
    for (const double value : kPublished) {
      double* vector = nullptr;
      ASSERT_TRUE(PublishedSymmetric(type).SearchOneEigenVector(value, &vector));
      const Array owned(vector);
      const MTH_MATRIX x = FromRule(4, 1, type, [&](int i, int) { return vector[i]; });
      EXPECT_TRUE(Near(Product(PublishedSymmetric(type), x), *MatrixPtr(x * value), 1e-5));
    }
    EXPECT_TRUE(display.messages.empty());
  }
}

TEST(EigenVectors, AnExactEigenvalueLeavesItsDirectionOut) {
  // Intended: the pseudo-inverse of the singular matrix drops the vector that was sought.
  RecordingDisplay display;
  double* vector = nullptr;
  EXPECT_TRUE(Matrix({{2, 0}, {0, 1}}).SearchOneEigenVector(2.0, &vector));
  const Array owned(vector);
  EXPECT_EQ(display.messages, std::vector{Information("Risque d'instabilité de la solution")});
  EXPECT_EQ(std::abs(vector[1]), 1.0);
  EXPECT_EQ(vector[0], 0.0);
}

TEST(EigenVectors, TakeExactlyFiftySteps) {
  // The inverse is diag(1, 0.9): every step leaves 0.9 of the second component.
  double* vector = nullptr;
  ASSERT_TRUE(Matrix({{1, 0}, {0, 1 / 0.9}}).SearchOneEigenVector(0.0, &vector));
  const Array owned(vector);
  EXPECT_EQ(vector[0], 1.0);
  EXPECT_NEAR(vector[1], std::pow(0.9, 50), 1e-14);
}

TEST(EigenVectors, EveryFailureHasItsStatus) {
  RecordingDisplay display;
  double some = 0.0;
  const auto search = [&](const MTH_MATRIX& a) {
    double* vector = &some;
    EXPECT_FALSE(a.SearchOneEigenVector(1.0, &vector));
    EXPECT_EQ(vector, nullptr);
    return a.GetStatusError();
  };
  EXPECT_EQ(search(MTH_MATRIX()), 11);
  EXPECT_EQ(search(Matrix({{kNaN, 0}, {0, 1}})), 14);
  EXPECT_EQ(search(Matrix({{1, 2, 3}, {4, 5, 6}})), 11);
  for (const MTH_MATRIX& a : {MTH_MATRIX(), MTH_MATRIX(2, 3, kDouble), Matrix({{kNaN, 0}, {0, 1}})}) {
    double* values = &some;
    const MatrixPtr vectors(a.SearchEigenValuesAndVectors(1e-6, &values));
    EXPECT_EQ(values, nullptr);
    EXPECT_FALSE(vectors->IsAllocated());
    EXPECT_EQ(vectors->GetStatusError(), 11);
  }
}

TEST(PowerMethod, FindsTheDominantEigenvalue) {
  double value = 7.0;
  for (const int type : {kDouble, kFloat}) {
    EXPECT_TRUE(PublishedSymmetric(type).PowerMethod(1e-12, &value));
    EXPECT_NEAR(value, kPublished[0], 1e-8);
  }
  EXPECT_TRUE(Matrix({{-3, 1}, {0, 1}}).PowerMethod(1e-10, &value));
  EXPECT_NEAR(value, -3.0, 1e-8);
  EXPECT_TRUE(Matrix({{0, 0}, {0, 0}}).PowerMethod(1e-10, &value));
  EXPECT_EQ(value, 0.0);
  value = 7.0;
  for (const MTH_MATRIX& a : {MTH_MATRIX(), MTH_MATRIX(2, 3, kDouble), MTH_MATRIX(0, 0, kDouble),
                              Matrix({{kNaN}}), Matrix({{1, -3}, {1, 0.5}})}) {
    EXPECT_FALSE(a.PowerMethod(1e-10, &value));
  }
  EXPECT_FALSE(Identity(2).PowerMethod(1e-10, nullptr));
  EXPECT_EQ(value, 7.0);
  // The cap: 10,000 quotients, from number 0 on.
  const MTH_MATRIX slow = Matrix({{1, 0}, {0, kSlow}});
  const auto step = [](int k) { return QuotientAfter(k) - QuotientAfter(k - 1); };
  EXPECT_TRUE(slow.PowerMethod(step(9995), &value));
  EXPECT_FALSE(slow.PowerMethod(step(10005), &value));
}

TEST(Square, AndSquareRootWorkElementByElement) {
  for (const int type : {kDouble, kFloat}) {
    EXPECT_TRUE(SameBits(*MatrixPtr(Matrix({{3, -0.5}}, type).Square()), Matrix({{9, 0.25}}, type)));
    const MTH_MATRIX positive = Matrix({{4, 0, 2}}, type);
    const MatrixPtr roots(positive.SquareRoot());
    EXPECT_EQ(roots->GetStatusError(), 0);
    EXPECT_EQ(roots->Get(0, 2), type == kDouble ? std::sqrt(2.0) : static_cast<double>(std::sqrt(2.0f)));
    for (const double odd : {-1.0, kNaN}) {
      const MatrixPtr cut(Matrix({{4, odd, 9}}, type).SquareRoot());
      EXPECT_EQ(cut->GetStatusError(), 8);
      EXPECT_TRUE(SameBits(*cut, Matrix({{2, 0, 0}}, type)));
    }
  }
  EXPECT_EQ(MatrixPtr(MTH_MATRIX().Square())->GetStatusError(), 1);
  EXPECT_EQ(MatrixPtr(MTH_MATRIX().SquareRoot())->GetStatusError(), 1);
}

struct Eigenproblem {
  explicit Eigenproblem(const MTH_MATRIX& a) {
    MTH_COMPLEX* newValues = nullptr;
    MTH_COMPLEX* newVectors = nullptr;
    isDone = a.RealEigenvalueProblem(&newValues, &newVectors);
    const std::unique_ptr<MTH_COMPLEX[]> ownedValues(newValues);
    const std::unique_ptr<MTH_COMPLEX[]> ownedVectors(newVectors);
    EXPECT_EQ(isDone, newValues != nullptr && newVectors != nullptr);
    for (int i = 0; isDone && i < a.GetNbRows(); ++i)
      values.emplace_back(newValues[i].getReal(), newValues[i].getImag());
    for (int i = 0; isDone && i < a.GetNbRows() * a.GetNbRows(); ++i)
      vectors.emplace_back(newVectors[i].getReal(), newVectors[i].getImag());
  }
  bool isDone = false;
  std::vector<Complex> values;
  std::vector<Complex> vectors;
};

MTH_MATRIX Rosser() {
  return Matrix({{611, 196, -192, 407, -8, -52, -49, 29},
                 {196, 899, 113, -192, -71, -43, -8, -44},
                 {-192, 113, 899, 196, 61, 49, 8, 52},
                 {407, -192, 196, 611, 8, 44, 59, -23},
                 {-8, -71, 61, 8, 411, -599, 208, 208},
                 {-52, -43, 49, 44, -599, 411, 208, 208},
                 {-49, -8, 8, 59, 208, 208, 99, -911},
                 {29, -44, 52, -23, 208, 208, -911, 99}});
}

void CheckEigenproblem(const MTH_MATRIX& a, const std::string& name) {
  const Eigenproblem solved(a);
  ASSERT_TRUE(solved.isDone) << name;
  const int n = a.GetNbRows();
  const auto vector = [&](int i, int j) { return solved.vectors[static_cast<std::size_t>(i * n + j)]; };
  for (int j = 0; j < n; ++j) {
    const Complex value = solved.values[static_cast<std::size_t>(j)];
    double norm = 0.0;
    int largest = 0;
    for (int i = 0; i < n; ++i) {
      norm += std::norm(vector(i, j));
      if (std::abs(vector(i, j)) > std::abs(vector(largest, j)) * (1.0 + 1e-12)) largest = i;
      Complex image = 0.0;
      for (int k = 0; k < n; ++k) image += a.Get(i, k) * vector(k, j);
      EXPECT_LE(std::abs(image - value * vector(i, j)), 16.0 * n * 2.2e-16 * a.ComputeFrobeniusNorm())
          << name;
    }
    EXPECT_NEAR(norm, 1.0, 1e-13) << name;
    EXPECT_LE(std::abs(vector(largest, j).imag()), 1e-12) << name;
    if (value.imag() <= 0.0) continue;
    ASSERT_LT(j + 1, n);
    EXPECT_EQ(solved.values[static_cast<std::size_t>(j + 1)], std::conj(value)) << name;
    for (int i = 0; i < n; ++i) EXPECT_EQ(vector(i, j + 1), std::conj(vector(i, j))) << name;
  }
}

TEST(RealEigenvalueProblem, SolvesTheEigenvalueEquation) {
  for (const int type : {kDouble, kFloat}) {
    for (const DecompositionCase& c : DecompositionCases(type)) {
      if (c.matrix.GetNbRows() == c.matrix.GetNbCols()) CheckEigenproblem(c.matrix, c.name);
    }
  }
  CheckEigenproblem(Rosser(), "Rosser");
  CheckEigenproblem(Matrix({{0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}, {1, 0, 0, 0}}), "cyclic");
  CheckEigenproblem(Matrix({{1, 1e8}, {1e-8, 1}}), "badly scaled");
  CheckEigenproblem(Matrix({{1, 1, 0}, {0, 1, 1}, {0, 0, 1}}), "defective");
  CheckEigenproblem(Matrix({{1e-140, 2e-140}, {3e-140, 4e-140}}), "tiny");
  const MTH_MATRIX random = RandomMatrix(40, 40, kDouble, 77);
  CheckEigenproblem(*MatrixPtr(random + Transposed(random)), "symmetric 40");
}

TEST(RealEigenvalueProblem, BalancesUntilRowsAndColumnsAreAlike) {
  // Of a chain with steps of 2^20 up and 2^-20 down each pass reaches the neighbours only.
  constexpr int kSize = 8;
  std::vector<double> a(kSize * kSize);
  std::vector<double> scales(kSize);
  for (int i = 0; i + 1 < kSize; ++i) {
    a[static_cast<std::size_t>(i * kSize + i + 1)] = 0x1p20;
    a[static_cast<std::size_t>((i + 1) * kSize + i)] = 0x1p-20;
  }
  mth_internal::Balance({a.data(), kSize}, scales.data());
  for (std::size_t i = 0; i + 1 < kSize; ++i) {
    const double ratio = a[i * kSize + i + 1] / a[(i + 1) * kSize + i];
    EXPECT_TRUE(ratio >= 1.0 / 256.0 && ratio <= 256.0) << ratio;
    EXPECT_EQ(a[i * kSize + i + 1] * scales[i] / scales[i + 1], 0x1p20);
  }
  std::vector<double> triangle = {1, 1e9, 0, 2};
  mth_internal::Balance({triangle.data(), 2}, scales.data());
  EXPECT_EQ(triangle, (std::vector<double>{1, 1e9, 0, 2}));
}

TEST(RealEigenvalueProblem, OrdersEqualEigenvaluesAsTheyStandAndGivesUp) {
  MTH_COMPLEX* values = nullptr;
  MTH_COMPLEX* vectors = nullptr;
  ASSERT_TRUE(Identity(3).RealEigenvalueProblem(&values, &vectors));
  for (int i = 0; i < 9; ++i) EXPECT_EQ(vectors[i].getReal(), i % 4 == 0 ? 1.0 : 0.0);
  delete[] values;
  delete[] vectors;
  // What never becomes small: the public operation refuses it before.
  std::vector<double> a(9, kNaN);
  std::vector<double> found(3);
  std::vector<double> rows(9);
  std::vector<double> work(18);
  std::vector<std::int64_t> order(3);
  EXPECT_FALSE(
      mth_internal::SolveSymmetric({a.data(), 3}, found.data(), {rows.data(), 3}, work.data(), order.data()));
}

TEST(RealEigenvalueProblem, GivesPublishedEigenvalues) {
  // Rosser: 10 sqrt(10405), 1020, 510 + 100 sqrt(26), 1000 twice, 510 - 100 sqrt(26), 0, -10 sqrt(10405).
  const double rosser[] = {
      10.0 * std::sqrt(10405.0),       1020.0, 510.0 + 100.0 * std::sqrt(26.0), 1000.0, 1000.0,
      510.0 - 100.0 * std::sqrt(26.0), 0.0,    -10.0 * std::sqrt(10405.0)};
  const Eigenproblem solved(Rosser());
  for (std::size_t i = 0; i < 8; ++i) EXPECT_NEAR(solved.values[i].real(), rosser[i], 1e-11) << i;
  const Eigenproblem symmetric(PublishedSymmetric(kDouble));
  for (std::size_t i = 0; i < 4; ++i) EXPECT_NEAR(symmetric.values[i].real(), kPublished[i], 5e-9);
  for (const double angle : {0.1, 1.0, 2.5}) {
    const Eigenproblem rotation(
        Matrix({{std::cos(angle), -std::sin(angle)}, {std::sin(angle), std::cos(angle)}}));
    EXPECT_NEAR(std::abs(rotation.values[0] - Complex(std::cos(angle), std::sin(angle))), 0.0, 1e-15);
    EXPECT_EQ(rotation.values[1], std::conj(rotation.values[0]));
  }
  // The companion matrix of (x - 1)(x - 2)(x - 3)(x - 4).
  const Eigenproblem companion(Matrix({{10, -35, 50, -24}, {1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}}));
  std::vector<double> roots;
  for (const Complex& value : companion.values) roots.push_back(value.real());
  std::sort(roots.begin(), roots.end());
  for (std::size_t i = 0; i < 4; ++i) EXPECT_NEAR(roots[i], static_cast<double>(i + 1), 1e-12);
}

TEST(RealEigenvalueProblem, FailuresGiveNulls) {
  for (const MTH_MATRIX& a : {MTH_MATRIX(), MTH_MATRIX(2, 3, kDouble), Matrix({{kNaN, 1}, {1, 2}}),
                              Matrix({{1, kInfinity}, {1, 2}}, kFloat)}) {
    EXPECT_FALSE(Eigenproblem(a).isDone);
  }
  EXPECT_FALSE(Identity(2).RealEigenvalueProblem(nullptr, nullptr));
}

}  // namespace
}  // namespace mth_test
