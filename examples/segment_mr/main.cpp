// Segments an MR image into tissue classes: an example of a host program around the clustering engine.

#include <cstdio>
#include <optional>
#include <string>

#include "options.h"
#include "pictures.h"
#include "plots.h"
#include "report.h"
#include "segmentation.h"
#include "support/denoising.h"
#include "support/failure.h"
#include "support/image.h"
#include "support/nifti_io.h"
#include "support/results.h"

namespace {

using example::Failure;
using example::GreyImage;
using segment_mr::Options;
using segment_mr::Segmentation;

// The image as it is, or the plane of the volume that the user asks for; completes the options with it.
GreyImage ReadChosenImage(const std::string& path, Options& options) {
  GreyImage image = example::ReadImage(path);
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

// The image without its noise. What was 0 is outside the head and stays so.
GreyImage Denoised(const GreyImage& image) {
  GreyImage denoised = image;
  example::Denoise(denoised, {});
  for (std::size_t voxel = 0; voxel < image.values.size(); ++voxel) {
    if (image.values[voxel] == 0.0) denoised.values[voxel] = 0.0;
  }
  return denoised;
}

// The files that every run writes, to be refused before it.
std::vector<std::string> CertainNames() {
  return {"labels.png", "panel.png", "histogram.svg", "convergence.svg", "report.txt", "report.json"};
}

void WriteResults(example::Results& results, const GreyImage& image, const Segmentation& segmentation,
                  const Options& options) {
  WritePictures(results, image, segmentation);
  results.WriteText("histogram.svg", DrawHistogram(image, segmentation));
  results.WriteText("convergence.svg", DrawConvergence(segmentation, options));
  if (example::IsNiftiPath(options.imagePath) && !options.axis) {
    results.Write("labels.nii.gz", [&](const std::string& path) {
      example::WriteNiftiLabels(path, image, options.imagePath, segmentation.labels);
    });
  }
  results.WriteText("report.txt", TextReport(image, segmentation, options));
  const std::string json = JsonReport(image, segmentation, options, results.GetNames());
  results.WriteText("report.json", json);
  results.WriteTextFile(options.output.jsonPath, json);
  results.Commit();
}

int Run(int argc, char** argv) {
  std::optional<Options> options = segment_mr::ParseOptions(argc, argv);
  if (!options) return 0;
  std::vector<std::string> inputs{options->imagePath};
  if (!options->fusedPath.empty()) inputs.push_back(options->fusedPath);
  example::Results results("segment_mr", inputs, options->output.isForced);
  results.OpenFolder(options->output.path);
  results.Announce(CertainNames());
  results.AnnounceFile(options->output.jsonPath);
  GreyImage image = ReadChosenImage(options->imagePath, *options);
  std::optional<GreyImage> second;
  if (!options->fusedPath.empty()) {
    second = ReadChosenImage(options->fusedPath, *options);
    example::RequireSameGrid(image, options->imagePath, *second, options->fusedPath);
  }
  if (options->denoises) {
    image = Denoised(image);
    if (second) second = Denoised(*second);
  }
  const Segmentation segmentation = Segment(image, second ? &*second : nullptr, *options);
  WriteResults(results, image, segmentation, *options);

  std::printf("%s\n%zu files written into %s: panel.png shows the classes at a glance\n",
              TextReport(image, segmentation, *options).c_str(), results.GetNames().size(),
              options->output.path.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return example::RunProgram("segment_mr", Run, argc, argv);
}
