#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/curve/Mth_xy_plot.h"

// The width at half maximum: searches for the points beside a peak, each of which may ask for another one.

namespace mth_internal {
namespace {

// The points that one search found.
struct HalfMaximum {
  int lower;
  int upper;
};

double Level(double a, double b) {
  return std::trunc((a + b) * 0.5);
}

template <class Predicate>
int FirstIndex(const MTH_XY_PLOT& curve, int start, Predicate predicate) {
  for (int i = start; i < curve.GetNumberOfPoints(); ++i) {
    if (predicate(curve.GetPointY(i))) return i;
  }
  return 0;
}

int FirstBelow(const MTH_XY_PLOT& curve, int start, double level) {
  return FirstIndex(curve, start, [=](double y) { return y < level; });
}

HalfMaximum FindHalfMaximum(const MTH_XY_PLOT& curve, double level) {
  const int lower = FirstIndex(curve, 0, [=](double y) { return y > level; });
  return {lower, FirstBelow(curve, lower, level)};
}

bool NeedsSecondSearch(const HalfMaximum& found) {
  const int span = found.upper - found.lower;
  return span < 5 && span != 1;
}

bool IsBelow(double a, double b) {
  return a < b || (std::isnan(b) && !std::isnan(a));  // NaN behind the numbers
}

// Many searches of one curve in less than linear time each. A search goes on to another one only when its
// upper point is at most 4 points ahead or there is none, which a second search from point 0 would meet
// again: so few of them look far ahead.
class ChainedSearch {
 public:
  explicit ChainedSearch(const MTH_XY_PLOT& curve)
      : curve_(curve),
        count_(curve.GetNumberOfPoints()),
        highest_(count_),
        starts_(count_),
        isTaken_(count_) {
    if (!IsAllocated()) return;
    double highest = -std::numeric_limits<double>::infinity();
    for (int i = 0; i < count_; ++i) {
      const double y = curve.GetPointY(i);
      highest = y > highest ? y : highest;
      highest_[i] = highest;
      starts_[i] = y;
      isTaken_[i] = false;
    }
    std::sort(starts_.Get(), starts_.Get() + count_, IsBelow);
  }

  bool IsAllocated() const { return highest_ && starts_ && isTaken_; }

  HalfMaximum Find(double level) const {
    const double* const begin = highest_.Get();
    const double* const end = begin + count_;
    const double* const above = std::upper_bound(begin, end, level);  // the end for a NaN
    const int lower = above != end ? static_cast<int>(above - begin) : 0;
    return {lower, FirstBelow(curve_, lower, level)};
  }

  // @return false for a start that was taken before. One that is no ordinate of the curve never comes back.
  bool TakeStart(double start) {
    const double* const begin = starts_.Get();
    const double* const end = begin + count_;
    const double* const place = std::lower_bound(begin, end, start, IsBelow);
    if (place == end || IsBelow(start, *place)) return true;
    bool& isTaken = isTaken_[place - begin];
    const bool isNew = !isTaken;
    isTaken = true;
    return isNew;
  }

 private:
  const MTH_XY_PLOT& curve_;
  int count_;
  WorkArray<double> highest_;  // ordinate up to each point
  WorkArray<double> starts_;   // the ordinates in ascending order
  WorkArray<bool> isTaken_;
};

// The innermost search whose width is not 0, or the first one. @return false without memory.
bool FindInnermost(const MTH_XY_PLOT& curve, double a, double b, HalfMaximum& found) {
  found = FindHalfMaximum(curve, Level(a, b));
  if (!NeedsSecondSearch(found)) return true;
  ChainedSearch search(curve);
  // Every search but the first starts from another y of the curve, so they end.
  const WorkArray<HalfMaximum> searches(std::int64_t{curve.GetNumberOfPoints()} + 1);
  if (!search.IsAllocated() || !searches) return false;
  int last = 0;
  searches[0] = found;
  search.TakeStart(a);
  while (NeedsSecondSearch(searches[last])) {
    const double start = curve.GetPointY(searches[last].upper);
    if (!search.TakeStart(start)) break;
    searches[++last] = search.Find(Level(start, b));
  }
  const auto isWidthless = [&](const HalfMaximum& limits) {
    return static_cast<double>(curve.GetPointX(limits.upper)) - curve.GetPointX(limits.lower) == 0.0;
  };
  while (last > 0 && isWidthless(searches[last])) --last;
  found = searches[last];
  return true;
}

}  // namespace
}  // namespace mth_internal

double MTH_XY_PLOT::GetFWHM(double a, double b) {
  lowerLimit_ = 0.0;
  upperLimit_ = 0.0;
  mth_internal::HalfMaximum found;
  if (GetNumberOfPoints() == 0 || !mth_internal::FindInnermost(*this, a, b, found)) return 0.0;
  lowerLimit_ = GetPointX(found.lower);
  upperLimit_ = GetPointX(found.upper);
  return upperLimit_ - lowerLimit_;
}
