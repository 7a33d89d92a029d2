#pragma once

#include <optional>
#include <string>
#include <vector>

#include "support/results.h"

namespace segment_mr {

enum class Method { FuzzyCMeans, KMeans, EvidentialCMeans };

/// What the user asks for; every value is within its legal range.
struct Options {
  std::string imagePath;
  example::OutputOptions output{"segment_mr_output", "", false};
  Method method = Method::FuzzyCMeans;
  int clusters = 4;
  double fuzzifier = 2.0;
  int iterations = 100;
  double tolerance = 0.001;
  double alpha = 2.0;             ///< evidential: how much the size of a set of classes counts against it
  double rho = 2.0;               ///< evidential: distance of outliers, in mean distances to the centroids
  std::string fusedPath;          ///< second image; empty: none
  std::vector<double> centroids;  ///< to start from; empty: spread over the intensity quantiles
  std::vector<double> fusedCentroids;  ///< those of the second image, in the order of the first one's classes
  std::optional<int> axis;             ///< 0, 1 or 2
  std::optional<int> index;            ///< of the plane along the axis
  bool denoises = false;               ///< before the segmentation
};

inline constexpr int kMostClusters = 64;
inline constexpr int kMostEvidentialClusters = 10;  // each voxel has 2^classes masses

/// @return  nothing when the user asked for help, which is printed.
/// @throws example::Failure  for an unknown, missing or illegal option.
std::optional<Options> ParseOptions(int argc, char** argv);

/// "fuzzy c-means", "k-means" or "evidential c-means".
const char* NameOf(Method method);

}  // namespace segment_mr
