#pragma once

#include "mth/decomposition/Mth_eigenproblem_internal.h"

namespace mth_internal {

/// Times the order: the solution of an equation whose reciprocal condition is smaller may be inaccurate.
constexpr double kDoubtfulCondition = 1e-15;

/// Both Lyapunov equations: A X + X At + Q = 0 and A X At - identity X + Q = 0.
struct LyapunovKind {
  bool isDiscrete;
  double identity;  // 1, or less where A has been scaled down by more than 1
};

/// Solves an equation of either kind in doubles.
/// @param a            elements of a size whose squares are in range; destroyed.
/// @param x            Q on entry, the solution afterwards; exactly symmetric where Q is.
/// @param isSymmetric  whether Q is.
/// @return             0, 1 (no memory), 5 (no convergence), 9 (no unique solution) or 10 (the solution may
///                     be inaccurate).
int SolveLyapunovEquation(SquareView a, SquareView x, bool isSymmetric, LyapunovKind kind);

bool IsSymmetric(SquareView a);

/// The Frobenius norm of elements of any finite size.
double NormOf(SquareView a);

/// a becomes half of a + at.
void Symmetrise(SquareView a);

}  // namespace mth_internal
