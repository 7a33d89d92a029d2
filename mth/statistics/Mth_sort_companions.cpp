#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <utility>

#include "mth/core/Mth_message_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/statistics/Mth_sort.h"
#include "mth/statistics/Mth_sort_internal.h"

// Quicksort of keys with companions. Its permutation is part of the contract, also among equal keys: whatever
// makes it faster must exchange the same pairs.

namespace mth_internal {
namespace {

using Index = std::ptrdiff_t;

constexpr Index kInsertionSpan = 7;   // last - first below this: straight insertion
constexpr Index kBlock = 128;         // entries whose stops are listed at a time; offsets fit a byte
constexpr Index kBlockwiseSpan = 24;  // shorter parts are scanned one by one

template <class T>
struct KeyedRows {
  T* keys;
  T* companions;

  void Swap(Index i, Index j) const {
    std::swap(keys[i], keys[j]);
    std::swap(companions[i], companions[j]);
  }
  void Order(Index i, Index j) const {
    if (keys[i] > keys[j]) Swap(i, j);
  }
};

template <class T>
void SortByInsertion(KeyedRows<T> rows, Index first, Index last) {
  for (Index next = first + 1; next <= last; ++next) {
    const T key = rows.keys[next];
    const T companion = rows.companions[next];
    Index place = next;
    for (; place > first && rows.keys[place - 1] > key; --place) {
      rows.keys[place] = rows.keys[place - 1];
      rows.companions[place] = rows.companions[place - 1];
    }
    rows.keys[place] = key;
    rows.companions[place] = companion;
  }
}

// One side's scan: the entries of a block at which it would stop, listed without branches.
template <int direction>
class Stops {
 public:
  explicit Stops(Index next) : next_(next) {}

  bool IsEmpty() const { return used_ == count_; }
  Index Count() const { return count_ - used_; }
  Index Take() { return base_ + direction * Index{offsets_[static_cast<std::size_t>(used_++)]}; }
  // The next entry to be scanned for new stops.
  Index Next() const { return next_; }
  // Where a scan one by one stands that has yet to meet the stops that are left.
  Index Position() const {
    return IsEmpty() ? next_ - direction
                     : base_ + direction * (Index{offsets_[static_cast<std::size_t>(used_)]} - 1);
  }

  template <class T>
  void List(const T* keys, T pivot, Index size) {
    base_ = next_;
    used_ = 0;
    count_ = 0;
    for (Index k = 0; k < size; ++k) {
      const T key = keys[base_ + direction * k];
      offsets_[static_cast<std::size_t>(count_)] = static_cast<std::uint8_t>(k);
      count_ += direction > 0 ? !(key < pivot) : !(key > pivot);
    }
    next_ += direction * size;
  }

 private:
  Index base_ = 0;
  Index next_;
  Index used_ = 0;
  Index count_ = 0;
  std::array<std::uint8_t, kBlock> offsets_;
};

struct Scans {
  Index left;
  Index right;
};

// Exchanges the k-th stop from the left with the k-th from the right, block by block, as the two scans would,
// until too little is left between them.
template <class T>
Scans PartitionBlockwise(KeyedRows<T> rows, T pivot, Scans scans) {
  Stops<1> left(scans.left + 1);
  Stops<-1> right(scans.right - 1);
  for (;;) {
    const Index rest = right.Next() - left.Next() + 1;
    if (rest < 2) break;
    const bool needsBoth = left.IsEmpty() && right.IsEmpty();
    const Index size = std::min(needsBoth ? rest / 2 : rest, kBlock);
    if (left.IsEmpty()) left.List(rows.keys, pivot, size);
    if (right.IsEmpty()) right.List(rows.keys, pivot, size);
    for (Index pairs = std::min(left.Count(), right.Count()); pairs > 0; --pairs) {
      const Index i = left.Take();
      rows.Swap(i, right.Take());
    }
  }
  return {left.Position(), right.Position()};
}

// Whether all keys of a part have the same bits: each then has those of its neighbour.
template <class T>
bool AreAllSame(const T* keys, Index first, Index last) {
  return std::memcmp(keys + first, keys + first + 1, static_cast<std::size_t>(last - first) * sizeof(T)) == 0;
}

// What Partition does to a part whose keys are all the same: every entry stops its scan and changes places
// with its mirror image, which only the companions show.
template <class T>
Scans PartitionSame(KeyedRows<T> rows, Index first, Index last) {
  std::reverse(rows.companions + first + 2, rows.companions + last);
  const Index exchanges = (last - first - 1) / 2;
  const Scans scans{first + 2 + exchanges, last - 1 - exchanges};
  std::swap(rows.companions[first + 1], rows.companions[scans.right]);
  return scans;
}

// Partitions around the pivot at first + 1, to which the ends are already ordered: they stop the scans.
// A NaN stops them too, so neither ever leaves the part.
template <class T>
Scans Partition(KeyedRows<T> rows, Index first, Index last) {
  if (AreAllSame(rows.keys, first, last)) return PartitionSame(rows, first, last);
  const T pivot = rows.keys[first + 1];
  Scans scans{first + 1, last};
  if (last - first >= kBlockwiseSpan) scans = PartitionBlockwise(rows, pivot, scans);
  for (;;) {
    do ++scans.left;
    while (rows.keys[scans.left] < pivot);
    do --scans.right;
    while (rows.keys[scans.right] > pivot);
    if (scans.right < scans.left) break;
    rows.Swap(scans.left, scans.right);
  }
  rows.Swap(first + 1, scans.right);
  return scans;
}

// An array that is its own companions: exchanged twice it would never change, and scans would leave it.
template <class T>
bool SortAlone(int n, T* keys, int pendingPartsMax) {
  const WorkArray<T> companions(n);
  if (!companions) return false;
  std::copy_n(keys, n, companions.Get());
  return SortWithCompanions(n, keys, companions.Get(), pendingPartsMax);
}

}  // namespace

template <class T>
bool SortWithCompanions(int n, T* keys, T* companions, int pendingPartsMax) {
  if (n > 0 && (keys == nullptr || companions == nullptr)) return false;
  if (n > 0 && keys == companions) return SortAlone(n, keys, pendingPartsMax);
  std::array<std::pair<Index, Index>, kPendingPartsMax> pending;
  int pendingCount = 0;
  const KeyedRows<T> rows{keys, companions};
  Index first = 0;
  Index last = Index{n} - 1;
  for (;;) {
    if (last - first < kInsertionSpan) {
      SortByInsertion(rows, first, last);
      if (pendingCount == 0) return true;
      std::tie(first, last) = pending[static_cast<std::size_t>(--pendingCount)];
      continue;
    }
    rows.Swap((first + last) / 2, first + 1);
    rows.Order(first, last);
    rows.Order(first + 1, last);
    rows.Order(first, first + 1);
    const auto [left, right] = Partition(rows, first, last);
    if (pendingCount == pendingPartsMax) {
      mth_internal::ShowFailure("Augmenter nstack dans Mth_Sort", MessageKind::Information, "Quorvan");
      return false;
    }
    // The larger part waits: the parts that wait are then few.
    auto& larger = pending[static_cast<std::size_t>(pendingCount++)];
    if (last - left + 1 >= right - first) {
      larger = {left, last};
      last = right - 1;
    } else {
      larger = {first, right - 1};
      first = left;
    }
  }
}

template bool SortWithCompanions(int, double*, double*, int);
template bool SortWithCompanions(int, float*, float*, int);

}  // namespace mth_internal

bool Mth_Sort(int n, double* a, double* b) {
  return mth_internal::SortWithCompanions(n, a, b);
}

bool Mth_Sort(int n, float* a, float* b) {
  return mth_internal::SortWithCompanions(n, a, b);
}
