#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "mth/clustering/Mth_subset_order_internal.h"

namespace mth_internal {

/// Beyond this many clusters the hypotheses are refused: each sample would have more than a million masses.
inline constexpr int kMostEvidentialClusters = 20;

/// The hypotheses in their order, as sets of bits: bit k is cluster k.
class HypothesisTable {
 public:
  /// @param clustersCount  0 to 30. May throw std::bad_alloc.
  explicit HypothesisTable(int clustersCount) {
    sets_.reserve(std::size_t{1} << clustersCount);
    ForEachSubset(clustersCount, [this](const int* clusters, int size) {
      std::uint32_t set = 0;
      for (int i = 0; i < size; ++i) set |= std::uint32_t{1} << clusters[i];
      sets_.push_back(set);
    });
  }

  int Count() const { return static_cast<int>(sets_.size()); }
  const std::uint32_t* Sets() const { return sets_.data(); }
  std::uint32_t SetOf(int hypothesis) const { return sets_[static_cast<std::size_t>(hypothesis)]; }
  int SizeOf(int hypothesis) const { return std::popcount(SetOf(hypothesis)); }
  bool Has(int hypothesis, int cluster) const { return (SetOf(hypothesis) >> cluster & 1U) != 0; }

 private:
  std::vector<std::uint32_t> sets_;
};

}  // namespace mth_internal
