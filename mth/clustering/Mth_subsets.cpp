#include "mth/clustering/Mth_subsets.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>

#include "mth/clustering/Mth_subset_order_internal.h"
#include "mth/core/Mth_convert_internal.h"
#include "mth/core/Mth_message_internal.h"

namespace {

using Subsets = MTH_POINTER_LIST<std::vector<int>>;

bool Refuse(const char* text) {
  mth_internal::ShowInformation(text);
  return false;
}

bool IsPowerOfSet(std::int64_t subsetsCount, std::int64_t elementsCount) {
  return elementsCount <= mth_internal::kMostSubsetElements && subsetsCount == std::int64_t{1}
                                                                                   << elementsCount;
}

std::vector<int> ReadElements(const MTH_MATRIX& elements) {
  std::vector<int> values(static_cast<std::size_t>(elements.GetNbRows()) *
                          static_cast<std::size_t>(elements.GetNbCols()));
  int column = 0;
  for (int& value : values) value = mth_internal::TruncateToInt(elements.Get(0, column++));
  return values;
}

void Fill(const std::vector<int>& values, Subsets& subsets) {
  int entry = 0;
  mth_internal::ForEachSubset(static_cast<int>(values.size()), [&](const int* positions, int size) {
    std::vector<int>& subset = *subsets.Get(entry++);
    subset.clear();
    for (int i = 0; i < size; ++i) subset.push_back(values[static_cast<std::size_t>(positions[i])]);
  });
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
