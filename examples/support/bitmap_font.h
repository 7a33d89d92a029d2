#pragma once

#include <string>

#include "support/raster.h"

namespace example {

/// A small fixed-width font for captions inside pictures, so that they need no font of the machine:
/// small letters, the capitals of the patient's directions, digits and a few signs; other capitals are drawn
/// as small letters, all else as blanks.
inline constexpr int kGlyphWidth = 5;
inline constexpr int kGlyphHeight = 9;  // seven above the base line, two below

/// Draws a text whose top left corner is (x, y), each dot of the font `scale` pixels wide.
void DrawText(Raster& raster, const std::string& text, int x, int y, int scale, Colour colour);

/// Width in pixels of the text that DrawText draws.
int TextWidth(const std::string& text, int scale);

}  // namespace example
