#pragma once

#include <cstdint>

#include "mth/core/Mth_complex_number_internal.h"
#include "mth/decomposition/Mth_eigenproblem_internal.h"
#include "mth/decomposition/Mth_qz_internal.h"

namespace mth_internal {

/// Moves the eigenvalues with a negative real part to the top of a real Schur form, and their vectors along.
/// @return  how many they are; -1 when a swap would cost more than rounding.
std::int64_t MoveNegativeUp(SquareView t, SquareView qt);

/// A generalised Schur form made triangular in complex numbers, `size` squared of them each, row-major: swaps
/// of single eigenvalues never cost more than rounding. Row j of `zt` is column j of Z.
struct ComplexPencil {
  Complex* a;
  Complex* b;
  Complex* zt;
  std::int64_t size;
};

/// Writes the real form to the complex one and moves the eigenvalues of modulus below 1 to its top.
/// @param isSmall  work: size numbers.
/// @return         how many they are; -1 when the host gives up.
std::int64_t MoveSmallUp(const Pencil& pencil, const ComplexPencil& form, bool* isSmall);

}  // namespace mth_internal
