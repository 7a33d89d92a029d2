#pragma once

#include <cmath>

namespace mth_internal {

/// Parts that may wait to be sorted at one time.
inline constexpr int kPendingPartsMax = 24;

/// The companion sort of Mth_Sort, for T double or float, with another limit of waiting parts up to
/// kPendingPartsMax.
template <class T>
bool SortWithCompanions(int n, T* keys, T* companions, int pendingPartsMax = kPendingPartsMax);

extern template bool SortWithCompanions(int, double*, double*, int);
extern template bool SortWithCompanions(int, float*, float*, int);

/// Ascending, with every NaN behind the numbers.
struct AscendingNanLast {
  bool operator()(double a, double b) const { return a < b || (std::isnan(b) && !std::isnan(a)); }
};

}  // namespace mth_internal
