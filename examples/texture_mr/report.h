#pragma once

#include <string>
#include <vector>

#include "features.h"
#include "support/image.h"

namespace texture_mr {

/// One line per region and feature.
std::string TextureTable(const std::vector<RegionTexture>& textures,
                         const std::vector<Direction>& directions);

/// One line per pair of levels that occurs.
std::string MatricesTable(const std::vector<RegionPairs>& regions, const std::vector<Direction>& directions);

/// The table of several images: one line per region, with the means over the directions.
std::string SummaryHeader();
std::string SummaryRows(const std::vector<RegionTexture>& textures, const Options& options);

/// For programs.
std::string JsonReport(const example::GreyImage& image, const std::vector<RegionTexture>& textures,
                       const Levels& levels, const std::vector<Direction>& directions,
                       const Options& options);

/// For a person: the means over the directions, a column per region for the first regions.
std::string TextReport(const std::vector<RegionTexture>& textures, const Levels& levels,
                       const std::vector<Direction>& directions, const Options& options);

}  // namespace texture_mr
