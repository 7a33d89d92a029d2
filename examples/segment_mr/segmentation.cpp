#include "segmentation.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <numeric>

#include "evidential.h"
#include "mth/clustering/Mth_clustering.h"
#include "progress_recorder.h"
#include "support/cancellation.h"
#include "support/failure.h"
#include "support/text.h"

namespace segment_mr {

namespace {

using example::Failure;
using example::GreyImage;

constexpr double kZeroDistance = 1e-6;  // the engine takes distances up to this as zero
constexpr double kLeastRange = 1e3 * kZeroDistance;
constexpr double kNoResult = std::numeric_limits<float>::max();
constexpr double kLargestIntensity = std::numeric_limits<float>::max();

std::vector<double> SortedIntensities(const GreyImage& image) {
  std::vector<double> sorted;
  std::copy_if(image.values.begin(), image.values.end(), std::back_inserter(sorted), IsInside);
  std::sort(sorted.begin(), sorted.end());
  return sorted;
}

void CheckIntensities(const std::vector<double>& sorted) {
  if (sorted.empty()) throw Failure("the image has no voxel above 0");
  if (sorted.back() > kLargestIntensity) throw Failure("the image has intensities beyond single precision");
}

// The middle of each of as many equal shares of the values as there are classes.
std::vector<double> Quantiles(const std::vector<double>& sorted, int count) {
  std::vector<double> quantiles;
  for (int k = 0; k < count; ++k) {
    quantiles.push_back(sorted[(2 * static_cast<std::size_t>(k) + 1) * sorted.size() /
                               (2 * static_cast<std::size_t>(count))]);
  }
  return quantiles;
}

std::vector<double> StartingCentroids(const std::vector<double>& sorted, const std::vector<double>& given,
                                      const Options& options) {
  std::vector<double> distinct = sorted;
  distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
  if (distinct.size() < static_cast<std::size_t>(options.clusters)) {
    throw Failure("the image has " + std::to_string(distinct.size()) +
                  " distinct intensities above 0, too few for " + std::to_string(options.clusters) +
                  " classes");
  }
  if (distinct.back() - distinct.front() < kLeastRange) {
    throw Failure("the intensities span only " + example::Rounded(distinct.back() - distinct.front(), 3) +
                  ": rescale the image");
  }
  if (!given.empty()) return given;
  const std::vector<double> quantiles = Quantiles(sorted, options.clusters);
  const bool areDistinct = std::adjacent_find(quantiles.begin(), quantiles.end()) == quantiles.end();
  return areDistinct ? quantiles : Quantiles(distinct, options.clusters);
}

void AddVoxels(MTH_CLUSTERING& engine, const GreyImage& image) {
  std::vector<double> memberships(static_cast<std::size_t>(engine.GetClustersCount()), 0.0);
  double intensity = 0.0;
  MTH_CLUSTERING_SAMPLE sample(&intensity, 1, memberships.data(), engine.GetClustersCount());
  for (double value : image.values) {
    if (!IsInside(value)) continue;
    sample.ChangeParameters(&value, 1);
    if (!engine.AddSample(&sample)) throw std::bad_alloc();
  }
}

// Runs the engine; the last change is kept as the engine returns it, the former ones as its texts round them.
void Run(MTH_CLUSTERING& engine, const Options& options, Segmentation& result) {
  if (options.method == Method::EvidentialCMeans) return RunEvidential(engine, result);
  ProgressRecorder recorder;
  const STD_DISPLAY_SCOPE scope(&recorder);
  const bool isFuzzy = options.method == Method::FuzzyCMeans;
  const double lastChange = isFuzzy ? engine.ApplyFuzzyCMeanClustering() : engine.ApplyKMeanClustering();
  example::ThrowIfCancelled();
  result.changes = recorder.GetChanges();
  // What the engine answers without a result; also caught here: what is not a number.
  if (result.changes.empty() || !(lastChange < kNoResult)) throw Failure("the clustering failed");
  result.changes.back() = lastChange;
  result.hasConverged = lastChange <= (isFuzzy ? options.tolerance : 0.0);
}

// The engine's cluster of each class, in ascending order of their centroids.
std::vector<int> OrderByIntensity(MTH_CLUSTERING& engine) {
  std::vector<int> order(static_cast<std::size_t>(engine.GetClustersCount()));
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](int first, int second) {
    return engine.GetCentroid(first)->Get(0, 0) < engine.GetCentroid(second)->Get(0, 0);
  });
  return order;
}

// The class of a voxel; the engine gives a sample that lies on a centroid membership 0 there, so such a voxel
// takes the class of that centroid.
std::size_t ClassOf(MTH_CLUSTERING& engine, int sample, double intensity, const std::vector<int>& rank,
                    const std::vector<double>& centroids) {
  for (std::size_t k = 0; k < centroids.size(); ++k) {
    if (std::abs(intensity - centroids[k]) <= kZeroDistance) return k;
  }
  return static_cast<std::size_t>(rank[static_cast<std::size_t>(engine.MaxMembershipDecision(sample))]);
}

void ReadResults(MTH_CLUSTERING& engine, const GreyImage& image, Segmentation& result) {
  const std::vector<int> order = OrderByIntensity(engine);
  std::vector<int> rank(order.size());
  for (std::size_t k = 0; k < order.size(); ++k)
    rank[static_cast<std::size_t>(order[k])] = static_cast<int>(k);
  for (const int cluster : order) result.centroids.push_back(engine.GetCentroid(cluster)->Get(0, 0));

  result.voxelCounts.assign(order.size(), 0);
  result.labels.assign(image.values.size(), 0);
  result.memberships.assign(order.size(), std::vector<float>(image.values.size(), 0.0F));
  int sample = 0;
  for (std::size_t voxel = 0; voxel < image.values.size(); ++voxel) {
    if (!IsInside(image.values[voxel])) continue;
    for (std::size_t k = 0; k < order.size(); ++k) {
      result.memberships[k][voxel] = static_cast<float>(engine.GetSample(sample)->GetMembership(order[k]));
    }
    const std::size_t chosen = ClassOf(engine, sample, image.values[voxel], rank, result.centroids);
    result.labels[voxel] = static_cast<std::uint8_t>(chosen + 1);
    ++result.voxelCounts[chosen];
    ++sample;
  }
}

// Fills an engine with the voxels and the parameters; returns the centroids that it starts from.
std::vector<double> Prepare(MTH_CLUSTERING& engine, const GreyImage& image, const std::vector<double>& given,
                            const Options& options) {
  const std::vector<double> sorted = SortedIntensities(image);
  CheckIntensities(sorted);
  std::vector<double> start = StartingCentroids(sorted, given, options);
  engine.SetIterationsCount(options.iterations);
  engine.SetTolerance(options.tolerance);
  engine.SetParams(options.alpha, options.fuzzifier, options.rho);
  for (int k = 0; k < options.clusters; ++k) {
    engine.InitialiseCentroid(k, &start[static_cast<std::size_t>(k)], 1);
  }
  AddVoxels(engine, image);
  return start;
}

GreyImage WhereBothAreInside(GreyImage image, const GreyImage& other) {
  for (std::size_t voxel = 0; voxel < image.values.size(); ++voxel) {
    if (!IsInside(other.values[voxel])) image.values[voxel] = 0.0;
  }
  return image;
}

Segmentation SegmentBoth(const GreyImage& image, const GreyImage& second, const Options& options) {
  Segmentation result;
  MTH_CLUSTERING engine(options.clusters, 1);
  result.start = Prepare(engine, image, options.centroids, options);
  Run(engine, options, result);

  Segmentation other;
  MTH_CLUSTERING otherEngine(options.clusters, 1);
  Prepare(otherEngine, second, options.fusedCentroids, options);
  Run(otherEngine, options, other);
  std::vector<int> otherOrder = OrderByIntensity(otherEngine);
  // Given centroids name the classes themselves.
  if (!options.fusedCentroids.empty()) std::iota(otherOrder.begin(), otherOrder.end(), 0);
  FusedImage fused{{}, other.changes.size(), other.hasConverged};
  for (const int cluster : otherOrder) fused.centroids.push_back(otherEngine.GetCentroid(cluster)->Get(0, 0));
  const std::vector<float> conflict = FuseEvidence(engine, OrderByIntensity(engine), otherEngine, otherOrder);
  result.fused = fused;
  result.evidence = ReadEvidence(engine, image, conflict);
  ReadResults(engine, image, result);
  return result;
}

}  // namespace

bool IsInside(double value) {
  return value > 0.0;  // also false for a value that is not a number
}

Segmentation Segment(const GreyImage& image, const GreyImage* second, const Options& options) {
  if (second != nullptr)
    return SegmentBoth(WhereBothAreInside(image, *second), WhereBothAreInside(*second, image), options);
  Segmentation result;
  MTH_CLUSTERING engine(options.clusters, 1);
  result.start = Prepare(engine, image, options.centroids, options);
  Run(engine, options, result);
  if (options.method == Method::EvidentialCMeans) result.evidence = ReadEvidence(engine, image, {});
  ReadResults(engine, image, result);
  return result;
}

}  // namespace segment_mr
