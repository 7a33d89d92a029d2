#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>

#include "decomposition/control_cases.h"

namespace mth_test {
namespace {

// A X + X At + Q, or A X At - X + Q, beside the size of its terms.
double LyapunovRest(const MTH_MATRIX& a, const MTH_MATRIX& q, const MTH_MATRIX& x, bool isDiscrete) {
  const MTH_MATRIX image = isDiscrete ? Turned(x, a) : Product(a, x);
  const MTH_MATRIX other = isDiscrete ? Scaled(x, -1.0) : Product(x, Transposed(a));
  const double size = Largest(a) * Largest(x) * (isDiscrete ? Largest(a) : 1.0) + Largest(x) + Largest(q);
  return Largest(Sum(Sum(image, other), q)) / std::max(size, 1e-300);
}

TEST(Lyapunov, SolutionsFulfilTheirEquations) {
  for (const int n : {0, 1, 2, 3, 4, 5, 9, 30}) {
    const auto seed = static_cast<unsigned>(40 + n);
    const MTH_MATRIX a = RandomMatrix(n, n, kDouble, seed);
    const MTH_MATRIX q = RandomMatrix(n, n, kDouble, seed + 1);
    const MTH_MATRIX symmetric = Sum(q, Transposed(q));
    for (const MTH_MATRIX& right : {q, symmetric}) {
      for (const bool isDiscrete : {false, true}) {
        const MatrixPtr x(isDiscrete ? a.SolveDiscreteLyapunov(right) : a.SolveLyapunov(right));
        EXPECT_EQ(x->GetStatusError(), 0);
        ASSERT_TRUE(x->IsAllocated());
        EXPECT_EQ(x->GetNbRows(), n);
        if (n == 0) continue;
        EXPECT_LE(LyapunovRest(a, right, *x, isDiscrete), 100.0 * n * kEpsilon) << n << isDiscrete;
        EXPECT_EQ(IsExactlySymmetric(*x), n == 1 || &right == &symmetric || IsExactlySymmetric(right));
      }
    }
  }
  // A complex pair near the boundary.
  const MTH_MATRIX a = Matrix({{-0.001, -0.02, 2e4}, {0, 200, -100}, {-1e4, 2e-4, 0.001}});
  const MTH_MATRIX q = Matrix({{2, 0, -2}, {0, 2, -1}, {-2, -1, 0}});
  EXPECT_LE(LyapunovRest(a, q, *MatrixPtr(a.SolveLyapunov(q)), false), 100.0 * kEpsilon);
  // -1 / (2 a), and 1 / (1 - a a), at every size of a.
  for (const double size : {1e-307, 1e-300, 1e-155, 1e-150, 1.0, 1e150, 1e154, 1e300, 1.7e308}) {
    const MatrixPtr half(Matrix({{-size}}).SolveLyapunov(Matrix({{size}})));
    EXPECT_EQ(half->GetStatusError(), 0) << size;
    EXPECT_DOUBLE_EQ(half->Get(0, 0), 0.5);
    const MatrixPtr x(Matrix({{0.5 * size, 0}, {0, 0}}).SolveDiscreteLyapunov(Matrix({{1, 0}, {0, 1}})));
    EXPECT_DOUBLE_EQ(x->Get(1, 1), 1.0);
    EXPECT_DOUBLE_EQ(x->Get(0, 0), 1.0 / (1.0 - 0.25 * size * size));
  }
  const MatrixPtr graded(Diagonal({1e300, 1e-300}).SolveLyapunov(Identity(2)));
  EXPECT_DOUBLE_EQ(graded->Get(1, 1), -0.5e300);
}

TEST(Lyapunov, SingularAndDoubtfulEquationsAreTold) {
  const MTH_MATRIX zero = Diagonal({0, 0});
  const MTH_MATRIX turn = RandomOrthogonal(4, 3);
  const auto status = [](MTH_MATRIX* x) { return MatrixPtr(x)->GetStatusError(); };
  for (const MTH_MATRIX& q : {zero, Identity(2)}) {
    EXPECT_EQ(status(zero.SolveLyapunov(q)), 9);
    EXPECT_EQ(status(Diagonal({1, -1}).SolveLyapunov(q)), 9);
    EXPECT_EQ(status(Matrix({{0, 1}, {-1, 0}}).SolveLyapunov(q)), 9);
    EXPECT_EQ(status(Identity(2).SolveDiscreteLyapunov(q)), 9);
    EXPECT_EQ(status(Diagonal({2, 0.5}).SolveDiscreteLyapunov(q)), 9);
    EXPECT_EQ(status(Diagonal({1, -1 + 1e-15}).SolveLyapunov(q)), 10);
    EXPECT_EQ(status(Diagonal({1, -1 + 1e-13}).SolveLyapunov(q)), 0);
  }
  EXPECT_EQ(status(Turned(Diagonal({1, -1, 3, 4}), turn).SolveLyapunov(Identity(4))), 9);
  EXPECT_EQ(status(Turned(Diagonal({2, 0.5, 3, 4}), turn).SolveDiscreteLyapunov(Identity(4))), 9);
  EXPECT_EQ(status(MTH_MATRIX().SolveLyapunov(Identity(2))), 1);
  EXPECT_EQ(status(Identity(2).SolveLyapunov(Identity(3, kFloat))), 14);
  EXPECT_EQ(status(Identity(2).SolveLyapunov(Identity(3))), 4);
  EXPECT_EQ(status(Identity(2).SolveDiscreteLyapunov(Matrix({{1, 2}, {kInfinity, 1}}))), 5);
}

struct Regulator {
  MTH_MATRIX a;
  MTH_MATRIX b;
  MTH_MATRIX q;
  MTH_MATRIX r;
  MTH_MATRIX* Solve(bool isDiscrete) const {
    return isDiscrete ? a.SolveDiscreteRiccati(b, q, r) : a.SolveRiccati(b, q, r);
  }
};

MTH_MATRIX InverseOf(const MTH_MATRIX& a) {
  return a.GetNbRows() == 0
             ? a
             : *MatrixPtr(*MatrixPtr(a.Transpose()) *
                          *MatrixPtr(MatrixPtr(a * *MatrixPtr(a.Transpose()))->PseudoInverse()));
}

// The equation and the stability of the closed loop.
void CheckRegulator(const Regulator& system, const MTH_MATRIX& x, bool isDiscrete, const std::string& name) {
  const MTH_MATRIX at = Transposed(system.a);
  const MTH_MATRIX bt = Transposed(system.b);
  const MTH_MATRIX q = Scaled(Sum(system.q, Transposed(system.q)), 0.5);
  const MTH_MATRIX r = Scaled(Sum(system.r, Transposed(system.r)), 0.5);
  EXPECT_TRUE(IsExactlySymmetric(x)) << name;
  const MTH_MATRIX costs = isDiscrete ? Sum(r, Product(Product(bt, x), system.b)) : r;
  const MTH_MATRIX gain = Product(InverseOf(costs), Product(bt, isDiscrete ? Product(x, system.a) : x));
  const MTH_MATRIX closed = *MatrixPtr(system.a - Product(system.b, gain));
  const MTH_MATRIX rest = isDiscrete ? Sum(*MatrixPtr(Product(Product(at, x), closed) - x), q)
                                     : Sum(Sum(Product(at, x), Product(x, closed)), q);
  const double size = Largest(system.a);
  const double terms = Largest(x) * (isDiscrete ? size * size + 1.0 : size + Largest(closed)) + Largest(q);
  EXPECT_LE(Largest(rest), 1e-11 * terms) << name;
  MTH_COMPLEX* values = nullptr;
  MTH_COMPLEX* vectors = nullptr;
  ASSERT_TRUE(closed.RealEigenvalueProblem(&values, &vectors));
  const std::unique_ptr<MTH_COMPLEX[]> ownedValues(values);
  const std::unique_ptr<MTH_COMPLEX[]> ownedVectors(vectors);
  for (int i = 0; i < system.a.GetNbRows(); ++i) {
    const double real = values[i].getReal();
    EXPECT_LT(isDiscrete ? std::hypot(real, values[i].getImag()) : real + 1.0, 1.0) << name;
  }
}

TEST(Riccati, SolutionsFulfilTheirEquationsAndStabilise) {
  for (const int n : {1, 2, 3, 4, 6, 10}) {
    for (const int m : {1, 2, 4}) {
      if (m < n / 3) continue;  // so few inputs hardly stabilise anything
      const auto seed = static_cast<unsigned>(100 * n + m);
      const MTH_MATRIX half = RandomMatrix(n, n, kDouble, seed);
      const MTH_MATRIX cost = RandomMatrix(m, m, kDouble, seed + 1);
      Regulator system{RandomMatrix(n, n, kDouble, seed + 2), RandomMatrix(n, m, kDouble, seed + 3),
                       Product(half, Transposed(half)), Sum(Identity(m), Product(cost, Transposed(cost)))};
      system.q.Set(0, n - 1, system.q.Get(0, n - 1) + 0.25);  // only the symmetric part counts
      system.q.Set(n - 1, 0, system.q.Get(n - 1, 0) - 0.25);
      for (const bool isDiscrete : {false, true}) {
        const std::string name =
            std::to_string(n) + "x" + std::to_string(m) + (isDiscrete ? " discrete" : "");
        const MatrixPtr x(system.Solve(isDiscrete));
        ASSERT_EQ(x->GetStatusError(), 0) << name;
        CheckRegulator(system, *x, isDiscrete, name);
        for (const double scale : {1e100, 1e-100}) {
          const Regulator scaled{system.a, system.b, Scaled(system.q, scale), Scaled(system.r, scale)};
          const MatrixPtr y(scaled.Solve(isDiscrete));
          EXPECT_EQ(y->GetStatusError(), 0) << name;
          EXPECT_TRUE(Near(Scaled(*y, 1.0 / scale), *x, 1e-10 * Largest(*x))) << name << scale;
        }
        // In units that differ by 280 decades from state to state.
        const auto units = [n](int sign) {
          return FromRule(n, n, kDouble, [=](int i, int j) {
            return i == j ? std::ldexp(1.0, sign * (337 * i % 931 - 465)) : 0;
          });
        };
        const auto inUnits = [&](const MTH_MATRIX& q, int sign) {
          return Product(units(sign), Product(q, units(sign)));
        };
        const Regulator graded{Product(units(-1), Product(system.a, units(1))), Product(units(-1), system.b),
                               inUnits(system.q, 1), system.r};
        const MatrixPtr y(graded.Solve(isDiscrete));
        EXPECT_EQ(y->GetStatusError(), 0) << name;
        EXPECT_TRUE(Near(inUnits(*y, -1), *x, 1e-8 * Largest(*x))) << name;
      }
      // With a state that hardly comes to rest, which leaves it to the ordered forms.
      for (const bool isDiscrete : {false, true}) {
        const auto beside = [](const MTH_MATRIX& matrix, int rows, int columns, double corner) {
          return FromRule(rows, columns, kDouble, [&](int i, int j) {
            const bool isInside = i < matrix.GetNbRows() && j < matrix.GetNbCols();
            return isInside ? matrix.Get(i, j) : (i == j ? corner : (i < j ? 0.0 : 0.5));
          });
        };
        const MTH_MATRIX q = FromRule(n + 1, n + 1, kDouble, [&](int i, int j) {
          return i < n && j < n ? system.q.Get(i, j) : (i == j ? 1e-9 : 0.0);
        });
        const Regulator slow{
            beside(system.a, n + 1, n + 1, isDiscrete ? 1.0 - 1e-6 : -1e-6),
            FromRule(n + 1, m, kDouble, [&](int i, int j) { return i < n ? system.b.Get(i, j) : 0.0; }), q,
            system.r};
        const MatrixPtr x(slow.Solve(isDiscrete));
        ASSERT_EQ(x->GetStatusError(), 0) << n << m;
        CheckRegulator(slow, *x, isDiscrete, "slow " + std::to_string(n));
      }
      if (m > n) continue;
      const Regulator free{system.a, system.b, system.q, Scaled(system.r, 0.0)};
      const MatrixPtr x(free.Solve(true));
      ASSERT_EQ(x->GetStatusError(), 0);
      CheckRegulator(free, *x, true, "no cost of inputs");
    }
  }
}

// Small integers for X, the closed loop C and B, whose rows differ by up to six decades, give A and Q without
// rounding; R = I. Costs are mostly indefinite.
Regulator KnownRegulator(const MTH_MATRIX& x, int m, int decades, bool isDiscrete, std::mt19937& random) {
  const int n = x.GetNbRows();
  const auto below = [&](int limit) { return static_cast<int>(random() % (2U * limit + 1U)) - limit; };
  const auto size = [&](int i, double share) {
    return std::round(std::pow(10.0, decades * share * i / (n - 1.0)));
  };
  const MTH_MATRIX b = FromRule(n, m, kDouble, [&](int i, int) { return below(2) * size(i, 0.5); });
  const MTH_MATRIX closed = FromRule(n, n, kDouble, [&](int i, int j) {
    return i < j ? below(3) : (i == j && !isDiscrete ? -size(i, 1.0) : 0.0);
  });
  const MTH_MATRIX gx = Product(Product(b, Transposed(b)), x);
  const MTH_MATRIX a = isDiscrete ? Product(Sum(Identity(n), gx), closed) : Sum(closed, gx);
  const MTH_MATRIX terms = isDiscrete ? Scaled(Product(Transposed(a), Product(x, closed)), -1.0)
                                      : Scaled(Sum(Product(Transposed(a), x), Product(x, closed)), -1.0);
  return {a, b, isDiscrete ? Sum(x, terms) : terms, Identity(m)};
}

TEST(Riccati, NoSpreadOfStatesCostsDigits) {
  std::mt19937 random(1);
  for (const int n : {2, 3, 5, 8}) {
    for (int trial = 0; trial < 24; ++trial) {
      const MTH_MATRIX half = FromRule(n, n, kDouble, [&](int i, int j) {
        return i == j ? 3.0 : static_cast<double>(random() % 3U) - 1.0;
      });
      const MTH_MATRIX x = Product(Transposed(half), half);
      const bool isDiscrete = trial % 2 == 1;
      const Regulator system = KnownRegulator(x, 1 + trial % 3 % 2, trial % 4 / 2 * 6, isDiscrete, random);
      const MatrixPtr solution(system.Solve(isDiscrete));
      ASSERT_EQ(solution->GetStatusError(), 0) << n << ' ' << trial;
      EXPECT_TRUE(Near(*solution, x, 1e-10)) << n << ' ' << trial;
    }
  }
}

TEST(Riccati, SolutionsOfAnySizeAndSpreadSettle) {
  const Regulator nearlyFree{Matrix({{-1, -2}, {0, 0.0625}}), Identity(2), Scaled(Identity(2), 1e-49),
                             Identity(2)};
  const Regulator costly{Matrix({{0.2, 0.1}, {0.1, 0.1}}), Matrix({{0.4}, {-0.3}}), Scaled(Identity(2), 1e26),
                         Identity(1)};
  const MatrixPtr x(nearlyFree.Solve(false));
  const MatrixPtr y(costly.Solve(true));
  for (const MTH_MATRIX* solution : {x.get(), y.get()}) ASSERT_EQ(solution->GetStatusError(), 0);
  CheckRegulator(nearlyFree, *x, false, "nearly free");
  CheckRegulator(costly, *y, true, "costly");
}

TEST(Riccati, PublishedAndClosedFormSolutions) {
  // The first example of the continuous-time benchmark collection: X = [[2, 1], [1, 2]].
  const Regulator first{Matrix({{0, 1}, {0, 0}}), Matrix({{0}, {1}}), Diagonal({1, 2}), Matrix({{1}})};
  EXPECT_TRUE(Near(*MatrixPtr(first.Solve(false)), Matrix({{2, 1}, {1, 2}}), 20.0 * kEpsilon));
  // Scalars: q + 2 a x - x x / r = 0, the root that stabilises.
  for (const double a : {-3.0, 0.0, 0.5, 7.0}) {
    const Regulator scalar{Matrix({{a}}), Matrix({{2}}), Matrix({{5}}), Matrix({{4}})};
    EXPECT_NEAR(MatrixPtr(scalar.Solve(false))->Get(0, 0), a + std::sqrt(a * a + 5.0), 1e-14 * (1.0 + a * a));
    // a a x / (1 + x) - x + 5 = 0.
    const double half = 0.5 * (a * a + 4.0);
    EXPECT_NEAR(MatrixPtr(scalar.Solve(true))->Get(0, 0), half + std::sqrt(half * half + 5.0),
                1e-13 * (1 + a * a));
  }
  // Far apart: g x x = 2 a x + q and g x x = (a a - 1) x + 1 + q g x.
  struct Scalar {
    double a, b, q, r;
  };
  for (const auto& [a, b, q, r] : {Scalar{-1e16, 1, 1, 1},
                                   {1e15, 1, 1, 1},
                                   {1e19, 1, 1, 1},
                                   {1, 1e-12, 1, 1},
                                   {-2, 1e-30, 1, 1},
                                   {1e-100, 1e-200, 1e-200, 1},
                                   {-1e200, 1e-150, 1e-100, 1},
                                   {1, 1, 1e-30, 1},
                                   {2, 1e30, 1, 1e-30}}) {
    const MatrixPtr x(Regulator{Matrix({{a}}), Matrix({{b}}), Matrix({{q}}), Matrix({{r}})}.Solve(false));
    EXPECT_EQ(x->GetStatusError(), 0) << a;
    const double root = std::hypot(a, b * std::sqrt(q / r));
    const double solution = a > 0.0 ? (a + root) / b / b * r : q / (root - a);
    EXPECT_NEAR(x->Get(0, 0) / solution, 1.0, 1e-13) << a;
  }
  for (const auto& [a, b, q, r] : {Scalar{1e4, 1, 1, 1}, {1e6, 1e-3, 1, 1}, {-100, 1e-100, 1e-200, 1e-8}}) {
    const MatrixPtr x(Regulator{Matrix({{a}}), Matrix({{b}}), Matrix({{q}}), Matrix({{r}})}.Solve(true));
    EXPECT_EQ(x->GetStatusError(), 0) << a;
    EXPECT_NEAR(x->Get(0, 0) / (r * (a * a - 1.0) / b / b + q + q / (a * a - 1.0)), 1.0, 1e-8) << a;
  }
  // States that know nothing of each other do not disturb each other.
  const Regulator apart{Diagonal({-1e16, 1e16, -1e200, 1e-100}), Diagonal({1, 1, 1e-150, 1e-200}),
                        Diagonal({1, 1, 1e-100, 1e-200}), Identity(4)};
  const MatrixPtr slow(apart.Solve(false));
  EXPECT_EQ(slow->GetStatusError(), 0);
  for (const auto& [i, solution] : {std::pair(0, 0.5e-16), {1, 2e16}, {2, 0.5e-300}, {3, 2e300}})
    EXPECT_NEAR(slow->Get(i, i) / solution, 1.0, 1e-13) << i;
  const MatrixPtr fast(Regulator{Diagonal({1e60, 1e4}), Identity(2), Identity(2), Identity(2)}.Solve(true));
  EXPECT_EQ(fast->GetStatusError(), 0);
  EXPECT_NEAR(fast->Get(0, 0) / 1e120, 1.0, 1e-13);
  EXPECT_NEAR(fast->Get(1, 1) / 1e8, 1.0, 1e-13);
  const Regulator faster{Matrix({{1e200}}), Matrix({{1e150}}), Identity(1), Matrix({{1e-20}})};
  EXPECT_NEAR(MatrixPtr(faster.Solve(true))->Get(0, 0) / 1e80, 1.0, 1e-13);
  const Regulator tooFast{Matrix({{1e200}}), Identity(1), Identity(1), Identity(1)};  // 1e400
  EXPECT_EQ(MatrixPtr(tooFast.Solve(true))->GetStatusError(), 9);
  // Without inputs they are Lyapunov equations; a singular A is none to the discrete one.
  const Regulator none{Diagonal({-1, -2}), MTH_MATRIX(2, 0, kDouble), Identity(2), MTH_MATRIX(0, 0, kDouble)};
  EXPECT_TRUE(Near(*MatrixPtr(none.Solve(false)), Diagonal({0.5, 0.25}), 4.0 * kEpsilon));
  const Regulator delay{Matrix({{0, 1}, {0, 0}}), Matrix({{0}, {1}}), Identity(2), Matrix({{0}})};
  EXPECT_TRUE(Near(*MatrixPtr(delay.Solve(true)), Diagonal({1, 2}), 20.0 * kEpsilon));
  const MTH_MATRIX empty(0, 0, kDouble);
  for (const bool isDiscrete : {false, true}) {
    const MatrixPtr x(Regulator{empty, empty, empty, empty}.Solve(isDiscrete));
    EXPECT_TRUE(x->IsAllocated());
  }
  const Regulator floats{Matrix({{0, 1}, {0, 0}}, kFloat), Matrix({{0}, {1}}, kFloat),
                         Matrix({{1, 0}, {0, 2}}, kFloat), Matrix({{1}}, kFloat)};
  EXPECT_TRUE(Near(*MatrixPtr(floats.Solve(false)), Matrix({{2, 1}, {1, 2}}, kFloat), 1e-6));
}

// The Hamiltonian matrix has the double eigenvalues 1 and -1, on which a QR iteration may turn in circles.
TEST(Riccati, DoubleEigenvaluesConvergeAtEveryScale) {
  const MTH_MATRIX a = Matrix({{0, 1}, {0, 0}});
  const MTH_MATRIX b = Matrix({{0}, {1}});
  std::vector<double> scales = {1.3597274655935083, 1.8871770890429092, 1e-112, 1e-283};
  for (double s = 0.01; s < 100.0; s *= 1.003) scales.push_back(s);
  for (const double s : scales) {
    const MatrixPtr x(a.SolveRiccati(b, Matrix({{s, 0}, {0, 2 * s}}), Matrix({{s}})));
    ASSERT_EQ(x->GetStatusError(), 0) << s;
    EXPECT_TRUE(Near(Scaled(*x, 1.0 / s), Matrix({{2, 1}, {1, 2}}), 1e-6)) << s;
    MTH_COMPLEX* values = nullptr;
    MTH_COMPLEX* vectors = nullptr;
    EXPECT_TRUE(Matrix({{0, 1, 0, 0}, {0, 0, 0, -1 / s}, {-s, 0, 0, 0}, {0, -2 * s, -1, 0}})
                    .RealEigenvalueProblem(&values, &vectors))
        << s;
    delete[] values;
    delete[] vectors;
  }
}

TEST(Riccati, EquationsWithoutAStabilisingSolutionAreTold) {
  const MTH_MATRIX one = Matrix({{1}});
  const MTH_MATRIX zero = Matrix({{0}});
  const MTH_MATRIX last = Matrix({{0}, {1}});
  const MTH_MATRIX oscillator = Matrix({{0, 1}, {-1, 0}});
  const auto status = [](const Regulator& system, bool isDiscrete) {
    return MatrixPtr(system.Solve(isDiscrete))->GetStatusError();
  };
  EXPECT_EQ(status({zero, one, zero, one}, false), 9);  // an integrator that costs nothing
  EXPECT_EQ(status({one, one, zero, one}, true), 9);
  EXPECT_EQ(status({oscillator, last, Diagonal({0, 0}), one}, false), 9);
  EXPECT_EQ(status({oscillator, last, Diagonal({0, 0}), one}, true), 9);
  EXPECT_EQ(status({Diagonal({1, -1}), last, Identity(2), one}, false), 9);  // nothing moves the first state
  EXPECT_EQ(status({Diagonal({2, 0.5}), last, Identity(2), one}, true), 9);
  // Two eigenvalues of the closed loop meet there, and rounding moves them by the fourth root of epsilon.
  EXPECT_EQ(status({Matrix({{0, 0}, {-1, -1}}), Matrix({{1}, {0}}), Diagonal({-1, 1}), one}, false), 9);
  EXPECT_EQ(
      status({Matrix({{0, 0.5}, {1, -1}}), Matrix({{-1}, {1}}), Diagonal({1, 2}), Matrix({{-1}})}, true), 9);
  const MTH_MATRIX tenths = Matrix({{0.3}});  // a a = -b b q / r but for their rounding
  EXPECT_EQ(status({tenths, tenths, Matrix({{-3}}), Matrix({{3}})}, false), 9);
  EXPECT_EQ(status({tenths, tenths, Matrix({{-0.7 * 0.7 / 0.03}}), Matrix({{3}})}, true), 9);
  EXPECT_EQ(status({one, one, one, zero}, false), 6);
  EXPECT_EQ(status({Identity(2), Identity(2), Identity(2), Matrix({{1, 1}, {1, 1}})}, false), 6);
  EXPECT_EQ(status({Matrix({{0.5}}), zero, one, zero}, true), 9);  // R + Bt X B is 0
  const double far = 1e299;  // a solution, and numbers on the way to it, that double cannot hold
  const MTH_MATRIX fast = Matrix({{far, far, far, 0}, {0, 0, 0, far}, {0, 0, 0, far}, {far, far, 0, 0}});
  EXPECT_EQ(status({fast, Matrix({{1}, {-2}, {-1}, {1}}), Identity(4), one}, true), 9);
  // Hidden by rounding: an unstable mode that nothing moves, and an oscillation that nothing sees.
  const MTH_MATRIX turn = RandomOrthogonal(4, 8);
  const MTH_MATRIX moved = Product(turn, Matrix({{1}, {1}, {1}, {0}}));
  const int hidden = status({Turned(Diagonal({-1, -2, -3, 1}), turn), moved, Identity(4), one}, false);
  EXPECT_TRUE(hidden == 9 || hidden == 10) << hidden;
  MTH_MATRIX a = Diagonal({0, 0, -1, 2});
  a.Set(0, 1, 1.0);
  a.Set(1, 0, -1.0);
  const MTH_MATRIX all = Product(turn, Matrix({{1}, {2}, {1}, {1}}));
  EXPECT_EQ(status({Turned(a, turn), all, Turned(Diagonal({0, 0, 1, 1}), turn), one}, false), 9);
  // The order of the checks.
  EXPECT_EQ(status({MTH_MATRIX(), Identity(2, kFloat), Identity(3), one}, false), 1);
  EXPECT_EQ(status({Identity(2), Matrix({{1, kNaN}}, kFloat), Identity(3), one}, true), 14);
  EXPECT_EQ(status({Identity(2), Matrix({{1}, {kNaN}}), Identity(3), one}, false), 4);
  EXPECT_EQ(status({Identity(2), Matrix({{1}, {kNaN}}), Identity(2), one}, true), 5);
}

}  // namespace
}  // namespace mth_test
