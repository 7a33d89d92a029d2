#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "mth/clustering/Mth_clustering_kernels_internal.h"
#include "mth/matrix/Mth_storage_internal.h"
#include "std/Std_wait_bar.h"

namespace mth_internal {

inline int BlocksOf(int samplesCount) {
  return (samplesCount - 1) / kBlockSamples + 1;
}

/// Samples in that block: kBlockSamples but in the last one.
inline int SamplesInBlock(int samplesCount, int block) {
  const int left = samplesCount - block * kBlockSamples;
  return left < kBlockSamples ? left : kBlockSamples;
}

/// Rows of values in blocks of samples: in each block some rows of kBlockSamples values, so that loops run
/// across samples. The values are not initialised.
template <class Value>
class SampleBlocks {
 public:
  /// @return  false when the memory cannot be had.
  bool Allocate(int samplesCount, int rowsPerBlock) {
    blockValues_ = std::size_t{kBlockSamples} * static_cast<std::size_t>(rowsPerBlock);
    const std::size_t bytes = static_cast<std::size_t>(BlocksOf(samplesCount)) * blockValues_ * sizeof(Value);
    values_ = Storage(static_cast<Value*>(AllocateStorage(bytes)), FreeBytes{bytes});
    return values_ != nullptr;
  }
  Value* Block(int block) const { return values_.get() + static_cast<std::size_t>(block) * blockValues_; }

 private:
  struct FreeBytes {
    std::size_t bytes = 0;
    void operator()(Value* values) const { FreeStorage(values, bytes); }
  };
  using Storage = std::unique_ptr<Value, FreeBytes>;

  std::size_t blockValues_ = 0;
  Storage values_;
};

/// The sums over weighted samples from which the centroids are moved, in groups of kWeightLanes clusters.
class CentroidSums {
 public:
  CentroidSums(int clustersCount, int dimensionsCount);
  void Reset();
  /// Adds samples weighted by membership to a power.
  void AddMembers(const double* memberships, const PowerRule& rule, const double* features, int count);
  /// Adds samples to the cluster of their label.
  void AddLabelled(const std::int32_t* labels, const double* features, int count);
  /// Moves the centroids, clusters x dimensions, to the weighted means; to the origin where there is no
  /// weight.
  void MoveCentroids(std::vector<double>& centroids) const;

 private:
  double* WeightSums(int group) { return weightSums_.data() + group * kWeightLanes; }
  double* FeatureSums(int group) {
    return featureSums_.data() + std::int64_t{group} * dimensions_ * kWeightLanes;
  }

  int clusters_;
  int dimensions_;
  int groups_;
  std::vector<double> weightSums_;
  std::vector<double> featureSums_;
  std::vector<double> weights_;  // per group, one row of lanes per sample of a block
  std::vector<double>
      labelWeights_;  // per group, one row of lanes per label: 1 for its cluster, 0 for others
};

/// Asks for a sample some places ahead of the b-th of `count`: they are scattered over memory, and waiting
/// for each in turn would cost more than the computation.
template <class Iterator>
void PrefetchSample(Iterator samples, int b, int count) {
  constexpr int kAhead = 12;
  if (b + kAhead >= count) return;
  const char* bytes = reinterpret_cast<const char*>(samples[b + kAhead]);
  for (std::size_t offset = 0; offset < sizeof *samples[b]; offset += 64) __builtin_prefetch(bytes + offset);
}

/// Opens a run's progress window.
void OpenProgress(TSTD_WAIT_BAR& window, const char* title, int iterationsCount);
/// Steps it with the text followed by the number; a double is written as "%f" writes it, with a decimal
/// point.
void StepProgress(TSTD_WAIT_BAR& window, const char* text, std::int64_t number);
/// @copydoc StepProgress(TSTD_WAIT_BAR&,const char*,std::int64_t)
void StepProgress(TSTD_WAIT_BAR& window, const char* text, double number);

}  // namespace mth_internal
