#include "mth/clustering/Mth_subsets.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

#include "std/Std_message.h"

namespace {

using Subsets = MTH_POINTER_LIST<std::vector<int>>;

bool Refuse(const char* text) {
  Std_ShowMessage(text, MessageKind::Information, "Information");
  return false;
}

bool IsPowerOfSet(std::int64_t subsetsCount, std::int64_t elementsCount) {
  constexpr std::int64_t kMostElements = 30;  // a list counts its entries in an int
  return elementsCount <= kMostElements && subsetsCount == std::int64_t{1} << elementsCount;
}

int ToInteger(double value) {
  if (std::isnan(value)) return 0;
  constexpr double kLowest = std::numeric_limits<int>::min();
  constexpr double kLargest = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(value, kLowest, kLargest));
}

std::vector<int> ReadElements(const MTH_MATRIX& elements) {
  std::vector<int> values(static_cast<std::size_t>(elements.GetNbRows()) *
                          static_cast<std::size_t>(elements.GetNbCols()));
  int column = 0;
  for (int& value : values) value = ToInteger(elements.Get(0, column++));
  return values;
}

// Moves ascending positions below `count` on to the next combination of their number, in lexicographic order.
// Returns false after the last one.
bool Advance(std::vector<std::size_t>& positions, std::size_t count) {
  std::size_t place = positions.size();
  while (place > 0 && positions[place - 1] == count - (positions.size() - place) - 1) --place;
  if (place == 0) return false;
  std::size_t next = positions[place - 1] + 1;
  for (std::size_t i = place - 1; i < positions.size(); ++i) positions[i] = next++;
  return true;
}

void Fill(const std::vector<int>& values, Subsets& subsets) {
  std::vector<std::size_t> positions;
  int entry = 0;
  for (std::size_t size = 0; size <= values.size(); ++size) {
    positions.resize(size);
    for (std::size_t i = 0; i < size; ++i) positions[i] = i;
    do {
      std::vector<int>& subset = *subsets.Get(entry++);
      subset.clear();
      for (const std::size_t position : positions) subset.push_back(values[position]);
    } while (Advance(positions, values.size()));
  }
}

}  // namespace

bool Mth_GenerateSubsets(MTH_MATRIX* elements, Subsets* subsets) {
  if (elements == nullptr || subsets == nullptr || !elements->IsAllocated()) {
    return Refuse("Mth_GenerateSubsets :: Arguments invalides!");
  }
  const std::int64_t count = std::int64_t{elements->GetNbRows()} * elements->GetNbCols();
  if (!IsPowerOfSet(subsets->GetCount(), count)) {
    return Refuse("Erreur : La taille de l'ensemble de parties est incompatible!");
  }
  if (std::find(subsets->begin(), subsets->end(), nullptr) != subsets->end()) {
    return Refuse("Erreur : Tous les sous-ensembles doivent etre préalloués!");
  }
  try {
    Fill(ReadElements(*elements), *subsets);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}
