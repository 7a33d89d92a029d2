#pragma once

#include <initializer_list>

#include "mth/decomposition/Mth_eigenproblem_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"
#include "mth/matrix/Mth_matrix.h"

// What the members of the control-theory family begin and end with.

namespace mth_internal {

/// An operand and the shape that it must have.
struct Operand {
  const MTH_MATRIX& matrix;
  int rows;
  int columns;
};

/// Looks at the operands in the family's order.
/// @return  0, 1 (one is unallocated), 14 (element types differ), 4 (a shape does not fit) or 5 (an element
///          is not finite).
int CheckSystem(std::initializer_list<Operand> operands);

/// The elements as doubles.
void CopyElements(const MTH_MATRIX& matrix, double* target);

/// The elements times the power of two that ScaleToUnit tells.
/// @return  the exponent of that power.
int CopyScaled(const MTH_MATRIX& matrix, double* target, double ordinary = kLargestOrdinary);

/// For the two matrices of a pencil, whose quotients are squared too.
constexpr double kLargestOrdinaryOfPencil = 0x1p200;

/// A new matrix of doubles times 2^exponent, each rounded once to the type; status 1 without memory.
MTH_MATRIX* NewRounded(const double* elements, int rows, int columns, int type, int exponent = 0);

/// The transpose of what is in `view`, as a new matrix.
MTH_MATRIX* NewTransposed(SquareView view, int type);

}  // namespace mth_internal
