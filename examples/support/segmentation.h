#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/image.h"

class MTH_CLUSTERING;

namespace example {

enum class Method { Tissue, FuzzyCMeans, KMeans, EvidentialCMeans };

/// "tissues and mixtures", "fuzzy c-means", "k-means" or "evidential c-means".
const char* NameOf(Method method);

inline constexpr int kMostClusters = 64;
inline constexpr int kMostEvidentialClusters = 10;  // each voxel has 2^classes masses

/// Tissues that a T1 image shows: CSF, grey and white matter.
inline constexpr int kUsualTissues = 3;
inline constexpr int kMostTissues = 16;

/// How voxels are clustered; every value is within its legal range.
struct SegmentationSettings {
  Method method = Method::FuzzyCMeans;
  int clusters = 4;
  double fuzzifier = 2.0;
  int iterations = 100;
  double tolerance = 0.001;
  double alpha = 2.0;              ///< evidential: how much the size of a set of classes counts against it
  double rho = 2.0;                ///< evidential: distance of outliers, in mean distances to the centroids
  bool keepsAdjacentSets = false;  ///< evidential: no belief in sets of classes that are not neighbours
  std::vector<double> centroids;   ///< to start from; empty: spread over the intensity quantiles
  bool isGiven = false;            ///< the centroids are those of a model: they are not moved
  bool estimatesField = true;      ///< tissues: whether places are brighter or darker than others
  bool hasLocalMeans = true;       ///< tissues: whether their means may differ from place to place
  double fieldWidth = 25.0;        ///< tissues: how smooth the field is, in mm
  std::vector<double> fusedCentroids;  ///< those of the second image, in the order of the first one's classes
};

/// The iterations that a method gets unless its user says otherwise: evidential c-means converges slowly.
int DefaultIterations(Method method);

/// Which voxels are clustered.
struct Inside {
  std::vector<std::uint8_t> isInside;  ///< of every voxel
  std::size_t voxels = 0;
  std::size_t dropped = 0;  ///< within the mask, if any, and at or below the threshold or no finite numbers
};

/// The voxels above the threshold and, where there is a mask, where that is above 0.
Inside FindInside(const GreyImage& image, double threshold, const GreyImage* mask);

/// What evidential c-means tells beside the classes.
struct Evidence {
  std::vector<float> undecided;  ///< per voxel: mass on sets of several classes; 0 outside
  std::vector<float>
      unassigned;  ///< per voxel: mass on no class, or the conflict between two images; 0 outside
  std::vector<std::vector<float>> plausibility;  ///< per class and voxel: mass on all sets with it; 0 outside
  std::vector<double> lowerVoxels;               ///< of each class: sum of the belief in it alone
  std::vector<double> upperVoxels;               ///< of each class: sum of its plausibility
  std::size_t undecidedVoxels = 0;               ///< whose largest mass is on a set of several classes
  std::size_t outlierVoxels = 0;                 ///< whose largest mass is on no class; none after fusion
};

/// How the second of two fused images was clustered.
struct FusedImage {
  std::vector<double> centroids;  ///< in the order of the first image's classes
  std::size_t iterations = 0;
  bool hasConverged = false;
};

/// The classes of an image, in the order of their centroids.
struct Segmentation {
  std::vector<double> start;             ///< the starting centroids, in the order in which they were given
  std::vector<double> centroids;         ///< intensities, ascending
  std::vector<std::size_t> voxelCounts;  ///< of each class: the voxels that bear its label
  std::vector<double> means;             ///< of the intensities of these voxels; not a number without any
  std::vector<double> deviations;        ///< likewise, around the mean
  std::vector<double> softVoxels;        ///< of each class: sum of its memberships
  /// Per voxel: 1 is the darkest class, 0 is outside; after an evidential run one above the number of classes
  /// marks voxels that are undecided.
  std::vector<std::uint8_t> labels;
  std::vector<std::uint8_t> isLesion;  ///< per voxel, of no class: what a mask of lesions told; none without
  std::vector<std::vector<float>> memberships;  ///< per class and voxel; 0 outside
  std::vector<double> changes;  ///< of each iteration; to six decimals but for the last; none of tissues
  std::vector<std::vector<double>> fields;  ///< tissues: of each channel, by which it is brighter per voxel
  std::string stopReason;                   ///< how the run ended, in the library's words
  bool hasConverged = false;
  std::vector<std::string> warnings;  ///< what the results should not be read without
  std::optional<Evidence> evidence;
  std::optional<FusedImage> fused;
  /// The engine of the run, for questions about single voxels: its samples are the voxels inside, in their
  /// order. None of tissues.
  std::shared_ptr<MTH_CLUSTERING> engine;
  std::vector<int> clusterOfClass;  ///< the engine's number of each class
};

/// Divides the voxels inside into tissues and their mixtures, with the field of each channel.
/// @param channels    images of one grid.
/// @param confidence  of DenoisingResult; empty: none.
/// @throws Failure    when the voxels have fewer different values than there are tissues.
/// @throws Cancelled  as Segment.
Segmentation DivideTissues(const std::vector<GreyImage>& channels, const Inside& inside,
                           const std::vector<double>& confidence, const SegmentationSettings& settings);

/// Clusters the voxels inside, with any other method.
/// @param second  an image to fuse with, of the same grid; null for none.
/// @throws Failure    when there is no voxel, or when the voxels have fewer distinct intensities than there
///                    are classes; when the evidence of the first image has not converged for fusion.
/// @throws Cancelled  when the user has pressed Ctrl-C, or the display's Cancel.
Segmentation Segment(const GreyImage& image, const Inside& inside, const GreyImage* second,
                     const SegmentationSettings& settings);

}  // namespace example
