#include "mth/statistics/Mth_sort.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "mth/Mth_convert_internal.h"
#include "mth/Mth_new_array_internal.h"
#include "mth/statistics/Mth_sort_internal.h"
#include "mth/value/Mth_3d_double.h"

// Sorts of one array, ranks and the comparisons of points.

namespace mth_internal {
namespace {

template <class T, class IsBefore>
void ExchangeSort(int n, T* a, IsBefore isBefore) {
  for (int i = 0; i < n - 1; ++i) {
    for (int j = i + 1; j < n; ++j) {
      if (isBefore(a[j], a[i])) std::swap(a[i], a[j]);
    }
  }
}

bool HasZerosOfBothSigns(int n, const double* a) {
  const auto isZero = [](bool sign) {
    return [sign](double value) { return value == 0.0 && std::signbit(value) == sign; };
  };
  return std::any_of(a, a + n, isZero(false)) && std::any_of(a, a + n, isZero(true));
}

// The exchange sort never moves a NaN and sorts the other values among the places left; without zeros of both
// signs their order is the only one.
template <class IsBefore>
void SortLikeExchanges(int n, double* a, IsBefore isBefore) {
  const auto isNumber = [](double value) { return !std::isnan(value); };
  const auto numbers = NewArray<double>(n);
  if (numbers == nullptr || HasZerosOfBothSigns(n, a)) return ExchangeSort(n, a, isBefore);
  double* end = std::copy_if(a, a + n, numbers.get(), isNumber);
  std::sort(numbers.get(), end, isBefore);
  const double* next = numbers.get();
  for (int i = 0; i < n; ++i) {
    if (isNumber(a[i])) a[i] = *next++;
  }
}

template <class Coordinate>
int CompareInThousandths(void* a, void* b, Coordinate coordinate) {
  if (a == nullptr || b == nullptr) return 0;
  const auto& first = *static_cast<const MTH_3D_DOUBLE*>(a);
  const auto& second = *static_cast<const MTH_3D_DOUBLE*>(b);
  return TruncateToInt((coordinate(first) - coordinate(second)) * 1000.0);
}

}  // namespace
}  // namespace mth_internal

using namespace mth_internal;

void Mth_Sort(int n, int* a, bool ascending) {
  if (n < 2) return;
  if (ascending) {
    std::sort(a, a + n);
  } else {
    std::sort(a, a + n, std::greater<>());
  }
}

void Mth_Sort(int n, double* a, bool ascending) {
  if (n < 2) return;
  if (ascending) {
    SortLikeExchanges(n, a, std::less<>());
  } else {
    SortLikeExchanges(n, a, std::greater<>());
  }
}

void Mth_ReplaceByRank(int n, double* w, double* s) {
  *s = 0.0;
  for (int first = 0; first < n;) {
    int end = first + 1;
    while (end < n && w[end] == w[first]) ++end;
    // In double: neither the cube of a large group nor the sum of two indices fits an int.
    const double count = static_cast<double>(end) - first;
    std::fill(w + first, w + end, 0.5 * (static_cast<double>(first) + end - 1.0));
    *s += count * count * count - count;
    first = end;
  }
}

std::vector<double> Mth_SortVector(std::vector<double> v) {
  std::sort(v.rbegin(), v.rend(), AscendingNanLast());
  v.erase(std::unique(v.begin(), v.end()), v.end());
  return v;
}

int Mth_SortXCroissant(void* a, void* b) {
  return CompareInThousandths(a, b, [](const MTH_3D_DOUBLE& point) { return point.GetX(); });
}

int Mth_SortYCroissant(void* a, void* b) {
  return CompareInThousandths(a, b, [](const MTH_3D_DOUBLE& point) { return point.GetY(); });
}

int Mth_SortZCroissant(void* a, void* b) {
  return CompareInThousandths(a, b, [](const MTH_3D_DOUBLE& point) { return point.GetZ(); });
}

int Mth_SortDist(void* a, void* b) {
  if (a == nullptr || b == nullptr) return 0;
  return TruncateToInt(1000.0 * static_cast<MTH_3D_DOUBLE*>(a)->Distance(*static_cast<MTH_3D_DOUBLE*>(b)));
}
