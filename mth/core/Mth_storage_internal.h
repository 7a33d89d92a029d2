#pragma once

#include <cstddef>

namespace mth_internal {

/// Memory for a matrix's elements, not initialised; all but small blocks begin on a cache line. Large blocks
/// come in whole huge pages where the platform offers them, and some that were freed are kept for the next of
/// about their sizes: fresh memory costs more than most element-wise operations.
/// @return  null when the memory cannot be had.
void* AllocateStorage(std::size_t bytes);

/// Gives back what AllocateStorage(bytes) returned; null is allowed.
void FreeStorage(void* storage, std::size_t bytes);

}  // namespace mth_internal
