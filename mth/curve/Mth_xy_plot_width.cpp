#include <algorithm>
#include <cmath>
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

// The same start of a search: of a NaN there is one kind.
bool IsSameStart(double a, double b) {
  return a == b || (std::isnan(a) && std::isnan(b));
}

// Many searches of one curve, each of which goes on to another one only when its upper point is at most 4
// points ahead or there is none, which a second search from point 0 would meet again: so few of them look far
// ahead. Their levels are near each other as a rule, and so are the points above them: each is looked for
// from the one before.
class ChainedSearch {
 public:
  ChainedSearch(const MTH_XY_PLOT& curve, double a, double b)
      : curve_(curve),
        count_(curve.GetNumberOfPoints()),
        firstStart_(a),
        otherEnd_(b),
        highest_(count_),
        searchFrom_(count_),
        searches_(std::int64_t{count_} + 1) {
    if (!IsAllocated()) return;
    double highest = -std::numeric_limits<double>::infinity();
    for (int i = 0; i < count_; ++i) {
      const double y = curve.GetPointY(i);
      highest = y > highest ? y : highest;
      highest_[i] = highest;
      searchFrom_[i] = kNone;
    }
  }

  bool IsAllocated() const { return highest_ && searchFrom_ && searches_; }
  const HalfMaximum& operator[](int search) const { return searches_[search]; }

  // Each search but the first starts from the y of another point, so they end.
  // @return the last of the searches, none of which starts as an earlier one did.
  int Run(const HalfMaximum& first) {
    int last = 0;
    searches_[0] = first;
    while (NeedsSecondSearch(searches_[last])) {
      const int point = searches_[last].upper;
      const int former = searchFrom_[point];
      if (former != kNone) {
        // What follows a start follows from its value alone. When the point before this one was another one
        // of the same y, its search was a repetition already.
        return IsSameStart(Start(last), Start(former - 1)) ? last - 1 : last;
      }
      searchFrom_[point] = ++last;
      searches_[last] = Find(Level(Start(last), otherEnd_));
    }
    return last;
  }

 private:
  static constexpr int kNone = -1;

  double Start(int search) const {
    return search == 0 ? firstStart_ : double{curve_.GetPointY(searches_[search - 1].upper)};
  }

  // The number of points, from the first one on, none of which is above the level; all for a NaN.
  int CountUpTo(double level) {
    const auto isAbove = [&](std::int64_t i) { return highest_[i] > level; };
    std::int64_t below = -1;
    std::int64_t above = count_;
    const std::int64_t near = std::min(lower_, count_ - 1);
    if (isAbove(near)) {
      above = near;
      std::int64_t step = 1;
      for (; above - step >= 0 && isAbove(above - step); step *= 2) above -= step;
      below = std::max<std::int64_t>(above - step, below);
    } else {
      below = near;
      std::int64_t step = 1;
      for (; below + step < count_ && !isAbove(below + step); step *= 2) below += step;
      above = std::min<std::int64_t>(below + step, above);
    }
    const double* const highest = highest_.Get();
    const double* const found = std::upper_bound(highest + below + 1, highest + above, level);
    return lower_ = static_cast<int>(found - highest);
  }

  HalfMaximum Find(double level) {
    const int upTo = CountUpTo(level);
    const int lower = upTo < count_ ? upTo : 0;
    return {lower, FirstBelow(curve_, lower, level)};
  }

  const MTH_XY_PLOT& curve_;
  int count_;
  double firstStart_;
  double otherEnd_;
  WorkArray<double> highest_;  // ordinate up to each point
  WorkArray<int> searchFrom_;  // the search that started from each point
  WorkArray<HalfMaximum> searches_;
  int lower_ = 0;  // of the last search
};

// The innermost search whose width is not 0, or the first one. @return false without memory.
bool FindInnermost(const MTH_XY_PLOT& curve, double a, double b, HalfMaximum& found) {
  found = FindHalfMaximum(curve, Level(a, b));
  if (!NeedsSecondSearch(found)) return true;
  ChainedSearch search(curve, a, b);
  if (!search.IsAllocated()) return false;
  const auto isWidthless = [&](const HalfMaximum& limits) {
    return static_cast<double>(curve.GetPointX(limits.upper)) - curve.GetPointX(limits.lower) == 0.0;
  };
  int innermost = search.Run(found);
  while (innermost > 0 && isWidthless(search[innermost])) --innermost;
  found = search[innermost];
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
