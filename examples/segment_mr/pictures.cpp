#include "pictures.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "lesions.h"
#include "maps.h"
#include "support/failure.h"
#include "support/panel.h"
#include "support/png_io.h"
#include "support/raster.h"
#include "support/text.h"

namespace segment_mr {

using example::Segmentation;

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
  std::optional<example::Evidence> evidence;
  std::optional<GreyImage> over;
};

Drawn PlaneToDraw(const GreyImage& image, const GreyImage* over, const Segmentation& segmentation) {
  const int middle = image.size[2] / 2;
  Drawn drawn;
  drawn.image = example::ExtractPlane(image, kAxisZ, middle);
  drawn.labels = example::ExtractPlaneValues(AllLabels(segmentation), image.size, kAxisZ, middle);
  for (const auto& membership : segmentation.memberships) {
    drawn.memberships.push_back(example::ExtractPlaneValues(membership, image.size, kAxisZ, middle));
  }
  if (over != nullptr) drawn.over = example::ExtractPlane(*over, kAxisZ, middle);
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

void RequireLabels(const GreyImage& over) {
  const bool areLabels = std::all_of(over.values.begin(), over.values.end(), [](double value) {
    return value >= 0.0 && value <= example::kMostClusters && value == std::floor(value);
  });
  if (!areLabels)
    throw example::Failure("--over needs labels from 0 to " + std::to_string(example::kMostClusters));
}

// Draws a plane and puts its pictures into files and onto the panel.
class Pictures {
 public:
  Pictures(example::Results& results, Drawn drawn, example::Side side)
      : results_(results), drawn_(std::move(drawn)), side_(side) {}

  void AddImage() {
    const double white = example::WhiteLevel(drawn_.image);
    AddTile(Grey(drawn_.image.values, BlackLevel(), white), "image");
  }

  void AddLabels(const std::vector<Colour>& colours) {
    const auto colourOf = [&](std::size_t voxel) {
      const std::uint8_t label = drawn_.labels[voxel];
      return label == 0 ? kBlack : colours[label - 1U];
    };
    const Raster labels = example::DrawPlane(drawn_.image, colourOf, side_);
    Write("labels", labels);
    if (!drawn_.over) tiles_.push_back({labels, "labels", std::nullopt, false});
  }

  // The labels of another method, with this one's undecided voxels in their colour.
  void AddUndecidedOver(std::uint8_t undecidedLabel, Colour undecided) {
    const std::vector<Colour> colours = example::DistinctColours(
        static_cast<int>(*std::max_element(drawn_.over->values.begin(), drawn_.over->values.end())));
    const auto colourOf = [&](std::size_t voxel) {
      if (drawn_.labels[voxel] == undecidedLabel) return undecided;
      const auto label = static_cast<std::size_t>(drawn_.over->values[voxel]);
      return label == 0 ? kBlack : colours[label - 1];
    };
    const Raster picture = example::DrawPlane(drawn_.image, colourOf, side_);
    Write("undecided_over_labels", picture);
    tiles_.push_back({picture, "undecided (white) over labels", undecided, false});
  }

  void AddMembership(std::size_t k, double centroid, Colour colour) {
    const std::vector<float>& membership = drawn_.memberships[k];
    const std::string number = std::to_string(k + 1);
    Write("membership_" + number, GreyShares(membership));
    const auto colourOf = [&](std::size_t voxel) { return example::Mix(kBlack, colour, membership[voxel]); };
    tiles_.push_back({example::DrawPlane(drawn_.image, colourOf, side_),
                      "class " + number + ": grey level " + example::Fixed(centroid, 1), colour, true});
  }

  void AddShares(const std::string& name, const std::string& caption, const std::vector<float>& shares) {
    const Raster picture = GreyShares(shares);
    Write(name, picture);
    AddTile(picture, caption);
  }

  void WritePanel() {
    const auto& size = drawn_.image.voxelSize;
    const Raster panel = example::ComposePanel(tiles_, size ? (*size)[1] / (*size)[0] : 1.0, Letters());
    results_.Write("panel.png", [&](const std::string& path) { example::WritePng(path, panel); });
  }

  const Drawn& GetDrawn() const { return drawn_; }

 private:
  // 0, unless the intensities go below it.
  double BlackLevel() const {
    return std::min(0.0, *std::min_element(drawn_.image.values.begin(), drawn_.image.values.end()));
  }
  Raster Grey(const std::vector<double>& values, double black, double white) const {
    return example::DrawGreyPlane(drawn_.image, values, black, white, side_);
  }
  Raster GreyShares(const std::vector<float>& shares) const {
    return Grey(std::vector<double>(shares.begin(), shares.end()), 0.0, 1.0);
  }
  void AddTile(const Raster& picture, const std::string& caption) {
    tiles_.push_back({picture, caption, std::nullopt, true});
  }
  example::ScreenLetters Letters() const { return example::LettersOf(drawn_.image, side_); }
  void Write(const std::string& name, const Raster& picture) {
    const Raster lettered = drawn_.image.affine ? example::WithLetters(picture, Letters()) : picture;
    results_.Write(name + ".png", [&](const std::string& path) { example::WritePng(path, lettered); });
  }

  example::Results& results_;
  Drawn drawn_;
  example::Side side_;
  std::vector<PanelTile> tiles_;
};

}  // namespace

void WritePictures(example::Results& results, const GreyImage& image, const GreyImage* over,
                   const Segmentation& segmentation, example::Side side) {
  if (over != nullptr) RequireLabels(*over);
  const std::vector<Colour> colours = LabelColours(segmentation);
  Pictures pictures(results, PlaneToDraw(image, over, segmentation), side);
  pictures.AddImage();
  pictures.AddLabels(colours);
  const std::size_t classes = segmentation.centroids.size();
  if (over != nullptr) pictures.AddUndecidedOver(static_cast<std::uint8_t>(classes + 1), colours[classes]);
  for (std::size_t k = 0; k < classes; ++k) pictures.AddMembership(k, segmentation.centroids[k], colours[k]);
  if (const auto& evidence = pictures.GetDrawn().evidence) {
    pictures.AddShares("undecided", "undecided between classes", evidence->undecided);
    const bool isFused = segmentation.fused.has_value();
    pictures.AddShares(isFused ? "conflict" : "outliers",
                       isFused ? "conflict of the images" : "outliers: no class", evidence->unassigned);
  }
  pictures.WritePanel();
}

}  // namespace segment_mr
