#pragma once

#include <optional>
#include <string>
#include <vector>

namespace segment_mr {

enum class Method { FuzzyCMeans, KMeans };

/// What the user asks for; every value is within its legal range.
struct Options {
  std::string imagePath;
  std::string outputPath = "segment_mr_output";
  Method method = Method::FuzzyCMeans;
  int clusters = 4;
  double fuzzifier = 2.0;
  int iterations = 100;
  double tolerance = 0.001;
  std::vector<double> centroids;  ///< to start from; empty: spread over the intensity quantiles
  std::optional<int> axis;        ///< 0, 1 or 2
  std::optional<int> index;       ///< of the plane along the axis
  bool denoises = false;          ///< before the segmentation
};

inline constexpr int kMostClusters = 64;

/// @return  nothing when the user asked for help, which is printed.
/// @throws example::Failure  for an unknown, missing or illegal option.
std::optional<Options> ParseOptions(int argc, char** argv);

/// "fuzzy c-means" or "k-means".
const char* NameOf(Method method);

}  // namespace segment_mr
