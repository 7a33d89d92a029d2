// Distances of point sets against all pairs, registration, changes of reference, slices of any angles.

#include <algorithm>

#include "fuzz/fuzz.h"

namespace mth_fuzz {
namespace {

using Points = std::vector<MTH_3D_DOUBLE>;

Points DrawPoints(Input& input) {
  const auto draw = input.Byte() < 200 ? &Input::Finite : &Input::Any;
  Points points(static_cast<std::size_t>(input.Size(1, 40)));
  for (MTH_3D_DOUBLE& point : points) {
    const double x = (input.*draw)();
    const double y = (input.*draw)();
    point = MTH_3D_DOUBLE(x, y, (input.*draw)());
  }
  return points;
}

// The directed distance by all pairs: for each point of the first set the nearest of the second.
double Directed(const Points& a, const Points& b) {
  double farthest = 0.0;
  for (const MTH_3D_DOUBLE& from : a) {
    double nearest = std::numeric_limits<double>::infinity();
    for (MTH_3D_DOUBLE to : b) nearest = std::min(nearest, MTH_3D_DOUBLE(from).Distance(to));
    farthest = std::max(farthest, nearest);
  }
  return farthest;
}

bool AreFinite(const Points& points) {
  return std::all_of(points.begin(), points.end(), [](const MTH_3D_DOUBLE& p) {
    return std::abs(p.GetX()) < 1e150 && std::abs(p.GetY()) < 1e150 && std::abs(p.GetZ()) < 1e150;
  });
}

}  // namespace

void TryInput(const std::uint8_t* bytes, std::size_t count) {
  Input input(bytes, count);
  Points a = DrawPoints(input);
  Points b = DrawPoints(input);
  const int na = static_cast<int>(a.size());
  const int nb = static_cast<int>(b.size());
  const double distance = Mth_Hausdorff_Distance(a.data(), b.data(), na, nb);
  if (AreFinite(a) && AreFinite(b)) Require(distance == std::max(Directed(a, b), Directed(b, a)));
  Require(!AreFinite(a) || Mth_Hausdorff_Distance(a.data(), a.data(), na, na) == 0.0);

  // Matched points: a rotation comes out as one, also of sets that have no best one.
  const int n = std::min(na, nb);
  MTH_MATRIX_CHGREF map(n, a.data(), b.data());
  const bool isComputed = map.ComputeFromSetsByQuaternion();
  if (isComputed && AreFinite(a) && AreFinite(b)) {
    for (int i = 0; i < 3; ++i) {
      double norm = 0.0;
      for (int j = 0; j < 3; ++j) norm += map.Get(i, j) * map.Get(i, j);
      Require(std::abs(norm - 1.0) < 1e-9 || std::isnan(norm));
    }
  }
  double angles[3] = {input.Any(), input.Any(), input.Any()};
  double translation[3] = {input.Any(), input.Any(), input.Any()};
  MTH_MATRIX_CHGREF placed(angles, translation);
  placed.ComputeFromRotTrans();
  for (const MTH_3D_DOUBLE& point : a) {
    MTH_3D_DOUBLE moved;
    Require(placed.ChangeRef(point, &moved));
  }
}

}  // namespace mth_fuzz
