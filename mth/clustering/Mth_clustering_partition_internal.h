#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "mth/matrix/Mth_matrix.h"
#include "std/Std_wait_bar.h"

namespace mth_internal {

/// Samples of a block; a block's distances stay in the first-level cache.
inline constexpr int kBlockSamples = 256;

/// How x to the power `exponent` is taken: as products from left to right when the exponent is a small whole
/// number, as the C library rounds it otherwise.
struct PowerRule {
  explicit PowerRule(double exponent);
  double exponent;
  int factors;  // 0 when it takes the C library
};

/// The numbers of one run, gathered from the samples into blocks: in each block one row of kBlockSamples
/// values per dimension or cluster, so that loops run across samples. Sums over samples run in sample order.
class ClusterPartition {
 public:
  /// @return  false when the memory cannot be had.
  bool Allocate(int samplesCount, int clustersCount, int dimensionsCount);

  int ClustersCount() const { return clusters_; }
  int DimensionsCount() const { return dimensions_; }
  int BlocksCount() const { return blocks_; }
  /// Samples in the block: kBlockSamples but in the last one.
  int SamplesIn(int block) const;
  double* Features(int block) const { return Rows(features_, block, dimensions_); }
  double* Memberships(int block) const { return Rows(memberships_, block, clusters_); }
  /// One row per cluster.
  double* Centroids() const { return centroids_.GetEDataAddress(); }

  /// Starts new sums of weights and of weighted features.
  void ResetSums();
  /// Adds a block's samples to the sums.
  /// @param weights  one row of kBlockSamples values per cluster.
  void AddToSums(int block, const double* weights);
  /// Moves the centroids to the weighted means of the sums; to the origin where there is no weight.
  void UpdateCentroids();

 private:
  static double* Rows(const MTH_MATRIX& matrix, int block, int rowsPerBlock) {
    return matrix.GetEDataAddress() + static_cast<std::int64_t>(block) * rowsPerBlock * kBlockSamples;
  }

  int samples_ = 0;
  int clusters_ = 0;
  int dimensions_ = 0;
  int blocks_ = 0;
  MTH_MATRIX features_;
  MTH_MATRIX memberships_;
  MTH_MATRIX centroids_;
  MTH_MATRIX weightSums_;   // one per cluster
  MTH_MATRIX featureSums_;  // clusters x dimensions
};

/// Opens a run's progress window.
void OpenProgress(TSTD_WAIT_BAR& window, const char* title, int iterationsCount);
/// Steps it with the text followed by the number; a double is written as "%f" writes it with a decimal point.
void StepProgress(TSTD_WAIT_BAR& window, const char* text, std::int64_t number);
void StepProgress(TSTD_WAIT_BAR& window, const char* text, double number);

}  // namespace mth_internal
