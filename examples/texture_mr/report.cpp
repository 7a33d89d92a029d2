#include "report.h"

#include <algorithm>
#include <cmath>

#include "support/batch.h"
#include "support/json_text.h"
#include "support/text.h"

namespace texture_mr {

namespace {

// As programs that read tables expect it.
std::string NumberText(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0.0 ? "inf" : "-inf";
  return example::Shortest(value);
}

std::string RegionName(int label) {
  return label == kWholeImage ? "image" : std::to_string(label);
}

std::string ValuesText(const RegionTexture& texture, std::size_t feature) {
  std::string text;
  for (const FeatureValues& values : texture.ofDirection) {
    text += ',';
    if (values) text += NumberText((*values)[feature]);
  }
  if (!texture.HasPairs()) return text + ",,";
  return text + "," + NumberText(texture.Mean(feature)) + "," + NumberText(texture.Range(feature));
}

}  // namespace

std::string TextureTable(const std::vector<RegionTexture>& textures,
                         const std::vector<Direction>& directions) {
  std::string table = "region,voxels,feature,";
  for (const Direction& direction : directions) table += direction.name + ",";
  table += "mean,range,function,haralick,standard,relation\n";
  for (const RegionTexture& texture : textures) {
    const std::string start = RegionName(texture.label) + "," + std::to_string(texture.voxels) + ",";
    for (std::size_t feature = 0; feature < kFeatureCount; ++feature) {
      const FeatureKind& kind = kFeatureKinds[feature];
      table += start + kind.name + ValuesText(texture, feature) + "," + kind.function + "," + kind.haralick +
               "," + kind.standard + "," + kind.relation + "\n";
    }
  }
  return table;
}

std::string MatricesTable(const std::vector<RegionPairs>& regions, const std::vector<Direction>& directions) {
  std::string table = "region,direction,level,other level,pairs\n";
  for (const RegionPairs& region : regions) {
    for (std::size_t d = 0; d < directions.size(); ++d) {
      const PairCounts& pairs = region.pairs[d];
      const std::string start = RegionName(region.label) + "," + directions[d].name + ",";
      for (int i = 0; i < pairs.levels; ++i) {
        for (int j = 0; j < pairs.levels; ++j) {
          if (pairs.At(i, j) == 0) continue;
          table += start + std::to_string(i) + "," + std::to_string(j) + "," +
                   std::to_string(pairs.At(i, j)) + "\n";
        }
      }
    }
  }
  return table;
}

std::string SummaryHeader() {
  std::string header = "image,region,voxels";
  for (const FeatureKind& kind : kFeatureKinds) header.append(",").append(kind.name);
  return header + "\n";
}

std::string SummaryRows(const std::vector<RegionTexture>& textures, const Options& options) {
  std::string rows;
  for (const RegionTexture& texture : textures) {
    rows.append(example::CsvField(options.imagePath)).append(",").append(RegionName(texture.label));
    rows.append(",").append(std::to_string(texture.voxels));
    for (std::size_t feature = 0; feature < kFeatureCount; ++feature) {
      rows.append(",");
      if (texture.HasPairs()) rows.append(NumberText(texture.Mean(feature)));
    }
    rows.append("\n");
  }
  return rows;
}

std::string JsonReport(const example::GreyImage& image, const std::vector<RegionTexture>& textures,
                       const Levels& levels, const std::vector<Direction>& directions,
                       const Options& options) {
  example::Json json;
  json["image"] = options.imagePath;
  json["mask"] = nullptr;
  if (!options.maskPath.empty()) json["mask"] = options.maskPath;
  json["not_finite_voxels"] = image.replaced.size();
  json["levels"] = options.levels;
  json["range"] = {levels.lowest, levels.highest};
  json["distance"] = options.distance;
  for (const Direction& direction : directions) json["directions"].push_back(direction.name);
  json["regions"] = example::Json::array();
  for (const RegionTexture& texture : textures) {
    example::Json region;
    region["region"] = RegionName(texture.label);
    region["voxels"] = texture.voxels;
    for (std::size_t feature = 0; feature < kFeatureCount && texture.HasPairs(); ++feature) {
      region["features"][kFeatureKinds[feature].name] = {{"mean", texture.Mean(feature)},
                                                         {"range", texture.Range(feature)}};
    }
    json["regions"].push_back(region);
  }
  return example::JsonText(json);
}

std::string TextReport(const std::vector<RegionTexture>& textures, const Levels& levels,
                       const std::vector<Direction>& directions, const Options& options) {
  constexpr std::size_t kMostColumns = 8;
  constexpr std::size_t kWidth = 11;
  const std::size_t columns = std::min(kMostColumns, textures.size());
  const std::string distance = std::to_string(options.distance);
  std::string text = "Texture, " + std::to_string(options.levels) + " levels from " +
                     example::Rounded(levels.lowest, 6) + " to " + example::Rounded(levels.highest, 6) +
                     ", distance " + distance + ", means of " + std::to_string(directions.size()) +
                     " directions\n";
  const auto addRow = [&](std::string name, auto cell) {
    name.resize(26, ' ');
    text += "  " + name;
    for (std::size_t column = 0; column < columns; ++column)
      text += example::RightAligned(cell(textures[column]), kWidth);
    text += "\n";
  };
  addRow("region", [](const RegionTexture& texture) { return RegionName(texture.label); });
  addRow("voxels", [](const RegionTexture& texture) { return std::to_string(texture.voxels); });
  for (std::size_t feature = 0; feature < kFeatureCount; ++feature) {
    addRow(kFeatureKinds[feature].name, [feature](const RegionTexture& texture) {
      if (!texture.HasPairs()) return std::string("-");
      const double mean = texture.Mean(feature);
      return std::isfinite(mean) ? example::Rounded(mean, 5) : NumberText(mean);
    });
  }
  return text;
}

}  // namespace texture_mr
