#pragma once

#include "mth/matrix/Mth_matrix.h"

namespace mth_internal {

constexpr const char* kNotInvertible = "Matrice non inversible";
constexpr const char* kUnstableSolution = "Risque d'instabilité de la solution";

/// MTH_MATRIX::SolveLinearSystemBySVD without its messages, whatever the system: for callers that show
/// nothing.
[[nodiscard]] MTH_MATRIX* SolveBySVDSilently(const MTH_MATRIX& a, const MTH_MATRIX& b);

}  // namespace mth_internal
