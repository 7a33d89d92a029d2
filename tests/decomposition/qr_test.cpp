#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

#include "mth/core/Mth_instruction_set_internal.h"
#include "support/allocation_faults.h"
#include "support/decomposition_cases.h"
#include "support/matrices.h"

namespace mth_test {
namespace {

using mth_internal::InstructionSet;

struct QRFactors {
  MatrixPtr q;
  MatrixPtr r;
};

QRFactors QROf(const MTH_MATRIX& a) {
  MTH_MATRIX* q = nullptr;
  MTH_MATRIX* r = nullptr;
  EXPECT_TRUE(a.QR(&q, &r));
  return {MatrixPtr(q), MatrixPtr(r)};
}

// The reflections applied one by one, element by element, as the method is published.
std::pair<MTH_MATRIX, MTH_MATRIX> PlainQR(const MTH_MATRIX& a) {
  MTH_MATRIX r(a);
  MTH_MATRIX q = Identity(a.GetNbRows(), a.GetType());
  const int rows = a.GetNbRows();
  for (int k = 0; k < std::min(rows, a.GetNbCols()); ++k) {
    std::vector<double> v;
    double sigma = 0.0;
    for (int i = k; i < rows; ++i) {
      v.push_back(r.Get(i, k));
      sigma += v.back() * v.back();
    }
    const double alpha = v[0];
    const double root = std::sqrt(sigma);
    v[0] = alpha >= 0.0 ? alpha + root : alpha - root;
    const double h = alpha >= 0.0 ? 2.0 * alpha * root + 2.0 * sigma : 2.0 * sigma - 2.0 * alpha * root;
    const double beta = h == 0.0 ? 0.0 : 2.0 / h;
    for (int row = 0; row < rows; ++row) {
      double s = 0.0;
      for (int i = k; i < rows; ++i) s += q.Get(row, i) * v[static_cast<std::size_t>(i - k)];
      for (int i = k; i < rows; ++i)
        q.Set(row, i, q.Get(row, i) - beta * s * v[static_cast<std::size_t>(i - k)]);
    }
    for (int c = 0; c < a.GetNbCols(); ++c) {
      double s = 0.0;
      for (int i = k; i < rows; ++i) s += v[static_cast<std::size_t>(i - k)] * r.Get(i, c);
      for (int i = k; i < rows; ++i) r.Set(i, c, r.Get(i, c) - beta * s * v[static_cast<std::size_t>(i - k)]);
    }
  }
  return {q, r};
}

TEST(QR, GivesTheBitsOfOneReflectionAfterTheOther) {
  for (const InstructionSet set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
    const mth_internal::InstructionSetScope scope(set);
    for (const int type : {kDouble, kFloat}) {
      for (const DecompositionCase& c : DecompositionCases(type)) {
        const QRFactors factors = QROf(c.matrix);
        const auto [q, r] = PlainQR(c.matrix);
        EXPECT_TRUE(SameBits(*factors.q, q)) << c.name << " type " << type;
        EXPECT_TRUE(SameBits(*factors.r, r)) << c.name << " type " << type;
      }
    }
  }
}

TEST(QR, ReconstructsWithOrthogonalAndTriangularFactors) {
  for (const int type : {kDouble, kFloat}) {
    for (const DecompositionCase& c : DecompositionCases(type)) {
      const QRFactors factors = QROf(c.matrix);
      const double tolerance = Tolerance(c.matrix);
      EXPECT_TRUE(Near(Product(*factors.q, *factors.r), c.matrix, tolerance)) << c.name;
      EXPECT_TRUE(HasOrthonormalColumns(*factors.q, tolerance)) << c.name;
      for (int i = 0; i < c.matrix.GetNbRows(); ++i) {
        for (int j = 0; j < std::min(i, c.matrix.GetNbCols()); ++j)
          ASSERT_LE(std::abs(factors.r->Get(i, j)), tolerance) << c.name;
      }
    }
  }
}

TEST(QR, SignsAvoidCancellation) {
  const QRFactors factors = QROf(Matrix({{3}, {4}}));
  EXPECT_TRUE(Near(*factors.r, Matrix({{-5}, {0}}), 1e-15));
  EXPECT_NEAR(factors.q->Get(0, 0), -0.6, 1e-15);
  EXPECT_NEAR(factors.q->Get(1, 0), -0.8, 1e-15);
  EXPECT_NEAR(QROf(Matrix({{-3}, {4}})).r->Get(0, 0), 5.0, 1e-15);
  EXPECT_NEAR(QROf(Matrix({{0}, {4}})).r->Get(0, 0), -4.0, 1e-15);
}

TEST(QR, FailsWithoutMatrixOrArguments) {
  MTH_MATRIX* q = nullptr;
  MTH_MATRIX* r = nullptr;
  EXPECT_FALSE(MTH_MATRIX().QR(&q, &r));
  const MTH_MATRIX a = RandomMatrix(6, 6, kDouble, 3);
  EXPECT_FALSE(a.QR(nullptr, &r));
  EXPECT_FALSE(a.QR(&q, nullptr));
  EXPECT_EQ(q, nullptr);
  EXPECT_EQ(r, nullptr);
}

TEST(QR, AndEigenvectorsOfNoRowsNeedNoMemory) {
  const MTH_MATRIX wide(0, std::numeric_limits<int>::max(), kDouble);
  const AllocationWatch watch;
  const QRFactors factors = QROf(wide);
  EXPECT_EQ(factors.q->GetNbCols(), 0);
  EXPECT_EQ(factors.r->GetNbCols(), wide.GetNbCols());
  double* vector = nullptr;
  EXPECT_FALSE(wide.SearchOneEigenVector(1.0, &vector));
  EXPECT_EQ(wide.GetStatusError(), 14) << "the pseudo-inverse would have a place for every pair of columns";
  EXPECT_LT(watch.LargestRequest(), std::size_t{1} << 16);
}

TEST(Householder, ReflectsAColumnUnlessItIsNearlyZero) {
  for (const int type : {kDouble, kFloat}) {
    const MTH_MATRIX v = RandomMatrix(7, 1, type, 31);
    const MatrixPtr h(v.Householder());
    const double tolerance = Tolerance(v);
    EXPECT_TRUE(HasOrthonormalColumns(*h, tolerance));
    EXPECT_TRUE(Near(Product(*h, v), *MatrixPtr(v * -1.0), tolerance));
    EXPECT_TRUE(
        SameBits(*MatrixPtr(Matrix({{1}, {0}}, type).Householder()), Matrix({{-1, 0}, {0, 1}}, type)));
    EXPECT_TRUE(SameBits(*MatrixPtr(Matrix({{0.001}, {0.001}}, type).Householder()), Identity(2, type)));
    // The threshold is on the squared norm: 0.0099 squared is below 1e-4, 0.0101 squared is not.
    EXPECT_EQ(MatrixPtr(Matrix({{0.0099}}, type).Householder())->Get(0, 0), 1.0);
    const double justNotZero = type == kDouble ? 0.01 : 0.0101;  // the square of the former is the bound
    EXPECT_NEAR(MatrixPtr(Matrix({{justNotZero}}, type).Householder())->Get(0, 0), -1.0, 1e-6);
  }
  EXPECT_EQ(MatrixPtr(MTH_MATRIX().Householder())->GetStatusError(), 1);
  EXPECT_EQ(MatrixPtr(Matrix({{1, 2}}).Householder())->GetStatusError(), 4);
  EXPECT_TRUE(std::isnan(MatrixPtr(Matrix({{kNaN}}).Householder())->Get(0, 0)));
}

}  // namespace
}  // namespace mth_test
