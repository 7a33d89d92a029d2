#include <algorithm>
#include <limits>

#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_sample_pool_internal.h"

// Samples in, memberships and decisions out, all of them at once.

bool MTH_CLUSTERING::AddSamples(const double* features, int count) {
  if (features == nullptr || count < 0 || clustersCount_ < 0 || dimensionsCount_ < 0) return false;
  const int samplesBefore = GetSamplesCount();
  if (count > std::numeric_limits<int>::max() - samplesBefore) return false;
  if (!samples_.Reserve(samplesBefore + count)) return false;
  for (int i = 0; i < count; ++i) {
    if (Append(features, dimensionsCount_, nullptr, clustersCount_)) {
      features += dimensionsCount_;
      continue;
    }
    while (GetSamplesCount() > samplesBefore) {
      const int last = GetSamplesCount() - 1;
      delete samples_.Get(last);
      samples_.Delete(last);
    }
    return false;
  }
  return true;
}

bool MTH_CLUSTERING::GetMemberships(double* memberships) const {
  if (memberships == nullptr || GetSamplesCount() == 0) return false;
  const int count = std::max(clustersCount_, 0);
  for (const MTH_CLUSTERING_SAMPLE* sample : samples_) {
    const int present = sample != nullptr ? std::min(count, sample->membershipsCount_) : 0;
    if (present > 0) std::copy_n(sample->Memberships(), present, memberships);
    std::fill_n(memberships + present, count - present, 0.0);
    memberships += count;
  }
  return true;
}

bool MTH_CLUSTERING::GetDecisions(int* clusters) const {
  if (clusters == nullptr || GetSamplesCount() == 0) return false;
  for (const MTH_CLUSTERING_SAMPLE* sample : samples_) *clusters++ = LargestMembership(sample);
  return true;
}
