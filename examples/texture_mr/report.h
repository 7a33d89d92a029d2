#pragma once

#include <string>
#include <vector>

#include "features.h"

namespace texture_mr {

/// One line per region and feature.
std::string TextureTable(const std::vector<RegionTexture>& textures);

/// One line per pair of levels that occurs.
std::string MatricesTable(const std::vector<RegionPairs>& regions);

/// For programs.
std::string JsonReport(const std::vector<RegionTexture>& textures, const Levels& levels,
                       const Options& options);

/// For a person: the means over the angles, a column per region for the first regions.
std::string TextReport(const std::vector<RegionTexture>& textures, const Levels& levels,
                       const Options& options);

}  // namespace texture_mr
