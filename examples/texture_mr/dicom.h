#pragma once

#include <vector>

#include "features.h"
#include "options.h"
#include "support/image.h"
#include "support/results.h"

namespace texture_mr {

/// The name of the Structured Report in its folder.
inline constexpr const char* kDicomName = "texture.dcm";

/// Writes the features and the volume of each region as a Structured Report, where the user asks for it.
void WriteDicom(example::Results& results, const example::GreyImage& image,
                const std::vector<RegionTexture>& textures, const Options& options);

}  // namespace texture_mr
