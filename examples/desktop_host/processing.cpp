#include "processing.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <numeric>

#include "mth/wavelet/Mth_wavelet_denoising.h"
#include "std/Std_message.h"
#include "std/Std_wait_bar.h"

namespace desktop_host {

namespace {

using example::GreyImage;

constexpr int kAxisZ = 2;
constexpr int kDoubleElements = 0;                               // the type of a matrix of doubles
constexpr double kNoResult = std::numeric_limits<float>::max();  // the engine's answer to a run that failed
constexpr double kZeroDistance = 1e-6;  // a sample this near to a centroid has no membership for it

// What one way of clustering is made of; the frame around it is the same for all.
struct ClusteringMethod {
  bool (*run)(MTH_CLUSTERING& engine);
  double (*membership)(MTH_CLUSTERING& engine, int sample, int cluster);
};

constexpr ClusteringMethod kFuzzyCMeans{
    [](MTH_CLUSTERING& engine) { return engine.ApplyFuzzyCMeanClustering() < kNoResult; },
    [](MTH_CLUSTERING& engine, int sample, int cluster) {
      return engine.GetSample(sample)->GetMembership(cluster);
    }};

// The credal partition turned into probabilities of the classes.
constexpr ClusteringMethod kEvidentialCMeans{
    [](MTH_CLUSTERING& engine) {
      return engine.ApplyEvidentialFuzzyCMeanClustering() < kNoResult && engine.initPignisticPartition();
    },
    [](MTH_CLUSTERING& engine, int sample, int cluster) {
      const double probability = engine.GetPignisticPartition()->Get(sample, cluster);
      return std::isfinite(probability) ? probability : 0.0;  // it is not where all belief is in an outlier
    }};

bool IsInside(double value) {
  return value > 0.0;  // also false for a value that is not a number
}

// The centroids start in the middle of equal shares of the voxels.
void InitialiseCentroids(MTH_CLUSTERING& engine, const GreyImage& slice) {
  std::vector<double> sorted;
  std::copy_if(slice.values.begin(), slice.values.end(), std::back_inserter(sorted), IsInside);
  if (sorted.empty()) return;
  std::sort(sorted.begin(), sorted.end());
  const auto count = static_cast<std::size_t>(engine.GetClustersCount());
  for (std::size_t k = 0; k < count; ++k) {
    engine.InitialiseCentroid(static_cast<int>(k), &sorted[(2 * k + 1) * sorted.size() / (2 * count)], 1);
  }
}

// One sample per voxel above 0.
void AddVoxels(const GreyImage& slice, Segmentation& result) {
  MTH_CLUSTERING& engine = *result.engine;
  std::vector<double> memberships(static_cast<std::size_t>(engine.GetClustersCount()), 0.0);
  double intensity = 0.0;
  MTH_CLUSTERING_SAMPLE sample(&intensity, 1, memberships.data(), engine.GetClustersCount());
  result.sampleOfVoxel.assign(slice.values.size(), -1);
  for (std::size_t voxel = 0; voxel < slice.values.size(); ++voxel) {
    if (!IsInside(slice.values[voxel])) continue;
    intensity = slice.values[voxel];
    sample.ChangeParameters(&intensity, 1);
    result.sampleOfVoxel[voxel] = engine.GetSamplesCount();
    if (!engine.AddSample(&sample)) throw std::bad_alloc();
  }
}

void OrderClasses(Segmentation& result) {
  const auto centroidOf = [&](int cluster) { return result.engine->GetCentroid(cluster)->Get(0, 0); };
  result.clusterOfClass.resize(static_cast<std::size_t>(result.engine->GetClustersCount()));
  std::iota(result.clusterOfClass.begin(), result.clusterOfClass.end(), 0);
  std::stable_sort(result.clusterOfClass.begin(), result.clusterOfClass.end(),
                   [&](int first, int second) { return centroidOf(first) < centroidOf(second); });
  for (const int cluster : result.clusterOfClass) result.centroids.push_back(centroidOf(cluster));
}

// The class of the largest membership, or the one on whose centroid the voxel lies.
std::uint8_t LabelOf(const Segmentation& result, std::size_t voxel, double intensity) {
  std::size_t best = 0;
  for (std::size_t k = 0; k < result.centroids.size(); ++k) {
    if (std::abs(intensity - result.centroids[k]) <= kZeroDistance) return static_cast<std::uint8_t>(k + 1);
    if (result.memberships[k][voxel] > result.memberships[best][voxel]) best = k;
  }
  return static_cast<std::uint8_t>(best + 1);
}

void ReadResults(const GreyImage& slice, const ClusteringMethod& method, Segmentation& result) {
  const std::size_t voxelsCount = slice.values.size();
  result.labels.assign(voxelsCount, 0);
  result.memberships.assign(result.centroids.size(), std::vector<float>(voxelsCount, 0.0F));
  for (std::size_t voxel = 0; voxel < voxelsCount; ++voxel) {
    const int sample = result.sampleOfVoxel[voxel];
    if (sample < 0) continue;
    for (std::size_t k = 0; k < result.centroids.size(); ++k) {
      const double membership = method.membership(*result.engine, sample, result.clusterOfClass[k]);
      result.memberships[k][voxel] = static_cast<float>(membership);
    }
    result.labels[voxel] = LabelOf(result, voxel, slice.values[voxel]);
  }
}

Outcome Segment(const Request& request, const ClusteringMethod& method) {
  const GreyImage& slice = request.slice;
  Segmentation result;
  result.engine = std::make_unique<MTH_CLUSTERING>(request.classesCount, 1);
  InitialiseCentroids(*result.engine, slice);
  AddVoxels(slice, result);
  if (!method.run(*result.engine)) {
    Std_ShowMessage("No class was found: the slice has no voxel above 0", MessageKind::Warning, "");
    return {};
  }
  OrderClasses(result);
  ReadResults(slice, method, result);
  Outcome outcome;
  outcome.segmentation = std::move(result);
  return outcome;
}

// Replaces one plane of the image by its denoised self.
bool DenoisePlane(GreyImage& image, int plane) {
  const int rows = image.size[1];
  const int cols = image.size[0];
  const std::size_t start = example::LayoutOfPlane(image.size, kAxisZ, plane).start;
  MTH_MATRIX pixels(rows, cols, kDoubleElements);
  if (!pixels.IsAllocated()) throw std::bad_alloc();
  std::copy_n(&image.values[start], rows * cols, pixels.GetEDataAddress());
  MTH_WAVELET_DENOISING denoiser(&pixels);
  if (!denoiser.ApplyDenoisingMRImage()) return false;
  std::copy_n(denoiser.GetImage()->GetEDataAddress(), rows * cols, &image.values[start]);
  return true;
}

// Plane by plane, with a progress window of the host's own. Without an image the library tells the user.
Outcome Denoise(const Request& request) {
  if (request.image.values.empty()) {
    MTH_WAVELET_DENOISING(nullptr).ApplyDenoisingMRImage();
    return {};
  }
  Outcome outcome;
  outcome.image = request.image;
  const int planesCount = request.image.size[kAxisZ];
  TSTD_WAIT_BAR bar;
  bar.SetTitle("Débruitage en cours...");
  bar.SetStepsCount(planesCount);
  bar.Show();
  for (int plane = 0; plane < planesCount; ++plane) {
    if (!DenoisePlane(*outcome.image, plane)) return {};
    bar.StepAction("Coupe " + std::to_string(plane + 1) + " / " + std::to_string(planesCount));
  }
  return outcome;
}

}  // namespace

const std::vector<Processing>& Processings() {
  static const std::vector<Processing> processings{
      {"&Fuzzy c-means", "Tissue classes with memberships between 0 and 1",
       [](const Request& request) { return Segment(request, kFuzzyCMeans); }},
      {"&Evidential c-means",
       "Tissue classes with probabilities, drawn from the belief in every set of classes",
       [](const Request& request) { return Segment(request, kEvidentialCMeans); }},
      {"&Denoise", "The image without its noise, by shrinking its wavelet coefficients", Denoise},
  };
  return processings;
}

}  // namespace desktop_host
