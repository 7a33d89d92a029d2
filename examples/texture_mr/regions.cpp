#include "regions.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <string>

#include "support/failure.h"
#include "support/text.h"

namespace texture_mr {

namespace {

using example::Failure;
using example::GreyImage;

constexpr std::size_t kMostRegions = 64;

int ToLabel(double value, const std::string& path) {
  const bool isLabel = value >= 0.0 && value <= std::numeric_limits<int>::max() && value == std::floor(value);
  if (!isLabel) throw Failure("no label image: " + path + " holds " + example::Shortest(value));
  return static_cast<int>(value);
}

std::vector<int> LabelsOf(const GreyImage& mask, const std::string& path) {
  std::vector<int> labels;
  labels.reserve(mask.values.size());
  for (const double value : mask.values) labels.push_back(ToLabel(value, path));
  return labels;
}

std::set<int> DistinctLabels(const std::vector<int>& labels) {
  std::set<int> distinct;
  int last = 0;
  for (const int label : labels) {
    if (label != last && label != 0) distinct.insert(label);
    last = label;
  }
  return distinct;
}

std::vector<int> ChooseLabels(const std::set<int>& present, const Options& options) {
  if (present.empty()) throw Failure("no region in the mask " + options.maskPath);
  const std::set<int> wanted(options.labels.begin(), options.labels.end());
  for (const int label : wanted) {
    if (!present.contains(label)) throw Failure("no region " + std::to_string(label) + " in the mask");
  }
  const std::set<int>& chosen = wanted.empty() ? present : wanted;
  if (chosen.size() > kMostRegions)
    throw Failure("more than " + std::to_string(kMostRegions) + " regions: choose fewer with --label");
  return {chosen.begin(), chosen.end()};
}

// The index of each voxel's label among the chosen ones.
std::vector<std::int16_t> IndicesOf(const std::vector<int>& labels, const std::vector<int>& chosen) {
  std::vector<std::int16_t> indices;
  indices.reserve(labels.size());
  for (const int label : labels) {
    const auto found = std::lower_bound(chosen.begin(), chosen.end(), label);
    const bool isChosen = found != chosen.end() && *found == label;
    indices.push_back(isChosen ? static_cast<std::int16_t>(found - chosen.begin()) : std::int16_t{kOutside});
  }
  return indices;
}

Regions RegionsOf(const GreyImage& image, const Options& options) {
  if (options.maskPath.empty()) return {{kWholeImage}, std::vector<std::int16_t>(image.values.size(), 0)};
  const GreyImage mask = example::ReadImage(options.maskPath);
  example::RequireSameGrid(image, options.imagePath, mask, options.maskPath);
  const std::vector<int> labels = LabelsOf(mask, options.maskPath);
  const std::vector<int> chosen = ChooseLabels(DistinctLabels(labels), options);
  return {chosen, IndicesOf(labels, chosen)};
}

}  // namespace

Regions ReadRegions(const GreyImage& image, const Options& options) {
  Regions regions = RegionsOf(image, options);
  for (const std::size_t voxel : image.replaced) regions.ofVoxel[voxel] = kOutside;
  return regions;
}

}  // namespace texture_mr
