#pragma once

#include <array>

namespace mth_internal {

/// A set of more elements has no number of subsets that an int can hold.
inline constexpr int kMostSubsetElements = 30;

/// Moves `size` ascending positions below `count` on to the next combination of that size, in lexicographic
/// order.
/// @return  false after the last one.
inline bool AdvanceCombination(int* positions, int size, int count) {
  int place = size;
  while (place > 0 && positions[place - 1] == count - (size - place) - 1) --place;
  if (place == 0) return false;
  int next = positions[place - 1] + 1;
  for (int i = place - 1; i < size; ++i) positions[i] = next++;
  return true;
}

/// Calls visit(positions, size) for every subset of `count` elements, at most kMostSubsetElements, as their
/// ascending positions: sizes ascending, from the empty set on, and within a size in lexicographic order.
/// This order numbers the hypotheses of evidential clustering.
template <class Visit>
void ForEachSubset(int count, Visit visit) {
  std::array<int, kMostSubsetElements> positions;
  for (int size = 0; size <= count; ++size) {
    for (int i = 0; i < size; ++i) positions[static_cast<std::size_t>(i)] = i;
    do {
      visit(static_cast<const int*>(positions.data()), size);
    } while (AdvanceCombination(positions.data(), size, count));
  }
}

}  // namespace mth_internal
