#include "pictures.h"

#include <QLinearGradient>
#include <QPainter>

namespace desktop_host {

namespace {

using example::Colour;
using example::GreyImage;

constexpr Colour kBlack{0, 0, 0};
constexpr Colour kWhite{255, 255, 255};
constexpr double kMembershipOpacity = 0.9;

QColor ToQColor(Colour colour) {
  return {colour.red, colour.green, colour.blue};
}

// The colour that the overlay gives to a voxel of this grey.
Colour OverlayColour(Colour grey, const Segmentation& segmentation, const Overlay& overlay, std::size_t voxel,
                     const std::vector<Colour>& colours) {
  if (overlay.kind == Overlay::Kind::Labels) {
    const std::uint8_t label = segmentation.labels[voxel];
    return label == 0 ? grey : example::Mix(grey, colours[label - 1U], overlay.labelOpacity);
  }
  const double membership = segmentation.memberships[overlay.classIndex][voxel];
  return example::Mix(grey, colours[overlay.classIndex], kMembershipOpacity * membership);
}

}  // namespace

std::vector<Colour> LabelColours(const Segmentation& segmentation) {
  std::vector<Colour> colours = example::DistinctColours(static_cast<int>(segmentation.centroids.size()));
  if (segmentation.evidence) colours.push_back(example::kUndecidedColour);
  return colours;
}

QImage DrawSlice(const GreyImage& slice, const Window& window, const Segmentation* segmentation,
                 const Overlay& overlay) {
  const bool hasOverlay = segmentation != nullptr && overlay.kind != Overlay::Kind::None;
  const std::vector<Colour> colours = LabelColours(hasOverlay ? *segmentation : Segmentation());
  const example::Raster raster = example::DrawPlane(slice, [&](std::size_t voxel) {
    const Colour grey =
        example::Mix(kBlack, kWhite, (slice.values[voxel] - window.black) / (window.white - window.black));
    return hasOverlay ? OverlayColour(grey, *segmentation, overlay, voxel, colours) : grey;
  });
  const QImage borrowed(raster.bytes.data(), raster.width, raster.height, raster.width * raster.channels,
                        QImage::Format_RGB888);
  return borrowed.convertToFormat(QImage::Format_RGB32);  // pixels of its own
}

QPixmap DrawChip(Colour left, Colour right) {
  QPixmap chip(32, 16);
  QLinearGradient gradient(0.0, 0.0, chip.width(), 0.0);
  gradient.setColorAt(0.0, ToQColor(left));
  gradient.setColorAt(1.0, ToQColor(right));
  QPainter(&chip).fillRect(chip.rect(), gradient);
  return chip;
}

}  // namespace desktop_host
