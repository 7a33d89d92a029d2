// Segments an MR image into tissue classes: an example of a host program around the clustering engine.

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "dicom.h"
#include "lesions.h"
#include "maps.h"
#include "options.h"
#include "pictures.h"
#include "plots.h"
#include "report.h"
#include "support/batch.h"
#include "support/denoising.h"
#include "support/failure.h"
#include "support/image.h"
#include "support/results.h"
#include "support/segmentation.h"
#include "support/text.h"

namespace {

using example::Failure;
using example::GreyImage;
using example::Inside;
using example::Segmentation;
using segment_mr::Options;

// The image as it is, or the plane of the volume that the user asks for; completes the options with it.
GreyImage ReadChosenImage(const std::string& path, Options& options, const example::SeriesChoice& series) {
  GreyImage image = example::ReadImage(path, series);
  if (!options.axis && !options.index) return image;
  if (!example::IsVolume(image)) throw Failure("--axis and --index need a volume, not a single image");
  const int axis = options.axis.value_or(2);
  const int count = image.size[static_cast<std::size_t>(axis)];
  const int index = options.index.value_or(count / 2);
  if (index < 0 || index >= count) throw Failure("--index must be 0 to " + std::to_string(count - 1));
  options.axis = axis;
  options.index = index;
  return example::ExtractPlane(image, axis, index);
}

// Another image of the same grid; none without a name.
std::optional<GreyImage> ReadCompanion(const std::string& path, const GreyImage& image, Options& options) {
  if (path.empty()) return std::nullopt;
  // A mask of a series is a file of another kind as often as not.
  const bool isDicom = !example::IsNiftiPath(path) && !example::IsPicturePath(path);
  GreyImage companion = ReadChosenImage(path, options, isDicom ? options.series : example::SeriesChoice{});
  example::RequireSameGrid(image, options.imagePath, companion, path);
  return companion;
}

// What counts is inside in all images.
Inside FindInsideOfAll(const GreyImage& image, const std::vector<const GreyImage*>& others,
                       const GreyImage* mask, const Options& options) {
  Inside inside = example::FindInside(image, options.threshold, mask);
  for (const GreyImage* other : others) {
    const Inside there = example::FindInside(*other, options.threshold, mask);
    inside.voxels = 0;
    for (std::size_t voxel = 0; voxel < inside.isInside.size(); ++voxel) {
      if (inside.isInside[voxel] != 0 && there.isInside[voxel] == 0) ++inside.dropped;
      inside.isInside[voxel] = inside.isInside[voxel] != 0 && there.isInside[voxel] != 0 ? 1 : 0;
      inside.voxels += inside.isInside[voxel];
    }
  }
  return inside;
}

// The files that every run writes, to be refused before it.
std::vector<std::string> CertainNames() {
  return {"labels.png", "panel.png", "histogram.svg", "report.txt", "report.json"};
}

// Returns the report for programs.
std::string WriteResults(example::Results& results, const GreyImage& image, const GreyImage* over,
                         const Inside& inside, const Segmentation& segmentation, const std::string& text,
                         const Options& options) {
  segment_mr::WritePictures(results, image, over, segmentation, options.side);
  results.WriteText("histogram.svg", segment_mr::DrawHistogram(image, segmentation));
  if (!segmentation.changes.empty())
    results.WriteText("convergence.svg", DrawConvergence(segmentation, options));
  if (!example::IsPicturePath(options.imagePath)) WriteMaps(results, image, segmentation, options);
  WriteDicom(results, image, segmentation, options);
  results.WriteText("report.txt", text);
  const std::string json = JsonReport(image, inside, segmentation, options, results.GetNames());
  results.WriteText("report.json", json);
  results.WriteTextFile(options.output.jsonPath, json);
  results.Commit();
  return json;
}

// Values that are not the 0 of a background.
std::size_t CountBelowZero(const GreyImage& image, const Options& options) {
  return static_cast<std::size_t>(std::count_if(image.values.begin(), image.values.end(), [&](double value) {
    return value <= options.threshold && value != 0.0;
  }));
}

// In one line, where it may surprise: values that are no intensities, or a mask that is larger than the head.
void TellDropped(const GreyImage& image, const Inside& inside, const Options& options) {
  constexpr double kSurprise = 0.01;
  const double all = static_cast<double>(image.values.size());
  const bool isMasked = !options.maskPath.empty();
  const std::size_t odd = isMasked ? inside.dropped : image.replaced.size() + CountBelowZero(image, options);
  if (static_cast<double>(odd) <= kSurprise * all) return;
  std::printf("%zu voxels%s are at or below %s or no finite numbers and left out (--threshold)\n", odd,
              isMasked ? " of the mask" : "", example::Rounded(options.threshold, 6).c_str());
}

// The channels of one scan.
std::vector<GreyImage> ReadChannels(Options& options) {
  std::vector<GreyImage> channels{ReadChosenImage(options.imagePath, options, options.series)};
  for (std::size_t i = 1; i < options.channelPaths.size(); ++i)
    channels.push_back(*ReadCompanion(options.channelPaths[i], channels.front(), options));
  return channels;
}

std::vector<std::string> InputsOf(const Options& options) {
  std::vector<std::string> inputs = options.channelPaths;
  for (const std::string& path :
       {options.fusedPath, options.maskPath, options.overPath, options.lesionsPath, options.modelPath}) {
    if (!path.empty()) inputs.push_back(path);
  }
  return inputs;
}

// Takes the noise off all images, and keeps what it found; of a single image the confidence, too.
std::vector<double> DenoiseAll(std::vector<GreyImage>& channels, std::optional<GreyImage>& second,
                               Options& options) {
  if (!*options.denoises) return {};
  example::DenoisingOptions denoising;
  denoising.deviation = options.sigma;
  std::vector<double> confidence;
  const auto denoise = [&](GreyImage& image) {
    example::DenoisingResult found = example::DenoiseInside(image, denoising);
    options.deviations.insert(options.deviations.end(), found.deviations.begin(), found.deviations.end());
    return std::move(found.confidence);
  };
  for (GreyImage& channel : channels) confidence = denoise(channel);
  if (second) denoise(*second);
  return channels.size() == 1 ? confidence : std::vector<double>();
}

// Segments one scan into the folder of the options; all inputs of the run stay.
example::ImageSummary SegmentScan(Options options, const std::vector<std::string>& inputs) {
  example::Results results("segment_mr", inputs, options.output.isForced);
  results.OpenFolder(options.output.path);
  results.Announce(CertainNames());
  results.AnnounceFile(options.output.jsonPath);
  for (const char* name : {segment_mr::kDicomName, segment_mr::kDicomReportName})
    results.AnnounceInFolder(options.dicom.folder, name);
  std::vector<GreyImage> channels = ReadChannels(options);
  example::RequireDicomOutput(options.dicom, channels.front(), options.imagePath);
  ChooseMethod(channels, options);
  std::optional<GreyImage> second = ReadCompanion(options.fusedPath, channels.front(), options);
  const std::optional<GreyImage> mask = ReadCompanion(options.maskPath, channels.front(), options);
  const std::optional<GreyImage> lesions = ReadCompanion(options.lesionsPath, channels.front(), options);
  const std::optional<GreyImage> over = ReadCompanion(options.overPath, channels.front(), options);
  const std::vector<double> confidence = DenoiseAll(channels, second, options);
  const GreyImage& image = channels.front();
  const GreyImage* fused = second ? &*second : nullptr;
  std::vector<const GreyImage*> others;
  for (std::size_t i = 1; i < channels.size(); ++i) others.push_back(&channels[i]);
  if (fused != nullptr) others.push_back(fused);
  Inside inside = FindInsideOfAll(image, others, mask ? &*mask : nullptr, options);
  std::vector<std::uint8_t> isLesion = segment_mr::TakeOutLesions(lesions, options.lesionsPath, inside);
  Segmentation segmentation = options.settings.method == example::Method::Tissue
                                  ? DivideTissues(channels, inside, confidence, options.settings)
                                  : Segment(image, inside, fused, options.settings);
  segmentation.isLesion = std::move(isLesion);
  if (!options.whyNoTissues.empty())
    segmentation.warnings.push_back("no tissues were looked for: " + options.whyNoTissues);
  const std::string text = TextReport(image, inside, segmentation, options);
  const std::string json =
      WriteResults(results, image, over ? &*over : nullptr, inside, segmentation, text, options);

  std::printf("%s\n", text.c_str());
  TellDropped(image, inside, options);
  std::printf("%zu files written into %s: panel.png shows the classes at a glance\n",
              results.GetNames().size(), options.output.path.c_str());
  return {segment_mr::SummaryRow(image, segmentation, options), json};
}

void SegmentEach(const Options& options) {
  const std::vector<std::string> inputs = InputsOf(options);
  const auto run = [&](const std::string& path, const example::OutputOptions& output) {
    Options one = options;
    one.imagePath = path;
    one.channelPaths = {path};
    one.output = output;
    one.clock = {};
    return SegmentScan(one, inputs);
  };
  RunEach("segment_mr", options.channelPaths, inputs, options.output, segment_mr::SummaryHeader(), run);
}

int Run(int argc, char** argv) {
  const std::optional<Options> options = segment_mr::ParseOptions(argc, argv);
  if (!options) return 0;
  if (options->takesEach) {
    SegmentEach(*options);
  } else {
    SegmentScan(*options, InputsOf(*options));
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return example::RunProgram("segment_mr", Run, argc, argv);
}
