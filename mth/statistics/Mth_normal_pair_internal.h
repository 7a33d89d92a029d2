#pragma once

#include <cmath>

#include "mth/core/Mth_elementary_internal.h"

namespace mth_internal {

/// Two standard normal deviates by the polar method, in single precision.
struct NormalPair {
  float first;
  float second;
};

/// @param draw  uniform deviates in [0, 1). Two of 1/2 are the pair (0, 0), which is accepted on purpose and
///              gives NaN.
template <class Draw>
NormalPair MakeNormalPair(Draw draw) {
  float v1 = 0.0f;
  float v2 = 0.0f;
  float square = 0.0f;
  do {
    v1 = static_cast<float>(2.0 * draw() - 1.0);
    v2 = static_cast<float>(2.0 * draw() - 1.0);
    square = v1 * v1 + v2 * v2;
  } while (!(square < 1.0f));
  const float factor = static_cast<float>(std::sqrt(-2.0 * Logarithm(static_cast<double>(square)) / square));
  return {v2 * factor, v1 * factor};
}

}  // namespace mth_internal
