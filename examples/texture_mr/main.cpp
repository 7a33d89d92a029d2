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

namespace {

int Run(int argc, char** argv) {
  auto options = texture_mr::ParseOptions(argc, argv);
  if (!options) return 0;
  std::vector<std::string> inputs{options->imagePath};
  if (!options->maskPath.empty()) inputs.push_back(options->maskPath);
  example::Results results("texture_mr", inputs, options->output.isForced);
  results.OpenFolder(options->output.path);
  results.Announce({"texture.csv", "matrices.csv"});
  results.AnnounceFile(options->output.jsonPath);
  const example::GreyImage image = example::ReadImage(options->imagePath);
  const auto regions = ReadRegions(image, *options);
  const auto levels = Quantise(image, regions, *options);
  const auto pairs = CountPairs(image, levels, regions, *options);
  const auto textures = ComputeTextures(pairs);

  results.WriteText("texture.csv", TextureTable(textures));
  results.WriteText("matrices.csv", MatricesTable(pairs));
  results.WriteTextFile(options->output.jsonPath, JsonReport(textures, levels, *options));
  results.Commit();
  std::printf("%s2 files written into %s\n", TextReport(textures, levels, *options).c_str(),
              options->output.path.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return example::RunProgram("texture_mr", Run, argc, argv);
}
