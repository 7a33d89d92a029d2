#pragma once

#include <cstdint>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/geometry/Mth_vector3_internal.h"

namespace mth_internal {

/// Points sorted into the cells of a regular grid: the fastest search of near points where these fill their
/// box evenly. Where they crowd, or leave most cells empty, it gives up, and a tree is the better choice.
class PointGrid {
 public:
  /// @param points  `count` of them, at least one, finite.
  PointGrid(const Vector3* points, int count);
  /// False without memory.
  bool IsUsable() const { return starts_ && sorted_; }

  /// Finds the square of the distance from p to the nearest point; or, as soon as it is met, the square of a
  /// distance to any point that is at most `enough`.
  /// @return  false, with a square that means nothing, once the searches so far have taken too long.
  bool FindNearestSquare(const Vector3& p, double enough, double& square);

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
    bool IsSafe() const;
    double SquareOutside(const double (&fromOrigin)[3], int but) const;

    Vector3 origin;
    double extent[3];
    double edge = 1.0;
    int cells[3] = {1, 1, 1};
  };

  void Sort(const Vector3* points);
  double SquareBeyondRing(const double (&p)[3], const Cell& centre, int ring) const;
  void SearchCells(const Vector3& p, std::int64_t first, std::int64_t last, double enough, double& best);
  void SearchRing(const Vector3& p, const Cell& centre, int ring, double enough, double& best);

  Division division_;
  int count_;              // of the points kept: 1 when all are the same
  WorkArray<int> starts_;  // of each cell among the sorted points; one more for the end
  WorkArray<Vector3> sorted_;
  std::int64_t patience_;  // points and cells to look at until the search gives up
};

}  // namespace mth_internal
