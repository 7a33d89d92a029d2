#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace mth_internal {

/// Beyond this many clusters the hypotheses are refused: each sample would have more than a million masses.
inline constexpr int kMostEvidentialClusters = 20;

/// The hypotheses in their order, as sets of bits: bit k is cluster k.
class HypothesisTable {
 public:
  /// @param clustersCount  0 to 30. May throw std::bad_alloc.
  explicit HypothesisTable(int clustersCount) : indices_(std::size_t{1} << clustersCount) {
    sets_.reserve(indices_.size());
    sets_.push_back(0);
    for (std::size_t source = 0; source < sets_.size(); ++source) {
      // Each set of several clusters comes once, from the set without its last cluster.
      const std::uint32_t set = sets_[source];
      for (int k = static_cast<int>(std::bit_width(set)); k < clustersCount; ++k)
        sets_.push_back(set | std::uint32_t{1} << k);
    }
    for (std::size_t j = 0; j < sets_.size(); ++j) indices_[sets_[j]] = static_cast<int>(j);
  }

  int Count() const { return static_cast<int>(sets_.size()); }
  std::uint32_t SetOf(int hypothesis) const { return sets_[static_cast<std::size_t>(hypothesis)]; }
  int SizeOf(int hypothesis) const { return std::popcount(SetOf(hypothesis)); }
  bool Has(int hypothesis, int cluster) const { return (SetOf(hypothesis) >> cluster & 1U) != 0; }
  int IndexOf(std::uint32_t set) const { return indices_[set]; }

 private:
  std::vector<std::uint32_t> sets_;
  std::vector<int> indices_;  // of the hypothesis that is a set
};

}  // namespace mth_internal
