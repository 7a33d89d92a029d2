#include "support/panel.h"

#include <algorithm>
#include <cmath>

#include "support/bitmap_font.h"

namespace example {

namespace {

constexpr int kTileLength = 434;  // of the longer side of a picture
constexpr int kMargin = 16;
constexpr int kFontScale = 2;
constexpr int kCaptionHeight = kGlyphHeight * kFontScale + 14;
constexpr int kChipLength = 7 * kFontScale;  // as high as a digit
constexpr Colour kBackground{24, 26, 31};
constexpr Colour kFrame{58, 62, 72};
constexpr Colour kText{225, 228, 235};

struct TileSize {
  int width;
  int height;
};

TileSize SizeOnScreen(const Raster& picture, double pixelAspect) {
  const double width = picture.width;
  const double height = picture.height * pixelAspect;
  const double scale = kTileLength / std::max(width, height);
  return {std::max(1, static_cast<int>(std::lround(width * scale))),
          std::max(1, static_cast<int>(std::lround(height * scale)))};
}

// One row up to four pictures, then half as many again columns as rows.
int ColumnsFor(int count) {
  return count <= 4 ? count : static_cast<int>(std::ceil(std::sqrt(1.5 * count)));
}

void DrawLetter(Raster& panel, char letter, int centreX, int centreY) {
  if (letter == 0) return;
  const std::string text(1, letter);
  const int width = TextWidth(text, kFontScale);
  const int height = kGlyphHeight * kFontScale;
  FillRectangle(panel, centreX - width / 2 - kFontScale, centreY - height / 2 - kFontScale,
                width + 2 * kFontScale, height + 2 * kFontScale, kBackground);
  DrawText(panel, text, centreX - width / 2, centreY - height / 2, kFontScale, kText);
}

constexpr int kInset = kGlyphHeight * kFontScale;

// Just inside the edges of a picture.
void DrawLetters(Raster& panel, const ScreenLetters& letters, TileSize size, int x, int y) {
  DrawLetter(panel, letters.left, x + kInset, y + size.height / 2);
  DrawLetter(panel, letters.right, x + size.width - kInset, y + size.height / 2);
  DrawLetter(panel, letters.top, x + size.width / 2, y + kInset);
  DrawLetter(panel, letters.bottom, x + size.width / 2, y + size.height - kInset);
}

void DrawTile(Raster& panel, const PanelTile& tile, TileSize size, const ScreenLetters& letters, int x,
              int y) {
  int textX = x;
  if (tile.chip) {
    FillRectangle(panel, x, y, kChipLength, kChipLength, *tile.chip);
    textX += kChipLength + 4 * kFontScale;
  }
  DrawText(panel, tile.caption, textX, y, kFontScale, kText);
  const int top = y + kCaptionHeight - kFontScale;
  FillRectangle(panel, x - 1, top - 1, size.width + 2, size.height + 2, kFrame);
  Paste(panel, Resized(InColour(tile.picture), size.width, size.height, tile.isSmooth), x, top);
  DrawLetters(panel, letters, size, x, top);
}

}  // namespace

Raster WithLetters(const Raster& picture, const ScreenLetters& letters) {
  constexpr int kBand = 2 * kInset;
  const TileSize size{picture.width + 2 * kBand, picture.height + 2 * kBand};
  Raster framed = BlankRaster(size.width, size.height, 3);
  FillRectangle(framed, 0, 0, size.width, size.height, kBackground);
  Paste(framed, InColour(picture), kBand, kBand);
  DrawLetters(framed, letters, size, 0, 0);
  return framed;
}

Raster ComposePanel(const std::vector<PanelTile>& tiles, double pixelAspect, const ScreenLetters& letters) {
  const int count = static_cast<int>(tiles.size());
  const int columns = ColumnsFor(count);
  const int rows = (count + columns - 1) / columns;
  const TileSize size = SizeOnScreen(tiles.front().picture, pixelAspect);
  int captionWidth = 0;
  for (const PanelTile& tile : tiles) {
    const int chip = tile.chip ? kChipLength + 4 * kFontScale : 0;
    captionWidth = std::max(captionWidth, TextWidth(tile.caption, kFontScale) + chip);
  }
  const int cellWidth = std::max(size.width, captionWidth) + kMargin;
  const int cellHeight = size.height + kCaptionHeight + kMargin;
  Raster panel = BlankRaster(columns * cellWidth + kMargin, rows * cellHeight + kMargin, 3);
  FillRectangle(panel, 0, 0, panel.width, panel.height, kBackground);
  for (int index = 0; index < count; ++index) {
    const int x = kMargin + index % columns * cellWidth;
    const int y = kMargin + index / columns * cellHeight;
    DrawTile(panel, tiles[static_cast<std::size_t>(index)], size, letters, x, y);
  }
  return panel;
}

}  // namespace example
