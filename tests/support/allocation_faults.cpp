#include "support/allocation_faults.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>

// Replaces the allocation functions of the program by ones that fail on demand.

namespace {

constexpr int kUnlimited = std::numeric_limits<int>::max();
int allowedAllocations = kUnlimited;
bool haveStruck = false;
std::size_t largestRequest = 0;
std::size_t requestedBytes = 0;
int requests = 0;

void* AllocateOrNull(std::size_t bytes, std::size_t alignment = alignof(std::max_align_t)) noexcept {
  largestRequest = std::max(largestRequest, bytes);
  requestedBytes += bytes;
  ++requests;
  if (allowedAllocations <= 0) {
    haveStruck = true;
    return nullptr;
  }
  if (allowedAllocations != kUnlimited) --allowedAllocations;
  return std::aligned_alloc(alignment,
                            (std::max<std::size_t>(bytes, 1) + alignment - 1) / alignment * alignment);
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

AllocationFaults::AllocationFaults(int allowed) {
  haveStruck = false;
  allowedAllocations = allowed;
}
AllocationFaults::~AllocationFaults() {
  allowedAllocations = kUnlimited;
}
bool AllocationFaults::HaveStruck() const {
  return haveStruck;
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
  std::free(p);
}
void operator delete[](void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
  std::free(p);
}
void operator delete(void* p, std::align_val_t) noexcept {
  std::free(p);
}
void operator delete[](void* p, std::align_val_t) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t, std::align_val_t) noexcept {
  std::free(p);
}
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept {
  std::free(p);
}
