// Makes MR images whose tissues are known: for trying out denoising and segmentation.

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "make_phantom/phantom.h"
#include "support/command_line.h"
#include "support/failure.h"
#include "support/json_text.h"
#include "support/nifti_io.h"
#include "support/text.h"

namespace {

using example::Failure;
using example::GreyImage;

constexpr int kLargestSide = 1024;
constexpr double kMostPercent = 100.0;
constexpr const char* kTissueNames[] = {"CSF", "GM", "WM"};

struct Options {
  std::string brainPath;
  std::string headPath;
  example::OutputOptions output{"make_phantom_output", "", false};
  std::vector<double> levels;
  std::vector<int> size{128, 144, 112};
  std::vector<double> contrast{250.0, 650.0, 1000.0};
  double biasPercent = 0.0;
  double noisePercent = 3.0;
  int seed = 1;
};

bool IsAscending(const std::vector<double>& values) {
  return values.size() == 3 && values[0] >= 0.0 && values[0] < values[1] && values[1] < values[2] &&
         std::isfinite(values[2]);
}

bool ParseOptions(int argc, char** argv, Options& options) {
  CLI::App app(
      "Makes a T1-like image of a brain of which the fraction of each tissue is known in every voxel: of "
      "smooth\n"
      "shapes, or of the anatomy of a brain that is given.",
      "make_phantom");
  app.footer(std::string("Files written into the folder (all or none):\n"
                         "  phantom.nii.gz   the image, with field and noise\n"
                         "  clean.nii.gz     the same without noise\n"
                         "  field.nii.gz     the field, 1 on average\n"
                         "  mask.nii.gz      1 in the brain\n"
                         "  fraction_CSF.nii.gz, fraction_GM.nii.gz, fraction_WM.nii.gz\n"
                         "\n"
                         "Examples:\n"
                         "  make_phantom --noise 9 --bias 40 -o trial\n"
                         "  make_phantom brain.nii.gz --levels 38,85,114 --head head.nii.gz -o trial\n"
                         "\n") +
             example::kReplacementText + example::kStatusText);
  app.add_option("BRAIN", options.brainPath,
                 "A T1 image of little noise without skull, 0 around the brain;\n"
                 "without it the brain is made of shapes");
  app.add_option("--head", options.headPath, "The same image with skull, for what surrounds the brain");
  example::AddList(
      app, "--levels", options.levels, "CSF,GM,WM",
      "Grey levels of the tissues in BRAIN, ascending; the middle half\nof the way between two counts as a "
      "mixture");
  example::AddList(app, "--size", options.size, "X,Y,Z", "Voxels of a brain made of shapes (128,144,112)");
  example::AddList(app, "--contrast", options.contrast, "CSF,GM,WM",
                   "Brightness of the tissues (250,650,1000)");
  example::AddNumber(app, "--bias", options.biasPercent, 0.0, kMostPercent,
                     "How much brighter the field's brightest place is than its\ndarkest, in per cent");
  example::AddNumber(app, "--noise", options.noisePercent, 0.0, kMostPercent,
                     "Deviation of the Rician noise, in per cent of the brightest\ntissue");
  app.add_option("--seed", options.seed, "Of the noise and of the field's shape")->capture_default_str();
  example::AddOutputOptions(app, options.output);
  if (!example::ParseCommandLine(app, argc, argv)) return false;
  const bool hasBrain = !options.brainPath.empty();
  example::Require(hasBrain ? IsAscending(options.levels) : options.levels.empty(),
                   hasBrain ? "BRAIN needs --levels with three ascending numbers" : "--levels needs BRAIN");
  example::Require(hasBrain || options.headPath.empty(), "--head needs BRAIN");
  example::Require(!hasBrain || app.count("--size") == 0, "--size does not belong to BRAIN");
  example::Require(
      options.size.size() == 3 && std::all_of(options.size.begin(), options.size.end(),
                                              [](int side) { return side >= 1 && side <= kLargestSide; }),
      "--size must be three numbers from 1 to 1024");
  example::Require(
      options.contrast.size() == 3 && std::all_of(options.contrast.begin(), options.contrast.end(),
                                                  [](double level) { return level > 0.0 && level < 1e6; }),
      "--contrast must be three numbers above 0");
  return true;
}

// The phantom, and in `grid` where its voxels lie.
example::Phantom MakePhantom(const Options& options, GreyImage& grid) {
  if (options.brainPath.empty()) {
    grid.size = {options.size[0], options.size[1], options.size[2]};
    grid.voxelSize = std::array<double, 3>{1.0, 1.0, 1.0};
    return example::MakeShapesPhantom(grid.size);
  }
  grid = example::ReadImage(options.brainPath);
  std::vector<double> head;
  if (!options.headPath.empty()) {
    GreyImage image = example::ReadImage(options.headPath);
    example::RequireSameGrid(grid, options.brainPath, image, options.headPath);
    head = std::move(image.values);
  }
  example::Phantom phantom = example::MakeAnatomicalPhantom(
      grid.size, grid.values, {options.levels[0], options.levels[1], options.levels[2]}, head);
  if (std::count(phantom.mask.begin(), phantom.mask.end(), 1) == 0)
    throw Failure("the brain has no voxel above 0");
  return phantom;
}

example::PhantomScan ScanOf(const Options& options) {
  example::PhantomScan scan;
  std::copy(options.contrast.begin(), options.contrast.end(), scan.contrast.begin());
  scan.bias = options.biasPercent / 100.0;
  scan.noisePercent = options.noisePercent;
  scan.seed = static_cast<unsigned>(options.seed);
  return scan;
}

std::string JsonReport(const Options& options, const example::Phantom& phantom,
                       const example::PhantomScan& scan) {
  example::Json json;
  json["brain"] = options.brainPath;
  json["size"] = phantom.size;
  json["contrast"] = scan.contrast;
  json["bias_percent"] = options.biasPercent;
  json["noise_deviation"] = example::NoiseDeviation(scan);
  json["seed"] = options.seed;
  for (std::size_t k = 0; k < example::Phantom::kTissues; ++k) {
    double volume = 0.0;
    for (const float fraction : phantom.fractions[k]) volume += static_cast<double>(fraction);
    json["voxels"][kTissueNames[k]] = volume;
  }
  return example::JsonText(json);
}

int Run(int argc, char** argv) {
  Options options;
  if (!ParseOptions(argc, argv, options)) return 0;
  example::Results results("make_phantom", {options.brainPath, options.headPath}, options.output.isForced);
  results.OpenFolder(options.output.path);
  std::vector<std::string> names{"phantom.nii.gz", "clean.nii.gz", "field.nii.gz", "mask.nii.gz"};
  for (const char* tissue : kTissueNames) names.push_back(std::string("fraction_") + tissue + ".nii.gz");
  results.Announce(names);
  results.AnnounceFile(options.output.jsonPath);

  GreyImage grid;
  const example::Phantom phantom = MakePhantom(options, grid);
  const example::PhantomScan scan = ScanOf(options);
  const auto write = [&](const std::string& name, const std::vector<float>& values,
                         example::Meaning meaning) {
    results.Write(name, [&](const std::string& path) {
      example::WriteNiftiFloats(path, grid, options.brainPath, values, meaning);
    });
  };
  write("phantom.nii.gz", NoisyImage(phantom, scan), example::Meaning::Intensities);
  write("clean.nii.gz", CleanImage(phantom, scan), example::Meaning::Intensities);
  write("field.nii.gz", BiasField(phantom, scan), example::Meaning::Intensities);
  results.Write("mask.nii.gz", [&](const std::string& path) {
    example::WriteNiftiLabels(path, grid, options.brainPath, phantom.mask);
  });
  for (std::size_t k = 0; k < example::Phantom::kTissues; ++k)
    write(std::string("fraction_") + kTissueNames[k] + ".nii.gz", phantom.fractions[k],
          example::Meaning::Probabilities);
  results.WriteTextFile(options.output.jsonPath, JsonReport(options, phantom, scan));
  results.Commit();
  std::printf("Phantom %d x %d x %d, noise of deviation %s\nWritten %s: %zu files\n", phantom.size[0],
              phantom.size[1], phantom.size[2], example::Rounded(example::NoiseDeviation(scan), 3).c_str(),
              options.output.path.c_str(), results.GetNames().size());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return example::RunProgram("make_phantom", Run, argc, argv);
}
