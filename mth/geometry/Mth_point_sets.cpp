#include "mth/geometry/Mth_point_sets.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <optional>

#include "mth/geometry/Mth_matrix_chgref.h"
#include "mth/geometry/Mth_point_grid_internal.h"
#include "mth/geometry/Mth_point_tree_internal.h"
#include "mth/geometry/Mth_rigid_map_internal.h"

namespace mth_internal {
namespace {

constexpr double kNoDistance = -1.0;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// A copy of the caller's points: the finite ones in front, and the one that the scans start from.
class PointSet {
 public:
  template <class At>
  PointSet(At at, int count) : count_(count), points_(count), start_(ToVector(at(0))) {
    if (!points_) return;
    for (int i = 0; i < count; ++i) points_[i] = ToVector(at(i));
    finiteCount_ =
        static_cast<int>(std::partition(points_.Get(), points_.Get() + count, IsFinite) - points_.Get());
  }
  bool IsUsable() const { return static_cast<bool>(points_); }
  Vector3* GetFinite() const { return points_.Get(); }
  int GetFiniteCount() const { return finiteCount_; }
  const Vector3& GetStart() const { return start_; }

  // Whether a point that is not finite has a distance from p that is a number: it is infinite then.
  bool HasInfiniteDistanceFrom(const Vector3& p) const {
    return std::any_of(points_.Get() + finiteCount_, points_.Get() + count_,
                       [&p](const Vector3& q) { return !std::isnan(SquaredDistance(q, p)); });
  }

 private:
  int count_;
  int finiteCount_ = 0;
  WorkArray<Vector3> points_;
  Vector3 start_;
};

// A set with the tree of its finite points, once that is wanted.
struct SearchedSet {
  PointSet points;
  std::optional<PointTree> tree = std::nullopt;

  // Null without memory.
  const PointTree* GetTree() {
    if (!tree) tree.emplace(points.GetFinite(), points.GetFiniteCount());
    return tree->IsUsable() ? &*tree : nullptr;
  }
};

bool IsSame(const Vector3& a, const Vector3& b) {
  return a.x == b.x && a.y == b.y && a.z == b.z;
}

// Raises `largest` to the directed squared distance, where that is more; false when the grid gives up. A
// point is done with as soon as some neighbour is no farther than `largest`; a sample first finds a value
// that most points stay below.
bool RaiseByGrid(const PointSet& from, PointGrid& to, double& largest, CancelPoll& poll) {
  constexpr int kSampleStep = 61;
  for (const int step : {kSampleStep, 1}) {
    for (int i = 0; i < from.GetFiniteCount(); i += step) {
      if (poll.IsCancelled()) return true;
      const Vector3& point = from.GetFinite()[i];
      if (i >= step && IsSame(point, from.GetFinite()[i - step])) continue;  // sets repeat points
      double square = 0.0;
      if (!to.FindNearestSquare(point, largest, square)) return false;
      largest = std::max(largest, square);
    }
  }
  return true;
}

// The same for the finite points of both sets, by the grid or, when it gives up, the trees; false without
// memory.
bool RaiseToFinite(SearchedSet& from, SearchedSet& to, double& largest, CancelPoll& poll) {
  if (!from.tree || !to.tree) {
    PointGrid grid(to.points.GetFinite(), to.points.GetFiniteCount());
    if (!grid.IsUsable()) return false;
    if (RaiseByGrid(from.points, grid, largest, poll)) return true;
  }
  const PointTree* const fromTree = from.GetTree();
  const PointTree* const toTree = to.GetTree();
  if (fromTree == nullptr || toTree == nullptr) return false;
  largest = FindDirectedSquare(*fromTree, *toTree, largest, poll);
  return true;
}

// Raises `largest` to the directed squared distance, where that is more, or makes it the NaN that the scans
// keep; false without memory and when the run is cancelled. A scan of distances starts with the other set's
// first point, and keeps a NaN there; later ones are passed over. So a point that is not finite is infinitely
// far from all others, or not a number from the first one on.
bool Raise(SearchedSet& from, SearchedSet& to, double& largest, CancelPoll& poll) {
  const Vector3& start = to.points.GetStart();
  if (std::isnan(SquaredDistance(from.points.GetStart(), start))) {
    largest = kNaN;
  } else if (from.points.HasInfiniteDistanceFrom(start) || to.points.GetFiniteCount() == 0) {
    largest = kInfinity;
  } else {
    return RaiseToFinite(from, to, largest, poll) && !poll.WasCancelled();
  }
  return true;
}

template <class AtA, class AtB>
double FindHausdorffDistance(AtA atA, AtB atB, int na, int nb) {
  if (na <= 0 && nb <= 0) return 0.0;
  if (na <= 0 || nb <= 0) return kNoDistance;
  SearchedSet a{PointSet(atA, na)};
  SearchedSet b{PointSet(atB, nb)};
  if (!a.points.IsUsable() || !b.points.IsUsable()) return kNoDistance;
  CancelPoll poll;
  double forth = 0.0;
  if (!Raise(a, b, forth, poll)) return kNoDistance;
  double back = std::isnan(forth) ? 0.0 : forth;
  if (!Raise(b, a, back, poll)) return kNoDistance;
  return std::sqrt(forth > back ? forth : back);
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
