// Puts pictures one below the other, such as the panels of the other hosts, for one look at all of them.

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "support/command_line.h"
#include "support/failure.h"
#include "support/json_text.h"
#include "support/png_io.h"
#include "support/raster.h"

namespace {

using example::Raster;

// Pictures of other widths keep their proportions.
Raster Stack(const std::vector<Raster>& pictures) {
  int width = 0;
  for (const Raster& picture : pictures) width = std::max(width, picture.width);
  Raster stack = example::BlankRaster(width, 0, 3);
  for (const Raster& picture : pictures) {
    const auto height = static_cast<int>(static_cast<long long>(picture.height) * width / picture.width);
    const Raster fitted =
        picture.width == width ? picture : example::Resized(picture, width, std::max(height, 1), true);
    stack.bytes.insert(stack.bytes.end(), fitted.bytes.begin(), fitted.bytes.end());
    stack.height += fitted.height;
  }
  return stack;
}

int Run(int argc, char** argv) {
  example::OutputOptions output{"stack.png", "", false};
  std::vector<std::string> paths;
  CLI::App app("Puts PNG pictures one below the other, all as wide as the widest.", "stack_pictures");
  app.footer(std::string(example::kReplacementText) + example::kStatusText);
  app.add_option("PICTURES", paths, "Pictures, from the top down (PNG)")->required();
  example::AddOutputFileOptions(app, output, "PNG", "Picture to write");
  if (!example::ParseCommandLine(app, argc, argv)) return 0;
  example::Results results("stack_pictures", paths, output.isForced);
  results.AnnounceFile(output.path);
  results.AnnounceFile(output.jsonPath);
  std::vector<Raster> pictures;
  for (const std::string& path : paths) pictures.push_back(example::ReadPicture(path));
  results.WriteFile(output.path, [&](const std::string& path) { example::WritePng(path, Stack(pictures)); });
  example::Json report;
  report["pictures"] = paths;
  report["output"] = output.path;
  results.WriteTextFile(output.jsonPath, example::JsonText(report));
  results.Commit();
  std::printf("%zu pictures stacked in %s\n", pictures.size(), output.path.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return example::RunProgram("stack_pictures", Run, argc, argv);
}
