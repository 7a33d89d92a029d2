#include "mth/geometry/Mth_point_sets.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>

#include "mth/geometry/Mth_matrix_chgref.h"
#include "mth/geometry/Mth_point_grid_internal.h"
#include "mth/geometry/Mth_rigid_map_internal.h"

namespace mth_internal {
namespace {

constexpr double kNoDistance = -1.0;

// A copy of the caller's points.
class PointSet {
 public:
  template <class At>
  PointSet(At at, int count) : count_(count), points_(count) {
    for (int i = 0; points_ && i < count; ++i) points_[i] = ToVector(at(i));
  }
  bool IsUsable() const { return static_cast<bool>(points_); }
  int GetCount() const { return count_; }
  const Vector3* Get() const { return points_.Get(); }
  const Vector3& operator[](int i) const { return points_[i]; }

  // Whether all squares of distances are finite.
  bool IsModerate() const {
    constexpr double kLargest = 1e150;
    return std::all_of(Get(), Get() + count_,
                       [](const Vector3& p) { return IsFinite(p) && LargestCoordinate(p) < kLargest; });
  }

 private:
  int count_;
  WorkArray<Vector3> points_;
};

// The squares of distances, all compared with all: how infinities and NaN are compared is part of the
// contract.
double FindNearestSquare(const Vector3& p, const PointSet& set) {
  double nearest = SquaredDistance(p, set[0]);
  for (int i = 1; i < set.GetCount(); ++i) {
    const double square = SquaredDistance(p, set[i]);
    if (square < nearest) nearest = square;
  }
  return nearest;
}

double FindDirectedSquare(const PointSet& from, const PointSet& to) {
  double largest = FindNearestSquare(from[0], to);
  for (int i = 1; i < from.GetCount(); ++i) {
    const double square = FindNearestSquare(from[i], to);
    if (square > largest) largest = square;
  }
  return largest;
}

double FindSquareByBruteForce(const PointSet& a, const PointSet& b) {
  const double forth = FindDirectedSquare(a, b);
  const double back = FindDirectedSquare(b, a);
  return forth > back ? forth : back;
}

// The larger of `largest` and the directed squared distance. A point is done with as soon as some neighbour
// is no farther than that; a sample first finds a value that most points stay below.
void RaiseToDirectedSquare(const PointSet& from, PointGrid& to, double& largest) {
  constexpr int kSampleStep = 61;
  for (const int step : {kSampleStep, 1}) {
    for (int i = 0; i < from.GetCount(); i += step) {
      largest = std::max(largest, to.FindNearestSquare(from[i], largest));
    }
  }
}

template <class AtA, class AtB>
double FindHausdorffDistance(AtA atA, AtB atB, int na, int nb) {
  if (na <= 0 && nb <= 0) return 0.0;
  if (na <= 0 || nb <= 0) return kNoDistance;
  const PointSet a(atA, na);
  const PointSet b(atB, nb);
  if (!a.IsUsable() || !b.IsUsable()) return kNoDistance;
  if (!a.IsModerate() || !b.IsModerate()) return std::sqrt(FindSquareByBruteForce(a, b));
  PointGrid gridA(a.Get(), na);
  PointGrid gridB(b.Get(), nb);
  if (!gridA.IsUsable() || !gridB.IsUsable()) return kNoDistance;
  double largest = 0.0;
  RaiseToDirectedSquare(a, gridB, largest);
  RaiseToDirectedSquare(b, gridA, largest);
  return std::sqrt(largest);
}

bool HasNullEntry(const MTH_POINTER_LIST<MTH_3D_DOUBLE>& list) {
  return std::find(list.begin(), list.end(), nullptr) != list.end();
}

}  // namespace
}  // namespace mth_internal

double Mth_Hausdorff_Distance(MTH_3D_DOUBLE* a, MTH_3D_DOUBLE* b, int na, int nb) {
  if ((a == nullptr && na > 0) || (b == nullptr && nb > 0)) return mth_internal::kNoDistance;
  return mth_internal::FindHausdorffDistance([a](int i) { return a[i]; }, [b](int i) { return b[i]; }, na,
                                             nb);
}

double Mth_Hausdorff_Distance(MTH_POINTER_LIST<MTH_3D_DOUBLE>* a, MTH_POINTER_LIST<MTH_3D_DOUBLE>* b) {
  using namespace mth_internal;
  if (a == nullptr || b == nullptr || HasNullEntry(*a) || HasNullEntry(*b)) return kNoDistance;
  return FindHausdorffDistance([a](int i) { return *a->Get(i); }, [b](int i) { return *b->Get(i); },
                               a->GetCount(), b->GetCount());
}

MTH_3D_DOUBLE* Mth_ApplyTransformationToSet(MTH_3D_DOUBLE* points, int n, double* rotation,
                                            double* translation) {
  if (points == nullptr || rotation == nullptr || translation == nullptr || n < 0) return nullptr;
  MTH_MATRIX_CHGREF transformation(rotation, translation);
  transformation.ComputeFromRotTrans();
  if (!transformation.IsAllocated()) return nullptr;
  std::unique_ptr<MTH_3D_DOUBLE[]> mapped(new (std::nothrow) MTH_3D_DOUBLE[static_cast<std::size_t>(n)]);
  if (mapped == nullptr) return nullptr;
  std::transform(points, points + n, mapped.get(), mth_internal::ReadRigidMap(transformation));
  return mapped.release();
}
