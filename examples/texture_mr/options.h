#pragma once

#include <optional>
#include <string>
#include <vector>

#include "support/dicom_results.h"
#include "support/image.h"
#include "support/results.h"

namespace texture_mr {

/// What the user asks for; every value is within its legal range.
struct Options {
  std::vector<std::string> imagePaths;
  std::string imagePath;         ///< the one that is measured
  example::SeriesChoice series;  ///< of a DICOM folder
  example::DicomOutput dicom;
  example::OutputOptions output{"texture_mr_output", "", false};
  std::string maskPath;     ///< empty: the whole image is one region
  std::vector<int> labels;  ///< of the mask's regions to measure; empty: all of them
  int levels = 32;
  int distance = 1;
  std::optional<int>
      axis;               ///< of a volume: pairs lie in its planes across this axis; open: in all directions
  double binWidth = 0.0;  ///< intensities of a level; 0: the range divided by the number of levels
  std::vector<double> range;  ///< intensities of the first and the last level; empty: those of the regions
};

inline constexpr int kMostLevels = 256;

/// @return  nothing when the user asked for help, which is printed.
/// @throws example::Failure  for an unknown, missing or illegal option.
std::optional<Options> ParseOptions(int argc, char** argv);

}  // namespace texture_mr
