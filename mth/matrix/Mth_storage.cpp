#include <cstdlib>
#include <new>

#include "mth/matrix/Mth_storage_internal.h"

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace mth_internal {
namespace {

constexpr std::size_t kVectorAlignment = 64;
constexpr std::size_t kHugePage = std::size_t{2} << 20;
constexpr std::size_t kHugePageThreshold = 2 * kHugePage;  // below, the rounding up would waste too much

std::size_t Alignment(std::size_t bytes) {
  return bytes >= kHugePageThreshold ? kHugePage : kVectorAlignment;
}

}  // namespace

void* AllocateStorage(std::size_t bytes) {
  void* storage = ::operator new (bytes, std::align_val_t{Alignment(bytes)}, std::nothrow);
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  // Only advice: whole pages inside the block, and no harm when the system declines.
  if (storage != nullptr && bytes >= kHugePageThreshold)
    madvise(storage, bytes / kHugePage * kHugePage, MADV_HUGEPAGE);
#endif
  return storage;
}

void FreeStorage(void* storage, std::size_t bytes) {
  ::operator delete (storage, std::align_val_t{Alignment(bytes)});
}

}  // namespace mth_internal
