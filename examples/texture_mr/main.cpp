// Measures the texture of the regions of an MR image: an example of a host program around the texture
// features.

#include <cstdio>

#include "cooccurrence.h"
#include "dicom.h"
#include "features.h"
#include "options.h"
#include "regions.h"
#include "report.h"
#include "support/batch.h"
#include "support/failure.h"
#include "support/image.h"

namespace {

std::vector<std::string> InputsOf(const texture_mr::Options& options) {
  std::vector<std::string> inputs = options.imagePaths;
  if (!options.maskPath.empty()) inputs.push_back(options.maskPath);
  return inputs;
}

// Measures one image into the folder of the options.
example::ImageSummary Measure(texture_mr::Options options) {
  example::Results results("texture_mr", InputsOf(options), options.output.isForced);
  results.OpenFolder(options.output.path);
  results.Announce({"texture.csv", "matrices.csv"});
  results.AnnounceFile(options.output.jsonPath);
  results.AnnounceInFolder(options.dicom.folder, texture_mr::kDicomName);
  const example::GreyImage image = example::ReadImage(options.imagePath, options.series);
  example::RequireDicomOutput(options.dicom, image, options.imagePath);
  const auto directions = DirectionsOf(image, options);
  const auto regions = ReadRegions(image, options);
  const auto levels = Quantise(image, regions, options);
  const auto pairs = CountPairs(image, levels, regions, directions, options);
  const auto textures = ComputeTextures(pairs);

  const std::string json = JsonReport(image, textures, levels, directions, options);
  results.WriteText("texture.csv", TextureTable(textures, directions));
  results.WriteText("matrices.csv", MatricesTable(pairs, directions));
  results.WriteTextFile(options.output.jsonPath, json);
  WriteDicom(results, image, textures, options);
  results.Commit();
  std::printf("%s2 files written into %s\n", TextReport(textures, levels, directions, options).c_str(),
              options.output.path.c_str());
  if (!image.replaced.empty())
    std::printf("%zu voxels are no finite numbers and left out\n", image.replaced.size());
  return {SummaryRows(textures, options), json};
}

int Run(int argc, char** argv) {
  const auto options = texture_mr::ParseOptions(argc, argv);
  if (!options) return 0;
  if (options->imagePaths.size() == 1) {
    Measure(*options);
    return 0;
  }
  const auto run = [&options](const std::string& path, const example::OutputOptions& output) {
    texture_mr::Options one = *options;
    one.imagePath = path;
    one.output = output;
    return Measure(one);
  };
  RunEach("texture_mr", options->imagePaths, InputsOf(*options), options->output, texture_mr::SummaryHeader(),
          run);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return example::RunProgram("texture_mr", Run, argc, argv);
}
