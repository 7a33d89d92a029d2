#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/image.h"

namespace example {

/// Reads a NIfTI image or volume of any integer or floating-point type, with its scaling applied.
/// @throws Failure  when the file is damaged, complex, coloured or has more than three dimensions.
GreyImage ReadNifti(const std::string& path);

/// The same without its voxels: `values` is empty.
GreyImage ReadNiftiGrid(const std::string& path);

/// The letters of the directions that the axes of a grid point to most: 'L', 'R', 'A', 'P', 'I' or 'S'.
std::array<char, 3> DirectionsOf(const Affine& affine);

/// What a file of results stands for beside its numbers.
enum class Meaning { Intensities, Labels, Probabilities };

/// Writes one number per voxel (x fastest), stored as `storage` says; values must fit (FitsInto).
/// @param image      whose grid the numbers have: size, voxel sizes and place in the patient.
/// @param modelPath  the file that the image was read from: of a NIfTI file everything else that its header
///                   tells is kept.
/// @throws WriteFailure  when the file cannot be written whole.
void WriteNifti(const std::string& path, const GreyImage& image, const std::string& modelPath,
                const std::vector<double>& values, const Storage& storage, Meaning meaning);
void WriteNiftiLabels(const std::string& path, const GreyImage& image, const std::string& modelPath,
                      const std::vector<std::uint8_t>& labels);
void WriteNiftiFloats(const std::string& path, const GreyImage& image, const std::string& modelPath,
                      const std::vector<float>& values, Meaning meaning);

/// Whether numbers of that storage can hold all values, to its own steps.
bool FitsInto(const Storage& storage, const std::vector<double>& values);

}  // namespace example
