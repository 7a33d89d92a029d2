#pragma once

#include "support/operations/operations.h"

namespace mth_test {

/// What a run answers without memory.
inline constexpr double kNoDistance = 3.4028234663852886e38;

/// Samples in blobs around as many points as there are clusters, with memberships and centroids to start
/// from.
class EngineInput {
 public:
  EngineInput(int samples, int clusters, int dimensions);

  /// Adds the samples and, if asked, sets the centroids.
  void Fill(MTH_CLUSTERING& engine, bool hasCentroids) const;

  int SamplesCount() const { return static_cast<int>(features_.size()); }

 private:
  std::vector<std::vector<double>> features_;
  std::vector<std::vector<double>> memberships_;
  std::vector<std::vector<double>> centroids_;
};

/// An engine after an evidential run on blobs.
std::unique_ptr<MTH_CLUSTERING> EvidentialEngine(int samples, int clusters, int dimensions);

/// Counts samples, centroids and every partition.
void CountEngine(Trial& trial, MTH_CLUSTERING& engine);

}  // namespace mth_test
