#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/image.h"

namespace example {

/// Reads a NIfTI image or volume of any integer or floating-point type, with its scaling applied.
/// @throws Failure  when the file is damaged, complex, coloured or has more than three dimensions.
GreyImage ReadNifti(const std::string& path);

/// Writes one label per voxel (x fastest), in the grid of the NIfTI file at `modelPath`: the same size, voxel
/// sizes and place in the scanner.
/// @throws Failure  when the file cannot be written whole.
void WriteNiftiLabels(const std::string& path, const std::string& modelPath,
                      const std::vector<std::uint8_t>& labels);

/// Writes the values of an image as 8 or 16 bits when they are whole and fit, otherwise in single precision,
/// or in double where that would change one of them.
/// @param modelPath  a NIfTI file of the same grid, whose place in the scanner is kept; for any other file
///                   the image's own voxel sizes are all that is known.
/// @throws Failure   when the file cannot be written whole.
void WriteNifti(const std::string& path, const std::string& modelPath, const GreyImage& image);

}  // namespace example
