#pragma once

#include <array>
#include <optional>
#include <vector>

#include "cooccurrence.h"

namespace texture_mr {

/// A feature, and how it relates to the definitions that others use, for levels from 0 and a symmetric matrix
/// of sum 1. The standard is the Image Biomarker Standardisation Initiative's, with its permanent codes.
struct FeatureKind {
  const char* name;
  const char* function;  ///< of the library
  const char* haralick;
  const char* standard;
  const char* relation;
};

inline constexpr std::size_t kFeatureCount = 14;
extern const std::array<FeatureKind, kFeatureCount> kFeatureKinds;

/// The features of one matrix, in the order of kFeatureKinds; nothing for a matrix without pairs.
using FeatureValues = std::optional<std::array<double, kFeatureCount>>;
FeatureValues ComputeFeatures(const PairCounts& pairs);

/// The features of one region.
struct RegionTexture {
  int label = 0;
  std::int64_t voxels = 0;
  std::vector<FeatureValues> ofDirection;

  /// Over the directions that have pairs, of which there must be one.
  double Mean(std::size_t feature) const;
  double Range(std::size_t feature) const;
  bool HasPairs() const;
};

std::vector<RegionTexture> ComputeTextures(const std::vector<RegionPairs>& regions);

}  // namespace texture_mr
