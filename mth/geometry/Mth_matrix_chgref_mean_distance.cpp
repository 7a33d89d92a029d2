#include <algorithm>
#include <limits>
#include <numeric>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/geometry/Mth_matched_points_internal.h"
#include "mth/geometry/Mth_matrix_chgref.h"
#include "mth/optimise/Mth_funct.h"
#include "std/Std_display.h"

// The rigid transform of the least mean distance.

using namespace mth_internal;

namespace {

// How a transform may be moved: by turns about the place where it takes the centre of the first set, and by
// shifts.
struct Freedom {
  Vector3 centre;  // in the second frame
  double radius;   // of the mapped set: a turn is told by the arc that it makes there
  double unit;     // of all parameters
};

Freedom FreedomOf(const RigidMap& map, const MatchedPoints& points, double unit) {
  Vector3 sum;
  for (int i = 0; i < points.count; ++i) sum = sum + ToVector(map(points.first[i]));
  const Vector3 centre = (1.0 / points.count) * sum;
  double radius = 0.0;
  for (int i = 0; i < points.count; ++i)
    radius += Length(ToVector(map(points.first[i])) - centre) / points.count;
  return {centre, radius > 0.0 ? radius : 1.0, unit};
}

// The mean distance, in units, as a function of a turn and a shift beside a transform.
class MeanDistanceCost : public MTH_FUNCT {
 public:
  MeanDistanceCost(const RigidMap& start, const MatchedPoints& points, const Freedom& freedom)
      : MTH_FUNCT(6), start_(start), points_(points), freedom_(freedom) {}

  void Evaluate() override {
    const bool canCompute = GetParameters() != nullptr && rotation_.IsAllocated();
    SetValue(canCompute ? MeanDistance(ComputeMap(), points_) / freedom_.unit
                        : std::numeric_limits<double>::quiet_NaN());
    SetDefined(true);
  }

  // The transform of the parameters.
  RigidMap ComputeMap() {
    const double* const p = GetParameters();
    const double perArc = freedom_.unit / freedom_.radius;
    const double angles[3] = {p[0] * perArc, p[1] * perArc, p[2] * perArc};
    rotation_.SetAnglesRadians(angles);
    const RigidMap turn = ReadRigidMap(rotation_);
    const double centre[3] = {freedom_.centre.x, freedom_.centre.y, freedom_.centre.z};
    RigidMap map{};
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 4; ++j) {
        for (int k = 0; k < 3; ++k) {
          map.rows[i][j] += turn.rows[i][k] * (j < 3 ? start_.rows[k][j] : start_.rows[k][3] - centre[k]);
        }
      }
      map.rows[i][3] += centre[i] + p[3 + i] * freedom_.unit;
    }
    return map;
  }

 private:
  RigidMap start_;
  MatchedPoints points_;
  Freedom freedom_;
  MTH_MATRIX_CHGREF rotation_;
};

// Moves a transform to a minimum near it. The minimiser's steps are about a unit long at first and not much
// finer than 1e-5 of one at the end: a second run takes a smaller one.
void Refine(const MatchedPoints& points, RigidMap& map) {
  constexpr short kPasses = 200;
  constexpr double kTolerance = 1e-9;
  constexpr double kFinerUnit = 1e-2;
  const double start = MeanDistance(map, points);
  for (const double unit : {start, kFinerUnit * start}) {
    if (!(unit > 0.0)) return;
    MeanDistanceCost cost(map, points, FreedomOf(map, points, unit));
    if (cost.ComputeOptimumPowell(nullptr, kPasses, kTolerance, nullptr, false)) map = cost.ComputeMap();
  }
}

// Copies of matched points that can be put in the order of their distances under a transform.
class SortedPoints {
 public:
  explicit SortedPoints(int count) : first_(count), second_(count), distances_(count), order_(count) {}
  bool IsUsable() const { return first_ && second_ && distances_ && order_; }

  // The `count` points of which a transform takes the first ones nearest to the second ones.
  MatchedPoints TakeNearest(const MatchedPoints& points, const RigidMap& map, int count) const {
    for (int i = 0; i < points.count; ++i) distances_[i] = DistanceAt(map, points, i);
    std::iota(order_.Get(), order_.Get() + points.count, 0);
    std::sort(order_.Get(), order_.Get() + points.count, [this](int i, int j) {
      return distances_[i] != distances_[j] ? distances_[i] < distances_[j] : i < j;
    });
    for (int k = 0; k < count; ++k) {
      first_[k] = points.first[order_[k]];
      second_[k] = points.second[order_[k]];
    }
    return {first_.Get(), second_.Get(), count};
  }

 private:
  WorkArray<MTH_3D_DOUBLE> first_;
  WorkArray<MTH_3D_DOUBLE> second_;
  WorkArray<double> distances_;
  WorkArray<int> order_;
};

// The transforms to start from, one after the other: the least-squares answer of all points, and of ever
// fewer.
class Starts {
 public:
  Starts(const MatchedPoints& points) : points_(points), sorted_(points.count) {}

  bool FindFirst() { return sorted_.IsUsable() && FitLeastSquares(points_, fit_); }
  // Each subset leaves out the worst points of the fit before it; false when there is none any more.
  bool FindNext() {
    constexpr int kMostSubsets = 8;
    constexpr int kFewest = 3;
    const int mostLeftOut = std::min(points_.count / 2, points_.count - kFewest);
    leftOut_ += std::max(1, mostLeftOut / kMostSubsets);
    return leftOut_ <= mostLeftOut &&
           FitLeastSquares(sorted_.TakeNearest(points_, fit_, points_.count - leftOut_), fit_);
  }
  const RigidMap& Get() const { return fit_; }

 private:
  MatchedPoints points_;
  SortedPoints sorted_;
  RigidMap fit_{};
  int leftOut_ = 0;
};

}  // namespace

bool MTH_MATRIX_CHGREF::OptimiseMeanDistance() {
  if (!IsAllocated() || first_ == nullptr || second_ == nullptr || dimension_ < 1) return false;
  const MatchedPoints points{first_, second_, dimension_};
  Starts starts(points);
  if (!starts.FindFirst()) return false;
  RigidMap best = starts.Get();
  double least = std::numeric_limits<double>::infinity();
  do {
    RigidMap map = starts.Get();
    Refine(points, map);
    if (Std_IsCancelRequested()) return false;
    const double found = MeanDistance(map, points);
    if (!(found < least)) continue;
    least = found;
    best = map;
  } while (starts.FindNext());
  TakeMap(best.rows, least);
  return true;
}

void MTH_MATRIX_CHGREF::TakeMap(const double (&rows)[3][4], double cost) {
  SetIdentity();
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 4; ++j) Set(i, j, rows[i][j]);
  }
  FillFromMatrix();
  isComputed_ = true;
  cost_ = cost;
}
