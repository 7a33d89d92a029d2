// Measures the texture of the regions of an MR image: an example of a host program around the texture
// features.

#include <cstdio>

#include "cooccurrence.h"
#include "features.h"
#include "options.h"
#include "regions.h"
#include "report.h"
#include "support/failure.h"
#include "support/image.h"
#include "support/output_folder.h"

namespace {

int Run(int argc, char** argv) {
  const auto options = texture_mr::ParseOptions(argc, argv);
  if (!options) return 0;
  example::OutputFolder folder(options->outputPath);
  const example::GreyImage image = example::ReadImage(options->imagePath);
  const auto regions = ReadRegions(image, *options);
  const auto levels = Quantise(image, regions, *options);
  const auto pairs = CountPairs(image, levels, regions, *options);
  const auto textures = ComputeTextures(pairs);

  folder.WriteText("texture.csv", TextureTable(textures));
  folder.WriteText("matrices.csv", MatricesTable(pairs));
  folder.Commit({});
  std::printf("%s2 files written into %s\n", TextReport(textures, levels, *options).c_str(),
              options->outputPath.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return example::RunProgram("texture_mr", Run, argc, argv);
}
