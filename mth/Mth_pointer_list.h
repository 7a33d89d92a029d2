#pragma once

#include <cstddef>
#include <exception>
#include <new>
#include <utility>
#include <vector>

#include "std/Std_export.h"

/// An ordered, growable list of object pointers. It never owns the objects: deleting an entry or the list
/// leaves them alone.
template <class T>
class MTH_POINTER_LIST {
 public:
  /// Appends the item. @return its index; -1, and no change, when memory runs out.
  int Add(T* item) {
    try {
      items_.push_back(item);
    } catch (const std::bad_alloc&) {
      return -1;
    }
    return GetCount() - 1;
  }

  /// Makes room for so many entries in all, so that adding up to there needs no memory.
  /// @return false, and no change, when memory runs out.
  bool Reserve(int count) {
    try {
      const auto wanted = static_cast<std::size_t>(count > 0 ? count : 0);
      const std::size_t doubled = 2 * items_.capacity();  // small steps do not copy the list each time
      if (wanted > items_.capacity()) items_.reserve(wanted > doubled ? wanted : doubled);
    } catch (const std::exception&) {
      return false;
    }
    return true;
  }

  /// @return the item; null outside [0, count).
  T* Get(int index) const { return IsValid(index) ? items_[static_cast<std::size_t>(index)] : nullptr; }

  /// Number of entries.
  int GetCount() const { return static_cast<int>(items_.size()); }

  /// Inserts the item before that index; index = count appends.
  /// @return false, and no change, outside [0, count] or when memory runs out.
  bool Insert(int index, T* item) {
    if (index < 0 || index > GetCount()) return false;
    try {
      items_.insert(items_.begin() + index, item);
    } catch (const std::bad_alloc&) {
      return false;
    }
    return true;
  }

  /// Removes the entry, not the object. @return false, and no change, outside [0, count).
  bool Delete(int index) {
    if (!IsValid(index)) return false;
    items_.erase(items_.begin() + index);
    return true;
  }

  /// Removes every entry, no object.
  void Clear() { items_.clear(); }

  /// Sorts the entries, keeping the order of equal ones.
  /// @param compare  negative when its first object goes before its second. An inconsistent comparison gives
  ///                 some order of the same entries, never worse; null changes nothing.
  void Sort(int (*compare)(void*, void*)) {
    if (compare == nullptr) return;
    try {
      std::vector<T*> merged(items_.size());
      for (std::size_t width = 1; width < items_.size(); width *= 2) {
        MergeRuns(width, merged, compare);
        items_.swap(merged);
      }
    } catch (const std::bad_alloc&) {
      SortInPlace(compare);
    }
  }

  /// Iteration over the items, as `T*`; adding or removing an entry ends it.
  auto begin() const { return items_.begin(); }
  /// @copydoc begin
  auto end() const { return items_.end(); }

 private:
  bool IsValid(int index) const { return index >= 0 && index < GetCount(); }

  // Merges neighbouring sorted runs of `width` entries. The standard sorts may read outside their range when
  // a comparison contradicts itself; this one cannot, whatever the comparison answers.
  void MergeRuns(std::size_t width, std::vector<T*>& merged, int (*compare)(void*, void*)) const {
    const std::size_t count = items_.size();
    for (std::size_t first = 0; first < count; first += 2 * width) {
      const std::size_t middle = first + width < count ? first + width : count;
      const std::size_t last = middle + width < count ? middle + width : count;
      std::size_t left = first;
      std::size_t right = middle;
      for (std::size_t place = first; place < last; ++place) {
        const bool takesRight = left == middle || (right < last && compare(items_[right], items_[left]) < 0);
        merged[place] = takesRight ? items_[right++] : items_[left++];
      }
    }
  }

  // Insertion sort, for when there is no memory for a second list.
  void SortInPlace(int (*compare)(void*, void*)) {
    for (std::size_t end = 1; end < items_.size(); ++end) {
      for (std::size_t i = end; i > 0 && compare(items_[i], items_[i - 1]) < 0; --i) {
        std::swap(items_[i], items_[i - 1]);
      }
    }
  }

  std::vector<T*> items_;
};
