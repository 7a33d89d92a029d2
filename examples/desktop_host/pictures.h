#pragma once

#include <QImage>
#include <QPixmap>

#include "processing.h"
#include "support/raster.h"

namespace desktop_host {

/// What lies over the slice: nothing, the labels of all classes, or the membership of one class.
struct Overlay {
  enum class Kind { None, Labels, Membership };
  Kind kind = Kind::None;
  std::size_t classIndex = 0;
  double labelOpacity = 0.55;
};

/// The intensities that are drawn as black and as white.
struct Window {
  double black = 0.0;
  double white = 1.0;
};

/// The slice in greys, with the overlay in the colours of its classes, as the patient lies on a screen.
/// @param segmentation  of the slice; may be null: then there is no overlay.
QImage DrawSlice(const example::GreyImage& slice, const Window& window, const Segmentation* segmentation,
                 const Overlay& overlay);

/// The colour of each label from 1 on; the last one of an evidential run marks what is undecided.
std::vector<example::Colour> LabelColours(const Segmentation& segmentation);

/// A chip for the legend, of one colour or going from one colour to another.
QPixmap DrawChip(example::Colour left, example::Colour right);

}  // namespace desktop_host
