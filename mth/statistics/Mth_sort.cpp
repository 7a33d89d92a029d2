#include "mth/statistics/Mth_sort.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "mth/core/Mth_convert_internal.h"
#include "mth/core/Mth_work_array_internal.h"
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

// Lists the zeros in the order in which the exchange sort leaves them. Only zeros of both signs show it.
//
// A value that belongs before the zeros travels to the front by exchanges with larger ones. Of the zeros on
// its way it meets the first one alone: that zero takes the place where the value stood, behind the other
// zeros, as in 0, -0, -1: the exchange of 0 with -1 leaves -1, -0, 0. So each such value turns the first of
// the zeros before it into the last of them; values that belong behind the zeros change nothing in their
// order.
template <class IsBefore>
const double* OrderZeros(int n, const double* a, double* zeros, IsBefore isBefore) {
  const double* first = zeros;
  double* end = zeros;
  for (int i = 0; i < n; ++i) {
    if (a[i] == 0.0) {
      *end++ = a[i];
    } else if (isBefore(a[i], 0.0) && first != end) {
      *end++ = *first++;
    }
  }
  return first;
}

// The exchange sort never moves a NaN and sorts the other values among the places left.
template <class IsBefore>
void SortLikeExchanges(int n, double* a, IsBefore isBefore) {
  const auto isNumber = [](double value) { return !std::isnan(value); };
  const WorkArray<double> numbers(n);
  const WorkArray<double> zeros(n);
  if (!numbers || !zeros) return ExchangeSort(n, a, isBefore);
  const double* nextZero = OrderZeros(n, a, zeros.Get(), isBefore);
  double* end = std::copy_if(a, a + n, numbers.Get(), isNumber);
  std::sort(numbers.Get(), end, isBefore);
  const double* next = numbers.Get();
  for (int i = 0; i < n; ++i) {
    if (!isNumber(a[i])) continue;
    a[i] = *next == 0.0 ? *nextZero++ : *next;
    ++next;
  }
}

template <class Coordinate>
int CompareTruncatedThousandths(void* a, void* b, Coordinate coordinate) {
  if (a == nullptr || b == nullptr) return 0;
  const auto& first = *static_cast<const MTH_3D_DOUBLE*>(a);
  const auto& second = *static_cast<const MTH_3D_DOUBLE*>(b);
  return TruncateToInt((coordinate(first) - coordinate(second)) * 1000.0);
}

}  // namespace
}  // namespace mth_internal

using namespace mth_internal;

void Mth_Sort(int n, int* a, bool ascending) {
  if (n < 2 || a == nullptr) return;
  if (ascending) {
    std::sort(a, a + n);
  } else {
    std::sort(a, a + n, std::greater<>());
  }
}

void Mth_Sort(int n, double* a, bool ascending) {
  if (n < 2 || a == nullptr) return;
  if (ascending) {
    SortLikeExchanges(n, a, std::less<>());
  } else {
    SortLikeExchanges(n, a, std::greater<>());
  }
}

void Mth_ReplaceByRank(int n, double* w, double* s) {
  if (s == nullptr) return;
  double ties = 0.0;
  if (w == nullptr) n = 0;
  for (int first = 0; first < n;) {
    int end = first + 1;
    while (end < n && w[end] == w[first]) ++end;
    // In double: neither the cube of a large group nor the sum of two indices fits an int.
    const double count = static_cast<double>(end) - first;
    std::fill(w + first, w + end, 0.5 * (static_cast<double>(first) + end - 1.0));
    ties += count * count * count - count;
    first = end;
  }
  *s = ties;
}

std::vector<double> Mth_SortVector(std::vector<double> v) {
  const auto nan = std::partition(v.begin(), v.end(), [](double value) { return !std::isnan(value); });
  Mth_Sort(static_cast<int>(nan - v.begin()), v.data(), true);  // fixes which of the zeros comes last
  std::reverse(v.begin(), v.end());
  v.erase(std::unique(v.begin(), v.end()), v.end());
  return v;
}

int Mth_SortXCroissant(void* a, void* b) {
  return CompareTruncatedThousandths(a, b, [](const MTH_3D_DOUBLE& point) { return point.GetX(); });
}

int Mth_SortYCroissant(void* a, void* b) {
  return CompareTruncatedThousandths(a, b, [](const MTH_3D_DOUBLE& point) { return point.GetY(); });
}

int Mth_SortZCroissant(void* a, void* b) {
  return CompareTruncatedThousandths(a, b, [](const MTH_3D_DOUBLE& point) { return point.GetZ(); });
}

int Mth_SortDist(void* a, void* b) {
  if (a == nullptr || b == nullptr) return 0;
  return TruncateToInt(1000.0 * static_cast<MTH_3D_DOUBLE*>(a)->Distance(*static_cast<MTH_3D_DOUBLE*>(b)));
}
