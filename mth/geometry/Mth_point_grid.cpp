#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/core/Mth_elementary_internal.h"
#include "mth/geometry/Mth_point_grid_internal.h"

namespace mth_internal {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kPointsPerCell = 2.0;
constexpr std::int64_t kLooksPerPoint = 96;  // about what a tree costs
constexpr int kLooksPerRow = 2;              // what finding a row of cells costs, in looks at points
// Box sizes for which no cell number, no volume of the box and no square is out of range.
constexpr double kSmallestEdge = 1e-150;
constexpr double kLargestExtent = 1e150;
// More than the roundings of coordinates, of cell numbers and of distances.
constexpr double kSlack = 1e-12;
constexpr double kSlackOfEdge = 1e-6;

}  // namespace

PointGrid::Division::Division(const Vector3* points, int count) : origin(points[0]) {
  Vector3 end = points[0];
  for (int i = 1; i < count; ++i) {
    origin = {std::min(origin.x, points[i].x), std::min(origin.y, points[i].y),
              std::min(origin.z, points[i].z)};
    end = {std::max(end.x, points[i].x), std::max(end.y, points[i].y), std::max(end.z, points[i].z)};
  }
  const Vector3 size = end - origin;
  extent[0] = size.x;
  extent[1] = size.y;
  extent[2] = size.z;
  // Axes along which the box is thinner than a cell do not divide: the others then get smaller cells.
  bool divides[3] = {extent[0] > 0.0, extent[1] > 0.0, extent[2] > 0.0};
  for (bool hasChanged = true; hasChanged;) {
    hasChanged = false;
    int axes = 0;
    double logarithm = -Logarithm(std::max(count / kPointsPerCell, 1.0));
    for (int k = 0; k < 3; ++k) {
      if (!divides[k]) continue;
      ++axes;
      logarithm += Logarithm(extent[k]);
    }
    if (axes == 0) return;
    edge = Exponential(logarithm / axes);
    for (int k = 0; k < 3; ++k) {
      if (!divides[k] || extent[k] >= edge) continue;
      divides[k] = false;
      hasChanged = true;
    }
  }
  for (int k = 0; IsSafe() && k < 3; ++k) {
    if (divides[k]) cells[k] = static_cast<int>(std::min(extent[k] / edge, static_cast<double>(count))) + 1;
  }
}

bool PointGrid::Division::IsSafe() const {
  return edge >= kSmallestEdge && extent[0] <= kLargestExtent && extent[1] <= kLargestExtent &&
         extent[2] <= kLargestExtent;
}

PointGrid::Cell PointGrid::Division::CellOf(const Vector3& fromOrigin) const {
  const double p[3] = {fromOrigin.x, fromOrigin.y, fromOrigin.z};
  Cell cell;
  for (int k = 0; k < 3; ++k) {
    cell.at[k] = static_cast<int>(std::clamp(p[k] / edge, 0.0, static_cast<double>(cells[k] - 1)));
  }
  return cell;
}

std::int64_t PointGrid::Division::NumberOf(int x, int y, int z) const {
  return (std::int64_t{z} * cells[1] + y) * cells[0] + x;
}

// A lower bound of the squared distance from the box, along the axes other than `but`.
double PointGrid::Division::SquareOutside(const double (&fromOrigin)[3], int but) const {
  double square = 0.0;
  for (int k = 0; k < 3; ++k) {
    const double p = fromOrigin[k];
    const double outside = std::max(-p, p - extent[k]) - kSlack * (std::abs(p) + extent[k]);
    if (k != but && outside > 0.0) square += outside * outside;
  }
  return square;
}

PointGrid::PointGrid(const Vector3* points, int count)
    : division_(points, count),
      count_(division_.IsPoint() ? 1 : count),
      starts_(division_.CellsCount() + 1),
      sorted_(count_),
      patience_(!division_.IsSafe()   ? -1
                : division_.IsPoint() ? std::numeric_limits<std::int64_t>::max()  // nothing is faster
                                      : kLooksPerPoint * count_) {
  if (IsUsable() && division_.IsSafe()) Sort(points);
}

// Counts the points of each cell, then puts them in their places from the last to the first.
void PointGrid::Sort(const Vector3* points) {
  const WorkArray<std::int64_t> numbers(count_);
  const auto numberOf = [&](int i) {
    const Cell cell = division_.CellOf(points[i] - division_.origin);
    return division_.NumberOf(cell.at[0], cell.at[1], cell.at[2]);
  };
  const std::int64_t cells = division_.CellsCount();
  std::fill_n(starts_.Get(), cells + 1, 0);
  for (int i = 0; i < count_; ++i) {
    const std::int64_t number = numberOf(i);
    if (numbers) numbers[i] = number;
    ++starts_[number];
  }
  int end = 0;
  for (std::int64_t cell = 0; cell <= cells; ++cell) {
    end += starts_[cell];
    starts_[cell] = end;
  }
  for (int i = count_ - 1; i >= 0; --i) sorted_[--starts_[numbers ? numbers[i] : numberOf(i)]] = points[i];
}

// A lower bound of the squared distance from p to all points in cells beyond that ring of cells; infinity
// when there are none.
double PointGrid::SquareBeyondRing(const double (&p)[3], const Cell& centre, int ring) const {
  double square = kInfinity;
  for (int k = 0; k < 3; ++k) {
    double distance = kInfinity;
    if (centre.at[k] - ring > 0) distance = p[k] - (centre.at[k] - ring) * division_.edge;
    if (centre.at[k] + ring + 1 < division_.cells[k]) {
      distance = std::min(distance, (centre.at[k] + ring + 1) * division_.edge - p[k]);
    }
    if (distance == kInfinity) continue;
    distance = std::max(0.0, distance - kSlackOfEdge * division_.edge - kSlack * std::abs(p[k]));
    square = std::min(square, distance * distance + division_.SquareOutside(p, k));
  }
  return square * (1.0 - kSlack);
}

// The points of a run of cells of one row.
void PointGrid::SearchCells(const Vector3& p, std::int64_t first, std::int64_t last, double enough,
                            double& best) {
  int i = starts_[first];
  const int end = starts_[last + 1];
  patience_ -= kLooksPerRow + (end - i);
  for (; i < end; ++i) {
    const double square = SquaredDistance(p, sorted_[i]);
    if (!(square < best)) continue;
    best = square;
    if (best <= enough) return;
  }
}

void PointGrid::SearchRing(const Vector3& p, const Cell& centre, int ring, double enough, double& best) {
  int low[3];
  int high[3];
  for (int k = 0; k < 3; ++k) {
    low[k] = std::max(centre.at[k] - ring, 0);
    high[k] = std::min(centre.at[k] + ring, division_.cells[k] - 1);
  }
  for (int z = low[2]; z <= high[2]; ++z) {
    for (int y = low[1]; y <= high[1]; ++y) {
      const bool isFace = std::abs(z - centre.at[2]) == ring || std::abs(y - centre.at[1]) == ring;
      const std::int64_t row = division_.NumberOf(0, y, z);
      if (isFace) {
        SearchCells(p, row + low[0], row + high[0], enough, best);
      } else {
        const int left = centre.at[0] - ring;
        const int right = centre.at[0] + ring;
        if (left >= 0) SearchCells(p, row + left, row + left, enough, best);
        if (right < division_.cells[0]) SearchCells(p, row + right, row + right, enough, best);
      }
      if (best <= enough) return;
    }
  }
}

bool PointGrid::FindNearestSquare(const Vector3& p, double enough, double& square) {
  square = kInfinity;
  const Vector3 fromOrigin = p - division_.origin;
  const double coordinates[3] = {fromOrigin.x, fromOrigin.y, fromOrigin.z};
  const Cell centre = division_.CellOf(fromOrigin);
  for (int ring = 0; patience_ >= 0; ++ring) {
    SearchRing(p, centre, ring, enough, square);
    if (square <= enough || square <= SquareBeyondRing(coordinates, centre, ring)) return true;
  }
  return false;
}

}  // namespace mth_internal
