#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_eigenproblem_internal.h"

namespace mth_internal {

/// Elements times 2^exponent, brought to about 1 that way.
struct ScaledMatrix {
  double* elements;
  std::int64_t rows;
  std::int64_t columns;
  int exponent;
  bool isZero;
  double& At(std::int64_t row, std::int64_t column) const { return elements[row * columns + column]; }
};

/// A Riccati equation: the symmetric parts of Q and R.
struct RiccatiSystem {
  ScaledMatrix a;
  ScaledMatrix b;
  ScaledMatrix q;
  ScaledMatrix r;
  int* states;  // the units of the states, exponents of two, that the elements are told in
};

/// Tells a system whose elements differ by very many decades in units of states and inputs that make them
/// alike; sets `states` in any case.
/// @return  0, 1 without memory or 5 when the host gives up.
int RescaleWideSystem(RiccatiSystem* system);

/// What the solution is told in: X(i, j) in 2^(exponent + states[i] + states[j]).
struct RiccatiUnits {
  int exponent;
  int* states;
  int Of(std::int64_t i, std::int64_t j) const { return exponent + states[i] + states[j]; }
  /// Brings a solution told in these units to the unit 1.
  void ApplyTo(SquareView x) const;
};

/// G = B R^-1 Bt times 2^exponent.
struct RiccatiFeedback {
  SquareView elements;
  int exponent;
  bool IsZero() const;
};

/// A, G and Q of an equation in some units.
struct RiccatiTerms {
  SquareView a;
  SquareView g;
  SquareView q;
};

/// The exponent of the unknown that makes Q and G alike beside each other, or beside A where one of them is
/// 0.
int ExponentToBalance(const RiccatiSystem& system, const RiccatiFeedback& feedback);

/// Writes the terms in these units, the largest element about 1.
/// @return  the power of two that they have been divided by.
int WriteTerms(const RiccatiSystem& system, const RiccatiFeedback& feedback, const RiccatiUnits& units,
               const RiccatiTerms& terms);

/// Makes the rows and columns that belong to one state in the Hamiltonian matrix [A -G; -Q -At] alike, as far
/// as that is worth it, by the scaling diag(D, D^-1): D, of powers of two, multiplies `scales`.
void BalanceStates(const RiccatiTerms& terms, double* scales);

/// What InputExponent gives for an input that does nothing and costs nothing.
constexpr int kNoInput = std::numeric_limits<int>::min();

/// The exponent that brings column j of [B; R] to about 1: an element of R on the diagonal meets it twice.
/// @param timeExponent  the power of two that the equation has been divided by.
int InputExponent(const RiccatiSystem& system, std::int64_t j, const RiccatiUnits& units, int timeExponent);

/// Sets the states' units so that they balance the equation.
/// @param terms, scales  work.
void ChooseBalancedStates(const RiccatiSystem& system, const RiccatiFeedback& feedback,
                          const RiccatiTerms& terms, double* scales, RiccatiUnits* units);

/// What came of an attempt to solve an equation in some units.
struct RiccatiAttempt {
  int status = 0;
  bool isDoubtful = false;  // other units may do better
  bool isOnBoundary = false;
};

/// The logarithm to base 2 of a magnitude, to a tenth; minus infinity for 0.
double RoughLogarithm(double x);

/// What one state would cost by itself: its elements of A, of G = B R^-1 Bt and of Q as rough logarithms.
struct ScalarRiccati {
  ScalarRiccati(const RiccatiSystem& system, const RiccatiFeedback& feedback, std::int64_t state);
  double elementOfA;  // beyond the numbers, infinite or 0
  double a;
  double g;
  double q;
};

/// Sets the units in which each state's own solution is about 1.
/// @param logarithms  those of the states' own solutions; not finite for those that are not known.
/// @param exponent    what counts for them.
void ChooseUnits(const double* logarithms, int exponent, std::int64_t n, RiccatiUnits* units);

/// The stabilising solution of the continuous equation.
/// @param x  n x n doubles.
/// @return   a status of MTH_MATRIX: 0 or 10 beside a solution.
int SolveContinuousRiccati(const RiccatiSystem& system, SquareView x);

/// The same for the discrete equation.
int SolveDiscreteRiccati(const RiccatiSystem& system, SquareView x);

/// X = U21 U11^-1, its real part made symmetric, of the orthonormal basis [U11; U21] whose n columns are the
/// first n rows of `ut`, of 2 n real or complex numbers each.
/// @return  0, 9 (U11 is singular) or 10 (it nearly is), 1 without memory, 5 when the host gives up.
template <class Scalar>
int SolveSubspace(const Scalar* ut, SquareView x);

/// The solution x of an equation of one state, in closed form.
/// @return  0, or 9 when there is none that stabilises.
int SolveOneState(const RiccatiSystem& system, const RiccatiFeedback& feedback, bool isDiscrete, double* x);

/// The power of two that the size of the solution asks for: 0 when it is about 1, or 0 or not finite.
int ExponentToUnit(SquareView x);

/// result = |matrix|, element by element.
void TakeMagnitudes(SquareView matrix, SquareView result);

/// Whether an eigenvalue of the closed loop is on the boundary of stability, as far as rounding lets it be
/// told: the real part 0, or in the discrete equation the modulus 1.
/// @param margin    how far the form has the nearest eigenvalue from the boundary, beside its own size.
/// @param closed    the closed loop; destroyed.
/// @param feedback  G, by which a change D of the solution changes the closed loop by -G D.
/// @param doubts    the size of the terms of each element of the equation, of which rounding has left epsilon
///                  undecided: states told in other units are the same equation.
/// @return          nothing without memory.
std::optional<bool> IsOnBoundary(double margin, SquareView closed, SquareView feedback, SquareView doubts,
                                 bool isDiscrete);

/// The solution by doubling (Chu, Fan and Lin 2005), which is quick and does not mind terms of very different
/// sizes, where the closed loop is clearly stable.
/// @param terms  A, G and Q, which becomes the solution; the others are destroyed.
/// @return       0, 1 (no memory), 5 (given up) or 9 (it does not settle soon).
int SolveByDoubling(const RiccatiTerms& terms, bool isDiscrete);

/// Solves an equation by an ordered form, in units that balance it and, where that leaves a doubt, in the
/// states' own units.
/// @param other, ownUnits  work.
template <class Equation>
RiccatiAttempt SolveByOrderedForm(Equation& equation, SquareView x, RiccatiUnits* units, SquareView other,
                                  RiccatiUnits ownUnits) {
  const RiccatiAttempt first = equation.SolveInBalancedUnits(x, units);
  if (first.status == 1 || !first.isDoubtful) return first;
  ownUnits.exponent = units->exponent;
  const RiccatiAttempt second = equation.SolveInOwnUnits(other, &ownUnits);
  if (second.status == 1) return second;
  if (second.status != 0 || second.isDoubtful) return first;
  std::copy_n(other.elements, x.size * x.size, x.elements);
  *units = ownUnits;
  return second;
}

/// Solves an equation by doubling where that leaves no doubt, else by its ordered form.
/// @return  a status: 0 or 10 beside a solution.
template <class Equation>
int SolveByAttempts(Equation& equation, SquareView x) {
  const std::int64_t n = x.size;
  const WorkArray<double> other(n * n);
  const WorkArray<int> states(2 * n);
  if (!other || !states) return 1;
  RiccatiUnits units{0, states.Get()};
  RiccatiAttempt attempt = equation.SolveByDoubling(x, &units);
  if (attempt.status == 1) return 1;
  if (attempt.status != 0 || attempt.isDoubtful)
    attempt = SolveByOrderedForm(equation, x, &units, {other.Get(), n}, {0, states.Get() + n});
  if (attempt.status == 1) return 1;
  if (IsGivenUp(2 * n)) return 5;
  for (std::int64_t i = 0; i < n; ++i) units.states[i] += equation.States()[i];
  units.ApplyTo(x);
  if (attempt.status == 0 && attempt.isOnBoundary) return 9;
  return attempt.status == 0 && attempt.isDoubtful ? 10 : attempt.status;
}

/// One step of Newton's method: x gains what takes the residual away.
/// @return  the change beside x, at least 1 where it may be inaccurate; infinity, and x is left, when the
///          closed loop is not stable or there is no step; NaN without memory.
/// @param closed    the closed loop.
/// @param residual  what the equation leaves for x, symmetric; destroyed.
/// @param margin    receives how far the closed loop's eigenvalues are from the boundary of stability, in the
///                  continuous equation beside its size.
double Refine(SquareView x, SquareView closed, SquareView residual, bool isDiscrete, double* margin);

/// Whether a closed loop is so clearly stable that rounding cannot have moved it there from the boundary: the
/// more eigenvalues meet on it, the farther they go, by the higher a root of epsilon. `margin` and the other
/// arguments are as for IsOnBoundary, `doubt` the size of all terms; false also without memory.
bool IsClearlyStable(double margin, SquareView closed, SquareView feedback, double doubt, bool isDiscrete);

/// Powers of two for the rows and columns of a symmetric matrix that make their largest elements about 1.
/// @return  false when a row is all 0; its power is 1, and the others are found all the same.
bool Equilibrate(const double* r, std::int64_t m, double* scales);

/// g = B R^-1 Bt for a symmetric m x m matrix R and an n x m matrix B.
/// @return  0, 1 (no memory), 5 (given up) or 6 (R is singular).
int MakeFeedback(const double* r, const double* b, std::int64_t n, std::int64_t m, SquareView g);

}  // namespace mth_internal
