#include <algorithm>
#include <cstdint>
#include <functional>
#include <new>

#include "mth/clustering/Mth_sample_pool_internal.h"
#include "mth/core/Mth_compiler_internal.h"
#include "mth/core/Mth_storage_internal.h"

MTH_CLUSTERING_SAMPLE::MTH_CLUSTERING_SAMPLE(int parametersCount, int membershipsCount, double* outside,
                                             std::int32_t place)
    : place_(place), parametersCount_(parametersCount), membershipsCount_(membershipsCount) {
  if (!AreInside()) values_.outside = outside;
}

namespace mth_internal {
namespace {

// Slabs grow with their pool, so that small engines stay small and large ones have few.
constexpr std::size_t kSmallestSlab = std::size_t{1} << 12;
constexpr std::size_t kLargestSlab = std::size_t{1} << 23;
constexpr std::size_t kLargestKnownSlab = std::size_t{1} << 26;  // where it is known that all of it is needed
constexpr std::size_t kLargestPooledSample = std::size_t{1} << 10;  // larger ones stand on their own
constexpr std::size_t kWrittenAhead = std::size_t{1} << 12;         // memory is fetched before it is written
constexpr std::size_t kPlaceBytes = 8;                              // places count in these

}  // namespace

std::size_t SamplePool::BytesOf(int parametersCount, int membershipsCount) {
  const auto values = static_cast<std::size_t>(parametersCount) + static_cast<std::size_t>(membershipsCount);
  const std::size_t outside = values <= MTH_CLUSTERING_SAMPLE::kInsideValues ? 0 : values;
  return sizeof(MTH_CLUSTERING_SAMPLE) + outside * sizeof(double);
}

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

bool SamplePool::AddSlab(std::size_t knownBytes) {
  const std::size_t guessed = std::clamp(totalBytes_, kSmallestSlab, kLargestSlab);
  const std::size_t known = std::min(knownBytes, kLargestKnownSlab - sizeof(Slab)) + sizeof(Slab);
  const std::size_t bytes = std::max(guessed, known);
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

// Where the values stand is set, not what they are.
MTH_INLINE MTH_CLUSTERING_SAMPLE* SamplePool::Place(std::size_t bytes, int parametersCount,
                                                    int membershipsCount, std::size_t knownBytes) {
  using Sample = MTH_CLUSTERING_SAMPLE;
  static_assert(sizeof(Sample) % kPlaceBytes == 0 && sizeof(Slab) % kPlaceBytes == 0);
  const bool hasRoom = !slabs_.empty() && slabs_.back()->bytes - slabs_.back()->usedBytes >= bytes;
  if (!hasRoom && !AddSlab(knownBytes)) return nullptr;
  Slab& slab = *slabs_.back();
  char* const address = slab.At(slab.usedBytes);
  PrefetchForWriting(address + kWrittenAhead);
  const auto place = static_cast<std::int32_t>(slab.usedBytes / kPlaceBytes);
  auto* const outside = reinterpret_cast<double*>(address + sizeof(Sample));
  auto* const sample = new (address) Sample(parametersCount, membershipsCount, outside, place);
  slab.usedBytes += bytes;
  ++slab.living;
  return sample;
}

MTH_CLUSTERING_SAMPLE* SamplePool::New(const double* parameters, int parametersCount,
                                       const double* memberships, int membershipsCount) {
  const std::size_t bytes = BytesOf(parametersCount, membershipsCount);
  if (bytes > kLargestPooledSample) {
    return new (std::nothrow)
        MTH_CLUSTERING_SAMPLE(parameters, parametersCount, memberships, membershipsCount);
  }
  MTH_CLUSTERING_SAMPLE* const sample = Place(bytes, parametersCount, membershipsCount, bytes);
  if (sample != nullptr) sample->Fill(parameters, memberships);
  return sample;
}

// Millions of samples whose values fit inside are made without a call each.
int SamplePool::AddMany(const double* parameters, int parametersCount, int membershipsCount, int count,
                        MTH_POINTER_LIST<MTH_CLUSTERING_SAMPLE>& samples) {
  const std::size_t bytes = BytesOf(parametersCount, membershipsCount);
  if (bytes > sizeof(MTH_CLUSTERING_SAMPLE)) return 0;
  for (int i = 0; i < count; ++i) {
    const std::size_t left = static_cast<std::size_t>(count - i) * bytes;
    MTH_CLUSTERING_SAMPLE* const sample = Place(bytes, parametersCount, membershipsCount, left);
    if (sample == nullptr) return i;
    double* const values = sample->values_.inside;
    std::fill_n(values, MTH_CLUSTERING_SAMPLE::kInsideValues, 0.0);
    for (int d = 0; d < parametersCount; ++d) values[d] = *parameters++;
    samples.Add(sample);
  }
  return count;
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
