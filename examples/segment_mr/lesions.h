#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/image.h"
#include "support/segmentation.h"

namespace segment_mr {

inline constexpr const char* kLesionName = "lesions";

/// Takes the voxels of a mask of lesions out of those that are divided into classes.
/// @return  which voxels are lesions: all those of the mask, also outside of what is divided; none without a
///          mask.
/// @throws example::Failure  naming the mask when it is none: values below 0, and shares between 0 and 1,
///                           want a threshold of their user's.
std::vector<std::uint8_t> TakeOutLesions(const std::optional<example::GreyImage>& mask,
                                         const std::string& path, example::Inside& inside);

std::size_t CountLesions(const example::Segmentation& segmentation);

/// One above the classes and what is undecided.
std::uint8_t LesionLabel(const example::Segmentation& segmentation);

/// The labels of the classes and of what is undecided, with those of the lesions.
std::vector<std::uint8_t> AllLabels(const example::Segmentation& segmentation);

}  // namespace segment_mr
