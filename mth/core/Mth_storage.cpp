#include <memory>
#include <new>

#include "mth/core/Mth_storage_internal.h"

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace mth_internal {
namespace {

constexpr std::size_t kSmallBlock = 512;  // not worth aligning beyond what `new` does
constexpr std::size_t kCacheLine = 64;
constexpr std::size_t kHugePage = std::size_t{2} << 20;
constexpr std::size_t kHugePageThreshold = kHugePage;  // a smaller block would waste most of its page

}  // namespace

// Aligned by hand: the aligned `new` of the GNU C library returns large blocks to the system each time, and
// their pages are zeroed again for each result. The address to free lies before the block.
void* AllocateStorage(std::size_t bytes) {
  if (bytes < kSmallBlock) return ::operator new(bytes, std::nothrow);
  const bool isHuge = bytes >= kHugePageThreshold;
  const std::size_t alignment = isHuge ? kHugePage : kCacheLine;
  void* const block = ::operator new(bytes + alignment + sizeof(void*), std::nothrow);
  if (block == nullptr) return nullptr;
  void* storage = static_cast<void**>(block) + 1;
  std::size_t room = bytes + alignment;
  std::align(alignment, bytes, storage, room);
  static_cast<void**>(storage)[-1] = block;
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  // Whole pages only: the rest of the last one is nobody's memory. It is only advice: no harm when the system
  // declines.
  if (isHuge) madvise(storage, bytes / kHugePage * kHugePage, MADV_HUGEPAGE);
#endif
  return storage;
}

void FreeStorage(void* storage, std::size_t bytes) {
  if (storage != nullptr && bytes >= kSmallBlock) storage = static_cast<void**>(storage)[-1];
  ::operator delete(storage);
}

}  // namespace mth_internal
