#pragma once

#include <cstdint>
#include <memory>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/geometry/Mth_vector3_internal.h"

namespace mth_internal {

/// The square of MTH_3D_DOUBLE::Distance before its root, which keeps the order: the smallest and the largest
/// distance can be found among the squares.
inline double SquaredDistance(const Vector3& from, const Vector3& to) {
  const Vector3 d = to - from;
  return d.x * d.x + d.y * d.y + d.z * d.z;
}

/// Points sorted into the cells of a regular grid, for the search of near ones. Where points crowd, a cell
/// has a grid of its own: clusters with a far outlier, or far from each other, are searched as fast as
/// others.
class PointGrid {
 public:
  /// @param points  `count` of them, at least one, finite and with squares that are finite.
  PointGrid(const Vector3* points, int count);
  /// False without memory.
  bool IsUsable() const { return starts_ && sorted_; }

  /// Square of the distance from p to the nearest point; or, as soon as it is found, the square of a distance
  /// to any point that is at most `enough`.
  double FindNearestSquare(const Vector3& p, double enough);

 private:
  struct Cell {
    int at[3];
  };

  // A regular division of the points' box into cubes, about as many as there are points.
  struct Division {
    Division(const Vector3* points, int count);
    Cell CellOf(const Vector3& fromOrigin) const;
    std::int64_t NumberOf(int x, int y, int z) const;
    std::int64_t CellsCount() const { return std::int64_t{cells[0]} * cells[1] * cells[2]; }
    bool IsPoint() const { return extent[0] == 0.0 && extent[1] == 0.0 && extent[2] == 0.0; }
    double SquareOutside(const double (&fromOrigin)[3], int but) const;

    Vector3 origin;
    double extent[3];
    double edge = 1.0;
    int cells[3] = {1, 1, 1};
  };

  void Sort(const Vector3* points);
  void RefineCrowdedCells();
  void Search(const Vector3& p, double enough, double& best);
  double SquareBeyondRing(const double (&p)[3], const Cell& centre, int ring) const;
  void SearchCells(const Vector3& p, std::int64_t first, std::int64_t last, double enough, double& best);
  void SearchPoints(const Vector3& p, int first, int last, double enough, double& best);
  void SearchRing(const Vector3& p, const Cell& centre, int ring, double enough, double& best);

  Division division_;
  int count_;              // of the points kept: 1 when all are the same
  WorkArray<int> starts_;  // of each cell among the sorted points; one more for the end
  WorkArray<Vector3> sorted_;
  std::unique_ptr<std::unique_ptr<PointGrid>[]> finer_;  // of each cell; null where no cell is crowded
  std::int64_t patience_;                                // points to look at until crowded cells are refined
};

}  // namespace mth_internal
