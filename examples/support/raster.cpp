#include "support/raster.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace example {

namespace {

// Masataka Okabe and Kei Ito, "Color Universal Design", 2008; the darkest first.
constexpr std::array<Colour, 8> kNamedColours{{{0, 114, 178},
                                               {230, 159, 0},
                                               {0, 158, 115},
                                               {204, 121, 167},
                                               {86, 180, 233},
                                               {213, 94, 0},
                                               {240, 228, 66},
                                               {150, 150, 150}}};

std::uint8_t ToByte(double value) {
  return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

// Hue in turns; saturation and value in [0, 1].
Colour FromHue(double hue, double saturation, double value) {
  const auto channel = [&](double shift) {
    const double position = std::fmod(hue * 6.0 + shift, 6.0);
    const double drop = std::clamp(std::min(position, 4.0 - position), 0.0, 1.0);
    return ToByte(255.0 * value * (1.0 - saturation * drop));
  };
  return {channel(5.0), channel(3.0), channel(1.0)};
}

double Sample(const Raster& raster, int x, int y, int channel) {
  const int column = std::clamp(x, 0, raster.width - 1);
  const int row = std::clamp(y, 0, raster.height - 1);
  return raster.bytes[PixelStart(raster, column, row) + static_cast<std::size_t>(channel)];
}

// Position, in pixels of the source, of the centre of pixel `index` among `count`.
double SourcePosition(int index, int count, int sourceCount) {
  return (index + 0.5) * sourceCount / count - 0.5;
}

double Bilinear(const Raster& raster, double x, double y, int channel) {
  const int column = static_cast<int>(std::floor(x));
  const int row = static_cast<int>(std::floor(y));
  const double right = x - column;
  const double low = y - row;
  const double upper =
      (1.0 - right) * Sample(raster, column, row, channel) + right * Sample(raster, column + 1, row, channel);
  const double lower = (1.0 - right) * Sample(raster, column, row + 1, channel) +
                       right * Sample(raster, column + 1, row + 1, channel);
  return (1.0 - low) * upper + low * lower;
}

}  // namespace

std::string HexText(Colour colour) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text = "#";
  for (const std::uint8_t channel : {colour.red, colour.green, colour.blue}) {
    text += kDigits[channel / 16];
    text += kDigits[channel % 16];
  }
  return text;
}

Colour Mix(Colour first, Colour second, double fraction) {
  const double share = std::clamp(fraction, 0.0, 1.0);
  const auto mix = [share](std::uint8_t a, std::uint8_t b) { return ToByte((1.0 - share) * a + share * b); };
  return {mix(first.red, second.red), mix(first.green, second.green), mix(first.blue, second.blue)};
}

std::vector<Colour> DistinctColours(int count) {
  std::vector<Colour> colours(kNamedColours.begin(), kNamedColours.end());
  constexpr double kGoldenTurn = 0.618033988749895;  // keeps successive hues far apart, however many
  while (colours.size() < static_cast<std::size_t>(count)) {
    const auto index = static_cast<double>(colours.size());
    const bool isDark = colours.size() % 2 == 0;
    colours.push_back(FromHue(std::fmod(index * kGoldenTurn, 1.0), isDark ? 0.9 : 0.45, isDark ? 0.7 : 1.0));
  }
  colours.resize(static_cast<std::size_t>(count), kNamedColours[0]);
  return colours;
}

Raster BlankRaster(int width, int height, int channels) {
  const std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  return {width, height, channels, std::vector<std::uint8_t>(pixels * static_cast<std::size_t>(channels))};
}

void SetPixel(Raster& raster, int x, int y, Colour colour) {
  if (x < 0 || y < 0 || x >= raster.width || y >= raster.height) return;
  std::uint8_t* pixel = &raster.bytes[PixelStart(raster, x, y)];
  pixel[0] = colour.red;
  pixel[1] = colour.green;
  pixel[2] = colour.blue;
}

void FillRectangle(Raster& raster, int x, int y, int width, int height, Colour colour) {
  for (int row = y; row < y + height; ++row) {
    for (int column = x; column < x + width; ++column) SetPixel(raster, column, row, colour);
  }
}

Raster DrawGreyPlane(const GreyImage& plane, const std::vector<double>& values, double black, double white,
                     Side side) {
  const auto greyOf = [&](std::size_t voxel) {
    const std::uint8_t grey = ToByte(255.0 * (values[voxel] - black) / (white - black));
    return Colour{grey, grey, grey};
  };
  const Raster coloured = DrawPlane(plane, greyOf, side);
  Raster grey = BlankRaster(coloured.width, coloured.height, 1);
  for (std::size_t pixel = 0; pixel < grey.bytes.size(); ++pixel)
    grey.bytes[pixel] = coloured.bytes[3 * pixel];
  return grey;
}

Raster Resized(const Raster& raster, int width, int height, bool isSmooth) {
  Raster result = BlankRaster(width, height, raster.channels);
  auto byte = result.bytes.begin();
  for (int y = 0; y < height; ++y) {
    const double sourceY = SourcePosition(y, height, raster.height);
    for (int x = 0; x < width; ++x) {
      const double sourceX = SourcePosition(x, width, raster.width);
      for (int channel = 0; channel < raster.channels; ++channel) {
        const double value = isSmooth ? Bilinear(raster, sourceX, sourceY, channel)
                                      : Sample(raster, static_cast<int>(std::lround(sourceX)),
                                               static_cast<int>(std::lround(sourceY)), channel);
        *byte++ = ToByte(value);
      }
    }
  }
  return result;
}

Raster InColour(const Raster& raster) {
  if (raster.channels == 3) return raster;
  Raster coloured = BlankRaster(raster.width, raster.height, 3);
  for (std::size_t byte = 0; byte < coloured.bytes.size(); ++byte)
    coloured.bytes[byte] = raster.bytes[byte / 3];
  return coloured;
}

void Paste(Raster& target, const Raster& picture, int x, int y) {
  for (int row = 0; row < picture.height; ++row) {
    for (int column = 0; column < picture.width; ++column) {
      const std::uint8_t* pixel = &picture.bytes[PixelStart(picture, column, row)];
      SetPixel(target, x + column, y + row, {pixel[0], pixel[1], pixel[2]});
    }
  }
}

}  // namespace example
