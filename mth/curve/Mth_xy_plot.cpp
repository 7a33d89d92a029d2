#include "mth/curve/Mth_xy_plot.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>

#include "mth/core/Mth_work_array_internal.h"

// Points of the curve, extrema and the width at half maximum.

MTH_XY_PLOT::MTH_XY_PLOT(MTH_XY_PLOT* other) {
  if (other != nullptr) *this = *other;
}

MTH_XY_PLOT::MTH_XY_PLOT(const MTH_XY_PLOT& other) {
  *this = other;
}

MTH_XY_PLOT::~MTH_XY_PLOT() {
  ClearData();
}

MTH_XY_PLOT& MTH_XY_PLOT::operator=(const MTH_XY_PLOT& other) {
  if (this == &other) return *this;
  ClearData();
  lowerLimit_ = 0.0;
  upperLimit_ = 0.0;
  for (const MTH_2D_FLOAT* point : other.points_) AddPoint(point->GetX(), point->GetY());
  return *this;
}

bool MTH_XY_PLOT::Append(std::unique_ptr<MTH_2D_FLOAT> point) {
  if (point == nullptr || points_.Add(point.get()) < 0) return false;
  point.release();  // owned through the list from now on
  return true;
}

bool MTH_XY_PLOT::AddPoint(MTH_2D_FLOAT* point) {
  return point != nullptr && AddPoint(point->GetX(), point->GetY());
}

bool MTH_XY_PLOT::AddPoint(float x, float y) {
  return Append(std::unique_ptr<MTH_2D_FLOAT>(new (std::nothrow) MTH_2D_FLOAT(x, y)));
}

bool MTH_XY_PLOT::AddPoint(int index, float x, float y) {
  return index == GetNumberOfPoints() && AddPoint(x, y);
}

bool MTH_XY_PLOT::AddPoint(int index, MTH_2D_FLOAT* point) {
  return index == GetNumberOfPoints() && AddPoint(point);
}

bool MTH_XY_PLOT::DeletePoint(int /*index*/) {
  return false;
}

bool MTH_XY_PLOT::ClearData() {
  for (const MTH_2D_FLOAT* point : points_) delete point;
  points_.Clear();
  return true;
}

int MTH_XY_PLOT::GetNumberOfPoints() const {
  return points_.GetCount();
}

bool MTH_XY_PLOT::GetPoint(int i, MTH_2D_FLOAT& p) const {
  const MTH_2D_FLOAT* point = points_.Get(i);
  p = point != nullptr ? *point : MTH_2D_FLOAT();
  return point != nullptr;
}

float MTH_XY_PLOT::GetPointX(int i) const {
  const MTH_2D_FLOAT* point = points_.Get(i);
  return point != nullptr ? point->GetX() : 0.0f;
}

float MTH_XY_PLOT::GetPointY(int i) const {
  const MTH_2D_FLOAT* point = points_.Get(i);
  return point != nullptr ? point->GetY() : 0.0f;
}

double MTH_XY_PLOT::GetYMax() const {
  return GetPointY(GetYMaxIndex());
}

double MTH_XY_PLOT::GetYMin() const {
  float smallest = GetPointY(0);
  for (const MTH_2D_FLOAT* point : points_) smallest = point->GetY() < smallest ? point->GetY() : smallest;
  return smallest;
}

int MTH_XY_PLOT::GetXMax() const {
  return GetYMaxIndex();
}

int MTH_XY_PLOT::GetYMaxIndex() const {
  int index = 0;
  for (int i = 1; i < GetNumberOfPoints(); ++i) {
    if (GetPointY(i) >= GetPointY(index)) index = i;
  }
  return index;
}

namespace {

// One search for the width: its first argument and the indices of the two points that it found.
struct HalfMaximum {
  double start;
  int lower;
  int upper;
};

template <class Predicate>
int FirstIndex(const MTH_XY_PLOT& curve, int start, Predicate predicate) {
  for (int i = start; i < curve.GetNumberOfPoints(); ++i) {
    if (predicate(curve.GetPointY(i))) return i;
  }
  return 0;
}

HalfMaximum FindHalfMaximum(const MTH_XY_PLOT& curve, double a, double b) {
  const double level = std::trunc((a + b) * 0.5);
  const int lower = FirstIndex(curve, 0, [=](double y) { return y > level; });
  return {a, lower, FirstIndex(curve, lower, [=](double y) { return y < level; })};
}

bool NeedsSecondSearch(const HalfMaximum& found) {
  const int span = found.upper - found.lower;
  return span < 5 && span != 1;
}

bool HasStartedFrom(const HalfMaximum* searches, int count, double start) {
  return std::any_of(searches, searches + count, [=](const HalfMaximum& search) {
    return search.start == start || (std::isnan(search.start) && std::isnan(start));
  });
}

}  // namespace

double MTH_XY_PLOT::GetFWHM(double a, double b) {
  lowerLimit_ = 0.0;
  upperLimit_ = 0.0;
  const int count = GetNumberOfPoints();
  const mth_internal::WorkArray<HalfMaximum> searches(std::int64_t{count} + 1);
  if (count == 0 || !searches) return 0.0;

  // Every search but the first starts from another y of the curve, so they end.
  int searchesCount = 0;
  for (;;) {
    const HalfMaximum found = FindHalfMaximum(*this, a, b);
    searches[searchesCount++] = found;
    a = GetPointY(found.upper);
    if (!NeedsSecondSearch(found) || HasStartedFrom(searches.Get(), searchesCount, a)) break;
  }
  // The innermost width that is not 0 is the result.
  double width = 0.0;
  while (width == 0.0 && searchesCount > 0) {
    const HalfMaximum found = searches[--searchesCount];
    lowerLimit_ = GetPointX(found.lower);
    upperLimit_ = GetPointX(found.upper);
    width = upperLimit_ - lowerLimit_;
  }
  return width;
}
