#include <algorithm>
#include <limits>

#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_clustering_run_internal.h"
#include "mth/clustering/Mth_sample_pool_internal.h"

// Samples in, memberships and decisions out, all of them at once.

using namespace mth_internal;

bool MTH_CLUSTERING::AddSamples(const double* features, int count) {
  if (features == nullptr || count < 0 || clustersCount_ < 0 || dimensionsCount_ < 0) return false;
  const int samplesBefore = GetSamplesCount();
  if (count > std::numeric_limits<int>::max() - samplesBefore) return false;
  if (!samples_.Reserve(samplesBefore + count) || !HasPool()) return false;
  const int added = samplePool_->AddMany(features, dimensionsCount_, clustersCount_, count, samples_);
  features += std::ptrdiff_t{added} * dimensionsCount_;
  for (int i = added; i < count; ++i) {
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

int MTH_CLUSTERING::LargestMembership(const MTH_CLUSTERING_SAMPLE* sample) const {
  if (sample == nullptr) return 0;
  const auto placeOfLargest = [this](auto membership) {
    int best = 0;
    for (int k = 1; k < clustersCount_; ++k) best = membership(k) >= membership(best) ? k : best;
    return best;
  };
  if (sample->membershipsCount_ < clustersCount_)
    return placeOfLargest([sample](int k) { return sample->GetMembership(k); });
  const double* const memberships = sample->Memberships();
  return placeOfLargest([memberships](int k) { return memberships[k]; });
}

bool MTH_CLUSTERING::GetDecisions(int* clusters) const {
  if (clusters == nullptr || GetSamplesCount() == 0) return false;
  for (auto place = samples_.begin(); place != samples_.end(); ++place) {
    if (samples_.end() - place > kPrefetchAhead) PrefetchObject(place[kPrefetchAhead]);
    *clusters++ = LargestMembership(*place);
  }
  return true;
}
