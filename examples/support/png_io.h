#pragma once

#include <string>

#include "support/image.h"
#include "support/raster.h"

namespace example {

/// Reads a PNG file of any kind; colours become their luminance (0.2126 R + 0.7152 G + 0.0722 B),
/// transparency is ignored, 16-bit values stay as they are. The pixel size is known when the file states it
/// in metres.
/// @throws Failure  when the file is damaged or not a PNG.
GreyImage ReadPng(const std::string& path);

/// Reads a PNG file as a coloured picture; transparency becomes black.
/// @throws Failure  when the file is damaged or not a PNG.
Raster ReadPicture(const std::string& path);

/// @throws WriteFailure  when the file cannot be written.
void WritePng(const std::string& path, const Raster& raster);

/// Writes an image of one plane as greys, in 8 bits or 16 as its storage has; values are rounded and clipped.
/// @throws WriteFailure  when the file cannot be written.
void WriteGreyPng(const std::string& path, const GreyImage& image);

}  // namespace example
