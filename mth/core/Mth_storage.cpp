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

// Blocks of these sizes are kept when they are freed. C libraries give the larger ones back to the system at
// once, and the end of their heap when several of the others are free there: the pages are zeroed again for
// each result.
constexpr std::size_t kLeastKept = std::size_t{32} << 10;
constexpr std::size_t kMostKept = std::size_t{64} << 20;
constexpr int kKeptBlocks = 8;  // on a shelf
constexpr int kShelves = 8;

bool IsWorthKeeping(std::size_t bytes) {
  return bytes >= kLeastKept && bytes <= kMostKept;
}

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

// The shelf of the calling thread. What another has freed lies in the cache of the other's core.
int OwnShelf() {
  static std::atomic<unsigned> threads = 0;
  thread_local const int own = static_cast<int>(threads++ % kShelves);
  return own;
}

// Freed blocks for the next results of about their sizes, the one freed last first; together they are never
// larger than the largest of them may be. Each thread has one of a few shelves, which it uses first; threads
// take blocks from each other without waiting.
class KeptBlocks {
 public:
  ~KeptBlocks() { DropAll(); }

  void Put(void* storage) {
    const int own = OwnShelf();
    if (!Reserve(own, HeaderOf(storage).bytes)) return FreeAligned(storage);
    AdviseFree(storage);
    for (std::atomic<void*>& place : shelves_[own].places) {
      storage = place.exchange(storage);
      if (storage == nullptr) return;
    }
    Drop(storage);
  }

  // Null when there is none of about this size. A thread that is new, or allocates what another frees, has
  // nothing on its own shelf.
  void* Take(std::size_t bytes) {
    const int own = OwnShelf();
    for (int i = 0; i < kShelves; ++i) {
      if (void* const storage = TakeFrom(shelves_[(own + i) % kShelves], bytes)) return storage;
    }
    return nullptr;
  }

  // Whether there was one.
  bool DropAll() {
    bool wasAny = false;
    for (Shelf& shelf : shelves_) {
      for (std::atomic<void*>& place : shelf.places) wasAny |= Drop(place.exchange(nullptr));
    }
    return wasAny;
  }

 private:
  struct alignas(kCacheLine) Shelf {
    std::atomic<void*> places[kKeptBlocks] = {};
  };

  void* TakeFrom(Shelf& shelf, std::size_t bytes) {
    for (std::atomic<void*>& place : shelf.places) {
      if (place.load(std::memory_order_relaxed) == nullptr) continue;
      void* const storage = place.exchange(nullptr);
      if (storage == nullptr) continue;
      const std::size_t room = HeaderOf(storage).bytes;
      if (bytes <= room && room - bytes <= bytes / 8) {
        held_ -= room;
        return storage;
      }
      void* empty = nullptr;
      if (!place.compare_exchange_strong(empty, storage)) Drop(storage);  // another thread has filled it
    }
    return nullptr;
  }

  // Linux may take the pages whenever it needs them.
  static void AdviseFree([[maybe_unused]] void* storage) {
#if defined(__linux__) && defined(MADV_FREE)
    const std::size_t bytes = HeaderOf(storage).bytes;
    if (bytes >= kHugePageThreshold) madvise(storage, bytes / kHugePage * kHugePage, MADV_FREE);
#endif
  }

  // Makes room for so much: blocks of the other shelves go first, of each those freed longest ago. False when
  // other threads are about to fill it.
  bool Reserve(int own, std::size_t bytes) {
    if ((held_ += bytes) <= kMostKept) return true;
    for (int i = 1; i <= kShelves; ++i) DropOldest(shelves_[(own + i) % kShelves]);
    if (held_ <= kMostKept) return true;
    held_ -= bytes;
    return false;
  }

  // Drops blocks of a shelf while there is too much.
  void DropOldest(Shelf& shelf) {
    for (int i = kKeptBlocks - 1; i >= 0 && held_ > kMostKept; --i) Drop(shelf.places[i].exchange(nullptr));
  }

  // Whether it was one; it is not among the places any more.
  bool Drop(void* storage) {
    if (storage == nullptr) return false;
    const std::size_t room = HeaderOf(storage).bytes;
    FreeAligned(storage);
    held_ -= room;
    return true;
  }

  Shelf shelves_[kShelves];
  alignas(kCacheLine) std::atomic<std::size_t> held_ = 0;  // bytes in the places, or on the way to one
};

KeptBlocks kept;

}  // namespace

void* AllocateStorage(std::size_t bytes) {
  if (bytes < kSmallBlock) return ::operator new(bytes, std::nothrow);
  void* storage = IsWorthKeeping(bytes) ? kept.Take(bytes) : nullptr;
  if (storage == nullptr) storage = AllocateAligned(bytes);
  // What is kept does not stand in the way of what is needed.
  return storage == nullptr && kept.DropAll() ? AllocateAligned(bytes) : storage;
}

void FreeStorage(void* storage, std::size_t bytes) {
  if (bytes < kSmallBlock || storage == nullptr) {
    ::operator delete(storage);
  } else if (IsWorthKeeping(bytes)) {
    kept.Put(storage);
  } else {
    FreeAligned(storage);
  }
}

}  // namespace mth_internal
