#pragma once

#include <cstddef>
#include <vector>

#include "mth/Mth_pointer_list.h"
#include "mth/clustering/Mth_clustering_sample.h"

namespace mth_internal {

/// The memory of an engine's samples: slabs in which they stand one after the other, so that millions are
/// made, read and given back without an allocation each. A slab lives as long as its pool or the last of its
/// samples, whichever ends later: hosts may keep samples.
class SamplePool {
 public:
  SamplePool() = default;
  /// Frees the slabs that have no sample left.
  ~SamplePool();
  SamplePool(const SamplePool&) = delete;
  SamplePool& operator=(const SamplePool&) = delete;

  /// A new sample of these values, zeros for a null array; null without memory. The sizes are not negative.
  MTH_CLUSTERING_SAMPLE* New(const double* parameters, int parametersCount, const double* memberships,
                             int membershipsCount);
  /// Appends new samples of these features, one sample's after the other, and of memberships 0 to a list that
  /// has room for them.
  /// @return  how many: fewer than `count` without memory, none where the values of a sample stand outside
  ///          it.
  int AddMany(const double* parameters, int parametersCount, int membershipsCount, int count,
              MTH_POINTER_LIST<MTH_CLUSTERING_SAMPLE>& samples);
  /// Deletes the samples of a list, whether they are of this pool or not, and empties the list.
  void DeleteAll(MTH_POINTER_LIST<MTH_CLUSTERING_SAMPLE>& samples);
  /// Deletes one sample of some pool.
  static void Delete(MTH_CLUSTERING_SAMPLE* sample);

 private:
  struct Slab;

  static std::size_t BytesOf(int parametersCount, int membershipsCount);
  // knownBytes: what will be needed at least.
  bool AddSlab(std::size_t knownBytes);
  MTH_CLUSTERING_SAMPLE* Place(std::size_t bytes, int parametersCount, int membershipsCount,
                               std::size_t knownBytes);
  Slab* SlabOf(const MTH_CLUSTERING_SAMPLE* sample, Slab* guess) const;

  std::vector<Slab*> slabs_;
  std::size_t totalBytes_ = 0;
};

}  // namespace mth_internal
