#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "support/image.h"

namespace example {

struct Colour {
  std::uint8_t red;
  std::uint8_t green;
  std::uint8_t blue;
};

/// "#rrggbb".
std::string HexText(Colour colour);

/// The colour between two others: `first` at 0, `second` at 1.
Colour Mix(Colour first, Colour second, double fraction);

/// Colours that are told apart, also by most of the colour-blind for the first eight (Okabe and Ito's set),
/// as many as asked for.
std::vector<Colour> DistinctColours(int count);

/// Of labels beside the classes, unlike all of the above.
inline constexpr Colour kUndecidedColour{255, 255, 255};
inline constexpr Colour kLesionColour{255, 0, 255};

/// A picture of 8-bit pixels, grey (one channel) or coloured (three), rows from top to bottom.
struct Raster {
  int width = 0;
  int height = 0;
  int channels = 3;
  std::vector<std::uint8_t> bytes;
};

/// A black picture.
Raster BlankRaster(int width, int height, int channels);

/// The first byte of a pixel.
inline std::size_t PixelStart(const Raster& raster, int x, int y) {
  const std::size_t pixel =
      static_cast<std::size_t>(y) * static_cast<std::size_t>(raster.width) + static_cast<std::size_t>(x);
  return pixel * static_cast<std::size_t>(raster.channels);
}

/// Sets a pixel of a coloured picture; outside the picture it does nothing.
void SetPixel(Raster& raster, int x, int y, Colour colour);

/// Fills a rectangle of a coloured picture.
void FillRectangle(Raster& raster, int x, int y, int width, int height, Colour colour);

/// Draws one pixel per voxel of a one-plane image, in its screen order.
/// @param colourOf  answers the colour of the voxel with a given index.
template <class ColourOf>
Raster DrawPlane(const GreyImage& plane, ColourOf colourOf, Side side = Side::Radiological) {
  const ScreenOrder order = ScreenOrderOf(plane, side);
  const int width = plane.size[0];
  const int height = plane.size[1];
  Raster raster = BlankRaster(width, height, 3);
  for (int row = 0; row < height; ++row) {
    const int y = order.mirrorsRows ? height - 1 - row : row;
    for (int column = 0; column < width; ++column) {
      const int x = order.mirrorsColumns ? width - 1 - column : column;
      const auto voxel =
          static_cast<std::size_t>(x) + static_cast<std::size_t>(width) * static_cast<std::size_t>(y);
      SetPixel(raster, column, row, colourOf(voxel));
    }
  }
  return raster;
}

/// Draws values as greys, `black` and below as black, `white` and above as white; one channel.
Raster DrawGreyPlane(const GreyImage& plane, const std::vector<double>& values, double black, double white,
                     Side side = Side::Radiological);

/// The picture at another size.
/// @param isSmooth  interpolates between pixels; otherwise each takes the nearest, so that no new colour
///                  appears.
Raster Resized(const Raster& raster, int width, int height, bool isSmooth);

/// The same picture with three channels.
Raster InColour(const Raster& raster);

/// Copies a coloured picture into another one.
void Paste(Raster& target, const Raster& picture, int x, int y);

}  // namespace example
