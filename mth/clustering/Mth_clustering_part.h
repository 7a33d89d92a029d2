#pragma once

#include <memory>

#include "std/Std_export.h"

namespace mth_internal {
struct PartBlocks;
}

/// Part of the samples of a clustering, such as one scan of a study, for clusters that many parts share.
///
/// An iteration of k-means or fuzzy c-means has two halves. Every part gives its sums for the centroids
/// (StepKMeans, StepFuzzyCMeans), wherever it is; the sums of all parts, added value by value in one order of
/// the parts, give the next centroids (Mth_MoveCentroids). The order alone decides the bits: not where parts
/// are, nor when they are done. The run has converged when the changes of all parts sum to 0 (k-means), or
/// when none is above the tolerance (fuzzy c-means). A single part gives the bits of MTH_CLUSTERING, which
/// consists of the same halves, on samples of memberships 0 with centroids that were initialised.
///
/// A step depends on the centroids, the samples, and for its change on the memberships that the last step
/// left: of a new part they are 0. A part that was lost is made again by a step for the former centroids.
///
/// Sums are clusters x (1 + dimensions) values: for each cluster the sum of weights, then those of the
/// weighted features. As in MTH_CLUSTERING features and centroids are not checked: what is not finite makes
/// sums that are not.
class MTH_EXPORT MTH_CLUSTERING_PART {
 public:
  /// No samples.
  MTH_CLUSTERING_PART(int clustersCount, int dimensionsCount);
  MTH_CLUSTERING_PART(const MTH_CLUSTERING_PART&) = delete;
  MTH_CLUSTERING_PART& operator=(const MTH_CLUSTERING_PART&) = delete;
  ~MTH_CLUSTERING_PART();

  /// Replaces the samples; their memberships are 0.
  /// @param features  count x dimensions, one sample after the other; not modified.
  /// @return          false, with nothing changed, for null, for no samples, clusters or dimensions, or
  ///                  without memory.
  bool SetSamples(const double* features, int count);
  /// Gives every sample to its nearest centroid, of equally near ones the first.
  /// @param centroids  clusters x dimensions; not modified.
  /// @param sums       the caller's clusters x (1 + dimensions) values; see the class.
  /// @param changes    the caller's; the number of samples that changed cluster, all of them in the first
  ///                   step.
  /// @return           false, with nothing written, without samples, for null or without memory.
  bool StepKMeans(const double* centroids, double* sums, double* changes);
  /// Computes the memberships as MTH_CLUSTERING::ApplyFuzzyCMeanClustering does, which are weights to the
  /// power m.
  /// @param m       the fuzzifier, greater than 1; false otherwise.
  /// @param change  the caller's; the largest change of a membership, NaN apart.
  /// @return        otherwise as StepKMeans.
  bool StepFuzzyCMeans(const double* centroids, double m, double* sums, double* change);

  /// Copies the memberships of the last step, 0 or 1 of k-means.
  /// @param memberships  the caller's samples x clusters values.
  /// @return             false, with nothing written, before the first step or for null.
  bool GetMemberships(double* memberships) const;
  /// Copies for every sample the cluster of the largest membership, of equal ones the last.
  /// @param clusters  the caller's array of a value per sample.
  /// @return          as GetMemberships.
  bool GetDecisions(int* clusters) const;

  /// Number of samples.
  int GetSamplesCount() const;
  /// Number of clusters.
  int GetClustersCount() const { return clustersCount_; }
  /// Number of features of a sample.
  int GetDimensionsCount() const { return dimensionsCount_; }

 private:
  int clustersCount_;
  int dimensionsCount_;
  std::unique_ptr<mth_internal::PartBlocks> blocks_;  // null without samples
};

/// Moves centroids to the weighted means of the samples of all parts; to the origin where the weights sum to
/// 1e-6 or less.
/// @param sums       clusters x (1 + dimensions), the parts' added value by value; not modified.
/// @param centroids  the caller's clusters x dimensions values.
/// @return           false, with nothing written, for null or for no clusters or dimensions.
MTH_EXPORT bool Mth_MoveCentroids(const double* sums, int clustersCount, int dimensionsCount,
                                  double* centroids);
