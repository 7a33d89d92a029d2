#include "cooccurrence.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "support/cancellation.h"
#include "support/failure.h"
#include "support/text.h"

namespace texture_mr {

namespace {

using example::Failure;
using example::GreyImage;

// Angles are those on the screen, whose columns and rows are two of the grid's axes.
std::vector<Direction> AnglesOf(const GreyImage& image, int axis, int distance) {
  const auto axes = example::LayoutOfPlane(image.size, axis, 0).axes;
  const auto across = static_cast<std::size_t>(axes[0]);
  const auto down = static_cast<std::size_t>(axes[1]);
  GreyImage plane;
  plane.direction = {image.direction[across], image.direction[down], 0};
  const example::ScreenOrder order = example::ScreenOrderOf(plane, example::Side::Neurological);
  const int right = order.mirrorsColumns ? -distance : distance;
  const int up = order.mirrorsRows ? distance : -distance;
  std::vector<Direction> directions;
  const auto add = [&](const char* name, int x, int y) {
    directions.push_back({name, {0, 0, 0}});
    directions.back().offset[across] = x;
    directions.back().offset[down] = y;
  };
  add("0", right, 0);
  add("45", right, up);
  add("90", 0, up);
  add("135", -right, up);
  return directions;
}

// Of the 26 neighbours of a voxel one of each two that are opposite: whose last step that is not 0 is
// forward.
std::vector<Direction> DirectionsOfVolume(int distance) {
  std::vector<Direction> directions;
  const auto add = [&](int x, int y, int z) {
    const std::string name = std::to_string(x) + " " + std::to_string(y) + " " + std::to_string(z);
    directions.push_back({name, {x * distance, y * distance, z * distance}});
  };
  add(1, 0, 0);
  for (const int x : {-1, 0, 1}) add(x, 1, 0);
  for (const int y : {-1, 0, 1}) {
    for (const int x : {-1, 0, 1}) add(x, y, 1);
  }
  return directions;
}

// The columns, rows or planes from which `step` still leads into the image.
struct Span {
  Span(int step, int count) : first(std::max(0, -step)), last(step > 0 ? std::max(0, count - step) : count) {}
  bool IsEmpty() const { return first >= last; }
  int first;
  int last;
};

void AddPair(int level, int other, PairCounts& pairs) {
  const auto side = static_cast<std::size_t>(pairs.levels);
  ++pairs.counts[static_cast<std::size_t>(level) * side + static_cast<std::size_t>(other)];
  ++pairs.counts[static_cast<std::size_t>(other) * side + static_cast<std::size_t>(level)];
  pairs.total += 2;
}

// Calls visit(voxel, other voxel) for all pairs of an image.
template <class Visit>
void ForEachPair(const GreyImage& image, const std::array<int, 3>& offset, Visit visit) {
  const auto [nx, ny, nz] = image.size;
  const Span columns(offset[0], nx);
  const Span rows(offset[1], ny);
  const Span planes(offset[2], nz);
  if (columns.IsEmpty() || rows.IsEmpty() || planes.IsEmpty()) return;
  const std::ptrdiff_t step =
      offset[0] + static_cast<std::ptrdiff_t>(nx) * (offset[1] + static_cast<std::ptrdiff_t>(ny) * offset[2]);
  for (std::ptrdiff_t z = planes.first; z < planes.last; ++z) {
    for (std::ptrdiff_t y = rows.first; y < rows.last; ++y) {
      const std::ptrdiff_t row = nx * (y + ny * z);
      for (std::ptrdiff_t x = columns.first; x < columns.last; ++x)
        visit(static_cast<std::size_t>(row + x), static_cast<std::size_t>(row + x + step));
    }
  }
}

std::vector<RegionPairs> EmptyMatrices(const Regions& regions, std::size_t directions, int levels) {
  const auto side = static_cast<std::size_t>(levels);
  std::vector<RegionPairs> result;
  for (const int label : regions.labels) {
    RegionPairs region;
    region.label = label;
    region.pairs.assign(directions, {levels, 0, std::vector<std::int64_t>(side * side)});
    result.push_back(std::move(region));
  }
  return result;
}

bool HasPairs(const RegionPairs& region) {
  return std::any_of(region.pairs.begin(), region.pairs.end(),
                     [](const PairCounts& pairs) { return pairs.total > 0; });
}

}  // namespace

Levels Quantise(const GreyImage& image, const Regions& regions, Options& options) {
  Levels levels;
  if (options.range.empty()) {
    bool isFirst = true;
    for (std::size_t voxel = 0; voxel < image.values.size(); ++voxel) {
      if (regions.ofVoxel[voxel] == kOutside) continue;
      const double value = image.values[voxel];
      levels.lowest = isFirst ? value : std::min(levels.lowest, value);
      levels.highest = isFirst ? value : std::max(levels.highest, value);
      isFirst = false;
    }
  } else {
    levels.lowest = options.range[0];
    levels.highest = options.range[1];
  }
  double width = levels.highest - levels.lowest;
  if (!std::isfinite(width)) throw Failure("the intensities span more than a number can hold");
  if (options.binWidth > 0.0) {
    const double needed = std::floor(width / options.binWidth) + 1.0;
    if (!(needed <= kMostLevels))
      throw Failure("--bin-width " + example::Rounded(options.binWidth, 6) + " needs more than 256 levels");
    options.levels = std::max(2, static_cast<int>(needed));
    levels.highest = levels.lowest + options.levels * options.binWidth;  // the end of the last level
    width = levels.highest - levels.lowest;
  }
  const double last = options.levels - 1;
  levels.ofVoxel.reserve(image.values.size());
  for (const double value : image.values) {
    const double fraction = width > 0.0 ? (value - levels.lowest) / width : 0.0;
    levels.ofVoxel.push_back(static_cast<std::uint8_t>(std::clamp(fraction * options.levels, 0.0, last)));
  }
  return levels;
}

std::vector<Direction> DirectionsOf(const GreyImage& image, const Options& options) {
  if (!example::IsVolume(image) && options.axis) throw Failure("--axis needs a volume, not a single image");
  const bool isAll = example::IsVolume(image) && !options.axis;
  return isAll ? DirectionsOfVolume(options.distance)
               : AnglesOf(image, options.axis.value_or(2), options.distance);
}

std::vector<RegionPairs> CountPairs(const GreyImage& image, const Levels& levels, const Regions& regions,
                                    const std::vector<Direction>& directions, const Options& options) {
  std::vector<RegionPairs> result = EmptyMatrices(regions, directions.size(), options.levels);
  for (const std::int16_t region : regions.ofVoxel) {
    if (region != kOutside) ++result[static_cast<std::size_t>(region)].voxels;
  }
  for (std::size_t d = 0; d < directions.size(); ++d) {
    example::ThrowIfCancelled();
    ForEachPair(image, directions[d].offset, [&](std::size_t voxel, std::size_t other) {
      const int region = regions.ofVoxel[voxel];
      if (region == kOutside || region != regions.ofVoxel[other]) return;
      AddPair(levels.ofVoxel[voxel], levels.ofVoxel[other],
              result[static_cast<std::size_t>(region)].pairs[d]);
    });
  }
  if (std::none_of(result.begin(), result.end(), HasPairs))
    throw Failure("no two voxels of a region are " + std::to_string(options.distance) + " apart");
  return result;
}

}  // namespace texture_mr
