#pragma once

#include <cstdint>

namespace mth_internal {

/// Writes the transpose of a row-major rows x columns array to `target`.
template <class T>
void Transpose(const T* source, std::int64_t rows, std::int64_t columns, T* target);

}  // namespace mth_internal
