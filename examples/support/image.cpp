#include "support/image.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "support/failure.h"
#include "support/nifti_io.h"
#include "support/png_io.h"

namespace example {

namespace {

bool EndsWith(const std::string& text, const std::string& ending) {
  return text.size() >= ending.size() &&
         text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

std::string LowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
  return text;
}

}  // namespace

PlaneLayout LayoutOfPlane(const std::array<int, 3>& size, int axis, int index) {
  const std::array<std::size_t, 3> step{
      1, static_cast<std::size_t>(size[0]),
      static_cast<std::size_t>(size[0]) * static_cast<std::size_t>(size[1])};
  const int across = axis == 0 ? 1 : 0;
  const int down = axis == 2 ? 1 : 2;
  return {{across, down},
          static_cast<std::size_t>(index) * step[static_cast<std::size_t>(axis)],
          {step[static_cast<std::size_t>(across)], step[static_cast<std::size_t>(down)]}};
}

GreyImage ExtractPlane(const GreyImage& volume, int axis, int index) {
  const auto axes = LayoutOfPlane(volume.size, axis, index).axes;
  const std::array<std::size_t, 3> order{static_cast<std::size_t>(axes[0]), static_cast<std::size_t>(axes[1]),
                                         static_cast<std::size_t>(axis)};
  GreyImage plane;
  plane.size = {volume.size[order[0]], volume.size[order[1]], 1};
  plane.values = ExtractPlaneValues(volume.values, volume.size, axis, index);
  plane.direction = {volume.direction[order[0]], volume.direction[order[1]], volume.direction[order[2]]};
  if (volume.voxelSize) {
    const auto& size = *volume.voxelSize;
    plane.voxelSize = {size[order[0]], size[order[1]], size[order[2]]};
  }
  return plane;
}

ScreenOrder ScreenOrderOf(const GreyImage& image) {
  const char across = image.direction[0];
  const char down = image.direction[1];
  return {across == 'L' || across == 'A', down == 'A' || down == 'S'};
}

bool IsNiftiPath(const std::string& path) {
  const std::string name = LowerCase(path);
  return EndsWith(name, ".nii") || EndsWith(name, ".nii.gz");
}

GreyImage ReadImage(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) throw Failure("cannot find the image " + path);
  if (!std::filesystem::is_regular_file(path, error)) throw Failure(path + " is not a file");
  if (IsNiftiPath(path)) return ReadNifti(path);
  if (EndsWith(LowerCase(path), ".png")) return ReadPng(path);
  throw Failure("unsupported image " + path + ": .nii, .nii.gz and .png are read");
}

}  // namespace example
