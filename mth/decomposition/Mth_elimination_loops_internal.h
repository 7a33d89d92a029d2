// Gaussian elimination on row-major double work copies, compiled per instruction set.
//
// Every element is a running difference over ascending k (descending in back substitution). That is what the
// plain column-by-column loop of Crout computes, so blocks and panels give its bits.
//
// Each group of includes is made of those before it.

// clang-format off
#include "mth/decomposition/Mth_subtract_product_loops_internal.h"
#include "mth/matrix/Mth_transpose_area_loops_internal.h"

#include "mth/decomposition/Mth_row_scales_loops_internal.h"

#include "mth/decomposition/Mth_panel_loops_internal.h"
#include "mth/decomposition/Mth_small_lu_loops_internal.h"
#include "mth/decomposition/Mth_triangle_loops_internal.h"
// clang-format on

// Factors columns [first, first + width) of the rows from `first` on, by halves: the first is factored and
// eliminated from the second at once.
// @return  false when the host gives the run up.
template <class T>
bool FactorByHalves(const LongRun& run, PanelFactorization<T>& panels, double* a, std::int64_t size,
                    std::int64_t first, std::int64_t width, double* scratch) {
  if (width <= kPanelColumns) {
    panels.Factor(first, width);
    return true;
  }
  if (run.IsGivenUp()) return false;
  const std::int64_t half = HalfOf(width);
  double* corner = a + first * (size + 1);
  if (!FactorByHalves(run, panels, a, size, first, half, scratch)) return false;
  EliminateRows<T, double, true>({corner, size, 1}, corner + half, size, half, size - first - half,
                                 width - half, scratch);
  return FactorByHalves(run, panels, a, size, first + half, width - half, scratch);
}

// LU of a square work copy in place: U on and above the diagonal, the multipliers below. T is the type that
// each element is rounded to when it is final.
// @return  false when the host gives up.
template <class T>
bool FactorInPlace(double* a, std::int64_t size, double* scales, int* permutation, double* scratch) {
  PanelFactorization<T> panels(a, size, scales, permutation, scratch);
  const LongRun run(size, size, size);
  for (std::int64_t j = 0; j < size; j += kBlockDepth) {
    const std::int64_t width = std::min(kBlockDepth, size - j);
    const std::int64_t rest = size - j - width;
    double* corner = a + j * (size + 1);
    if (!FactorByHalves(run, panels, a, size, j, width, scratch) ||
        !EliminateSlices<T, double, true>(run, {corner, size, 1}, corner + width, size, width, rest, rest,
                                          scratch))
      return false;
  }
  return true;
}
