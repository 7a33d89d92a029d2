// Transpose of a row-major array, compiled per instruction set.

#include "mth/core/Mth_lanes_internal.h"
#include "mth/matrix/Mth_transpose_area_loops_internal.h"

template <class T>
void TransposeArray(const T* source, std::int64_t rows, std::int64_t columns, T* target) {
  TransposeArea(source, columns, rows, columns, target, rows);
}
