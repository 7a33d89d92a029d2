#include <algorithm>
#include <cmath>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/geometry/Mth_matched_points_internal.h"
#include "mth/geometry/Mth_matrix_chgref.h"

// The rigid transform of the landmarks that are right.

using namespace mth_internal;

namespace {

Vector3 Way(const MTH_3D_DOUBLE& from, const MTH_3D_DOUBLE& to) {
  return ToVector(to) - ToVector(from);
}

const MTH_3D_DOUBLE& FarthestFromFirst(const MTH_3D_DOUBLE* points, int count) {
  return *std::max_element(points, points + count, [&](const MTH_3D_DOUBLE& a, const MTH_3D_DOUBLE& b) {
    return a.Distance(points[0]) < b.Distance(points[0]);
  });
}

// The size of a set.
double Reach(const MTH_3D_DOUBLE* points, int count) {
  return Length(Way(points[0], FarthestFromFirst(points, count)));
}

// Points on a line leave a rotation open.
bool AreOnOneLine(const MTH_3D_DOUBLE* points, int count) {
  constexpr double kLeastWidth = 1e-6;  // of the length of the line
  const Vector3 line = Way(points[0], FarthestFromFirst(points, count));
  const double length = Length(line);
  return std::all_of(points, points + count, [&](const MTH_3D_DOUBLE& point) {
    return !(Length(Cross(line, Way(points[0], point))) > kLeastWidth * length * length);
  });
}

constexpr double kRounding = 1e-6;  // of the size of the smaller set: such a distance is as good as none

// Matched points, and those among them that count as right: at first all of them.
class RightPoints {
 public:
  explicit RightPoints(const MatchedPoints& all)
      : all_(all),
        distances_(all.count),
        sorted_(all.count),
        first_(all.count),
        second_(all.count),
        isRight_(all.count),
        rounding_(kRounding * std::min(Reach(all.first, all.count), Reach(all.second, all.count))) {
    if (IsUsable()) std::fill(isRight_.Get(), isRight_.Get() + all.count, true);
  }

  bool IsUsable() const { return distances_ && sorted_ && first_ && second_ && isRight_; }

  void Measure(const RigidMap& map) {
    for (int i = 0; i < all_.count; ++i) distances_[i] = DistanceAt(map, all_, i);
  }

  double MedianDistance() const {
    double* const end = std::copy(distances_.Get(), distances_.Get() + all_.count, sorted_.Get());
    double* const middle = sorted_.Get() + all_.count / 2;
    std::nth_element(sorted_.Get(), middle, end);
    return *middle;
  }

  // The deviation of the right points along an axis: each has three residuals, and a transform six numbers.
  double Deviation() const {
    double squares = 0.0;
    for (int i = 0; i < all_.count; ++i) {
      if (isRight_[i]) squares += distances_[i] * distances_[i];
    }
    return std::sqrt(squares / (3.0 * count_ - 6.0));
  }

  // Takes the points within a limit as the right ones; false, with nothing changed, when they are already,
  // and when they are too few, or too close to a line, to say so of the others.
  bool TakeWithin(double limit) {
    const double widest = std::max(limit, rounding_);
    int count = 0;
    bool isNew = count_ == 0;
    for (int i = 0; i < all_.count; ++i) {
      const bool isWithin = distances_[i] <= widest;
      isNew = isNew || isWithin != isRight_[i];
      if (!isWithin) continue;
      first_[count] = all_.first[i];
      second_[count++] = all_.second[i];
    }
    constexpr int kFewest = 4;
    if (!isNew || count < std::max(kFewest, all_.count / 2 + 1)) return false;
    if (AreOnOneLine(first_.Get(), count) || AreOnOneLine(second_.Get(), count)) return false;
    for (int i = 0; i < all_.count; ++i) isRight_[i] = distances_[i] <= widest;
    count_ = count;
    return true;
  }

  MatchedPoints Get() const { return {first_.Get(), second_.Get(), count_}; }
  bool IsRight(int i) const { return isRight_[i]; }

 private:
  MatchedPoints all_;
  WorkArray<double> distances_;
  WorkArray<double> sorted_;
  WorkArray<MTH_3D_DOUBLE> first_;
  WorkArray<MTH_3D_DOUBLE> second_;
  WorkArray<bool> isRight_;
  double rounding_;
  int count_ = 0;
};

}  // namespace

bool MTH_MATRIX_CHGREF::ComputeWithoutOutliers(bool* isOutlier) {
  constexpr int kMostRounds = 8;
  constexpr double kMedians = 2.5;
  constexpr double kDeviations = 4.5;
  if (!IsAllocated() || first_ == nullptr || second_ == nullptr || dimension_ < 1) return false;
  RightPoints right({first_, second_, dimension_});
  MTH_MATRIX_CHGREF start(dimension_, first_, second_);
  if (!right.IsUsable() || !start.OptimiseMeanDistance()) return false;
  RigidMap map = ReadRigidMap(start);
  right.Measure(map);
  double limit = kMedians * right.MedianDistance();
  for (int round = 0; round < kMostRounds && right.TakeWithin(limit); ++round) {
    if (!FitLeastSquares(right.Get(), map)) return false;
    right.Measure(map);
    limit = kDeviations * right.Deviation();
  }
  TakeMap(map.rows, MeanDistance(map, {first_, second_, dimension_}));
  for (int i = 0; isOutlier != nullptr && i < dimension_; ++i) isOutlier[i] = !right.IsRight(i);
  return true;
}
