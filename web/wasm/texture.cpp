// Texture features of the regions of an image, as the host texture_mr measures them.

#include <emscripten/bind.h>

#include <algorithm>
#include <limits>

#include "bundle.h"
#include "texture_mr/cooccurrence.h"
#include "texture_mr/features.h"

namespace mth_web {

namespace {

using emscripten::val;

// The regions of a label image, ascending; without one the whole image.
texture_mr::Regions RegionsOf(const std::uint8_t* labels, std::size_t voxels) {
  if (labels == nullptr) return {{texture_mr::kWholeImage}, std::vector<std::int16_t>(voxels, 0)};
  std::int16_t indices[256];
  std::fill(std::begin(indices), std::end(indices), std::int16_t{texture_mr::kOutside});
  for (std::size_t voxel = 0; voxel < voxels; ++voxel) {
    if (labels[voxel] != 0) indices[labels[voxel]] = 0;
  }
  texture_mr::Regions regions;
  for (int label = 1; label < 256; ++label) {
    if (indices[label] == texture_mr::kOutside) continue;
    indices[label] = static_cast<std::int16_t>(regions.labels.size());
    regions.labels.push_back(label);
  }
  if (regions.labels.empty()) throw BadInput("no region among the labels");
  for (std::size_t voxel = 0; voxel < voxels; ++voxel) regions.ofVoxel.push_back(indices[labels[voxel]]);
  return regions;
}

texture_mr::Options OptionsOf(const val& options) {
  texture_mr::Options chosen;
  chosen.levels = options["levels"].as<int>();
  chosen.distance = options["distance"].as<int>();
  if (!options["axis"].isNull()) chosen.axis = options["axis"].as<int>();
  if (!options["range"].isNull())
    chosen.range = emscripten::convertJSArrayToNumberVector<double>(options["range"]);
  return chosen;
}

// Of each region its label, its voxels and the means of its features over the directions; not a number
// without pairs.
void AddFeatures(const std::vector<texture_mr::RegionTexture>& textures, Bundle& found) {
  constexpr std::size_t kCount = texture_mr::kFeatureCount;
  std::int32_t* label = found.Add<std::int32_t>("labels", textures.size());
  double* voxels = found.Add<double>("voxels", textures.size());
  double* feature = found.Add<double>("features", textures.size() * kCount);
  for (const texture_mr::RegionTexture& texture : textures) {
    *label++ = texture.label;
    *voxels++ = static_cast<double>(texture.voxels);
    for (std::size_t k = 0; k < kCount; ++k)
      *feature++ = texture.HasPairs() ? texture.Mean(k) : std::numeric_limits<double>::quiet_NaN();
  }
  std::string names;
  for (const texture_mr::FeatureKind& kind : texture_mr::kFeatureKinds)
    names.append(names.empty() ? "" : ",").append(kind.name);
  found.AddText("names", names);
}

Bundle* Texture(double image, const val& options) {
  return Guarded([&](Bundle& found) {
    example::GreyImage grey;
    for (int axis = 0; axis < 3; ++axis)
      grey.size[static_cast<std::size_t>(axis)] = options["size"][axis].as<int>();
    const auto voxels = static_cast<std::size_t>(options["voxels"].as<double>());
    grey.values.assign(At<const double>(image), At<const double>(image) + voxels);
    texture_mr::Options chosen = OptionsOf(options);
    const auto regions = RegionsOf(At<const std::uint8_t>(options["labels"].as<double>()), voxels);
    const auto levels = Quantise(grey, regions, chosen);
    const auto pairs = CountPairs(grey, levels, regions, DirectionsOf(grey, chosen), chosen);
    AddFeatures(ComputeTextures(pairs), found);
  });
}

}  // namespace

EMSCRIPTEN_BINDINGS(mth_texture) {
  emscripten::function("texture", &Texture, emscripten::allow_raw_pointers());
}

}  // namespace mth_web
