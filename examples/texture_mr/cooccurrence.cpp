#include "cooccurrence.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "support/failure.h"
#include "support/text.h"

namespace texture_mr {

namespace {

using example::Failure;
using example::GreyImage;

/// Steps from a voxel to the other one of its pair, in the grid of the file.
struct Offset {
  int x;
  int y;
};

Offset OffsetOf(int angle, int distance, const GreyImage& image) {
  const example::ScreenOrder order = example::ScreenOrderOf(image, example::Side::Neurological);
  const int right = order.mirrorsColumns ? -distance : distance;
  const int up = order.mirrorsRows ? distance : -distance;
  switch (angle) {
    case 0:
      return {right, 0};
    case 45:
      return {right, up};
    case 90:
      return {0, up};
    default:
      return {-right, up};
  }
}

// The columns, or rows, from which `step` still leads into the image.
struct Span {
  Span(int step, int count) : first(std::max(0, -step)), last(step > 0 ? std::max(0, count - step) : count) {}
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
void ForEachPair(const GreyImage& image, const Offset& offset, Visit visit) {
  const auto [nx, ny, nz] = image.size;
  const Span columns(offset.x, nx);
  const Span rows(offset.y, ny);
  const std::ptrdiff_t step = offset.x + static_cast<std::ptrdiff_t>(nx) * offset.y;
  for (std::ptrdiff_t z = 0; z < nz; ++z) {
    for (std::ptrdiff_t y = rows.first; y < rows.last; ++y) {
      const std::ptrdiff_t row = nx * (y + ny * z);
      for (std::ptrdiff_t x = columns.first; x < columns.last; ++x)
        visit(static_cast<std::size_t>(row + x), static_cast<std::size_t>(row + x + step));
    }
  }
}

std::vector<RegionPairs> EmptyMatrices(const Regions& regions, int levels) {
  const auto side = static_cast<std::size_t>(levels);
  std::vector<RegionPairs> result;
  for (const int label : regions.labels) {
    RegionPairs region;
    region.label = label;
    region.pairs.fill({levels, 0, std::vector<std::int64_t>(side * side)});
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

std::vector<RegionPairs> CountPairs(const GreyImage& image, const Levels& levels, const Regions& regions,
                                    const Options& options) {
  std::vector<RegionPairs> result = EmptyMatrices(regions, options.levels);
  for (const std::int16_t region : regions.ofVoxel) {
    if (region != kOutside) ++result[static_cast<std::size_t>(region)].voxels;
  }
  for (std::size_t a = 0; a < kAngles.size(); ++a) {
    const Offset offset = OffsetOf(kAngles[a], options.distance, image);
    ForEachPair(image, offset, [&](std::size_t voxel, std::size_t other) {
      const int region = regions.ofVoxel[voxel];
      if (region == kOutside || region != regions.ofVoxel[other]) return;
      AddPair(levels.ofVoxel[voxel], levels.ofVoxel[other],
              result[static_cast<std::size_t>(region)].pairs[a]);
    });
  }
  if (std::none_of(result.begin(), result.end(), HasPairs))
    throw Failure("no two voxels of a region are " + std::to_string(options.distance) + " apart");
  return result;
}

}  // namespace texture_mr
