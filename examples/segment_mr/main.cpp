// Segments an MR image into tissue classes: an example of a host program around the clustering engine.

#include <cstdio>
#include <optional>
#include <string>

#include "options.h"
#include "pictures.h"
#include "plots.h"
#include "report.h"
#include "segmentation.h"
#include "support/failure.h"
#include "support/image.h"
#include "support/nifti_io.h"
#include "support/output_folder.h"

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

void WriteResults(example::OutputFolder& folder, const GreyImage& image, const Segmentation& segmentation,
                  const Options& options) {
  WritePictures(folder, image, segmentation);
  folder.WriteText("histogram.svg", DrawHistogram(image, segmentation));
  folder.WriteText("convergence.svg", DrawConvergence(segmentation, options));
  if (example::IsNiftiPath(options.imagePath) && !options.axis) {
    example::WriteNiftiLabels(folder.PathOf("labels.nii.gz"), options.imagePath, segmentation.labels);
  }
  folder.WriteText("report.txt", TextReport(image, segmentation, options));
  folder.WriteText("report.json", JsonReport(image, segmentation, options, folder.GetNames()));
  folder.Commit({"labels.", "membership_", "undecided.", "outliers.", "conflict."});
}

int Run(int argc, char** argv) {
  std::optional<Options> options = segment_mr::ParseOptions(argc, argv);
  if (!options) return 0;
  example::OutputFolder folder(options->outputPath);
  const GreyImage image = ReadChosenImage(options->imagePath, *options);
  std::optional<GreyImage> second;
  if (!options->fusedPath.empty()) second = ReadChosenImage(options->fusedPath, *options);
  const Segmentation segmentation = Segment(image, second ? &*second : nullptr, *options);
  WriteResults(folder, image, segmentation, *options);

  std::printf("%s\n%zu files written into %s: panel.png shows the classes at a glance\n",
              TextReport(image, segmentation, *options).c_str(), folder.GetNames().size(),
              options->outputPath.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return example::RunProgram("segment_mr", Run, argc, argv);
}
