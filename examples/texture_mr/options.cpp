#include "options.h"

#include <cmath>
#include <limits>

#include "support/command_line.h"

namespace texture_mr {

namespace {

constexpr const char* kDescription =
    "Measures the texture of an MR image, or of each region of a label image, by its grey-level "
    "co-occurrence\n"
    "matrices: how often two grey levels stand at a distance from each other, in the four directions of an "
    "image or\n"
    "the thirteen of a volume.";

constexpr const char* kFooter =
    "Intensities become levels of equal width. Pairs are counted both ways, and only where both voxels "
    "belong to\n"
    "the region; voxels that are no finite numbers belong to none. Directions of a volume are steps along\n"
    "x, y and z of its grid. Those of an image, and with --axis of the planes of a volume, are angles on\n"
    "the screen: 0 is a row, 45 rises to the right.\n"
    "\n"
    "Files written into the folder (all or none):\n"
    "  texture.csv    14 features of each region: one column per direction, their mean and range over these, "
    "and\n"
    "                 what Haralick and the imaging-biomarker standard call the same thing\n"
    "  matrices.csv   the counts: region, direction, the two levels, number of pairs\n"
    "A region without pairs along a direction has an empty value there. Of several images each gets a folder "
    "of its\n"
    "name, and summary.csv has one row for each of their regions, with the means.\n"
    "\n"
    "Examples:\n"
    "  texture_mr data/t1_brain_axial.nii.gz -o texture\n"
    "  texture_mr brain.nii.gz --mask segmented/labels.nii.gz --levels 64 -o texture\n";

constexpr int kLargestNumber = std::numeric_limits<int>::max();

void AddOptions(CLI::App& app, Options& options) {
  app.add_option("IMAGE", options.imagePaths,
                 "Images or volumes: .nii, .nii.gz or .png, or DICOM: a file,\na folder or a DICOMDIR")
      ->required();
  example::AddOutputOptions(app, options.output);
  example::AddSeriesOptions(app, options.series);
  app.add_option("-m,--mask", options.maskPath,
                 "Label image of the same size: 0 is outside, every other\nnumber a region (segment_mr's "
                 "labels.nii.gz)")
      ->type_name("MASK");
  example::AddList(app, "--label", options.labels, "K,L",
                   "Measure only these regions of the mask, separated by commas")
      ->check(CLI::Range(1, kLargestNumber).description(""));
  example::AddNumber(app, "-l,--levels", options.levels, 2, kMostLevels, "Number of grey levels, 2 to 256");
  app.add_option(
      "--bin-width", options.binWidth,
      "Intensities of one level, instead of --levels: as many levels as\nthe range needs, at most 256");
  example::AddNumber(app, "-d,--distance", options.distance, 1, kLargestNumber,
                     "How many voxels the two of a pair are apart along each axis,\n1 or more");
  example::AddAxis(
      app, options.axis,
      "Of a volume: only pairs within its planes across this axis of\nits grid, x, y or z, along "
      "four angles");
  example::AddList(app, "--range", options.range, "A,B",
                   "Intensities of the first and the last level; what is beyond counts as\n"
                   "these (without it the lowest and the highest of the regions)");
  example::AddDicomOutputOptions(app, options.dicom,
                                 "Of a DICOM image: write the measurements into this folder as a\nStructured "
                                 "Report, too",
                                 "");
}

void CheckOptions(const Options& options) {
  using example::Require;
  Require(options.labels.empty() || !options.maskPath.empty(), "--label needs a --mask");
  if (options.range.empty()) return;
  Require(options.range.size() == 2, "--range needs two intensities");
  const bool isRange = std::isfinite(options.range[0]) && std::isfinite(options.range[1]) &&
                       options.range[0] < options.range[1];
  Require(isRange, "--range needs a lower and a higher intensity");
}

}  // namespace

std::optional<Options> ParseOptions(int argc, char** argv) {
  Options options;
  CLI::App app(kDescription, "texture_mr");
  app.footer(std::string(kFooter) + "\n" + example::kReplacementText + example::kStatusText);
  AddOptions(app, options);
  if (!example::ParseCommandLine(app, argc, argv)) return std::nullopt;
  example::Require(app.count("--bin-width") == 0 || app.count("--levels") == 0,
                   "--levels and --bin-width exclude each other");
  const bool isWidth = std::isfinite(options.binWidth) && options.binWidth > 0.0;
  example::Require(app.count("--bin-width") == 0 || isWidth, "--bin-width must be above 0");
  CheckOptions(options);
  options.imagePath = options.imagePaths.front();
  return options;
}

}  // namespace texture_mr
