#pragma once

#include <memory>
#include <new>

#include "mth/core/Mth_new_array_internal.h"
#include "mth/curve/Mth_xy_plot.h"

namespace mth_internal {

/// A new curve of `count` points, point(0), point(1) ...; null when memory runs out.
template <class Point>
std::unique_ptr<MTH_XY_PLOT> NewCurve(int count, Point point) {
  constexpr int kPointBytes = 48;  // the point and its places in a list, while both grow
  if (!HasMemoryForBlocks(count, kPointBytes)) return nullptr;
  std::unique_ptr<MTH_XY_PLOT> curve(new (std::nothrow) MTH_XY_PLOT);
  for (int i = 0; curve != nullptr && i < count; ++i) {
    MTH_2D_FLOAT next = point(i);
    if (!curve->AddPoint(&next)) return nullptr;
  }
  return curve;
}

}  // namespace mth_internal
