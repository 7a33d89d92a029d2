#pragma once

#include <memory>
#include <vector>

#include "mth/Mth_pointer_list.h"
#include "mth/clustering/Mth_clustering_sample.h"
#include "mth/matrix/Mth_matrix.h"
#include "std/Std_export.h"

/// Clustering engine: owns samples and one centroid per cluster, and partitions the samples with hard k-means
/// or fuzzy c-means.
///
/// Build it with its sizes, add samples, set centroids and parameters if the defaults do not fit, run an
/// algorithm, then read memberships, decisions and centroids. A run works on the present memberships and
/// centroids, so that it can be continued by another.
///
/// Sample and cluster indices count from 0; an index that is negative or too large is out of range. Messages
/// are shown with kind information and caption "Information". The value 3.4028234663852886e38, the largest
/// float, means "no distance".
class MTH_EXPORT MTH_CLUSTERING {
 public:
  /// No samples; clustersCount centroids at the origin of dimensionsCount coordinates; tolerance 0.001, 20
  /// iterations, regulation value 2, alpha 2, delta 1e6, rho 2.
  MTH_CLUSTERING(int clustersCount, int dimensionsCount);
  /// A copy of the sizes, the samples (all that the list holds, but for null entries) and, when there is one,
  /// the credal partition with its hypotheses, their centres and cardinalities. The parameters are the
  /// defaults. Intentionally without centroids: such an engine keeps the source's samples but refuses to run.
  explicit MTH_CLUSTERING(const MTH_CLUSTERING* source);
  /// @copydoc MTH_CLUSTERING(const MTH_CLUSTERING*)
  MTH_CLUSTERING(const MTH_CLUSTERING& source);
  MTH_CLUSTERING& operator=(const MTH_CLUSTERING&) = delete;
  ~MTH_CLUSTERING();

  /// Appends a deep copy of the sample; the caller keeps its own.
  /// @return  false, after a message, when its memberships are not one per cluster or else its parameters not
  /// one
  ///          per dimension; false without a message when it is null or memory runs out.
  bool AddSample(MTH_CLUSTERING_SAMPLE* sample);
  /// @return  the engine's own sample; null out of range.
  MTH_CLUSTERING_SAMPLE* GetSample(int index) const;
  /// @return  the engine's own centroid, dimensions x 1; null, after a message, out of range; null on an
  /// engine
  ///          without centroids.
  MTH_MATRIX* GetCentroid(int k) const;

  /// Sets the first coordinates of a centroid, as many as there are dimensions and values; out of range, or
  /// with a null array, it sets none. In every case the next runs start from the centroids as they stand
  /// instead of from the memberships: nothing ever takes that back, by intention.
  void InitialiseCentroid(int k, double* values, int count);

  /// The change of a membership at which fuzzy c-means stops.
  void SetTolerance(const double tolerance) { tolerance_ = tolerance; }
  /// The largest number of iterations of a run.
  void SetIterationsCount(const int iterationsCount) { iterationsCount_ = iterationsCount; }
  int GetIterationsCount() const { return iterationsCount_; }
  /// The fuzzifier m of fuzzy c-means; ignored unless it is greater than 1.
  void SetRegulationValue(double m);
  /// Parameters of the evidential algorithm.
  /// @param alpha  weight of a subset's size; 2 instead of a negative one.
  /// @param beta   becomes the regulation value; 2 instead of one that is not greater than 1.
  /// @param rho    2 instead of one that is not greater than 0.
  void SetParams(double alpha, double beta, double rho);

  int GetSamplesCount() const { return samples_.GetCount(); }
  int GetClustersCount() const { return clustersCount_; }
  int GetDimensionsCount() const { return dimensionsCount_; }
  /// Number of subsets of the clusters, 2^clusters; the largest int from 31 clusters on.
  int GetHypothesesCount() const { return hypothesesCount_; }
  bool IsEvidential() const { return isEvidential_; }
  double GetTolerance() const { return tolerance_; }
  double GetRegulationValue() const { return regulationValue_; }
  double GetAlpha() const { return alpha_; }
  double GetDelta() const { return delta_; }
  double GetRho() const { return rho_; }

  /// The engine's own samples; do not delete them. A null entry is harmless: it is no distance away from
  /// anything, it belongs to cluster 0, and a run refuses it with its failure value.
  MTH_POINTER_LIST<MTH_CLUSTERING_SAMPLE>* GetSamples() { return &samples_; }
  /// The engine's own centroids; null on a copied engine. A null entry is as harmless as one of a sample.
  MTH_POINTER_LIST<MTH_MATRIX>* GetCentroids() { return centroids_.get(); }
  /// Evidential results, owned by the engine; null until there is a credal partition.
  int* GetCardH() { return cardinalities_.get(); }
  MTH_POINTER_LIST<std::vector<int>>* GetHypotheses() { return hypotheses_.get(); }
  MTH_MATRIX* GethypothesesCenters() { return hypothesesCenters_.get(); }
  MTH_MATRIX* GetCredalPartition() { return credalPartition_.get(); }
  MTH_MATRIX* GetPignisticPartition() { return pignisticPartition_.get(); }
  MTH_MATRIX* GetPlausibilityPartition() { return plausibilityPartition_.get(); }

  /// Euclidean distance between sample i and centroid k.
  /// @return  3.4028234663852886e38, after a message, when an index is out of range; also, without a message,
  /// on
  ///          an engine without centroids.
  double GetSampleDistanceToCentroid(int i, int k) const;
  /// The quadratic form (x - c)' M (x - c) of sample i and centroid k: no root is taken.
  /// @param m  dimensions x dimensions of double elements, usually an inverse covariance; not modified.
  /// @return   0 when the shape or type of M does not fit: a refused product reads as 0. Otherwise as
  ///           GetSampleDistanceToCentroid; the same failure value when M is null.
  double GetSampleMahalanobisDistanceToCentroid(int i, int k, MTH_MATRIX* m) const;
  /// Euclidean distance between two samples.
  /// @return  3.4028234663852886e38, after a message (which names the centroid method, by intention), when an
  ///          index is out of range.
  double GetSampleDistanceToSample(int i, int j) const;
  /// @return  the cluster of sample i's largest membership, of equal ones the last; 0 out of range.
  int MaxMembershipDecision(int i) const;

  /// Hard k-means (Lloyd's algorithm): memberships become 0 or 1. Each iteration moves every centroid to the
  /// weighted mean of the samples (to the origin when its weights sum to 1e-6 or less), then gives every
  /// sample to its nearest centroid, of equally near ones the first. The first iteration keeps the centroids
  /// when they were initialised. Shows progress, a step an iteration.
  /// @return  the number of samples that changed cluster in the last iteration: 0 when it converged,
  /// 2147483647
  ///          when there was no iteration; 3.4028234663852886e38 without samples, clusters, dimensions,
  ///          centroids or memory for the run.
  /// @see     Lloyd, Least squares quantization in PCM, IEEE Trans. Information Theory 28, 1982.
  double ApplyKMeanClustering();
  /// Fuzzy c-means with the regulation value m as fuzzifier. Each iteration moves every centroid to the mean
  /// of the samples weighted by membership to the power m (otherwise as k-means does), then sets every
  /// membership to 1 / sum over j of (d_k / d_j)^(2 / (m - 1)), over the clusters j farther than 1e-6, or to
  /// 0 when that sum is not above 0.001. By intention a sample on a centroid therefore gets membership 0 for
  /// it, and memberships are not normalised. It ends when no membership changed by more than the tolerance.
  /// Powers with whole exponents up to 16 are products, from left to right. Shows progress, a step an
  /// iteration.
  /// @return  the largest change of a membership in the last iteration; 3.4028234663852886e38 when there was
  /// no
  ///          iteration, and in the cases of ApplyKMeanClustering.
  /// @see     Bezdek, Pattern Recognition with Fuzzy Objective Function Algorithms, 1981.
  double ApplyFuzzyCMeanClustering();

 private:
  bool IsSample(int i) const { return i >= 0 && i < GetSamplesCount(); }
  bool IsCluster(int k) const { return k >= 0 && k < clustersCount_; }
  bool CheckSampleAndCluster(int i, int k) const;
  // Appends a deep copy, whatever its sizes; false when memory runs out.
  bool AppendCopy(const MTH_CLUSTERING_SAMPLE& sample);
  void CopySamples(const MTH_CLUSTERING& source);
  void CopyCredalPartition(const MTH_CLUSTERING& source);
  bool HasCentroids() const { return centroids_ != nullptr && centroids_->GetCount() == clustersCount_; }
  bool CanRun() const;
  // Copies samples into rows, one per dimension and one per cluster; false when the host left one that does
  // not fit in the list.
  bool GatherBlock(int first, int count, double* features, double* memberships) const;
  // Calls write(i, memberships of sample i) for every sample.
  template <class Write>
  void WriteMemberships(Write write);
  std::vector<double> GatherCentroids() const;
  void ScatterCentroids(const std::vector<double>& centroids);
  double RunKMeans();
  double RunFuzzyCMeans();

  bool isEvidential_ = false;
  int clustersCount_ = 0;
  int dimensionsCount_ = 0;
  int hypothesesCount_ = 0;
  std::unique_ptr<int[]> cardinalities_;
  MTH_POINTER_LIST<MTH_CLUSTERING_SAMPLE> samples_;
  std::unique_ptr<MTH_POINTER_LIST<MTH_MATRIX>> centroids_;
  std::unique_ptr<MTH_POINTER_LIST<std::vector<int>>> hypotheses_;
  std::unique_ptr<MTH_MATRIX> hypothesesCenters_;
  std::unique_ptr<MTH_MATRIX> credalPartition_;
  std::unique_ptr<MTH_MATRIX> pignisticPartition_;
  std::unique_ptr<MTH_MATRIX> plausibilityPartition_;
  double tolerance_ = 0.001;
  int iterationsCount_ = 20;
  double regulationValue_ = 2.0;
  bool areCentroidsInitialised_ = false;
  double alpha_ = 2.0;
  double delta_ = 1000000.0;
  double rho_ = 2.0;
};
