#pragma once

#include <cstdint>

namespace mth_internal {

/// Solves L U X = X for size x columns doubles, L and U in one row-major matrix as LU leaves them.
/// @tparam T           the element type that each unknown is rounded to when it is final.
/// @param  isIdentity  whether X starts as the identity, whose zeros are then skipped: for finite factors.
/// @return             false without memory.
template <class T, class Element>
bool SolveFactoredRows(const Element* lu, std::int64_t size, double* x, std::int64_t columns,
                       bool isIdentity);

}  // namespace mth_internal
