#pragma once

#include <optional>
#include <string>
#include <vector>

#include "support/dicom_results.h"
#include "support/image.h"
#include "support/resources.h"
#include "support/results.h"
#include "support/segmentation.h"

namespace segment_mr {

/// What the user asks for; every value is within its legal range.
struct Options {
  std::string imagePath;                  ///< the first channel
  example::SeriesChoice series;           ///< of DICOM folders
  std::vector<std::string> channelPaths;  ///< all channels, the first one included
  bool takesEach = false;                 ///< the images are no channels: one run for each
  bool isMethodOpen = false;              ///< tissues; fuzzy c-means for what has values below 0
  bool needsTissues = false;              ///< asks for what only they have
  std::string whyNoTissues;               ///< where a method was open, and they were no choice
  bool isCountOpen = false;               ///< of the classes
  example::OutputOptions output{"segment_mr_output", "", false};
  example::DicomOutput dicom;
  example::SegmentationSettings settings;
  std::string fusedPath;         ///< second image; empty: none
  std::string overPath;          ///< labels to draw what is undecided over; empty: none
  std::string maskPath;          ///< empty: none
  std::string lesionsPath;       ///< mask of what is no tissue; empty: none
  std::string modelPath;         ///< clusters of many scans; empty: they are looked for
  double threshold = 0.0;        ///< intensities at or below it are outside
  std::optional<int> axis;       ///< 0, 1 or 2
  std::optional<int> index;      ///< of the plane along the axis
  std::optional<bool> denoises;  ///< before the segmentation; open: for tissues, without values below 0
  double sigma = 0.0;            ///< deviation of the noise; 0: estimated
  std::vector<double>
      deviations;  ///< of the noise that was taken off, image by image; none without denoising
  example::Side side = example::Side::Radiological;
  example::Stopwatch clock;  ///< of the run
};

/// Completes the options of a user who left the method open, by what the images are.
void ChooseMethod(const std::vector<example::GreyImage>& channels, Options& options);

/// @return  nothing when the user asked for help, which is printed.
/// @throws example::Failure  for an unknown, missing or illegal option.
std::optional<Options> ParseOptions(int argc, char** argv);

}  // namespace segment_mr
