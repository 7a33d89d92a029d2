#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "mth/core/Mth_instruction_set_internal.h"
#include "support/allocation_faults.h"
#include "support/decomposition_cases.h"
#include "support/matrices.h"

namespace mth_test {
namespace {

using mth_internal::InstructionSet;
using Permutation = std::unique_ptr<int[]>;

struct Factors {
  MatrixPtr matrix;
  Permutation permutation;
};

Factors FactorsOf(const MTH_MATRIX& a) {
  int* permutation = nullptr;
  MatrixPtr matrix(a.LU(&permutation));
  return {std::move(matrix), Permutation(permutation)};
}

// Crout's loop as it is written in textbooks, one element after the other.
struct Crout {
  explicit Crout(const MTH_MATRIX& input) : a(input) {
    const int n = a.GetNbRows();
    std::vector<double> scales;
    for (int i = 0; i < n; ++i) {
      permutation.push_back(i);
      double largest = 0.0;
      for (int j = 0; j < n; ++j) largest = std::max(largest, std::abs(a.Get(i, j)));
      scales.push_back(1.0 / largest);
    }
    for (int j = 0; j < n; ++j) {
      double best = 0.0;
      int pivot = j;
      for (int i = 0; i < n; ++i) {
        double sum = a.Get(i, j);
        for (int k = 0; k < std::min(i, j); ++k) sum -= a.Get(i, k) * a.Get(k, j);
        a.Set(i, j, sum);
        const double candidate = std::abs(a.Get(i, j)) * scales[static_cast<std::size_t>(i)];
        if (i < j || !(candidate >= best)) continue;
        best = candidate;
        pivot = i;
      }
      for (int k = 0; k < n; ++k) {
        const double element = a.Get(j, k);
        a.Set(j, k, a.Get(pivot, k));
        a.Set(pivot, k, element);
      }
      std::swap(permutation[static_cast<std::size_t>(j)], permutation[static_cast<std::size_t>(pivot)]);
      scales[static_cast<std::size_t>(pivot)] = scales[static_cast<std::size_t>(j)];
      if (a.Get(j, j) == 0.0) a.Set(j, j, 1e-19);
      const double factor = 1.0 / a.Get(j, j);
      for (int i = j + 1; i < n; ++i) a.Set(i, j, a.Get(i, j) * factor);
    }
  }
  MTH_MATRIX a;
  std::vector<int> permutation;
};

// Square matrices with ties among the pivots, zero pivots and sizes around every block boundary.
std::vector<MTH_MATRIX> SquareMatrices(int type) {
  std::vector<MTH_MATRIX> matrices;
  for (const int n : {0, 1, 2, 3, 5, 8, 15, 16, 17, 31, 63, 64, 65, 100, 127, 128, 129, 131, 150, 270}) {
    matrices.push_back(RandomMatrix(n, n, type, static_cast<unsigned>(n + 1)));
    MTH_MATRIX ties = RandomMatrix(n, n, type, static_cast<unsigned>(n + 2));
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) ties.Set(i, j, ties.Get(i, j) < 0.0 || i == 0 ? -1.0 : 1.0);
    }
    matrices.push_back(ties);
  }
  MTH_MATRIX singular = RandomMatrix(40, 40, type, 9);
  for (int i = 0; i < 40; ++i) {
    singular.Set(i, 20, 0.0);
    singular.Set(39, i, singular.Get(38, i));
  }
  matrices.push_back(singular);
  return matrices;
}

TEST(LU, GivesTheBitsOfCroutsLoop) {
  for (const InstructionSet set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
    const mth_internal::InstructionSetScope scope(set);
    for (const int type : {kDouble, kFloat}) {
      for (const MTH_MATRIX& matrix : SquareMatrices(type)) {
        const Crout expected(matrix);
        const Factors factors = FactorsOf(matrix);
        ASSERT_TRUE(factors.permutation);
        EXPECT_TRUE(SameBits(*factors.matrix, expected.a)) << matrix.GetNbRows() << " type " << type;
        for (int i = 0; i < matrix.GetNbRows(); ++i)
          ASSERT_EQ(factors.permutation[static_cast<std::size_t>(i)],
                    expected.permutation[static_cast<std::size_t>(i)]);
      }
    }
  }
}

// The substitutions, element by element, for the permuted right-hand sides.
MTH_MATRIX Substituted(const Crout& lu, const MTH_MATRIX& b) {
  const int n = lu.a.GetNbRows();
  MTH_MATRIX x(n, b.GetNbCols(), b.GetType());
  for (int c = 0; c < b.GetNbCols(); ++c) {
    for (int i = 0; i < n; ++i) {
      double sum = b.Get(lu.permutation[static_cast<std::size_t>(i)], c) + 0.0;
      for (int k = 0; k < i; ++k) sum -= lu.a.Get(i, k) * x.Get(k, c);
      x.Set(i, c, sum);
    }
    for (int i = n - 1; i >= 0; --i) {
      double sum = x.Get(i, c);
      for (int k = n - 1; k > i; --k) sum -= lu.a.Get(i, k) * x.Get(k, c);
      x.Set(i, c, sum / lu.a.Get(i, i));
    }
  }
  return x;
}

// In single columns, in few and in many, of each instruction set.
void SolvesAndInverts(int type) {
  for (const InstructionSet set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
    const mth_internal::InstructionSetScope scope(set);
    for (const int n : {1, 2, 5, 16, 33, 57, 64, 65, 97, 130}) {
      MTH_MATRIX a = RandomMatrix(n, n, type, static_cast<unsigned>(n));
      for (int i = 0; i < n; ++i) a.Set(i, (i * 7 + 3) % n, 3.0 + a.Get(i, i));
      const MTH_MATRIX b = RandomMatrix(n, 1 + n % 19, type, 5);
      const Crout lu(a);
      const MatrixPtr x(a.SolveLinearSystemByLU(b));
      EXPECT_TRUE(SameBits(*x, Substituted(lu, b))) << n;
      EXPECT_TRUE(SameBits(*MatrixPtr(lu.a.SolveLinearSystemByLU(b, lu.permutation.data())), *x)) << n;
      EXPECT_TRUE(SameBits(*MatrixPtr(a.Inverse()), Substituted(lu, Identity(n, type)))) << n;
    }
  }
}

TEST(LU, SolvesAndInvertsLikeThePlainSubstitutions) {
  for (const int type : {kDouble, kFloat}) SolvesAndInverts(type);
}

TEST(LU, DeterminantHasNoSignOfInterchangesAndIsCut) {
  const std::pair<MTH_MATRIX, double> cases[] = {{Matrix({{0, 1}, {1, 0}}), 1.0},
                                                 {Matrix({{1e-5, 0}, {0, 1e-5}}), 0.0},
                                                 {Matrix({{1e-9, 0}, {0, 1}}), 1e-9},
                                                 {Matrix({{2, 1}, {0, 0}}), 0.0},
                                                 {Matrix({{2, 0, 0}, {0, -3, 0}, {0, 0, 4}}), -24.0},
                                                 {Matrix({{1, 2}, {2, 4}}), 0.0},
                                                 {Matrix({{0.1}}, kFloat), 0.1f},
                                                 {MTH_MATRIX(0, 0, kDouble), 1.0}};
  for (const auto& [matrix, determinant] : cases) {
    EXPECT_DOUBLE_EQ(matrix.Det(), determinant);
    EXPECT_EQ(matrix.GetStatusError(), 0);
  }
  for (const MTH_MATRIX& refused : {MTH_MATRIX(), MTH_MATRIX(2, 3, kDouble)}) {
    EXPECT_EQ(refused.Det(), 0.0);
    EXPECT_EQ(refused.GetStatusError(), 7);
  }
}

TEST(LU, ZeroPivotIsReplaced) {
  for (const int type : {kDouble, kFloat}) {
    const MTH_MATRIX a = Matrix({{1, 2}, {2, 4}}, type);
    const Factors factors = FactorsOf(a);
    EXPECT_EQ(factors.matrix->Get(1, 1), type == kDouble ? 1e-19 : static_cast<double>(1e-19f));
  }
}

TEST(LU, EqualCandidatesChooseTheLastRow) {
  const Factors factors = FactorsOf(Matrix({{1, 2, 3}, {5, 4, 5}, {3, 1, 3}}));
  EXPECT_EQ(factors.permutation[0], 2);  // rows 1 and 2 both offer 1
}

int StatusOf(MTH_MATRIX* result) {
  const MatrixPtr owned(result);
  EXPECT_FALSE(owned->IsAllocated());
  return owned->GetStatusError();
}

TEST(LU, EveryFailureHasItsStatus) {
  const MTH_MATRIX none;
  const MTH_MATRIX wide(2, 3, kDouble);
  const MTH_MATRIX square = Matrix({{1, 2}, {3, 4}});
  const MTH_MATRIX floats = Matrix({{1, 2}, {3, 4}}, kFloat);
  const MTH_MATRIX zeroRow = Matrix({{1, 2}, {0, 0}});
  const int order[] = {0, 1};
  int* permutation = nullptr;

  EXPECT_EQ(StatusOf(none.LU(&permutation)), 1);
  EXPECT_EQ(permutation, nullptr);
  EXPECT_EQ(StatusOf(wide.LU(&permutation)), 4);
  EXPECT_EQ(StatusOf(square.LU(nullptr)), 3);
  EXPECT_EQ(StatusOf(zeroRow.LU(&permutation)), 16);
  const Permutation owned(permutation);
  ASSERT_NE(permutation, nullptr);
  EXPECT_EQ(permutation[0] + 10 * permutation[1], 10);

  EXPECT_EQ(StatusOf(none.SolveLinearSystemByLU(wide)), 1);
  EXPECT_EQ(StatusOf(square.SolveLinearSystemByLU(none)), 1);
  EXPECT_EQ(StatusOf(wide.SolveLinearSystemByLU(floats)), 14);
  EXPECT_EQ(StatusOf(wide.SolveLinearSystemByLU(square)), 4);
  EXPECT_EQ(StatusOf(square.SolveLinearSystemByLU(MTH_MATRIX(3, 1, kDouble))), 4);
  EXPECT_EQ(StatusOf(zeroRow.SolveLinearSystemByLU(square)), 5);
  EXPECT_EQ(StatusOf(square.SolveLinearSystemByLU(none, order)), 1);
  EXPECT_EQ(StatusOf(square.SolveLinearSystemByLU(floats, order)), 14);
  EXPECT_EQ(StatusOf(wide.SolveLinearSystemByLU(square, order)), 4);
  EXPECT_EQ(StatusOf(square.SolveLinearSystemByLU(square, nullptr)), 3);
  EXPECT_EQ(StatusOf(none.Inverse()), 1);
  EXPECT_EQ(StatusOf(wide.Inverse()), 1);
  EXPECT_EQ(StatusOf(zeroRow.Inverse()), 5);
}

TEST(LU, TheTwoSolversCallDifferentSystemsSingular) {
  const int order[] = {0, 1};
  const MTH_MATRIX b = Matrix({{1}, {1}});
  const struct {
    double pivot;
    int factoring;
    int factored;
  } cases[] = {{1e-31, 6, 6}, {1e-30, 0, 6}, {1e-11, 0, 6}, {1e-10, 0, 0}};
  for (const auto& c : cases) {
    const MTH_MATRIX a = Matrix({{1, 0}, {0, c.pivot}});
    const MatrixPtr factoring(a.SolveLinearSystemByLU(b));
    const MatrixPtr factored(a.SolveLinearSystemByLU(b, order));
    EXPECT_EQ(factoring->GetStatusError(), c.factoring) << c.pivot;
    EXPECT_EQ(factored->GetStatusError(), c.factored) << c.pivot;
    EXPECT_EQ(factoring->IsAllocated(), c.factoring == 0);
  }
  EXPECT_EQ(StatusOf(Matrix({{1e-31}}).Inverse()), 6);
  EXPECT_TRUE(MatrixPtr(Matrix({{1e-30}}).Inverse())->IsAllocated());
}

TEST(LU, NonFiniteElementsGiveNonFiniteResultsAtOnce) {
  for (const double odd : {kNaN, kInfinity, -kInfinity}) {
    for (const int type : {kDouble, kFloat}) {
      MTH_MATRIX a = RandomMatrix(20, 20, type, 4);
      a.Set(3, 5, odd);
      const Factors factors = FactorsOf(a);
      EXPECT_TRUE(factors.matrix->IsAllocated());
      const MatrixPtr inverse(a.Inverse());
      EXPECT_FALSE(std::isfinite(inverse->ComputeFrobeniusNorm()));
      EXPECT_FALSE(std::isfinite(a.Det()));
    }
  }
  // The permutation's zeros times an infinite right-hand side are NaN, column by column.
  const MatrixPtr x(Identity(3).SolveLinearSystemByLU(Matrix({{kInfinity, 1}, {2, -0.0}, {3, 3}})));
  EXPECT_TRUE(std::isnan(x->Get(1, 0)));
  EXPECT_EQ(x->Get(2, 1), 3.0);
  EXPECT_TRUE(
      std::isnan(MatrixPtr(Identity(2).SolveLinearSystemByLU(Matrix({{1}, {kInfinity}})))->Get(1, 0)));
  EXPECT_FALSE(std::signbit(x->Get(1, 1)));
  EXPECT_FALSE(std::signbit(MatrixPtr(Identity(1).SolveLinearSystemByLU(Matrix({{-0.0}})))->Get(0, 0)));
  const MatrixPtr alone(Identity(1).SolveLinearSystemByLU(Matrix({{kInfinity}})));
  EXPECT_EQ(alone->Get(0, 0), kInfinity);  // no zero beside it
  // A permutation that is none leaves zeros.
  const int broken[] = {7, -1};
  const MatrixPtr zeros(Identity(2).SolveLinearSystemByLU(Matrix({{1}, {1}}), broken));
  EXPECT_EQ(zeros->ComputeFrobeniusNorm(), 0.0);
}

// The pivots of 300 rows of hundreds have no product in double; nothing overflows for want of it.
TEST(LU, SolvesLargeSystemsOfHostsThatTrapOverflow) {
  const MatrixPtr a(RandomMatrix(300, 300, kDouble, 5) * 1e3);
  std::feclearexcept(FE_ALL_EXCEPT);
  EXPECT_TRUE(MatrixPtr(a->Inverse())->IsAllocated());
  EXPECT_TRUE(MatrixPtr(a->SolveLinearSystemByLU(*a))->IsAllocated());
  EXPECT_TRUE(std::isinf(a->Det()));
#ifndef __clang__  // which may compute what is not chosen then
  EXPECT_EQ(std::fetestexcept(FE_INVALID | FE_DIVBYZERO | FE_OVERFLOW), 0);
#endif
  const double most = std::numeric_limits<double>::max();
  EXPECT_EQ(Matrix({{most, 0}, {0, -1}}).Det(), -most);
  EXPECT_EQ(Matrix({{most, 0}, {0, -std::nextafter(1.0, 2.0)}}).Det(), -kInfinity);
}

TEST(LU, WithoutMemoryTheResultIsAFailure) {
  for (const int type : {kDouble, kFloat}) {
    const MTH_MATRIX a = RandomMatrix(20, 20, type, 8);
    const std::function<MTH_MATRIX*()> operations[] = {[&] { return a.SolveLinearSystemByLU(a); },
                                                       [&] { return a.Inverse(); },
                                                       [&] { return FactorsOf(a).matrix.release(); }};
    for (const auto& operation : operations) {
      const MatrixPtr wanted(operation());
      const int faults = ForEachAllocationFault(operation, [&](MTH_MATRIX* result) {
        const MatrixPtr owned(result);
        if (!owned) return;
        const int status = owned->GetStatusError();
        EXPECT_TRUE(owned->IsAllocated() ? SameBits(*owned, *wanted).operator bool()
                                         : status == 1 || status == 5);
      });
      EXPECT_GE(faults, 4);
    }
    const double wanted = a.Det();
    ForEachAllocationFault(
        [&] { return a.Det(); },
        [&](double determinant) {
          EXPECT_TRUE(determinant == wanted || (determinant == 0.0 && a.GetStatusError() == 7))
              << determinant;
        });
  }
}

}  // namespace
}  // namespace mth_test
