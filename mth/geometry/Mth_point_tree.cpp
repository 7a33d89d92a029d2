#include <algorithm>

#include "mth/geometry/Mth_point_tree_internal.h"

namespace mth_internal {
namespace {

PointBox BoxAround(const Vector3* points, int count) {
  PointBox box{points[0], points[0]};
  for (int i = 1; i < count; ++i) {
    const Vector3& p = points[i];
    box.low = {std::min(box.low.x, p.x), std::min(box.low.y, p.y), std::min(box.low.z, p.z)};
    box.high = {std::max(box.high.x, p.x), std::max(box.high.y, p.y), std::max(box.high.z, p.z)};
  }
  return box;
}

// From p to the nearest coordinate of [low, high].
double Outside(double p, double low, double high) {
  return std::max(low - p, 0.0) + std::min(high - p, 0.0);
}

// The squared distance from p to the nearest place of a box: no point in it is nearer.
double SquareOutside(const PointBox& box, const Vector3& p) {
  const double x = Outside(p.x, box.low.x, box.high.x);
  const double y = Outside(p.y, box.low.y, box.high.y);
  const double z = Outside(p.z, box.low.z, box.high.z);
  return x * x + y * y + z * z;
}

double LargerSquare(double a, double b) {
  return std::max(a * a, b * b);
}

// The squared distance from the farthest corner of a box to p: no point in it is farther.
double SquareFromFarthest(const PointBox& box, const Vector3& p) {
  return LargerSquare(p.x - box.low.x, p.x - box.high.x) + LargerSquare(p.y - box.low.y, p.y - box.high.y) +
         LargerSquare(p.z - box.low.z, p.z - box.high.z);
}

using Coordinate = double Vector3::*;

Coordinate WidestAxis(const PointBox& box) {
  const Vector3 size = box.high - box.low;
  if (size.x >= size.y && size.x >= size.z) return &Vector3::x;
  return size.y >= size.z ? &Vector3::y : &Vector3::z;
}

// Nodes down to the leaves of so many points, numbered level by level.
std::int64_t CountNodes(int count, int leafPoints) {
  std::int64_t nodes = 1;
  for (int largest = count; largest > leafPoints; largest -= largest / 2) nodes = 2 * nodes + 1;
  return nodes;
}

// One search for the directed distance. A point is done with as soon as some neighbour is no farther than the
// largest distance found so far, and a whole node when all of it is that near to one point.
class DirectedSearch {
 public:
  DirectedSearch(const PointTree& from, const PointTree& to, double atLeast, CancelPoll& poll)
      : from_(from), to_(to), poll_(poll), largest_(atLeast) {}

  // A sample first finds a value that most points stay below.
  double Run() {
    constexpr int kSampleStep = 61;
    for (int i = 0; i < from_.GetCount(); i += kSampleStep) VisitPoint(i);
    VisitNode(from_.GetRoot());
    return largest_;
  }

 private:
  void VisitNode(const PointTree::Node& node) {
    if (SquareFromFarthest(from_.GetBox(node), to_.GetPoint(nearest_)) <= largest_) return;
    if (node.IsLeaf()) {
      for (int i = node.first; i < node.last; ++i) VisitPoint(i);
    } else {
      VisitNode(node.Left());
      VisitNode(node.Right());
    }
  }

  // The nearest point of the one before, a neighbour, is tried first.
  void VisitPoint(int i) {
    if (poll_.IsCancelled()) return;
    const Vector3& p = from_.GetPoint(i);
    double square = SquaredDistance(p, to_.GetPoint(nearest_));
    if (square <= largest_) return;
    poll_.AddLooks(to_.FindNearest(p, largest_, square, nearest_));
    largest_ = std::max(largest_, square);
  }

  const PointTree& from_;
  const PointTree& to_;
  CancelPoll& poll_;
  double largest_;
  int nearest_ = 0;  // in the other tree
};

}  // namespace

PointTree::PointTree(Vector3* points, int count)
    : points_(points), count_(count), boxes_(CountNodes(count, kLeafPoints)) {
  if (IsUsable() && count > 0) Sort(GetRoot());
}

void PointTree::Sort(const Node& node) {
  const PointBox box = BoxAround(points_ + node.first, node.last - node.first);
  boxes_[node.number] = box;
  if (node.IsLeaf()) return;
  const Coordinate axis = WidestAxis(box);
  std::nth_element(points_ + node.first, points_ + node.Middle(), points_ + node.last,
                   [axis](const Vector3& a, const Vector3& b) { return a.*axis < b.*axis; });
  Sort(node.Left());
  Sort(node.Right());
}

std::int64_t PointTree::Search(const Node& node, const Vector3& p, double enough, double& square,
                               int& nearest) const {
  if (node.IsLeaf()) {
    for (int i = node.first; i < node.last; ++i) {
      const double found = SquaredDistance(p, points_[i]);
      if (!(found < square)) continue;
      square = found;
      nearest = i;
      if (found <= enough) break;
    }
    return node.last - node.first;
  }
  Node near = node.Left();
  Node far = node.Right();
  double nearSquare = SquareOutside(GetBox(near), p);
  double farSquare = SquareOutside(GetBox(far), p);
  if (farSquare < nearSquare) {
    std::swap(near, far);
    std::swap(nearSquare, farSquare);
  }
  std::int64_t looks = 0;
  if (nearSquare < square) looks += Search(near, p, enough, square, nearest);
  if (square > enough && farSquare < square) looks += Search(far, p, enough, square, nearest);
  return looks;
}

double FindDirectedSquare(const PointTree& from, const PointTree& to, double atLeast, CancelPoll& poll) {
  return DirectedSearch(from, to, atLeast, poll).Run();
}

}  // namespace mth_internal
