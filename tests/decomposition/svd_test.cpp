#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <utility>
#include <vector>

#include "mth/value/Mth_complex.h"
#include "support/cancelling_display.h"
#include "support/decomposition_cases.h"
#include "support/matrices.h"
#include "support/recording_display.h"

namespace mth_test {
namespace {

struct SVDFactors {
  explicit SVDFactors(const MTH_MATRIX& a) {
    std::array<MTH_MATRIX*, 3> made{};
    isDone = a.SVD(&made[0], &made[1], &made[2]);
    u.reset(made[0]);
    w.reset(made[1]);
    v.reset(made[2]);
  }
  bool isDone = false;
  MatrixPtr u;
  MatrixPtr w;
  MatrixPtr v;
};

std::vector<DecompositionCase> CasesOf(int type) {
  std::vector<DecompositionCase> cases = DecompositionCases(type);
  cases.push_back({"huge", *MatrixPtr(RandomMatrix(9, 9, type, 5) * (type == kDouble ? 1e300 : 1e30))});
  cases.push_back({"tiny", *MatrixPtr(RandomMatrix(9, 9, type, 6) * (type == kDouble ? 1e-300 : 1e-30))});
  cases.push_back({"130x70", RandomMatrix(130, 70, type, 7)});
  cases.push_back({"bidiagonal with a zero on the diagonal", FromRule(20, 20, type, [](int i, int j) {
                     return i == j ? (i == 7 ? 0 : i + 1) : j == i + 1;
                   })});
  return cases;
}

TEST(SVD, ReconstructsWithOrthogonalFactorsAndOrderedValues) {
  for (const int type : {kDouble, kFloat}) {
    for (const DecompositionCase& c : CasesOf(type)) {
      const SVDFactors factors(c.matrix);
      ASSERT_TRUE(factors.isDone) << c.name;
      const int columns = c.matrix.GetNbCols();
      const double norm = std::max(factors.w->GetMax(nullptr, nullptr), 1e-308);
      const double relative = 4.0 * Tolerance(Identity(std::max(c.matrix.GetNbRows(), columns), type));
      EXPECT_TRUE(
          Near(Product(Product(*factors.u, *factors.w), Transposed(*factors.v)), c.matrix, relative * norm))
          << c.name << " type " << type;
      EXPECT_TRUE(HasOrthonormalColumns(*factors.v, relative)) << c.name;
      if (c.matrix.GetNbRows() >= columns) {
        EXPECT_TRUE(HasOrthonormalColumns(*factors.u, relative)) << c.name;
      }
      EXPECT_EQ(factors.u->GetType(), type);
      for (int j = 0; j < columns; ++j) {
        ASSERT_GE(factors.w->Get(j, j), 0.0) << c.name;
        if (j > 0) {
          ASSERT_LE(factors.w->Get(j, j), factors.w->Get(j - 1, j - 1)) << c.name;
        }
        for (int i = 0; i < columns; ++i) {
          if (i != j) {
            ASSERT_EQ(factors.w->Get(i, j), 0.0) << c.name;
          }
        }
      }
    }
  }
}

TEST(SVD, EqualValuesStandAsTheyStoodAndNothingIsTurned) {
  for (const double value : {0.0, 3.0}) {
    const MTH_MATRIX a = *MatrixPtr(Identity(4) * value);
    const SVDFactors factors(a);
    EXPECT_TRUE(SameBits(*factors.w, a));
    for (int i = 0; i < 4; ++i) {
      for (int j = 0; j < 4; ++j) {
        const double element = factors.v->Get(i, j);  // reflections give it its sign, where there are any
        EXPECT_EQ(value == 0.0 ? element : std::abs(element), i == j ? 1.0 : 0.0) << value;
      }
    }
  }
}

TEST(SVD, FailuresLeaveTheCallerThreeFactors) {
  const struct {
    int type;
    const char* text;
  } storages[] = {{kDouble, "Pas de convergence après 50 itérations"},
                  {kFloat, "Pas de convergence après 30 itérations"}};
  for (const auto& [type, text] : storages) {
    for (const double odd : {kNaN, kInfinity}) {
      for (const int size : {3, 20}) {
        RecordingDisplay display;
        MTH_MATRIX a = RandomMatrix(size, size, type, 17);
        a.Set(1, 2, odd);
        const SVDFactors factors(a);
        EXPECT_FALSE(factors.isDone);
        EXPECT_EQ(display.messages, std::vector{Information(text)});
        for (const MatrixPtr* factor : {&factors.u, &factors.w, &factors.v}) {
          EXPECT_FALSE((*factor)->IsAllocated());
          EXPECT_EQ((*factor)->GetStatusError(), 17);
        }
        EXPECT_EQ(a.Rank(), 0);
        EXPECT_EQ(MatrixPtr(a.PseudoInverse())->GetStatusError(), 9);
      }
    }
  }
  RecordingDisplay display;
  const SVDFactors none{MTH_MATRIX()};
  EXPECT_FALSE(none.isDone);
  EXPECT_EQ(none.u->GetStatusError(), 1);
  EXPECT_EQ(none.v->GetStatusError(), 1);
  EXPECT_FALSE(Identity(2).SVD(nullptr, nullptr, nullptr));
  EXPECT_TRUE(display.messages.empty());
}

TEST(SVD, RankCountsValuesAboveTheTolerance) {
  const std::pair<MTH_MATRIX, int> cases[] = {{Matrix({{1, 2}, {2, 4}}), 1},
                                              {Matrix({{0, 0}, {0, 0}}), 0},
                                              {Matrix({{1, 0}, {0, 1.9e-15}}), 1},
                                              {Matrix({{1, 0}, {0, 2.1e-15}}), 2},
                                              {Matrix({{1, 2, 3}, {4, 5, 6}}), 2},
                                              {MTH_MATRIX(), 0},
                                              {Matrix({{1, 0}, {0, 3e-15}, {0, 0}, {0, 0}}), 2},
                                              {MTH_MATRIX(0, 3, kDouble), 0}};
  for (const auto& [matrix, rank] : cases) EXPECT_EQ(matrix.Rank(), rank);
}

TEST(PseudoInverse, MeetsThePenroseConditions) {
  for (const int type : {kDouble, kFloat}) {
    for (const DecompositionCase& c : DecompositionCases(type)) {
      if (c.name == "graded" || c.name == "Hilbert 8" || (type == kFloat && c.name == "rank 3")) continue;
      const MTH_MATRIX& a = c.matrix;
      const MatrixPtr inverse(a.PseudoInverse());
      const MTH_MATRIX left = Product(*inverse, a);
      const MTH_MATRIX right = Product(a, *inverse);
      const double size = std::max(inverse->ComputeFrobeniusNorm(), 1.0);
      const double tolerance = 8.0 * Tolerance(a) * size;
      EXPECT_TRUE(Near(Product(right, a), a, tolerance * std::max(a.ComputeFrobeniusNorm(), 1.0))) << c.name;
      EXPECT_TRUE(Near(Product(left, *inverse), *inverse, tolerance * size)) << c.name;
      EXPECT_TRUE(Near(left, Transposed(left), tolerance)) << c.name;
      EXPECT_TRUE(Near(right, Transposed(right), tolerance)) << c.name;
      const bool isFull = a.Rank() == a.GetNbCols();
      EXPECT_EQ(inverse->GetStatusError(), isFull ? 0 : 10) << c.name;
    }
  }
}

TEST(PseudoInverse, HandsOutFactorsAndTheNumberOfValuesKept) {
  const MTH_MATRIX a = Matrix({{2, 0}, {0, 0}});
  MTH_MATRIX* made[3];
  int rank = -1;
  const MatrixPtr inverse(a.PseudoInverse(&made[0], &made[1], &made[2], &rank));
  const MatrixPtr owned[] = {MatrixPtr(made[0]), MatrixPtr(made[1]), MatrixPtr(made[2])};
  EXPECT_TRUE(Near(*inverse, Matrix({{0.5, 0}, {0, 0}}), 0.0));
  EXPECT_EQ(inverse->GetStatusError(), 10);
  EXPECT_EQ(rank, 1);
  EXPECT_EQ(owned[1]->Get(0, 0), 2.0);
  EXPECT_TRUE(SameBits(*MatrixPtr(a.PseudoInverse()), *inverse));

  // The tolerance goes by the longer side.
  const std::pair<MTH_MATRIX, int> nearlySingular[] = {{Matrix({{1, 0}, {0, 1.9e-15}}), 1},
                                                       {Matrix({{1, 0}, {0, 2.1e-15}}), 2},
                                                       {Matrix({{1, 0}, {0, 3.9e-15}, {0, 0}, {0, 0}}), 1},
                                                       {Matrix({{1, 0}, {0, 4.1e-15}, {0, 0}, {0, 0}}), 2}};
  for (const auto& [matrix, kept] : nearlySingular) {
    EXPECT_EQ(MatrixPtr(matrix.PseudoInverse(nullptr, nullptr, nullptr, &rank))->GetStatusError(),
              kept == 2 ? 0 : 10);
    EXPECT_EQ(rank, kept);
  }

  const MatrixPtr failed(MTH_MATRIX().PseudoInverse(&made[0], &made[1], &made[2], &rank));
  const MatrixPtr unallocated[] = {MatrixPtr(made[0]), MatrixPtr(made[1]), MatrixPtr(made[2])};
  EXPECT_EQ(failed->GetStatusError(), 9);
  EXPECT_EQ(rank, 0);
  EXPECT_FALSE(unallocated[0]->IsAllocated());
}

TEST(SolveBySVD, FitsPublishedRegressions) {
  // NIST StRD Norris: y against (1, x); certified -0.262323073774029, 1.00211681802045.
  const std::pair<double, double> norris[] = {
      {0.1, 0.2},     {338.8, 337.4}, {118.1, 118.2}, {888.0, 884.6}, {9.2, 10.1},    {228.1, 226.5},
      {668.5, 666.3}, {998.5, 996.3}, {449.1, 448.6}, {778.9, 777.0}, {559.2, 558.2}, {0.3, 0.4},
      {0.1, 0.6},     {778.1, 775.5}, {668.8, 666.9}, {339.3, 338.0}, {448.9, 447.5}, {10.8, 11.6},
      {557.7, 556.0}, {228.3, 228.1}, {998.0, 995.8}, {888.8, 887.6}, {119.6, 120.2}, {0.3, 0.3},
      {0.6, 0.3},     {557.6, 556.8}, {339.3, 339.1}, {888.0, 887.2}, {998.5, 999.0}, {778.9, 779.0},
      {10.2, 11.1},   {117.6, 118.3}, {228.9, 229.2}, {668.4, 669.1}, {449.2, 448.9}, {0.2, 0.5}};
  const int count = static_cast<int>(std::size(norris));
  const MTH_MATRIX a =
      FromRule(count, 2, kDouble, [&](int i, int j) { return j == 0 ? 1.0 : norris[i].second; });
  const MTH_MATRIX y = FromRule(count, 1, kDouble, [&](int i, int) { return norris[i].first; });
  const MatrixPtr line(a.SolveLinearSystemBySVD(y));
  EXPECT_NEAR(line->Get(0, 0), -0.262323073774029, 1e-11);
  EXPECT_NEAR(line->Get(1, 0), 1.00211681802045, 1e-13);

  // NIST StRD Wampler1: y = 1 + x + ... + x^5 for x = 0 .. 20, all coefficients 1.
  const MTH_MATRIX powers = FromRule(21, 6, kDouble, [](int i, int j) { return std::pow(i, j); });
  const MTH_MATRIX sums = FromRule(21, 1, kDouble, [](int i, int) {
    double sum = 0.0;
    for (int k = 0; k < 6; ++k) sum += std::pow(i, k);
    return sum;
  });
  EXPECT_TRUE(Near(*MatrixPtr(powers.SolveLinearSystemBySVD(sums)),
                   FromRule(6, 1, kDouble, [](int, int) { return 1; }), 1e-7));
}

TEST(SolveBySVD, ShowsWhatIsWrong) {
  RecordingDisplay display;
  const auto solve = [&](const MTH_MATRIX& a, const MTH_MATRIX& b) {
    display.messages.clear();
    const MatrixPtr x(a.SolveLinearSystemBySVD(b));
    return std::pair(x->IsAllocated(), x->GetStatusError());
  };
  const MTH_MATRIX b = Matrix({{1}, {1}});
  EXPECT_EQ(solve(MTH_MATRIX(), b), std::pair(false, 1));
  EXPECT_EQ(solve(Identity(3), b), std::pair(false, 4));
  EXPECT_TRUE(display.messages.empty());
  EXPECT_EQ(solve(Identity(2, kFloat), b), std::pair(false, 14));
  EXPECT_EQ(solve(Matrix({{2, 0}, {0, 0}}), b), std::pair(true, 0));
  EXPECT_EQ(display.messages, std::vector{Information("Risque d'instabilité de la solution")});
  EXPECT_EQ(solve(Matrix({{kNaN, 0}, {0, 0}}), b), std::pair(false, 9));
  EXPECT_EQ(display.messages, (std::vector{Information("Pas de convergence après 50 itérations"),
                                           Information("Matrice non inversible")}));
}

TEST(Projection, IsTheSymmetricIdempotentProjectorOnTheRowSpace) {
  for (const int type : {kDouble, kFloat}) {
    for (const auto& [rows, columns] : {std::pair(3, 7), std::pair(5, 5), std::pair(1, 4)}) {
      const MTH_MATRIX a = RandomMatrix(rows, columns, type, 41);
      const double tolerance = 100.0 * Tolerance(a);
      const MatrixPtr onRows(a.Projection());
      const MatrixPtr offRows(a.OrthogonalProjection());
      EXPECT_TRUE(Near(*onRows, Transposed(*onRows), tolerance));
      EXPECT_TRUE(Near(Product(*onRows, *onRows), *onRows, tolerance));
      EXPECT_TRUE(Near(Product(*onRows, Transposed(a)), Transposed(a), tolerance));
      EXPECT_TRUE(Near(*MatrixPtr(*onRows + *offRows), Identity(columns), tolerance));
      EXPECT_NEAR(onRows->GetTrace(), rows, tolerance);
    }
  }
  for (const auto& [matrix, status] :
       {std::pair(MTH_MATRIX(), 1), std::pair(Matrix({{kNaN, 1}, {1, 2}}), 9)}) {
    RecordingDisplay display;
    EXPECT_EQ(MatrixPtr(matrix.Projection())->GetStatusError(), status);
    EXPECT_EQ(MatrixPtr(matrix.OrthogonalProjection())->GetStatusError(), status);
  }
}

bool HasStatus(int status, MTH_MATRIX* result) {
  const MatrixPtr owned(result);
  return result != nullptr && !result->IsAllocated() && result->GetStatusError() == status;
}

// A run that the host gives up fails as documented, at once, and nobody is told of it.
TEST(LongRuns, AreGivenUpOnRequest) {
  const auto sines = [](int i, int j) { return std::sin(i * j); };
  const auto slowPower = [](int i, int j) { return i == j ? 1.99 + 0.01 * (i == 0) : 0; };
  const MTH_MATRIX a = RandomMatrix(513, 513, kDouble, 9);
  const MTH_MATRIX b = RandomMatrix(513, 513, kDouble, 10);
  const MTH_MATRIX half = RandomMatrix(260, 260, kDouble, 9);
  const MTH_MATRIX one = FromRule(1, 1, kDouble, [](int, int) { return 1; });
  const MTH_MATRIX column = RandomMatrix(260, 1, kDouble, 9);
  const MTH_MATRIX symmetric = FromRule(513, 513, kDouble, sines);
  const MTH_MATRIX unit = FromRule(513, 513, kDouble, [](int i, int j) { return i == j; });
  const MTH_MATRIX tall = RandomMatrix(2000, 300, kDouble, 9);
  const MTH_MATRIX image = RandomMatrix(600, 600, kFloat, 9);
  MTH_MATRIX kernel = RandomMatrix(21, 21, kFloat, 9);
  const auto hasNoProblem = [](const MTH_MATRIX& matrix) {
    MTH_COMPLEX* values = nullptr;
    MTH_COMPLEX* vectors = nullptr;
    return !matrix.RealEigenvalueProblem(&values, &vectors) && values == nullptr && vectors == nullptr;
  };
  const auto hasNoSVD = [](const MTH_MATRIX& matrix) {
    std::array<MTH_MATRIX*, 3> f{};
    return !matrix.SVD(&f[0], &f[1], &f[2]) && HasStatus(17, f[0]) && HasStatus(17, f[1]) &&
           HasStatus(17, f[2]);
  };
  struct {
    const char* name;
    int lateQuestion;  // that it still comes to
    std::function<bool()> hasFailed;
  } const runs[] = {
      {"product", 20, [&] { return HasStatus(1, a * b); }},
      {"narrow product", 1, [&] { return HasStatus(1, tall * *MatrixPtr(tall.GetExtract(0, 0, 300, 300))); }},
      {"convolution", 600, [&] { return HasStatus(1, image.Convolution2D(&kernel, 0)); }},
      {"LU", 8,
       [&] {
         int* order = nullptr;
         return HasStatus(5, a.LU(&order)) && order == nullptr;
       }},
      {"determinant", 8, [&] { return a.Det() == 0.0 && a.GetStatusError() == 7; }},
      {"solution", 20, [&] { return HasStatus(5, a.SolveLinearSystemByLU(b)); }},
      {"inverse", 20, [&] { return HasStatus(5, a.Inverse()); }},
      {"QR", 40,
       [&] {
         MTH_MATRIX* q = nullptr;
         MTH_MATRIX* r = nullptr;
         return !a.QR(&q, &r) && q == nullptr && r == nullptr;
       }},
      {"SVD", 700, [&] { return hasNoSVD(a); }},
      {"SVD, tall", 15, [&] { return hasNoSVD(tall); }},
      {"SVD, wide", 50, [&] { return hasNoSVD(*MatrixPtr(tall.Transpose())); }},
      {"rank", 700, [&] { return a.Rank() == 0; }},
      {"least squares", 700, [&] { return HasStatus(9, a.SolveLinearSystemBySVD(b)); }},
      {"eigenproblem", 520, [&] { return hasNoProblem(a); }},
      {"symmetric eigenproblem", 1030, [&] { return hasNoProblem(symmetric); }},
      {"eigenvalues", 20,
       [&] {
         double* values = nullptr;
         half.EigenValues(0.0, &values);
         return values == nullptr;
       }},
      {"power method", 1,
       [&] {
         double value = 0.0;
         return !FromRule(200, 200, kDouble, slowPower).PowerMethod(1e-9, &value);
       }},
      {"eigenvectors", 3,
       [&] {
         double* values = nullptr;
         const MTH_MATRIX matrix = FromRule(60, 60, kDouble, [](int i, int j) { return i == j ? i : 0.01; });
         return HasStatus(11, matrix.SearchEigenValuesAndVectors(1e-3, &values)) && values == nullptr;
       }},
      {"Schur", 520,
       [&] {
         MTH_MATRIX* q = nullptr;
         MTH_MATRIX* t = nullptr;
         return !a.SchurDecomposition(&q, &t) && HasStatus(5, q) && HasStatus(5, t);
       }},
      {"QZ", 1030,
       [&] {
         std::array<MTH_MATRIX*, 4> f{};
         return !a.QZDecomposition(b, &f[0], &f[1], &f[2], &f[3]) && HasStatus(5, f[0]) &&
                HasStatus(5, f[1]) && HasStatus(5, f[2]) && HasStatus(5, f[3]);
       }},
      {"Lyapunov", 520, [&] { return HasStatus(5, a.SolveLyapunov(b)); }},
      {"Riccati", 530, [&] { return HasStatus(5, half.SolveRiccati(column, half, one)); }},
      {"discrete Riccati", 1, [&] { return HasStatus(5, half.SolveDiscreteRiccati(column, half, one)); }},
      {"Riccati of many inputs", 3000, [&] { return HasStatus(5, a.SolveRiccati(b, unit, unit)); }},
  };
  for (const auto& run : runs) {
    for (const int yes : {1, run.lateQuestion}) {
      const CancellingDisplay display(yes);
      EXPECT_TRUE(run.hasFailed()) << run.name;
      EXPECT_GE(display.questions, yes) << run.name;
      EXPECT_EQ(display.messages, 0) << run.name;
    }
  }
}

}  // namespace
}  // namespace mth_test
