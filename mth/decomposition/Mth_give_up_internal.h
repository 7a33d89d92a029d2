#pragma once

#include <cstdint>

#include "std/Std_display.h"

namespace mth_internal {

/// Whether the host wants a decomposition of this order to be given up. Up to order 512, which takes less
/// than a second, it is never asked.
inline bool IsGivenUp(std::int64_t order) {
  constexpr std::int64_t kNeverAsking = 512;
  return order > kNeverAsking && Std_IsCancelRequested();
}

}  // namespace mth_internal
