#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "mth/Mth_pointer_list.h"
#include "mth/Mth_stop_reason.h"
#include "mth/clustering/Mth_clustering_sample.h"
#include "mth/matrix/Mth_matrix.h"
#include "std/Std_export.h"

namespace mth_internal {
class SamplePool;
}

/// Ways to start centroids from the samples themselves; see MTH_CLUSTERING::InitialiseCentroidsFromSamples.
enum class MTH_CENTROID_START : std::uint8_t {
  Quantiles,      ///< spread over the quantiles of each coordinate
  FarthestFirst,  ///< always the sample farthest from those chosen
  PlusPlus        ///< k-means++: at random, by squared distance from those chosen
};

/// Clustering engine: owns samples and one centroid per cluster, and partitions the samples with hard
/// k-means, fuzzy c-means or evidential c-means.
///
/// Evidential c-means gives every sample a mass of belief on every hypothesis, that is on every subset of the
/// clusters: the credal partition, samples x 2^clusters. Hypotheses are numbered by size and, within a size,
/// in lexicographic order; with three clusters {}, {1}, {2}, {3}, {1,2}, {1,3}, {2,3}, {1,2,3}. Hypothesis 0
/// is the empty set, whose mass tells outliers; 1 to clusters are the clusters themselves; the last one is
/// the whole set, "any of them". Inside hypotheses cluster k has the number k + 1, and the empty set is
/// stored as {0}.
///
/// Build it with its sizes, add samples, set centroids and parameters if the defaults do not fit, run an
/// algorithm, then read memberships, decisions and centroids. A run works on the present memberships and
/// centroids, so that it can be continued by another.
///
/// Features are not checked: of a NaN or an infinite one k-means and fuzzy c-means make centroids of NaN, and
/// show nothing; GetStopReason tells.
///
/// The display can cancel a run. It then ends after a whole iteration, with the memberships and centroids of
/// that iteration, and returns that iteration's change; a cancelled fusion returns null.
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
  ///          one per dimension; false without a message when it is null or memory runs out.
  bool AddSample(MTH_CLUSTERING_SAMPLE* sample);
  /// Appends samples of memberships 0: all of them, or none.
  /// @param features  count x dimensions, one sample after the other; not modified.
  /// @return          false, with nothing changed, for a null array or a negative count, or without memory.
  bool AddSamples(const double* features, int count);
  /// Copies the memberships of all samples.
  /// @param memberships  the caller's samples x clusters values; what a sample in the list lacks is 0.
  /// @return             false, with nothing written, without samples or for null.
  bool GetMemberships(double* memberships) const;
  /// Copies the decisions of all samples, as MaxMembershipDecision.
  /// @param clusters  the caller's array of a value per sample.
  /// @return          false, with nothing written, without samples or for null.
  bool GetDecisions(int* clusters) const;
  /// @return  the engine's own sample; null out of range.
  MTH_CLUSTERING_SAMPLE* GetSample(int index) const;
  /// @return  the engine's own centroid, dimensions x 1; null, after a message, out of range; null on an
  ///          engine without centroids.
  MTH_MATRIX* GetCentroid(int k) const;

  /// Sets the first coordinates of a centroid, as many as there are dimensions and values; out of range, or
  /// with a null array, it sets none. In every case the next runs start from the centroids as they stand
  /// instead of from the memberships: nothing ever takes that back, by intention.
  void InitialiseCentroid(int k, const double* values, int count);
  /// Sets all centroids from the samples, and counts as InitialiseCentroid does. Samples with a NaN or an
  /// infinite feature, and null ones, are passed over.
  ///
  /// Quantiles: of each coordinate the quantiles of rank (k + 1/2) / clusters, interpolated between
  /// neighbouring values, the i-th of n sorted ones having rank (i + 1/2) / n. FarthestFirst: the sample
  /// nearest the mean, then always the one farthest from those chosen, of equally far ones the first.
  /// PlusPlus: any sample, then each with a probability that is proportional to its squared distance from
  /// those chosen.
  /// @param seed  of PlusPlus, whose stream is the call's own: every int is a seed, and gives the same on
  ///              every machine.
  /// @return      false, with nothing changed, with fewer different samples than clusters, without centroids
  ///              or memory, and when the display asks to cancel, which it is asked where this takes long.
  /// @see         Arthur & Vassilvitskii, k-means++: the advantages of careful seeding, SODA 2007.
  bool InitialiseCentroidsFromSamples(MTH_CENTROID_START start, int seed = 1);

  /// The change of a membership at which fuzzy c-means stops, and the mean movement of the centroids at which
  /// evidential c-means does.
  void SetTolerance(const double tolerance) { tolerance_ = tolerance; }
  /// The largest number of iterations of a run.
  void SetIterationsCount(const int iterationsCount) { iterationsCount_ = iterationsCount; }
  /// @copydoc SetIterationsCount
  int GetIterationsCount() const { return iterationsCount_; }
  /// The fuzzifier m of fuzzy c-means; ignored unless it is greater than 1.
  void SetRegulationValue(double m);
  /// Parameters of the evidential algorithm.
  /// @param alpha  how much a subset's size counts against it; 2 instead of a negative one.
  /// @param beta   becomes the regulation value; 2 instead of one that is not greater than 1.
  /// @param rho    the distance of outliers, in mean distances between samples and centroids; 2 instead of
  ///               one that is not greater than 0.
  void SetParams(double alpha, double beta, double rho);

  /// Number of samples that the engine holds.
  int GetSamplesCount() const { return samples_.GetCount(); }
  /// Number of clusters, from 1.
  int GetClustersCount() const { return clustersCount_; }
  /// Number of features of a sample.
  int GetDimensionsCount() const { return dimensionsCount_; }
  /// Number of subsets of the clusters, 2^clusters; the largest int from 31 clusters on.
  int GetHypothesesCount() const { return hypothesesCount_; }
  /// Whether evidential c-means has converged, or this is the copy of an engine with a credal partition.
  bool IsEvidential() const { return isEvidential_; }
  /// @copydoc SetTolerance
  double GetTolerance() const { return tolerance_; }
  /// The fuzzifier m, which is also beta of the evidential algorithm.
  double GetRegulationValue() const { return regulationValue_; }
  /// How much the size of a subset counts against it in the evidential algorithm.
  double GetAlpha() const { return alpha_; }
  /// The distance at which outliers are assumed, set by OutlierProportion and by every evidential iteration.
  double GetDelta() const { return delta_; }
  /// The distance of outliers, in mean distances between samples and centroids.
  double GetRho() const { return rho_; }

  /// The engine's own samples; do not delete them. A null entry is harmless: it is no distance away from
  /// anything, it belongs to cluster 0, and a run refuses it with its failure value.
  MTH_POINTER_LIST<MTH_CLUSTERING_SAMPLE>* GetSamples() { return &samples_; }
  /// @copydoc GetSamples
  const MTH_POINTER_LIST<MTH_CLUSTERING_SAMPLE>* GetSamples() const { return &samples_; }
  /// The engine's own centroids; null on a copied engine. A null entry is as harmless as one of a sample.
  MTH_POINTER_LIST<MTH_MATRIX>* GetCentroids() { return centroids_.get(); }
  /// @copydoc GetCentroids
  const MTH_POINTER_LIST<MTH_MATRIX>* GetCentroids() const { return centroids_.get(); }
  /// Sizes of the hypotheses, 0 for the empty set; null before the first evidential run.
  int* GetCardH() { return cardinalities_.get(); }
  /// @copydoc GetCardH
  const int* GetCardH() const { return cardinalities_.get(); }
  /// The hypotheses as cluster numbers from 1; an empty list before the first evidential run. The list and
  /// its vectors belong to the engine, which builds new ones in every evidential run.
  MTH_POINTER_LIST<std::vector<int>>* GetHypotheses() { return &hypotheses_; }
  /// @copydoc GetHypotheses
  const MTH_POINTER_LIST<std::vector<int>>* GetHypotheses() const { return &hypotheses_; }
  /// Centres of the hypotheses, 2^clusters x dimensions: the means of their centroids, 0 for the empty set.
  /// Like all evidential results they are the engine's own, replaced by the next ones, null until there are
  /// some.
  MTH_MATRIX* GethypothesesCenters() { return hypothesesCenters_.get(); }
  /// @copydoc GethypothesesCenters
  const MTH_MATRIX* GethypothesesCenters() const { return hypothesesCenters_.get(); }
  /// Masses, samples x 2^clusters; made by evidential c-means or SetCredalPartition.
  MTH_MATRIX* GetCredalPartition() { return credalPartition_.get(); }
  /// @copydoc GetCredalPartition
  const MTH_MATRIX* GetCredalPartition() const { return credalPartition_.get(); }
  /// Samples x clusters; made by initPignisticPartition.
  MTH_MATRIX* GetPignisticPartition() { return pignisticPartition_.get(); }
  /// @copydoc GetPignisticPartition
  const MTH_MATRIX* GetPignisticPartition() const { return pignisticPartition_.get(); }
  /// Samples x 2^clusters; made by initPlausibilityPartition.
  MTH_MATRIX* GetPlausibilityPartition() { return plausibilityPartition_.get(); }
  /// @copydoc GetPlausibilityPartition
  const MTH_MATRIX* GetPlausibilityPartition() const { return plausibilityPartition_.get(); }

  /// Euclidean distance between sample i and centroid k.
  /// @return  3.4028234663852886e38, after a message, when an index is out of range; also, without a message,
  ///          on an engine without centroids.
  double GetSampleDistanceToCentroid(int i, int k) const;
  /// The quadratic form (x - c)' M (x - c) of sample i and centroid k: no root is taken.
  /// @param m  dimensions x dimensions of double elements, usually an inverse covariance; not modified.
  /// @return   0 when the shape or type of M does not fit: a refused product reads as 0. Otherwise as
  ///           GetSampleDistanceToCentroid; the same failure value when M is null or without memory.
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
  /// A cluster that lost all its samples stays at the origin.
  /// @return  the number of samples that changed cluster in the last iteration: 0 when it converged,
  ///          2147483647 when there was no iteration; 3.4028234663852886e38 without samples, clusters,
  ///          dimensions, centroids or memory for the run.
  /// @see     Lloyd, Least squares quantization in PCM, IEEE Trans. Information Theory 28, 1982.
  double ApplyKMeanClustering();
  /// Fuzzy c-means with the regulation value m as fuzzifier. Each iteration moves every centroid to the mean
  /// of the samples weighted by membership to the power m (otherwise as k-means does), then sets every
  /// membership to 1 / sum over j of (d_k / d_j)^(2 / (m - 1)), over the clusters j farther than 1e-6, or to
  /// 0 when that sum is not above 0.001. By intention a sample on a centroid therefore gets membership 0 for
  /// it, and memberships are not normalised. It ends when no membership changed by more than the tolerance.
  /// Powers with whole exponents up to 16 are products, from left to right. Shows progress, a step an
  /// iteration. Centroids that all coincide, as those of memberships that are all equal or of weights that
  /// vanish under a large fuzzifier do, move no more: GetStopReason then tells BadInput instead of Converged.
  /// @return  the largest change of a membership in the last iteration; 3.4028234663852886e38 when there was
  ///          no iteration, and in the cases of ApplyKMeanClustering.
  /// @see     Bezdek, Pattern Recognition with Fuzzy Objective Function Algorithms, 1981.
  double ApplyFuzzyCMeanClustering();

  /// How the last run or fusion ended; NotRun before the first, and on a copied engine. Converged, also for a
  /// fusion that was done; IterationCap, also when no iterations were allowed; Cancelled; NoMemory; BadInput
  /// without samples, clusters, dimensions or centroids, or with what does not fit in a list or an argument;
  /// NotFinite when features, centroids or the masses of a run are no numbers.
  MTH_STOP_REASON GetStopReason() const { return stopReason_; }

  /// As AddSample, for a sample that brings one initial mass per hypothesis instead of one membership per
  /// cluster. Evidential c-means takes both kinds and reads only their features.
  /// @return  false, after a message, when its memberships are not 2^clusters or else its parameters not one
  ///          per dimension; false without a message when it is null or memory runs out.
  bool AddEvidentialSample(MTH_CLUSTERING_SAMPLE* sample);
  /// Evidential c-means with the parameters alpha, beta (the regulation value) and rho, from the centroids as
  /// they stand. Each iteration sets the outliers' distance (OutlierProportion), then the masses from the
  /// distances d to the hypotheses' centres: w = size^(alpha / (1 - beta)) d^(2 / (1 - beta)), divided by the
  /// sum of a sample's w and of the outliers' distance to the same power; what is left to 1 goes to the empty
  /// set. Then it moves the centroids to the solution of the normal equations, by singular value
  /// decomposition, which may show that system's messages. It converges when, after masses were computed, the
  /// centroids' last mean movement is at most the tolerance.
  ///
  /// A power x^e is 1 when e is 0, otherwise 0 when x is 0, otherwise x's sign times exp(e ln|x|). By
  /// intention a sample on a hypothesis' centre therefore gets mass 0 for it. Whole exponents up to 16 are
  /// taken as products, from left to right, their negatives as the reciprocals, and even powers of a distance
  /// from its square; other powers by the library's own exp and ln, so that every machine gives the same.
  ///
  /// Convergence sets IsEvidential, overwrites the iterations count with the number of the iteration, from 0,
  /// that converged, and writes the diagnostic files. By intention a run that reaches the iterations count
  /// does none of this; its credal partition belongs to the centroids before their last movement. Shows
  /// progress, a step an iteration.
  ///
  /// Centroids that coincide, as those of a new engine do, stay together: start them apart, for instance with
  /// InitialiseCentroidsFromSamples. Where all samples lie on all centroids there are no masses, and powers
  /// of distances are not finite beyond the range of a double, as with beta close to 1: after such a run
  /// GetStopReason tells NotFinite.
  /// @return  1 after running, also when it was cancelled; 3.4028234663852886e38 without samples, clusters,
  ///          dimensions, centroids or memory, when the centroids cannot be solved for (masses or features
  ///          that are not finite), and after a message with more than 20 clusters or no memory for the
  ///          hypotheses.
  /// @see     Masson and Denoeux, ECM: an evidential version of the fuzzy c-means algorithm, Pattern
  ///          Recognition 41, 2008.
  double ApplyEvidentialFuzzyCMeanClustering();
  /// What the names of the diagnostic files of a converged evidential run begin with: a folder with its
  /// separator, and more. An empty prefix, the default but on Windows, where it is d:\, writes nothing. The
  /// files, each replaced, with six decimals: `centres.txt`, a line per centroid; `credal_partition.txt`, a
  /// line of masses per sample; and the first three features of every third sample, one per line, in the
  /// files `oox.txt`, `ooy.txt` and `ooz.txt` when its largest mass is the empty set's, in `cpx.txt` ..,
  /// `ctx.txt` .. and `cox.txt` .. when it is that of hypothesis 1, 2 and 3. A file that cannot be opened is
  /// skipped.
  void SetDiagnosticPrefix(const std::string& prefix);
  /// What the names of the diagnostic files begin with; empty for none.
  const std::string& GetDiagnosticPrefix() const { return diagnosticPrefix_; }

  /// Sets delta to rho times the mean distance between samples and centroids.
  void OutlierProportion();
  /// Moves the hypotheses' centres to the means of their centroids; does nothing before the first evidential
  /// run or on an engine without centroids.
  void CalculCentresHypotheses();
  /// Euclidean distance between sample i and the centre of hypothesis j.
  /// @return  3.4028234663852886e38, after a message, when an index is out of range; also, without a message,
  ///          before the first evidential run.
  double GetSampleDistanceToHypothese(int i, int j) const;
  /// The quadratic form of GetSampleMahalanobisDistanceToCentroid with the centre of hypothesis j.
  /// @return  otherwise as GetSampleDistanceToHypothese.
  double GetSampleMahalanobisDistanceToHypothese(int i, int j, MTH_MATRIX* m) const;

  /// Whether hypothesis j has cluster k (from 0); false where there is no such hypothesis or cluster.
  bool BelongsToHypothese(int j, int k) const;
  /// Whether hypothesis j has both clusters.
  bool BelongsToHypothese(int j, int k, int l) const;
  /// Number of numbers that two hypotheses share. The empty set, stored as {0}, shares one with itself.
  int HypotheseIntersection(int j, int k) const;
  /// Appends the shared numbers to `shared`, in the order of hypothesis j.
  /// @return  the size of `shared` afterwards; 0 when it is null; unchanged when memory runs out.
  int HypotheseIntersection(int j, int k, std::vector<int>* shared) const;
  /// Looks a hypothesis up among those of its size. Kept for hosts that rely on it: by intention the search
  /// gives up at the first hypothesis of the same size that differs, so that only the first one of each size
  /// is ever found. FindHypothesisIndex is the one to use.
  /// @return  the hypothesis' number; -1 when it is not found.
  int findHypothese(std::vector<int>* numbers) const;
  /// Looks a hypothesis up, wherever it stands.
  /// @param numbers  its cluster numbers from 1, ascending; {0} is the empty set.
  /// @return         the hypothesis' number; -1 when there is none.
  int FindHypothesisIndex(std::vector<int>* numbers) const;

  /// The mass of sample i on hypothesis j; 0 where there is none.
  double GetBeliefValue(int i, int j) const;
  /// @return  the hypothesis, the empty set included, of sample i's largest mass, of equal ones the last; -1
  ///          without a credal partition or such a sample.
  int MaxBeliefDecision(int i) const;
  /// Replaces the credal partition by a copy of M, in double elements; ignored unless M is samples x
  /// 2^clusters. It does not make the engine evidential.
  void SetCredalPartition(MTH_MATRIX* m);
  /// Computes the pignistic partition: the probability of cluster k is the sum, over the hypotheses that have
  /// it, of mass / size, times 1 / (1 - mass of the empty set). Not finite where that mass is 1.
  /// @return  false, with the former one kept, without a credal partition or memory and when the display,
  ///          which a long run asks, cancels.
  bool initPignisticPartition();
  /// Computes the plausibility partition: of hypothesis j the sum of the masses of all that meet it, of the
  /// empty set 0.
  /// @return  as initPignisticPartition.
  bool initPlausibilityPartition();
  /// @return  the cluster of sample i's largest pignistic probability, of equal ones the last; -1 without a
  ///          pignistic partition or such a sample.
  int MaxPignisticDecision(int i) const;
  /// @return  the last cluster whose pignistic probability is at least the threshold, by intention 0 also
  ///          when none is; -1 without a pignistic partition or such a sample.
  int PignisticDecision(int i, double threshold) const;

  /// Discounts the credal partition of an evidential engine: every mass is multiplied by the reliability, and
  /// what is lost goes to the whole set.
  /// @param reliability  between 0 and 1, both excluded; with any other nothing is changed.
  /// @return             whether it was done.
  bool WeakenCredalPartition(double reliability);
  /// The same for one row of masses, 1 x 2^clusters.
  bool WeakenCredalFunction(MTH_MATRIX* masses, double reliability) const;

  /// Fuses the credal partition with another one of the same samples by the unnormalised conjunctive rule.
  /// Kept for hosts that rely on it: by intention it looks intersections of several clusters up with
  /// findHypothese, and the mass of those that are not found is lost. That happens from three clusters on:
  /// prefer CredalConjFusionExact. Shows progress.
  /// @param m2  masses of the second source, a row for each of the stored partition's, x 2^clusters; what is
  ///            missing counts as 0, what is more is ignored. Not modified.
  /// @return    a new matrix of as many rows as the stored partition has, by intention not the samples, x
  ///            2^clusters, owned by the caller; null without a credal partition, M2 or memory.
  [[nodiscard]] MTH_MATRIX* CredalConjFusion(MTH_MATRIX* m2) const;
  /// As CredalConjFusion with every intersection found: the masses of a sample sum to what the sources'
  /// products do. The recommended conjunctive rule. Beyond five clusters it goes by commonalities, at a cost
  /// of clusters x 2^clusters: masses that are not above the rounding error of the others, 2^-52 of their
  /// sum, are 0.
  /// @see  Smets, The combination of evidence in the transferable belief model, IEEE Trans. PAMI 12, 1990.
  [[nodiscard]] MTH_MATRIX* CredalConjFusionExact(MTH_MATRIX* m2) const;
  /// Fuses by Dempster's rule: as CredalConjFusion, then the mass K of the empty set is set to 0 and all
  /// others are multiplied by 1 / (1 - K), which is not finite in total conflict. Prefer DempsterFusionExact
  /// from three clusters on. Shows progress.
  /// @return  as CredalConjFusion; also null unless the engine is evidential and M2 of the partition's shape.
  [[nodiscard]] MTH_MATRIX* DempsterFusion(MTH_MATRIX* m2) const;
  /// As DempsterFusion with every intersection found: the masses of a sample sum to 1. The recommended rule.
  /// Beyond five clusters as CredalConjFusionExact.
  /// @see  Shafer, A Mathematical Theory of Evidence, 1976, chapter 3.
  [[nodiscard]] MTH_MATRIX* DempsterFusionExact(MTH_MATRIX* m2) const;

 private:
  bool IsSample(int i) const { return i >= 0 && i < GetSamplesCount(); }
  bool IsCluster(int k) const { return k >= 0 && k < clustersCount_; }
  bool CheckSampleAndCluster(int i, int k) const;
  // Whether there is a pool for samples, made when it is first needed.
  bool HasPool();
  // Appends a deep copy, whatever its sizes; false when memory runs out.
  bool AppendCopy(const MTH_CLUSTERING_SAMPLE& sample);
  bool Append(const double* parameters, int parametersCount, const double* memberships, int membershipsCount);
  // The cluster of a sample's largest membership, of equal ones the last; 0 for null.
  int LargestMembership(const MTH_CLUSTERING_SAMPLE* sample) const;
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
  // Checks what every run needs and keeps its exceptions inside.
  double RunGuarded(double (MTH_CLUSTERING::*run)());
  // Keeps the reason and gives the failure value.
  double FailRun(MTH_STOP_REASON reason);
  double RunKMeans();
  double RunFuzzyCMeans();
  double RunEvidentialCMeans();
  bool CreateHypotheses();
  double OutlierDistance(double sumOfDistances) const;
  bool CheckSampleAndHypothesis(int i, int j) const;
  // Whether the matrix has that many rows of masses.
  bool IsPartition(const MTH_MATRIX* matrix, int rows) const;
  // Whether there is one, and the host has not resized it.
  bool HasCredalPartition() const;
  // Replaces a partition by make() when there is a credal one and memory.
  template <class Make>
  bool InitPartition(std::unique_ptr<MTH_MATRIX>& partition, Make make);
  void WriteDiagnostics() const;
  MTH_MATRIX* FuseWith(const MTH_MATRIX* m2, bool isExact, bool isNormalised) const;

  bool isEvidential_ = false;
  int clustersCount_ = 0;
  int dimensionsCount_ = 0;
  int hypothesesCount_ = 0;
  std::unique_ptr<int[]> cardinalities_;
  std::unique_ptr<mth_internal::SamplePool> samplePool_;
  MTH_POINTER_LIST<MTH_CLUSTERING_SAMPLE> samples_;
  std::unique_ptr<MTH_POINTER_LIST<MTH_MATRIX>> centroids_;
  MTH_POINTER_LIST<std::vector<int>> hypotheses_;
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
  mutable MTH_STOP_REASON stopReason_ = MTH_STOP_REASON::NotRun;
#ifdef _WIN32
  std::string diagnosticPrefix_ = "d:\\";
#else
  std::string diagnosticPrefix_;
#endif
};
