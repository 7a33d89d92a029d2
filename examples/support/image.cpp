#include "support/image.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <limits>

#include "support/dicom_io.h"
#include "support/failure.h"
#include "support/nifti_io.h"
#include "support/png_io.h"
#include "support/text.h"

namespace example {

namespace {

bool EndsWith(const std::string& text, const std::string& ending) {
  return text.size() >= ending.size() &&
         text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

std::array<double, 3> PlaceOf(const Affine& affine, const std::array<double, 3>& voxel) {
  std::array<double, 3> place{};
  for (std::size_t row = 0; row < 3; ++row) {
    const auto& [x, y, z, shift] = affine[row];
    place[row] = x * voxel[0] + y * voxel[1] + z * voxel[2] + shift;
  }
  return place;
}

// How far apart the two grids put one of their corners at most, in voxels along their shortest side.
double LargestShift(const Affine& affine, const Affine& other, const std::array<int, 3>& size) {
  double shortest = std::numeric_limits<double>::max();
  for (std::size_t axis = 0; axis < 3; ++axis)
    shortest = std::min(shortest, std::hypot(affine[0][axis], affine[1][axis], affine[2][axis]));
  double largest = 0.0;
  for (unsigned corner = 0; corner < 8; ++corner) {
    std::array<double, 3> voxel{};
    for (std::size_t axis = 0; axis < 3; ++axis)
      voxel[axis] = (corner >> axis & 1U) != 0 ? size[axis] - 1 : 0;
    const auto first = PlaceOf(affine, voxel);
    const auto second = PlaceOf(other, voxel);
    const double shift = std::hypot(first[0] - second[0], first[1] - second[1], first[2] - second[2]);
    if (!(shift <= largest)) largest = shift;  // also what is not a number
  }
  return largest / shortest;
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
  plane.affine = volume.affine;
  if (volume.affine) {
    for (std::size_t row = 0; row < 3; ++row) {
      const auto& from = (*volume.affine)[row];
      (*plane.affine)[row] = {from[order[0]], from[order[1]], from[order[2]],
                              from[3] + index * from[order[2]]};
    }
  }
  plane.storage = volume.storage;
  for (const std::size_t voxel : volume.replaced) {
    const auto width = static_cast<std::size_t>(volume.size[0]);
    const auto height = static_cast<std::size_t>(volume.size[1]);
    const std::array<std::size_t, 3> place{voxel % width, voxel / width % height, voxel / width / height};
    if (place[order[2]] != static_cast<std::size_t>(index)) continue;
    plane.replaced.push_back(place[order[0]] + static_cast<std::size_t>(plane.size[0]) * place[order[1]]);
  }
  if (volume.voxelSize) {
    const auto& size = *volume.voxelSize;
    plane.voxelSize = {size[order[0]], size[order[1]], size[order[2]]};
  }
  return plane;
}

ScreenOrder ScreenOrderOf(const GreyImage& image, Side side) {
  const char across = image.direction[0];
  const char down = image.direction[1];
  const char mirrored =
      side == Side::Radiological ? 'R' : 'L';  // must not grow towards the right of the screen
  return {across == mirrored || across == 'A', down == 'A' || down == 'S'};
}

ScreenLetters LettersOf(const GreyImage& image, Side side) {
  const auto opposite = [](char letter) {
    constexpr char kPairs[] = "LRAPIS";
    for (int i = 0; i < 6; ++i) {
      if (letter == kPairs[i]) return kPairs[i ^ 1];
    }
    return '\0';
  };
  const ScreenOrder order = ScreenOrderOf(image, side);
  const char across = image.direction[0];
  const char down = image.direction[1];
  const char right = order.mirrorsColumns ? opposite(across) : across;
  const char bottom = order.mirrorsRows ? opposite(down) : down;
  return {opposite(right), right, opposite(bottom), bottom};
}

std::string SizeText(const std::array<int, 3>& size) {
  const std::string text = std::to_string(size[0]) + " x " + std::to_string(size[1]);
  return size[2] > 1 ? text + " x " + std::to_string(size[2]) : text;
}

void RequireSameGrid(const GreyImage& image, const std::string& path, const GreyImage& other,
                     const std::string& otherPath) {
  constexpr double kMostShift = 0.1;
  if (image.size != other.size) {
    throw Failure(path + " and " + otherPath + " differ in size: " + SizeText(image.size) + " and " +
                  SizeText(other.size));
  }
  const bool areSame =
      !image.affine || !other.affine || LargestShift(*image.affine, *other.affine, image.size) <= kMostShift;
  if (!areSame)
    throw Failure(path + " and " + otherPath +
                  " lie differently in the patient: bring one into the grid of the other");
}

bool IsNiftiPath(const std::string& path) {
  const std::string name = LowerCase(path);
  return EndsWith(name, ".nii") || EndsWith(name, ".nii.gz");
}

double WhiteLevel(const GreyImage& image) {
  std::vector<double> inside;
  std::copy_if(image.values.begin(), image.values.end(), std::back_inserter(inside),
               [](double value) { return value > 0.0; });
  if (inside.empty()) return 1.0;
  const auto rank = static_cast<std::ptrdiff_t>(static_cast<double>(inside.size() - 1) * 0.998);
  std::nth_element(inside.begin(), inside.begin() + rank, inside.end());
  return inside[static_cast<std::size_t>(rank)];
}

bool IsPicturePath(const std::string& path) {
  return EndsWith(LowerCase(path), ".png");
}

GreyImage ReadImage(const std::string& path, const SeriesChoice& choice) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) throw Failure("cannot find the image " + path);
  const bool isFile = std::filesystem::is_regular_file(path, error);
  const bool isChosen = !choice.series.empty() || choice.echo;
  if (isChosen && isFile && (IsNiftiPath(path) || IsPicturePath(path)))
    throw Failure("--series and --echo choose among DICOM slices: " + path + " holds none");
  if (isFile && IsNiftiPath(path)) return ReadNifti(path);
  if (isFile && IsPicturePath(path)) return ReadPng(path);
  if (IsDicomPath(path)) return ReadDicom(path, choice);
  if (!isFile) throw Failure(path + " is not a file");
  throw Failure("unsupported image " + path + ": .nii, .nii.gz, .png and DICOM are read");
}

}  // namespace example
