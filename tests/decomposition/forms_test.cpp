#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "decomposition/control_cases.h"

namespace mth_test {
namespace {

// Spectra of all kinds: defective, clustered, graded, low rank, orthogonal, of every size.
std::vector<DecompositionCase> Spectra(int n) {
  const auto seed = static_cast<unsigned>(n);
  const MTH_MATRIX random = RandomMatrix(n, n, kDouble, seed);
  const auto rule = [&](auto element) { return FromRule(n, n, kDouble, element); };
  return {
      {"random", random},
      {"zero", rule([](int, int) { return 0.0; })},
      {"identity", Identity(n)},
      {"nilpotent", rule([](int i, int j) { return j == i + 1 ? 1.0 : 0.0; })},
      {"nilpotent, transposed", rule([](int i, int j) { return i == j + 1 ? 1.0 : 0.0; })},
      {"cyclic", rule([n](int i, int j) { return i == (j + 1) % n ? 1.0 : 0.0; })},
      {"companion", rule([](int i, int j) { return i == 0 ? std::sin(j + 1.0) : (i == j + 1 ? 1.0 : 0.0); })},
      {"orthogonal", RandomOrthogonal(n, seed)},
      {"clustered", Turned(rule([](int i, int j) { return i == j ? 1.0 + i * 1e-15 : 0.0; }),
                           RandomOrthogonal(n, seed + 1))},
      {"near the identity", Sum(Identity(n), Scaled(random, 1e-9))},
      {"last column", rule([n](int i, int j) { return j == n - 1 ? std::sin(i + 1.0) : 0.0; })},
      {"graded", rule([&](int i, int j) { return random.Get(i, j) * std::pow(10.0, -2.0 * (i + j)); })},
      {"graded over 300 decades",
       rule([&](int i, int j) { return random.Get(i, j) * std::pow(10.0, 150.0 * std::sin(7.0 * i + j)); })},
      {"subnormal squares", rule([&](int i, int j) { return i == j ? 1.0 : random.Get(i, j) * 1e-158; })},
      {"huge", Scaled(random, 1e300)},
      {"tiny", Scaled(random, 1e-300)},
      {"1e150", Scaled(random, 1e150)},
      {"1e-150", Scaled(random, 1e-150)},
      {"1e-60", Scaled(random, 1e-60)},              // the other of a pencil is not brought to its units
      {"1e110", Scaled(Transposed(random), 1e110)},  // squares of quotients with it overflow
      {"triangular", rule([&](int i, int j) { return i <= j ? random.Get(i, j) : 0.0; })},
      {"0 and 1", rule([](int i, int j) { return (i * i + 3 * j + i * j) % 7 < 3 ? 1.0 : 0.0; })},
  };
}

// Brings both to about 1, so that no product of theirs overflows.
::testing::AssertionResult Reconstructs(const MTH_MATRIX& left, const MTH_MATRIX& form,
                                        const MTH_MATRIX& right, const MTH_MATRIX& a) {
  const double largest = Largest(a);
  const double scale = largest == 0.0 ? 1.0 : std::ldexp(1.0, -std::clamp(std::ilogb(largest), -1000, 1000));
  const double tolerance = 40.0 * std::max(a.GetNbRows(), 4) * (a.GetType() == kDouble ? kEpsilon : 1.2e-7);
  return Near(Product(Product(left, Scaled(form, scale)), Transposed(right)), Scaled(a, scale), tolerance);
}

bool IsBlock(const MTH_MATRIX& s, int k) {
  return k + 1 < s.GetNbRows() && s.Get(k + 1, k) != 0.0;
}

// 0 below the first subdiagonal, and no two blocks that touch.
bool IsQuasiTriangular(const MTH_MATRIX& s) {
  for (int i = 0; i < s.GetNbRows(); ++i) {
    for (int j = 0; j + 1 < i; ++j) {
      if (s.Get(i, j) != 0.0) return false;
    }
    if (IsBlock(s, i) && IsBlock(s, i + 1)) return false;
  }
  return true;
}

void CheckSchur(const MTH_MATRIX& a, const std::string& name) {
  MTH_MATRIX* newQ = nullptr;
  MTH_MATRIX* newT = nullptr;
  const bool isDone = a.SchurDecomposition(&newQ, &newT);
  const MatrixPtr q(newQ);
  const MatrixPtr t(newT);
  ASSERT_TRUE(isDone) << name;
  EXPECT_EQ(t->GetType(), a.GetType());
  EXPECT_TRUE(Reconstructs(*q, *t, *q, a)) << name;
  const double precision = a.GetType() == kDouble ? kEpsilon : 1.2e-7;
  EXPECT_TRUE(HasOrthonormalColumns(*q, 20.0 * std::max(a.GetNbRows(), 4) * precision)) << name;
  EXPECT_TRUE(IsQuasiTriangular(*t)) << name;
  for (int k = 0; k < a.GetNbRows(); ++k) {
    if (!IsBlock(*t, k)) continue;
    EXPECT_EQ(t->Get(k, k), t->Get(k + 1, k + 1)) << name;
    EXPECT_NE(std::signbit(t->Get(k, k + 1)), std::signbit(t->Get(k + 1, k))) << name;
    EXPECT_NE(t->Get(k, k + 1), 0.0) << name;
  }
}

TEST(SchurDecomposition, HoldsForEverySpectrum) {
  for (const int n : {0, 1, 2, 3, 4, 5, 8, 20, 33}) {
    if (n == 0) {
      CheckSchur(MTH_MATRIX(0, 0, kDouble), "empty");
      continue;
    }
    for (const DecompositionCase& c : Spectra(n)) CheckSchur(c.matrix, c.name + " " + std::to_string(n));
  }
  CheckSchur(RandomMatrix(9, 9, kFloat, 5), "float");
}

TEST(SchurDecomposition, KeepsAMatrixOfThatFormAsItIs) {
  for (const MTH_MATRIX& a : {Matrix({{3, 1, 1e300}, {0, 1e-300, 2}, {0, 0, 2}}),
                              Matrix({{2, 3, 1, 4}, {-1, 2, 5, 6}, {0, 0, 7, 8}, {0, 0, 0, 9}})}) {
    MTH_MATRIX* q = nullptr;
    MTH_MATRIX* t = nullptr;
    ASSERT_TRUE(a.SchurDecomposition(&q, &t));
    EXPECT_TRUE(SameBits(*MatrixPtr(q), Identity(a.GetNbRows())));
    EXPECT_TRUE(SameBits(*MatrixPtr(t), a));
  }
  // Between diagonal elements of 0, what is rounding's worth of the whole matrix counts as 0.
  MTH_MATRIX* q = nullptr;
  MTH_MATRIX* t = nullptr;
  ASSERT_TRUE(Matrix({{0, 1}, {1e-20, 0}}).SchurDecomposition(&q, &t));
  EXPECT_TRUE(SameBits(*MatrixPtr(q), Identity(2)));
  EXPECT_TRUE(SameBits(*MatrixPtr(t), Matrix({{0, 1}, {0, 0}})));
}

struct Pair {
  MTH_MATRIX a;
  MTH_MATRIX b;
  std::string name;
};

std::vector<Pair> Pencils() {
  std::vector<Pair> pencils;
  for (const int n : {1, 2, 3, 4, 5, 8, 20}) {
    const std::vector<DecompositionCase> spectra = Spectra(n);
    for (std::size_t i = 0; i < spectra.size(); ++i) {
      for (std::size_t step = 0; step<spectra.size(); step += n> 8 ? 7 : 1) {
        const DecompositionCase& other = spectra[(i + step) % spectra.size()];
        pencils.push_back({spectra[i].matrix, other.matrix,
                           spectra[i].name + " / " + other.name + " " + std::to_string(n)});
      }
    }
  }
  return pencils;
}

void CheckQZ(const Pair& pencil) {
  MTH_MATRIX* made[4] = {};
  const bool isDone = pencil.a.QZDecomposition(pencil.b, &made[0], &made[1], &made[2], &made[3]);
  const MatrixPtr q(made[0]);
  const MatrixPtr z(made[1]);
  const MatrixPtr s(made[2]);
  const MatrixPtr t(made[3]);
  ASSERT_TRUE(isDone) << pencil.name;
  const int n = pencil.a.GetNbRows();
  EXPECT_TRUE(Reconstructs(*q, *s, *z, pencil.a)) << pencil.name;
  EXPECT_TRUE(Reconstructs(*q, *t, *z, pencil.b)) << pencil.name;
  EXPECT_TRUE(HasOrthonormalColumns(*q, 20.0 * std::max(n, 4) * kEpsilon)) << pencil.name;
  EXPECT_TRUE(HasOrthonormalColumns(*z, 20.0 * std::max(n, 4) * kEpsilon)) << pencil.name;
  EXPECT_TRUE(IsQuasiTriangular(*s)) << pencil.name;
  for (int i = 0; i < n; ++i) {
    EXPECT_FALSE(std::signbit(t->Get(i, i))) << pencil.name;
    for (int j = 0; j < i; ++j) EXPECT_EQ(t->Get(i, j), 0.0) << pencil.name;
    if (!IsBlock(*s, i)) continue;
    EXPECT_EQ(t->Get(i, i + 1), 0.0) << pencil.name;
  }
}

TEST(QZDecomposition, HoldsForEveryPencil) {
  for (const Pair& pencil : Pencils()) CheckQZ(pencil);
  CheckQZ({MTH_MATRIX(0, 0, kDouble), MTH_MATRIX(0, 0, kDouble), "empty"});
}

struct GeneralisedProblem {
  GeneralisedProblem(const MTH_MATRIX& a, const MTH_MATRIX& b) {
    MTH_COMPLEX* newAlphas = nullptr;
    MTH_COMPLEX* newVectors = nullptr;
    double* newBetas = nullptr;
    isDone = a.GeneralisedEigenvalueProblem(b, &newAlphas, &newBetas, &newVectors);
    const std::unique_ptr<MTH_COMPLEX[]> ownedAlphas(newAlphas);
    const std::unique_ptr<MTH_COMPLEX[]> ownedVectors(newVectors);
    const std::unique_ptr<double[]> ownedBetas(newBetas);
    const int n = isDone ? a.GetNbRows() : 0;
    for (int i = 0; i < n; ++i) {
      alphas.emplace_back(newAlphas[i].getReal(), newAlphas[i].getImag());
      betas.push_back(newBetas[i]);
    }
    for (int i = 0; i < n * n; ++i) vectors.emplace_back(newVectors[i].getReal(), newVectors[i].getImag());
  }
  bool isDone = false;
  std::vector<Complex> alphas;
  std::vector<double> betas;
  std::vector<Complex> vectors;
};

TEST(GeneralisedEigenvalueProblem, SolvesItsEquation) {
  for (const Pair& pencil : Pencils()) {
    const GeneralisedProblem solved(pencil.a, pencil.b);
    ASSERT_TRUE(solved.isDone) << pencil.name;
    const int n = pencil.a.GetNbRows();
    const double ofA = std::max(Largest(pencil.a), 1e-300);
    const double ofB = std::max(Largest(pencil.b), 1e-300);
    for (int j = 0; j < n; ++j) {
      const auto index = static_cast<std::size_t>(j);
      EXPECT_GE(solved.betas[index], 0.0) << pencil.name;
      Complex alpha = solved.alphas[index] / ofA;
      double beta = solved.betas[index] / ofB;
      const double size = std::max({std::abs(alpha), beta, 1e-300});
      alpha /= size;
      beta /= size;
      double norm = 0.0;
      for (int i = 0; i < n; ++i) {
        Complex rest = 0.0;
        for (int k = 0; k < n; ++k) {
          const Complex x = solved.vectors[static_cast<std::size_t>(k * n + j)];
          rest += (beta * (pencil.a.Get(i, k) / ofA) - alpha * (pencil.b.Get(i, k) / ofB)) * x;
        }
        EXPECT_LE(std::abs(rest), 60.0 * std::max(n, 4) * kEpsilon) << pencil.name;
        norm += std::norm(solved.vectors[static_cast<std::size_t>(i * n + j)]);
      }
      EXPECT_NEAR(norm, 1.0, 1e-13) << pencil.name;
      if (solved.alphas[index].imag() <= 0.0) continue;
      EXPECT_EQ(solved.alphas[index + 1], std::conj(solved.alphas[index])) << pencil.name;
    }
  }
}

TEST(GeneralisedEigenvalueProblem, FindsInfiniteAndUndefinedEigenvalues) {
  const GeneralisedProblem infinite(Matrix({{1, 2}, {3, 4}}), Matrix({{1, 0}, {0, 0}}));
  EXPECT_EQ(std::count(infinite.betas.begin(), infinite.betas.end(), 0.0), 1);
  const GeneralisedProblem zero(Matrix({{0, 0}, {0, 0}}), Matrix({{0, 0}, {0, 0}}));
  for (int j = 0; j < 2; ++j) {
    EXPECT_EQ(std::abs(zero.alphas[static_cast<std::size_t>(j)]), 0.0);
    EXPECT_EQ(zero.betas[static_cast<std::size_t>(j)], 0.0);
    EXPECT_EQ(std::abs(zero.vectors[static_cast<std::size_t>(3 * j)]), 1.0);
  }
  // Without vectors; and what is refused.
  MTH_COMPLEX* alphas = nullptr;
  double* betas = nullptr;
  EXPECT_TRUE(Identity(2).GeneralisedEigenvalueProblem(Identity(2), &alphas, &betas, nullptr));
  const std::unique_ptr<MTH_COMPLEX[]> ownedAlphas(alphas);
  const std::unique_ptr<double[]> ownedBetas(betas);
  EXPECT_EQ(alphas[1].getReal() / betas[1], 1.0);
  EXPECT_FALSE(Identity(2).GeneralisedEigenvalueProblem(Identity(2), nullptr, &betas, nullptr));
  EXPECT_EQ(betas, nullptr);
  EXPECT_FALSE(GeneralisedProblem(Identity(2), Identity(3)).isDone);
  EXPECT_FALSE(GeneralisedProblem(Identity(2), Identity(2, kFloat)).isDone);
  EXPECT_FALSE(GeneralisedProblem(Identity(2), Matrix({{1, kNaN}, {0, 1}})).isDone);
}

TEST(ControlFamily, FailuresHaveTheirStatusAndNothingElse) {
  MTH_MATRIX* made[4] = {};
  const auto statusOfAll = [&](int count) {
    int status = -1;
    for (int i = 0; i < count; ++i) {
      const MatrixPtr owned(made[i]);
      EXPECT_FALSE(owned->IsAllocated());
      EXPECT_TRUE(i == 0 || owned->GetStatusError() == status);
      status = owned->GetStatusError();
    }
    return status;
  };
  const std::pair<MTH_MATRIX, int> refused[] = {
      {MTH_MATRIX(), 1}, {MTH_MATRIX(2, 3, kDouble), 4}, {Matrix({{kNaN}}), 5}};
  for (const auto& [a, status] : refused) {
    EXPECT_FALSE(a.SchurDecomposition(&made[0], &made[1]));
    EXPECT_EQ(statusOfAll(2), status);
    EXPECT_FALSE(a.QZDecomposition(a, &made[0], &made[1], &made[2], &made[3]));
    EXPECT_EQ(statusOfAll(4), status);
  }
  EXPECT_FALSE(Identity(2).QZDecomposition(Identity(2, kFloat), &made[0], &made[1], &made[2], &made[3]));
  EXPECT_EQ(statusOfAll(4), 14);
  MTH_MATRIX* untouched = made[0] = nullptr;
  EXPECT_FALSE(Identity(2).SchurDecomposition(&untouched, nullptr));
  EXPECT_FALSE(Identity(2).QZDecomposition(Identity(2), &untouched, &made[0], nullptr, &made[0]));
  EXPECT_EQ(untouched, nullptr);
}

}  // namespace
}  // namespace mth_test
