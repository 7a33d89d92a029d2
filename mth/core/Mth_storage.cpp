#include <atomic>
#include <cstddef>
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

// Blocks that C libraries give back to the system at once, the GNU one from 32 MiB on with the room to align
// them: their pages are zeroed again for each result.
constexpr std::size_t kLeastKept = std::size_t{30} << 20;
constexpr std::size_t kMostKept = std::size_t{64} << 20;

// What lies before the elements of a block that is aligned by hand.
struct Header {
  void* block;        // to be freed
  std::size_t bytes;  // room for elements
};

Header& HeaderOf(void* storage) {
  return static_cast<Header*>(storage)[-1];
}

// Aligned by hand: the aligned `new` of the GNU C library returns large blocks to the system each time.
void* AllocateAligned(std::size_t bytes) {
  const bool isHuge = bytes >= kHugePageThreshold;
  const std::size_t alignment = isHuge ? kHugePage : kCacheLine;
  void* const block = ::operator new(bytes + alignment + sizeof(Header), std::nothrow);
  if (block == nullptr) return nullptr;
  void* storage = static_cast<Header*>(block) + 1;
  std::size_t room = bytes + alignment;
  std::align(alignment, bytes, storage, room);
  HeaderOf(storage) = {block, bytes};
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  // Whole pages only: the rest of the last one is nobody's memory. It is only advice: no harm when the system
  // declines.
  if (isHuge) madvise(storage, bytes / kHugePage * kHugePage, MADV_HUGEPAGE);
#endif
  return storage;
}

void FreeAligned(void* storage) {
  if (storage != nullptr) ::operator delete(HeaderOf(storage).block);
}

// The large block that was freed last, for the next result of its size; Linux may take its pages whenever it
// needs them. Threads take it from each other without waiting.
class KeptBlock {
 public:
  ~KeptBlock() { Drop(); }

  void Put(void* storage) {
#if defined(__linux__) && defined(MADV_FREE)
    madvise(storage, HeaderOf(storage).bytes / kHugePage * kHugePage, MADV_FREE);
#endif
    FreeAligned(storage_.exchange(storage));
  }

  // Null when there is none of about this size; one of another size is freed.
  void* Take(std::size_t bytes) {
    void* const storage = storage_.exchange(nullptr);
    if (storage == nullptr) return nullptr;
    const std::size_t room = HeaderOf(storage).bytes;
    if (bytes <= room && room - bytes <= bytes / 8) return storage;
    FreeAligned(storage);
    return nullptr;
  }

  // Whether there was one.
  bool Drop() {
    void* const storage = storage_.exchange(nullptr);
    FreeAligned(storage);
    return storage != nullptr;
  }

 private:
  std::atomic<void*> storage_ = nullptr;
};

KeptBlock kept;

}  // namespace

void* AllocateStorage(std::size_t bytes) {
  if (bytes < kSmallBlock) return ::operator new(bytes, std::nothrow);
  void* storage = bytes < kLeastKept ? nullptr : kept.Take(bytes);
  if (storage == nullptr) storage = AllocateAligned(bytes);
  // What is kept does not stand in the way of what is needed.
  return storage == nullptr && kept.Drop() ? AllocateAligned(bytes) : storage;
}

void FreeStorage(void* storage, std::size_t bytes) {
  if (bytes < kSmallBlock || storage == nullptr) {
    ::operator delete(storage);
  } else if (bytes < kLeastKept || bytes > kMostKept) {
    FreeAligned(storage);
  } else {
    kept.Put(storage);
  }
}

}  // namespace mth_internal
