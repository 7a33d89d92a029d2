#include <algorithm>
#include <cstdint>
#include <functional>
#include <new>

#include "mth/clustering/Mth_sample_pool_internal.h"
#include "mth/core/Mth_storage_internal.h"

namespace mth_internal {
namespace {

// Slabs grow with their pool, so that small engines stay small and large ones have few.
constexpr std::size_t kSmallestSlab = std::size_t{1} << 12;
constexpr std::size_t kLargestSlab = std::size_t{1} << 23;
constexpr std::size_t kLargestPooledSample = std::size_t{1} << 10;  // larger ones stand on their own
constexpr std::size_t kPlaceBytes = 8;                              // places count in these

}  // namespace

// The head of a block of samples.
struct SamplePool::Slab {
  std::size_t bytes;      // this head included
  std::size_t usedBytes;  // likewise
  std::int64_t living;    // samples that are not deleted
  bool isHeld;            // by its pool

  char* At(std::size_t offset) { return reinterpret_cast<char*>(this) + offset; }
  bool Has(const MTH_CLUSTERING_SAMPLE* sample) {
    const char* const address = reinterpret_cast<const char*>(sample);
    const std::less<> isBefore;
    return !isBefore(address, At(0)) && isBefore(address, At(bytes));
  }
  void FreeIfUnused() {
    if (living <= 0 && !isHeld) FreeStorage(this, bytes);
  }
};

SamplePool::~SamplePool() {
  for (Slab* slab : slabs_) {
    slab->isHeld = false;
    slab->FreeIfUnused();
  }
}

bool SamplePool::AddSlab() {
  const std::size_t bytes = std::clamp(totalBytes_, kSmallestSlab, kLargestSlab);
  void* const memory = AllocateStorage(bytes);
  if (memory == nullptr) return false;
  try {
    slabs_.push_back(new (memory) Slab{bytes, sizeof(Slab), 0, true});
  } catch (const std::bad_alloc&) {
    FreeStorage(memory, bytes);
    return false;
  }
  totalBytes_ += bytes;
  return true;
}

MTH_CLUSTERING_SAMPLE* SamplePool::New(const double* parameters, int parametersCount,
                                       const double* memberships, int membershipsCount) {
  using Sample = MTH_CLUSTERING_SAMPLE;
  static_assert(sizeof(Sample) % kPlaceBytes == 0 && sizeof(Slab) % kPlaceBytes == 0);
  const auto valuesCount =
      static_cast<std::size_t>(parametersCount) + static_cast<std::size_t>(membershipsCount);
  const std::size_t outsideValues = valuesCount <= Sample::kInsideValues ? 0 : valuesCount;
  const std::size_t bytes = sizeof(Sample) + outsideValues * sizeof(double);
  if (bytes > kLargestPooledSample) {
    return new (std::nothrow) Sample(parameters, parametersCount, memberships, membershipsCount);
  }
  const bool hasRoom = !slabs_.empty() && slabs_.back()->bytes - slabs_.back()->usedBytes >= bytes;
  if (!hasRoom && !AddSlab()) return nullptr;
  Slab& slab = *slabs_.back();
  char* const address = slab.At(slab.usedBytes);
  const auto place = static_cast<std::int32_t>(slab.usedBytes / kPlaceBytes);
  auto* const outside = reinterpret_cast<double*>(address + sizeof(Sample));
  auto* const sample = new (address) Sample(parametersCount, membershipsCount, outside, place);
  sample->Fill(parameters, memberships);
  slab.usedBytes += bytes;
  ++slab.living;
  return sample;
}

void SamplePool::Delete(MTH_CLUSTERING_SAMPLE* sample) {
  char* const address = reinterpret_cast<char*>(sample);
  auto* const slab =
      reinterpret_cast<Slab*>(address - static_cast<std::size_t>(sample->place_) * kPlaceBytes);
  sample->~MTH_CLUSTERING_SAMPLE();
  --slab->living;
  slab->FreeIfUnused();
}

SamplePool::Slab* SamplePool::SlabOf(const MTH_CLUSTERING_SAMPLE* sample, Slab* guess) const {
  if (guess != nullptr && guess->Has(sample)) return guess;
  const auto found =
      std::find_if(slabs_.begin(), slabs_.end(), [=](Slab* slab) { return slab->Has(sample); });
  return found != slabs_.end() ? *found : nullptr;
}

// Pooled samples hold nothing outside their slab: they end with it, unread.
void SamplePool::DeleteAll(MTH_POINTER_LIST<MTH_CLUSTERING_SAMPLE>& samples) {
  Slab* slab = nullptr;
  for (MTH_CLUSTERING_SAMPLE* sample : samples) {
    if (sample == nullptr) continue;
    if (Slab* const own = SlabOf(sample, slab)) {
      slab = own;
      --slab->living;
    } else {
      delete sample;
    }
  }
  samples.Clear();
}

}  // namespace mth_internal
