#pragma once

#include <cstdint>

namespace mth_internal {

/// What a scan of `count` > 0 elements ends with that starts from the first one and goes over to each that is
/// strictly larger (smaller): a NaN is passed over unless it is the first, and of zeros of both signs the
/// first counts.
template <bool kLargest, class T>
double FindExtremum(const T* elements, std::int64_t count);

}  // namespace mth_internal
