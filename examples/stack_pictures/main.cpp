// Puts pictures one below the other, such as the panels of the other hosts, for one look at all of them.

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "support/bitmap_font.h"
#include "support/command_line.h"
#include "support/failure.h"
#include "support/json_text.h"
#include "support/png_io.h"
#include "support/raster.h"

namespace {

using example::Raster;

constexpr int kFontScale = 3;
constexpr int kInset = 16;
constexpr example::Colour kBackground{24, 26, 31};  // that of panels
constexpr example::Colour kText{225, 228, 235};

void Append(Raster& stack, const Raster& picture) {
  stack.bytes.insert(stack.bytes.end(), picture.bytes.begin(), picture.bytes.end());
  stack.height += picture.height;
}

Raster NameRow(const std::string& name, int width) {
  Raster row = example::BlankRaster(width, example::kGlyphHeight * kFontScale + kInset, 3);
  example::FillRectangle(row, 0, 0, row.width, row.height, kBackground);
  example::DrawText(row, name, kInset, kInset, kFontScale, kText);
  return row;
}

// Pictures of other widths keep their proportions.
Raster Stack(const std::vector<Raster>& pictures, const std::vector<std::string>& names) {
  int width = 0;
  for (const Raster& picture : pictures) width = std::max(width, picture.width);
  Raster stack = example::BlankRaster(width, 0, 3);
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    const Raster& picture = pictures[i];
    if (!names.empty()) Append(stack, NameRow(names[i], width));
    const auto height = static_cast<int>(static_cast<long long>(picture.height) * width / picture.width);
    const Raster fitted =
        picture.width == width ? picture : example::Resized(picture, width, std::max(height, 1), true);
    Append(stack, fitted);
  }
  return stack;
}

int Run(int argc, char** argv) {
  example::OutputOptions output{"stack.png", "", false};
  std::vector<std::string> paths;
  std::vector<std::string> names;
  CLI::App app("Puts PNG pictures one below the other, all as wide as the widest.", "stack_pictures");
  app.footer(std::string(example::kReplacementText) + example::kStatusText);
  app.add_option("PICTURES", paths, "Pictures, from the top down (PNG)")->required();
  example::AddList(app, "--names", names, "A,B", "What to write above each picture, separated by commas");
  example::AddOutputFileOptions(app, output, "PNG", "Picture to write");
  if (!example::ParseCommandLine(app, argc, argv)) return 0;
  example::Require(names.empty() || names.size() == paths.size(), "--names needs one name per picture");
  example::Results results("stack_pictures", paths, output.isForced);
  results.AnnounceFile(output.path);
  results.AnnounceFile(output.jsonPath);
  std::vector<Raster> pictures;
  for (const std::string& path : paths) pictures.push_back(example::ReadPicture(path));
  results.WriteFile(output.path,
                    [&](const std::string& path) { example::WritePng(path, Stack(pictures, names)); });
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
