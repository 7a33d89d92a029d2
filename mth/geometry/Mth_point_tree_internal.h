#pragma once

#include <cstdint>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/geometry/Mth_cancel_poll_internal.h"
#include "mth/geometry/Mth_vector3_internal.h"

namespace mth_internal {

/// The box that holds some points.
struct PointBox {
  Vector3 low;
  Vector3 high;
};

/// Points in a balanced k-d tree. A node is a range of the sorted points and the box around them; its
/// children are the halves of the range. The points of a leaf stand beside each other, and so do neighbouring
/// leaves.
///
/// Bounds are computed with the operations of SquaredDistance itself. Rounding keeps order, so that a bound
/// holds for the rounded squares too: nothing is skipped that could decide, and no tolerance is needed.
class PointTree {
 public:
  /// A node, by its number among the boxes and its range of points.
  struct Node {
    std::int64_t number;
    int first;
    int last;

    bool IsLeaf() const { return last - first <= kLeafPoints; }
    Node Left() const { return {2 * number + 1, first, Middle()}; }
    Node Right() const { return {2 * number + 2, Middle(), last}; }
    int Middle() const { return first + (last - first) / 2; }
  };

  /// Sorts `count` finite points in place; they stay the caller's.
  PointTree(Vector3* points, int count);
  /// False without memory.
  bool IsUsable() const { return static_cast<bool>(boxes_); }

  int GetCount() const { return count_; }
  Node GetRoot() const { return {0, 0, count_}; }
  const Vector3& GetPoint(int i) const { return points_[i]; }
  const PointBox& GetBox(const Node& node) const { return boxes_[node.number]; }

  /// Lowers `square` to the square of the distance from p to the nearest point, where that is less, and moves
  /// `nearest` to that point; or stops at the first point whose square is at most `enough`.
  /// @return  about how many points were looked at: all of them where they are all as far from p.
  std::int64_t FindNearest(const Vector3& p, double enough, double& square, int& nearest) const {
    return Search(GetRoot(), p, enough, square, nearest);
  }

 private:
  static constexpr int kLeafPoints = 16;

  void Sort(const Node& node);
  std::int64_t Search(const Node& node, const Vector3& p, double enough, double& square, int& nearest) const;

  Vector3* points_;
  int count_;
  WorkArray<PointBox> boxes_;
};

/// The largest of `atLeast` and the squared distances from the points of one tree to the nearest ones of the
/// other: the square of the directed Hausdorff distance. Neither tree is empty. Means nothing when the run
/// was cancelled.
double FindDirectedSquare(const PointTree& from, const PointTree& to, double atLeast, CancelPoll& poll);

}  // namespace mth_internal
