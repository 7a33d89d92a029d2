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
  const std::size_t size = isHuge ? (bytes + kHugePage - 1) / kHugePage * kHugePage : bytes;
  void* const block = ::operator new(size + alignment + sizeof(void*), std::nothrow);
  if (block == nullptr) return nullptr;
  void* storage = static_cast<void**>(block) + 1;
  std::size_t room = size + alignment;
  std::align(alignment, size, storage, room);
  static_cast<void**>(storage)[-1] = block;
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  if (isHuge) madvise(storage, size, MADV_HUGEPAGE);  // only advice: no harm when the system declines
#endif
  return storage;
}

void FreeStorage(void* storage, std::size_t bytes) {
  if (storage != nullptr && bytes >= kSmallBlock) storage = static_cast<void**>(storage)[-1];
  ::operator delete(storage);
}

}  // namespace mth_internal
