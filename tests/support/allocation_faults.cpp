#include "support/allocation_faults.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>

#if defined(_WIN32)
#include <malloc.h>
#endif

// Replaces the allocation functions of the program by ones that fail on demand.

namespace {

constexpr int kUnlimited = std::numeric_limits<int>::max();
int allowedAllocations = kUnlimited;  // counts down to 0, then the failing ones do
int failingAllocations = kUnlimited;
int allocations = 0;
std::int64_t liveAllocations = 0;
bool isPaused = false;
bool haveStruck = false;
std::size_t largestRequest = 0;
std::size_t requestedBytes = 0;
int requests = 0;

// Whether this allocation is one of those that fail; counts it.
bool MustFail() {
  ++allocations;
  if (allowedAllocations > 0) {
    if (allowedAllocations != kUnlimited) --allowedAllocations;
    return false;
  }
  if (failingAllocations <= 0) return false;
  if (failingAllocations != kUnlimited) --failingAllocations;
  return true;
}

void* AllocateOrNull(std::size_t bytes, std::size_t alignment = alignof(std::max_align_t)) noexcept {
  largestRequest = std::max(largestRequest, bytes);
  requestedBytes += bytes;
  ++requests;
  if (!isPaused && MustFail()) {
    haveStruck = true;
    return nullptr;
  }
  ++liveAllocations;
  const std::size_t wanted = (std::max<std::size_t>(bytes, 1) + alignment - 1) / alignment * alignment;
#if defined(_WIN32)
  return _aligned_malloc(wanted, alignment);
#else
  return std::aligned_alloc(alignment, wanted);
#endif
}

void Free(void* memory) {
  if (memory != nullptr) --liveAllocations;
#if defined(_WIN32)
  _aligned_free(memory);
#else
  std::free(memory);
#endif
}

void* AllocateOrThrow(std::size_t bytes, std::size_t alignment = alignof(std::max_align_t)) {
  void* memory = AllocateOrNull(bytes, alignment);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

constexpr std::size_t Bytes(std::align_val_t alignment) {
  return static_cast<std::size_t>(alignment);
}

}  // namespace

namespace mth_test {

AllocationFaults::AllocationFaults(int allowed, int failing) {
  haveStruck = false;
  allocations = 0;
  allowedAllocations = allowed;
  failingAllocations = failing;
}
AllocationFaults::~AllocationFaults() {
  allowedAllocations = kUnlimited;
}
bool AllocationFaults::HaveStruck() const {
  return haveStruck;
}
int AllocationFaults::Allocations() const {
  return allocations;
}

AllocationPause::AllocationPause() {
  isPaused = true;
}
AllocationPause::~AllocationPause() {
  isPaused = false;
}

std::int64_t LiveAllocations() {
  return liveAllocations;
}

AllocationWatch::AllocationWatch() {
  largestRequest = 0;
  requestedBytes = 0;
  requests = 0;
}
std::size_t AllocationWatch::LargestRequest() const {
  return largestRequest;
}
std::size_t AllocationWatch::RequestedBytes() const {
  return requestedBytes;
}
int AllocationWatch::Requests() const {
  return requests;
}

}  // namespace mth_test

void* operator new(std::size_t n) {
  return AllocateOrThrow(n);
}
void* operator new[](std::size_t n) {
  return AllocateOrThrow(n);
}
void* operator new(std::size_t n, std::align_val_t a) {
  return AllocateOrThrow(n, Bytes(a));
}
void* operator new[](std::size_t n, std::align_val_t a) {
  return AllocateOrThrow(n, Bytes(a));
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
  return AllocateOrNull(n);
}
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
  return AllocateOrNull(n);
}
void* operator new(std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
  return AllocateOrNull(n, Bytes(a));
}
void* operator new[](std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
  return AllocateOrNull(n, Bytes(a));
}
void operator delete(void* p) noexcept {
  Free(p);
}
void operator delete[](void* p) noexcept {
  Free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  Free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
  Free(p);
}
void operator delete(void* p, std::align_val_t) noexcept {
  Free(p);
}
void operator delete[](void* p, std::align_val_t) noexcept {
  Free(p);
}
void operator delete(void* p, std::size_t, std::align_val_t) noexcept {
  Free(p);
}
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept {
  Free(p);
}
