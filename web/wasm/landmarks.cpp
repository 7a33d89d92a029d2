// The rigid transform between two sets of points of three numbers each.

#include <emscripten/bind.h>

#include <algorithm>
#include <cmath>

#include "bundle.h"
#include "display.h"
#include "mth/geometry/Mth_matrix_chgref.h"

namespace mth_web {

namespace {

static_assert(sizeof(MTH_3D_DOUBLE) == 3 * sizeof(double));

// Whether a product of two coordinates may be none any more.
bool AreTooLarge(const MTH_3D_DOUBLE* first, const MTH_3D_DOUBLE* second, int count) {
  constexpr double kMost = 1e150;
  const auto isLarge = [](const MTH_3D_DOUBLE& point) {
    return !(std::abs(point.GetX()) <= kMost && std::abs(point.GetY()) <= kMost &&
             std::abs(point.GetZ()) <= kMost);
  };
  return std::any_of(first, first + count, isLarge) || std::any_of(second, second + count, isLarge);
}

Bundle* RegisterLandmarks(double first, double second, int count, bool isRobust) {
  return Guarded([&](Bundle& found) {
    Display().SetListener(emscripten::val::undefined());
    auto* const from = At<MTH_3D_DOUBLE>(first);
    auto* const to = At<MTH_3D_DOUBLE>(second);
    MTH_MATRIX_CHGREF change(count, from, to);
    const bool isDone =
        isRobust ? change.ComputeWithoutOutliers(nullptr) : change.ComputeFromSetsByQuaternion();
    if (!isDone && AreTooLarge(from, to, count))
      throw BadInput("the points lie too far away: their squares overflow");
    if (!isDone) throw std::bad_alloc();
    double* element = found.Add<double>("matrix", 16);
    for (int i = 0; i < 4; ++i) {
      for (int j = 0; j < 4; ++j) *element++ = change.Get(i, j);
    }
    change.GetQuaternion(found.Add<double>("quaternion", 4));
    double* residual = found.Add<double>("residuals", static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      MTH_3D_DOUBLE mapped;
      change.ChangeRef(from[i], &mapped);
      *residual++ = mapped.Distance(to[i]);
    }
  });
}

}  // namespace

EMSCRIPTEN_BINDINGS(mth_landmarks) {
  emscripten::function("registerLandmarks", &RegisterLandmarks, emscripten::allow_raw_pointers());
}

}  // namespace mth_web
