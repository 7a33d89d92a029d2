#include "lesions.h"

#include <algorithm>
#include <cmath>

#include "support/failure.h"

namespace segment_mr {

using example::Segmentation;

std::vector<std::uint8_t> TakeOutLesions(const std::optional<example::GreyImage>& mask,
                                         const std::string& path, example::Inside& inside) {
  if (!mask) return {};
  const auto isCount = [](double value) { return value >= 0.0 && value == std::floor(value); };
  if (!mask->replaced.empty() || !std::all_of(mask->values.begin(), mask->values.end(), isCount))
    throw example::Failure("--lesions needs a mask of whole numbers from 0 up, and " + path + " is none");
  std::vector<std::uint8_t> isLesion(mask->values.size());
  for (std::size_t voxel = 0; voxel < isLesion.size(); ++voxel) {
    if (mask->values[voxel] == 0.0) continue;
    isLesion[voxel] = 1;
    inside.voxels -= inside.isInside[voxel];
    inside.isInside[voxel] = 0;
  }
  return isLesion;
}

std::size_t CountLesions(const Segmentation& segmentation) {
  return static_cast<std::size_t>(std::count(segmentation.isLesion.begin(), segmentation.isLesion.end(), 1));
}

std::uint8_t LesionLabel(const Segmentation& segmentation) {
  return static_cast<std::uint8_t>(segmentation.centroids.size() + (segmentation.evidence ? 2 : 1));
}

std::vector<std::uint8_t> AllLabels(const Segmentation& segmentation) {
  std::vector<std::uint8_t> labels = segmentation.labels;
  for (std::size_t voxel = 0; voxel < segmentation.isLesion.size(); ++voxel) {
    if (segmentation.isLesion[voxel] != 0) labels[voxel] = LesionLabel(segmentation);
  }
  return labels;
}

}  // namespace segment_mr
