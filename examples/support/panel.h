#pragma once

#include <optional>
#include <string>
#include <vector>

#include "support/image.h"
#include "support/raster.h"

namespace example {

/// One picture of a panel, with its caption and, before the caption, a chip of its colour.
struct PanelTile {
  Raster picture;
  std::string caption;
  std::optional<Colour> chip;
  bool isSmooth = true;  ///< interpolated when it is enlarged; pictures of labels are not
};

/// Lays pictures of one size out side by side, in rows if they are many, at a size for the screen.
/// @param pixelAspect  height of a pixel divided by its width, in the patient.
/// @param letters      of the patient's directions, drawn at the edges of each picture.
Raster ComposePanel(const std::vector<PanelTile>& tiles, double pixelAspect, const ScreenLetters& letters);

/// The picture in a band that bears the letters.
Raster WithLetters(const Raster& picture, const ScreenLetters& letters);

}  // namespace example
