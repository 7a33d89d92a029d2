#pragma once

#include "mth/matrix/Mth_matrix.h"
#include "mth/statistics/Mth_sort_internal.h"

namespace mth_internal {

/// The median of `count` sorted values, at least one: the mean of the two middle ones for an even count.
/// @param at  the value at a place of the order.
template <class At>
double MedianOfSorted(int count, At at) {
  const double middle = at(count / 2);
  return count % 2 != 0 ? middle : (at(count / 2 - 1) + middle) * 0.5;
}

/// Mth_Median of a matrix with rows and columns, for callers whose results depend on whether there is memory.
/// @param isCounted  for each element, row after row, whether it counts: columns without any are passed over,
///                   and the median of none is 0. Null: all count.
/// @return           false, with the matrix as it was, without memory.
bool MedianOfMagnitudes(MTH_MATRIX& m, double& median, const bool* isCounted = nullptr);

/// Mth_CorrelationRatioOfSpearman, whose two sorts have another limit of waiting parts.
void CorrelateRanks(const double* x, const double* y, int n, double* d, double* zd, double* probd, double* rs,
                    double* probrs, int pendingPartsMax = kPendingPartsMax);

}  // namespace mth_internal
