// Takes the noise off an MR image or volume: an example of a host program around the wavelet denoising.

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "support/batch.h"
#include "support/bids.h"
#include "support/command_line.h"
#include "support/denoising.h"
#include "support/dicom_results.h"
#include "support/failure.h"
#include "support/image.h"
#include "support/json_text.h"
#include "support/nifti_io.h"
#include "support/panel.h"
#include "support/png_io.h"
#include "support/resources.h"
#include "support/text.h"

namespace {

using example::Failure;
using example::GreyImage;

constexpr int kLargestWindow = 99;
constexpr double kMostNoise = 100.0;

struct Options {
  std::vector<std::string> imagePaths;
  std::string imagePath;  // the one that is denoised
  example::OutputOptions output{"denoise_mr_output", "", false};
  double addedNoise = 0.0;  // per cent of the brightest grey level
  std::optional<int> axis;
  example::Side side = example::Side::Radiological;
  std::string maskPath;   // empty: none
  bool isVolume = false;  // by blocks, also of a single image
  bool isByPlanes = false;
  example::DenoisingOptions denoising;
  example::SeriesChoice series;
  example::DicomOutput dicom;
};

bool ParseOptions(int argc, char** argv, Options& options) {
  CLI::App app(
      "Takes the noise off a magnitude MR image or volume: flat tissue becomes smooth, edges stay. A volume "
      "by\n"
      "overlapping blocks and means of similar places, an image, or a volume plane by plane, by its "
      "wavelets.",
      "denoise_mr");
  app.footer(
      std::string(
          "Files written into the folder (all or none):\n"
          "  denoised.nii.gz  the result in the place and with the number type of the image; float32\n"
          "                   where these cannot hold it; denoised.png of a PNG; of an image named as\n"
          "                   BIDS does sub-01_desc-denoised_T1w.nii.gz with its sidecar\n"
          "  panel.png        before, after and difference; of a volume the middle plane\n"
          "Of several images each gets a folder of its name, and summary.csv has one row for each.\n"
          "\n"
          "Examples:\n"
          "  denoise_mr head.nii.gz --factor 2.5 -o result\n"
          "  denoise_mr clean.nii.gz --add-noise 9 -o trial\n"
          "\n") +
      example::kReplacementText + example::kStatusText);
  app.add_option(
         "IMAGE", options.imagePaths,
         "Images or volumes: .nii, .nii.gz, or .png\n(colours become their luminance), or DICOM: a file, a "
         "folder\nor a DICOMDIR")
      ->required();
  example::AddOutputOptions(app, options.output);
  example::AddSeriesOptions(app, options.series);
  app.add_option(
         "-f,--factor", options.denoising.factor,
         "Of wavelets: how many noise levels a detail must stand out to\nstay; larger values smooth more")
      ->capture_default_str();
  app.add_flag(
      "--volume", options.isVolume,
      "By overlapping blocks and means of similar places: the default\nfor volumes without --factor, "
      "--window and --axis");
  app.add_option("--sigma", options.denoising.deviation,
                 "Deviation of the noise for --volume; without it it is estimated");
  app.add_option("--mask", options.maskPath, "Image of the same grid: voxels at 0 in it become 0")
      ->type_name("MASK");
  example::AddNumber(app, "-w,--window", options.denoising.window, 1, kLargestWindow,
                     "Of wavelets: side of the neighbourhood that decides on a detail,\nodd, 1 to 99 pixels");
  example::AddSide(app, options.side);
  example::AddAxis(
      app, options.axis,
      "Of wavelets: axis of a volume's grid across which its planes lie:\nx, y or z (z without it)");
  app.add_option(
         "--add-noise", options.addedNoise,
         "To try it on a clean image: Rician noise to add first, in per\ncent of the brightest grey level, "
         "up to 100")
      ->check(CLI::Range(0.0, kMostNoise).description(""))
      ->type_name("PERCENT");
  example::AddDicomOutputOptions(
      app, options.dicom, "Of a DICOM image: write the result into this folder as a derived\nseries, too",
      "");
  if (!example::ParseCommandLine(app, argc, argv)) return false;
  example::Require(options.dicom.folder.empty() || options.imagePaths.size() == 1,
                   "--dicom-output takes one image");
  options.imagePath = options.imagePaths.front();
  example::Require(std::isfinite(options.denoising.factor) && options.denoising.factor >= 0.0,
                   "--factor must be a number from 0 up");
  options.isByPlanes = app.count("--factor") + app.count("--window") + app.count("--axis") > 0;
  example::Require(!options.isVolume || !options.isByPlanes,
                   "--factor, --window and --axis do not belong to --volume");
  example::Require(options.denoising.deviation == 0.0 || !options.isByPlanes, "--sigma belongs to --volume");
  example::Require(std::isfinite(options.denoising.deviation) && options.denoising.deviation >= 0.0,
                   "--sigma must be a number from 0 up");
  example::Require(options.denoising.window % 2 != 0, "--window must be odd");
  example::Require(!std::isnan(options.addedNoise), "--add-noise must be a number from 0 to 100");
  return true;
}

// Three digits, or all of a whole number.
std::string ShortText(double value) {
  const bool isLong = value >= 1e3 && value < 1e9;
  return isLong ? example::Fixed(value, 0) : example::Rounded(value, 3);
}

// The middle plane of both, and what was taken off, from black for darker to white for brighter.
void WritePanel(const std::string& path, const GreyImage& before, const GreyImage& after, int axis,
                example::Side side) {
  const int middle = before.size[static_cast<std::size_t>(axis)] / 2;
  const GreyImage first = example::ExtractPlane(before, axis, middle);
  const GreyImage second = example::ExtractPlane(after, axis, middle);
  std::vector<double> difference;
  double largest = 0.0;
  for (std::size_t i = 0; i < first.values.size(); ++i) {
    difference.push_back(second.values[i] - first.values[i]);
    largest = std::max(largest, std::abs(difference.back()));
  }
  if (!(largest > 0.0)) largest = 1.0;
  const double white = example::WhiteLevel(first);
  const std::vector<example::PanelTile> tiles{
      {example::DrawGreyPlane(first, first.values, 0.0, white, side), "before", std::nullopt, true},
      {example::DrawGreyPlane(second, second.values, 0.0, white, side), "after", std::nullopt, true},
      {example::DrawGreyPlane(first, difference, -largest, largest, side),
       "difference: -" + ShortText(largest) + " to " + ShortText(largest), std::nullopt, true}};
  const auto& size = first.voxelSize;
  example::WritePng(path, example::ComposePanel(tiles, size ? (*size)[1] / (*size)[0] : 1.0,
                                                example::LettersOf(first, side)));
}

// "denoised.nii.gz", or as BIDS wants it.
std::string NameOfResult(const Options& options) {
  if (example::IsPicturePath(options.imagePath)) return "denoised.png";
  const example::BidsName name = example::ParseBidsName(options.imagePath);
  return (name.IsBids() ? example::BidsResult(name, "", "denoised", name.suffix) : "denoised") + ".nii.gz";
}

// As the file of the image stores its numbers, so that all subjects of a study stay alike.
void WriteDenoised(example::Results& results, const std::string& name, GreyImage& denoised,
                   const Options& options) {
  if (example::IsPicturePath(options.imagePath)) {
    results.Write(name, [&](const std::string& path) { example::WriteGreyPng(path, denoised); });
    return;
  }
  const bool fits = example::FitsInto(denoised.storage, denoised.values);
  if (!fits) {
    denoised.storage = {example::VoxelType::Float, 1.0, 0.0};
    std::printf("The result does not fit into the image's type of numbers: written as float32\n");
  }
  results.Write(name, [&](const std::string& path) {
    example::WriteNifti(path, denoised, options.imagePath, denoised.values, denoised.storage,
                        example::Meaning::Intensities);
  });
}

std::string JsonReport(const Options& options, const GreyImage& image, const std::vector<double>& deviations,
                       double addedDeviation, double seconds) {
  example::Json json;
  json["image"] = options.imagePath;
  json["size"] = image.size;
  json["method"] = options.denoising.isPlaneByPlane ? "wavelets of planes" : "blocks of the volume";
  if (options.denoising.isPlaneByPlane) {
    json["factor"] = options.denoising.factor;
    json["window"] = options.denoising.window;
    json["axis"] = example::AxisName(options.denoising.axis);
  }
  json["mask"] = nullptr;
  if (!options.maskPath.empty()) json["mask"] = options.maskPath;
  json["added_deviation"] = addedDeviation;
  json["deviations"] = deviations;
  json["seconds"] = seconds;
  json["replaced_voxels"] = image.replaced.size();
  return example::JsonText(json);
}

// What BIDS wants to be told of a result.
std::string Sidecar(const Options& options) {
  example::Json json;
  json["Description"] = options.denoising.isPlaneByPlane ? "denoised plane by plane by its wavelets"
                                                         : "denoised by blocks and non-local means";
  json["Sources"] = {options.imagePath};
  return example::JsonText(json);
}

void Print(const Options& options, const GreyImage& image, const std::vector<double>& deviations) {
  const auto [least, greatest] = std::minmax_element(deviations.begin(), deviations.end());
  const std::string range = deviations.size() == 1
                                ? ShortText(*least)
                                : ShortText(*least) + " to " + ShortText(*greatest) + " in " +
                                      std::to_string(deviations.size()) + " planes";
  std::printf("Image   %s, %d x %d x %d\nNoise   standard deviation %s\n", options.imagePath.c_str(),
              image.size[0], image.size[1], image.size[2], range.c_str());
  if (!image.replaced.empty())
    std::printf("%zu voxels were no finite numbers: they are 0 now\n", image.replaced.size());
  if (*greatest == 0.0)
    std::printf("No noise was found: the image has none, or is too small or too black to tell\n");
}

// What made the result, for the objects of an archive.
example::DicomMaker MakerOf(const Options& options, const std::vector<double>& deviations) {
  const auto [least, greatest] = std::minmax_element(deviations.begin(), deviations.end());
  std::string settings = "noise deviation " + ShortText(*least);
  if (*least != *greatest) settings += " to " + ShortText(*greatest);
  if (options.denoising.isPlaneByPlane)
    settings += ", factor " + example::Shortest(options.denoising.factor) + ", window " +
                std::to_string(options.denoising.window);
  if (options.addedNoise > 0.0)
    settings += ", " + example::Shortest(options.addedNoise) + " % noise added before";
  return {"denoise_mr", options.denoising.isPlaneByPlane ? "wavelets of planes" : "blocks of the volume",
          settings};
}

double AddedDeviation(const Options& options, const GreyImage& image) {
  return options.addedNoise / 100.0 * *std::max_element(image.values.begin(), image.values.end());
}

std::vector<std::string> InputsOf(const Options& options) {
  std::vector<std::string> inputs = options.imagePaths;
  if (!options.maskPath.empty()) inputs.push_back(options.maskPath);
  return inputs;
}

// What lies outside the mask becomes 0.
void ApplyMask(const Options& options, GreyImage& denoised) {
  if (options.maskPath.empty()) return;
  const GreyImage mask = example::ReadImage(options.maskPath);
  example::RequireSameGrid(denoised, options.imagePath, mask, options.maskPath);
  for (std::size_t voxel = 0; voxel < denoised.values.size(); ++voxel) {
    if (!(mask.values[voxel] > 0.0)) denoised.values[voxel] = 0.0;
  }
}

std::string SummaryRow(const Options& options, const std::vector<double>& deviations, double seconds) {
  const auto [least, greatest] = std::minmax_element(deviations.begin(), deviations.end());
  return example::CsvField(options.imagePath) + "," + example::Rounded(*least, 6) + "," +
         example::Rounded(*greatest, 6) + "," + example::Fixed(seconds, 2) + "\n";
}

// Denoises one image into the folder of the options.
example::ImageSummary DenoiseImage(Options options) {
  example::Results results("denoise_mr", InputsOf(options), options.output.isForced);
  results.OpenFolder(options.output.path);
  const std::string name = NameOfResult(options);
  results.Announce({name, "panel.png"});
  results.AnnounceFile(options.output.jsonPath);
  GreyImage image = example::ReadImage(options.imagePath, options.series);
  example::RequireDicomOutput(options.dicom, image, options.imagePath);
  if (!example::IsVolume(image) && options.axis) throw Failure("--axis needs a volume, not a single image");
  options.denoising.axis = options.axis.value_or(2);
  options.denoising.isPlaneByPlane = options.isByPlanes || (!options.isVolume && !example::IsVolume(image));
  example::Require(!options.denoising.isPlaneByPlane || options.denoising.deviation == 0.0,
                   "--sigma of a single image needs --volume");
  const double addedDeviation = AddedDeviation(options, image);
  if (addedDeviation > 0.0) example::AddNoise(image, addedDeviation);
  const example::Stopwatch clock;
  GreyImage denoised = image;
  const std::vector<double> deviations = example::Denoise(denoised, options.denoising).deviations;
  ApplyMask(options, denoised);

  const double seconds = clock.Seconds();
  const std::string json = JsonReport(options, image, deviations, addedDeviation, seconds);
  WriteDenoised(results, name, denoised, options);
  if (example::ParseBidsName(options.imagePath).IsBids())
    results.WriteText(name.substr(0, name.find('.')) + ".json", Sidecar(options));
  if (!options.dicom.folder.empty())
    WriteDicomSeries(results, denoised, "denoised", MakerOf(options, deviations), options.dicom);
  results.Write("panel.png", [&](const std::string& path) {
    WritePanel(path, image, denoised, options.denoising.axis, options.side);
  });
  results.WriteTextFile(options.output.jsonPath, json);
  results.Commit();
  if (addedDeviation > 0.0)
    std::printf("Added   noise of standard deviation %s\n", ShortText(addedDeviation).c_str());
  Print(options, image, deviations);
  std::printf("Written %s: %s, panel.png\n", options.output.path.c_str(), name.c_str());
  return {SummaryRow(options, deviations, seconds), json};
}

int Run(int argc, char** argv) {
  Options options;
  if (!ParseOptions(argc, argv, options)) return 0;
  if (options.imagePaths.size() == 1) {
    DenoiseImage(options);
    return 0;
  }
  const auto run = [&options](const std::string& path, const example::OutputOptions& output) {
    Options one = options;
    one.imagePath = path;
    one.output = output;
    return DenoiseImage(one);
  };
  RunEach("denoise_mr", options.imagePaths, InputsOf(options), options.output,
          "image,least deviation,greatest deviation,seconds\n", run);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return example::RunProgram("denoise_mr", Run, argc, argv);
}
