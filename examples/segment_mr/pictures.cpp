#include "pictures.h"

#include <algorithm>
#include <optional>

#include "support/panel.h"
#include "support/png_io.h"
#include "support/raster.h"
#include "support/text.h"

namespace segment_mr {

namespace {

using example::Colour;
using example::GreyImage;
using example::PanelTile;
using example::Raster;

constexpr Colour kBlack{0, 0, 0};
constexpr int kAxisZ = 2;

// What is drawn: an image as it is, or the middle plane of a volume.
struct Drawn {
  GreyImage image;
  std::vector<std::uint8_t> labels;
  std::vector<std::vector<float>> memberships;
  std::optional<Evidence> evidence;
};

Drawn PlaneToDraw(const GreyImage& image, const Segmentation& segmentation) {
  const int middle = image.size[2] / 2;
  Drawn drawn;
  drawn.image = example::ExtractPlane(image, kAxisZ, middle);
  drawn.labels = example::ExtractPlaneValues(segmentation.labels, image.size, kAxisZ, middle);
  for (const auto& membership : segmentation.memberships) {
    drawn.memberships.push_back(example::ExtractPlaneValues(membership, image.size, kAxisZ, middle));
  }
  if (segmentation.evidence) {
    drawn.evidence.emplace();
    const auto plane = [&](const std::vector<float>& values) {
      return example::ExtractPlaneValues(values, image.size, kAxisZ, middle);
    };
    drawn.evidence->undecided = plane(segmentation.evidence->undecided);
    drawn.evidence->unassigned = plane(segmentation.evidence->unassigned);
  }
  return drawn;
}

Raster DrawMembership(const GreyImage& plane, const std::vector<float>& membership, Colour colour) {
  return example::DrawPlane(
      plane, [&](std::size_t voxel) { return example::Mix(kBlack, colour, membership[voxel]); });
}

}  // namespace

void WritePictures(example::Results& results, const GreyImage& image, const Segmentation& segmentation) {
  const Drawn drawn = PlaneToDraw(image, segmentation);
  const std::vector<Colour> colours = example::DistinctColours(static_cast<int>(drawn.memberships.size()));
  const Raster labels = example::DrawPlane(drawn.image, [&](std::size_t voxel) {
    const std::uint8_t label = drawn.labels[voxel];
    return label == 0 ? kBlack : colours[label - 1U];
  });
  const auto write = [&](const std::string& name, const Raster& picture) {
    results.Write(name, [&](const std::string& path) { example::WritePng(path, picture); });
  };
  write("labels.png", labels);

  const Raster grey =
      example::DrawGreyPlane(drawn.image, drawn.image.values, 0.0, example::WhiteLevel(drawn.image));
  std::vector<PanelTile> tiles{{grey, "image", std::nullopt, true}, {labels, "labels", std::nullopt, false}};
  for (std::size_t k = 0; k < drawn.memberships.size(); ++k) {
    const std::vector<float>& membership = drawn.memberships[k];
    const std::string number = std::to_string(k + 1);
    const std::vector<double> values(membership.begin(), membership.end());
    write("membership_" + number + ".png", example::DrawGreyPlane(drawn.image, values, 0.0, 1.0));
    tiles.push_back({DrawMembership(drawn.image, membership, colours[k]),
                     "class " + number + ": grey level " + example::Fixed(segmentation.centroids[k], 1),
                     colours[k], true});
  }
  const auto addEvidence = [&](const std::string& name, const std::string& caption,
                               const std::vector<float>& masses) {
    const std::vector<double> values(masses.begin(), masses.end());
    const Raster picture = example::DrawGreyPlane(drawn.image, values, 0.0, 1.0);
    write(name + ".png", picture);
    tiles.push_back({picture, caption, std::nullopt, true});
  };
  if (drawn.evidence) {
    addEvidence("undecided", "undecided between classes", drawn.evidence->undecided);
    const bool isFused = segmentation.fused.has_value();
    addEvidence(isFused ? "conflict" : "outliers", isFused ? "conflict of the images" : "outliers: no class",
                drawn.evidence->unassigned);
  }
  const auto& size = drawn.image.voxelSize;
  write("panel.png", example::ComposePanel(tiles, size ? (*size)[1] / (*size)[0] : 1.0));
}

}  // namespace segment_mr
