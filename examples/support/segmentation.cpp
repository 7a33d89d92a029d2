#include "support/segmentation.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <numeric>

#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_tissue_clustering.h"
#include "support/cancellation.h"
#include "support/evidential.h"
#include "support/failure.h"
#include "support/progress_recorder.h"
#include "support/text.h"

namespace example {

namespace {

constexpr double kZeroDistance = 1e-6;  // the engine takes distances up to this as zero
constexpr double kLeastRange = 1e3 * kZeroDistance;
constexpr double kNoResult = std::numeric_limits<float>::max();
constexpr double kLargestIntensity = std::numeric_limits<float>::max();

std::vector<double> SortedIntensities(const GreyImage& image, const Inside& inside) {
  std::vector<double> sorted;
  for (std::size_t voxel = 0; voxel < image.values.size(); ++voxel) {
    if (inside.isInside[voxel] != 0) sorted.push_back(image.values[voxel]);
  }
  std::sort(sorted.begin(), sorted.end());
  return sorted;
}

void CheckIntensities(const std::vector<double>& sorted) {
  if (sorted.empty()) throw Failure("the image has no voxel above 0, or above the threshold and in the mask");
  if (std::max(sorted.back(), -sorted.front()) > kLargestIntensity)
    throw Failure("the image has intensities beyond single precision");
}

void CheckDistinct(const std::vector<double>& sorted, int clusters) {
  std::vector<double> distinct = sorted;
  distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
  if (distinct.size() >= static_cast<std::size_t>(clusters)) return;
  throw Failure("the image has " + std::to_string(distinct.size()) +
                " distinct intensities above 0, too few for " + std::to_string(clusters) + " classes");
}

void CheckRange(const std::vector<double>& sorted) {
  if (sorted.back() - sorted.front() >= kLeastRange) return;
  throw Failure("the intensities span only " + Rounded(sorted.back() - sorted.front(), 3) +
                ": rescale the image");
}

void AddVoxels(MTH_CLUSTERING& engine, const GreyImage& image, const Inside& inside) {
  std::vector<double> memberships(static_cast<std::size_t>(engine.GetClustersCount()), 0.0);
  double intensity = 0.0;
  MTH_CLUSTERING_SAMPLE sample(&intensity, 1, memberships.data(), engine.GetClustersCount());
  for (std::size_t voxel = 0; voxel < image.values.size(); ++voxel) {
    if (inside.isInside[voxel] == 0) continue;
    double value = image.values[voxel];
    sample.ChangeParameters(&value, 1);
    if (!engine.AddSample(&sample)) throw std::bad_alloc();
  }
}

std::vector<double> CentroidsOf(const MTH_CLUSTERING& engine) {
  std::vector<double> centroids;
  for (const MTH_MATRIX* centroid : *engine.GetCentroids()) centroids.push_back(centroid->Get(0, 0));
  return centroids;
}

// Spread over the quantiles; where one intensity takes several of them, over the intensities.
std::vector<double> SetStart(MTH_CLUSTERING& engine, const std::vector<double>& given) {
  for (std::size_t k = 0; k < given.size(); ++k) engine.InitialiseCentroid(static_cast<int>(k), &given[k], 1);
  if (!given.empty()) return given;
  if (!engine.InitialiseCentroidsFromSamples(MTH_CENTROID_START::Quantiles)) throw std::bad_alloc();
  const std::vector<double> start = CentroidsOf(engine);
  if (std::adjacent_find(start.begin(), start.end()) == start.end()) return start;
  if (!engine.InitialiseCentroidsFromSamples(MTH_CENTROID_START::FarthestFirst)) throw std::bad_alloc();
  return CentroidsOf(engine);
}

// Runs the engine; the last change is kept as the engine returns it, the former ones as its texts round them.
void Run(MTH_CLUSTERING& engine, const SegmentationSettings& settings, Segmentation& result) {
  if (settings.method == Method::EvidentialCMeans) return RunEvidential(engine, settings, result);
  const ProgressRecorder recorder;
  const bool isFuzzy = settings.method == Method::FuzzyCMeans;
  const double lastChange = isFuzzy ? engine.ApplyFuzzyCMeanClustering() : engine.ApplyKMeanClustering();
  recorder.ThrowIfCancelled();
  if (engine.GetStopReason() == MTH_STOP_REASON::NoMemory) throw std::bad_alloc();
  result.changes = recorder.GetChanges();
  // What the engine answers without a result; also caught here: what is not a number.
  if (result.changes.empty() || !(lastChange < kNoResult)) throw Failure("the clustering failed");
  result.changes.back() = lastChange;
  // Centroids that all coincide move no more either, and are no result.
  const bool isResult = engine.GetStopReason() != MTH_STOP_REASON::BadInput;
  result.hasConverged = settings.isGiven || (isResult && lastChange <= (isFuzzy ? settings.tolerance : 0.0));
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

void ReadLabels(MTH_CLUSTERING& engine, const std::vector<int>& order, const GreyImage& image,
                const Inside& inside, Segmentation& result) {
  std::vector<int> rank(order.size());
  for (std::size_t k = 0; k < order.size(); ++k)
    rank[static_cast<std::size_t>(order[k])] = static_cast<int>(k);
  const auto undecidedLabel = static_cast<std::uint8_t>(order.size() + 1);
  result.labels.assign(image.values.size(), 0);
  result.memberships.assign(order.size(), std::vector<float>(image.values.size(), 0.0F));
  int sample = 0;
  for (std::size_t voxel = 0; voxel < image.values.size(); ++voxel) {
    if (inside.isInside[voxel] == 0) continue;
    for (std::size_t k = 0; k < order.size(); ++k) {
      result.memberships[k][voxel] = static_cast<float>(engine.GetSample(sample)->GetMembership(order[k]));
    }
    const bool isUndecided = result.evidence && IsUndecided(engine, sample);
    const std::size_t chosen = ClassOf(engine, sample, image.values[voxel], rank, result.centroids);
    result.labels[voxel] = isUndecided ? undecidedLabel : static_cast<std::uint8_t>(chosen + 1);
    ++sample;
  }
}

// Counts, means and deviations of the voxels that bear each label.
void Measure(const GreyImage& image, Segmentation& result) {
  const std::size_t clusters = result.centroids.size();
  std::vector<double> sums(clusters, 0.0);
  std::vector<double> squares(clusters, 0.0);
  result.voxelCounts.assign(clusters, 0);
  const auto forEachLabelled = [&](auto visit) {
    for (std::size_t voxel = 0; voxel < result.labels.size(); ++voxel) {
      const std::size_t label = result.labels[voxel];
      if (label >= 1 && label <= clusters) visit(label - 1, image.values[voxel]);
    }
  };
  forEachLabelled([&](std::size_t k, double value) {
    ++result.voxelCounts[k];
    sums[k] += value;
  });
  for (std::size_t k = 0; k < clusters; ++k)
    result.means.push_back(sums[k] / static_cast<double>(result.voxelCounts[k]));
  forEachLabelled([&](std::size_t k, double value) {
    squares[k] += (value - result.means[k]) * (value - result.means[k]);
  });
  for (std::size_t k = 0; k < clusters; ++k) {
    result.deviations.push_back(std::sqrt(squares[k] / static_cast<double>(result.voxelCounts[k])));
    const auto& memberships = result.memberships[k];
    result.softVoxels.push_back(std::accumulate(memberships.begin(), memberships.end(), 0.0));
  }
}

// Results that look valid and are none.
void Warn(const SegmentationSettings& settings, Segmentation& result) {
  if (!result.hasConverged && result.changes.size() >= static_cast<std::size_t>(settings.iterations)) {
    result.warnings.push_back("not converged: raise the number of iterations (" +
                              std::to_string(settings.iterations) + ") or the tolerance");
  }
  // Tissues are told apart in any unit, the other methods' distances end at a fixed one.
  const double zero = settings.method == Method::Tissue ? 0.0 : kZeroDistance;
  for (std::size_t k = 0; k + 1 < result.centroids.size(); ++k) {
    if (result.centroids[k + 1] - result.centroids[k] > zero) continue;
    result.warnings.push_back("classes " + std::to_string(k + 1) + " and " + std::to_string(k + 2) +
                              " have the same centroid: they are one class");
  }
  for (std::size_t k = 0; k < result.voxelCounts.size(); ++k) {
    if (result.voxelCounts[k] == 0)
      result.warnings.push_back("class " + std::to_string(k + 1) +
                                " has no voxel: it died, and its centroid tells nothing");
  }
}

void ReadResults(MTH_CLUSTERING& engine, const std::vector<float>& conflict, const GreyImage& image,
                 const Inside& inside, const SegmentationSettings& settings, Segmentation& result) {
  const std::vector<int> order = OrderByIntensity(engine);
  result.clusterOfClass = order;
  for (const int cluster : order) result.centroids.push_back(engine.GetCentroid(cluster)->Get(0, 0));
  if (settings.method == Method::EvidentialCMeans)
    result.evidence = ReadEvidence(engine, order, inside, conflict);
  ReadLabels(engine, order, image, inside, result);
  Measure(image, result);
  Warn(settings, result);
}

// Fills an engine with the voxels and the parameters; returns the centroids that it starts from.
std::vector<double> Prepare(MTH_CLUSTERING& engine, const GreyImage& image, const Inside& inside,
                            const std::vector<double>& given, const SegmentationSettings& settings) {
  const std::vector<double> sorted = SortedIntensities(image, inside);
  CheckIntensities(sorted);
  if (!settings.isGiven) {
    CheckDistinct(sorted, settings.clusters);
    CheckRange(sorted);
  }
  engine.SetIterationsCount(settings.isGiven ? 1 : settings.iterations);  // the first one keeps the centroids
  engine.SetTolerance(settings.tolerance);
  engine.SetParams(settings.alpha, settings.fuzzifier, settings.rho);
  AddVoxels(engine, image, inside);
  return SetStart(engine, given);
}

// Clusters the second image and fuses its evidence into the engine's.
std::vector<float> Fuse(MTH_CLUSTERING& engine, const GreyImage& second, const Inside& inside,
                        const SegmentationSettings& settings, Segmentation& result) {
  Segmentation other;
  MTH_CLUSTERING otherEngine(settings.clusters, 1);
  Prepare(otherEngine, second, inside, settings.fusedCentroids, settings);
  Run(otherEngine, settings, other);
  std::vector<int> otherOrder = OrderByIntensity(otherEngine);
  // Given centroids name the classes themselves.
  if (!settings.fusedCentroids.empty()) std::iota(otherOrder.begin(), otherOrder.end(), 0);
  result.fused = FusedImage{{}, other.changes.size(), other.hasConverged};
  for (const int cluster : otherOrder)
    result.fused->centroids.push_back(otherEngine.GetCentroid(cluster)->Get(0, 0));
  return FuseEvidence(engine, OrderByIntensity(engine), otherEngine, otherOrder);
}

// The centroids, fractions, labels and fields of a whole run.
void ReadTissues(const MTH_TISSUE_CLUSTERING& engine, std::size_t voxels, Segmentation& result) {
  for (int k = 0; k < engine.GetTissuesCount(); ++k) {
    result.centroids.push_back(engine.GetCentroid(k));
    result.memberships.emplace_back(voxels);
    engine.GetFractions(k, result.memberships.back().data());
  }
  result.labels.resize(voxels);
  engine.GetLabels(result.labels.data());
  for (int channel = 0; channel < engine.GetChannelsCount(); ++channel) {
    result.fields.emplace_back(voxels);
    engine.GetField(result.fields.back().data(), channel);
  }
}

}  // namespace

Segmentation DivideTissues(const std::vector<GreyImage>& channels, const Inside& inside,
                           const std::vector<double>& confidence, const SegmentationSettings& settings) {
  const GreyImage& image = channels.front();
  const std::vector<double> sorted = SortedIntensities(image, inside);
  CheckIntensities(sorted);
  CheckDistinct(sorted, settings.clusters);
  MTH_TISSUE_CLUSTERING engine(settings.clusters);
  engine.SetFieldEstimation(settings.estimatesField);
  engine.SetLocalMeans(settings.hasLocalMeans);
  engine.SetFieldWidth(settings.fieldWidth);
  if (settings.isGiven && !engine.SetMeans(settings.centroids.data()))
    throw Failure("the means of the model do not ascend");
  if (image.voxelSize)
    engine.SetVoxelSize((*image.voxelSize)[0], (*image.voxelSize)[1], (*image.voxelSize)[2]);
  const auto [nx, ny, nz] = image.size;
  const std::uint8_t* mask = inside.isInside.data();
  std::vector<const double*> values;
  for (const GreyImage& channel : channels) values.push_back(channel.values.data());
  const bool isOne = channels.size() == 1;
  const double* left = confidence.empty() ? nullptr : confidence.data();
  const bool hasRun =
      isOne ? engine.Segment(values[0], nx, ny, nz, mask, left)
            : engine.SegmentChannels(values.data(), static_cast<int>(values.size()), nx, ny, nz, mask);
  if (!hasRun) {
    if (engine.GetStopReason() == MTH_STOP_REASON::Cancelled) throw Cancelled();
    if (engine.GetStopReason() == MTH_STOP_REASON::NoMemory) throw std::bad_alloc();
    throw Failure("the image has too few different intensities for " + std::to_string(settings.clusters) +
                  " tissues");
  }
  Segmentation result;
  result.hasConverged = true;
  result.stopReason = Mth_StopReasonText(engine.GetStopReason());
  ReadTissues(engine, image.values.size(), result);
  Measure(image, result);
  Warn(settings, result);
  return result;
}

const char* NameOf(Method method) {
  if (method == Method::Tissue) return "tissues and mixtures";
  if (method == Method::EvidentialCMeans) return "evidential c-means";
  return method == Method::KMeans ? "k-means" : "fuzzy c-means";
}

int DefaultIterations(Method method) {
  return method == Method::EvidentialCMeans ? 1000 : 100;
}

Inside FindInside(const GreyImage& image, double threshold, const GreyImage* mask) {
  Inside inside;
  inside.isInside.assign(image.values.size(), 0);
  for (std::size_t voxel = 0; voxel < image.values.size(); ++voxel)
    inside.isInside[voxel] = image.values[voxel] > threshold ? 1 : 0;
  for (const std::size_t voxel : image.replaced) inside.isInside[voxel] = 0;
  for (std::size_t voxel = 0; voxel < image.values.size(); ++voxel) {
    const bool isMasked = mask == nullptr || mask->values[voxel] > 0.0;
    if (isMasked && inside.isInside[voxel] == 0) ++inside.dropped;
    if (!isMasked) inside.isInside[voxel] = 0;
    inside.voxels += inside.isInside[voxel];
  }
  return inside;
}

Segmentation Segment(const GreyImage& image, const Inside& inside, const GreyImage* second,
                     const SegmentationSettings& settings) {
  Segmentation result;
  result.engine = std::make_shared<MTH_CLUSTERING>(settings.clusters, 1);
  MTH_CLUSTERING& engine = *result.engine;
  result.start = Prepare(engine, image, inside, settings.centroids, settings);
  Run(engine, settings, result);
  result.stopReason =
      Mth_StopReasonText(settings.isGiven ? MTH_STOP_REASON::Converged : engine.GetStopReason());
  std::vector<float> conflict;
  if (second != nullptr) conflict = Fuse(engine, *second, inside, settings, result);
  ReadResults(engine, conflict, image, inside, settings, result);
  return result;
}

}  // namespace example
