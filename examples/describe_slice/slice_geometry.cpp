#include "slice_geometry.h"

#include <nifti2_io.h>

#include <cmath>
#include <filesystem>
#include <memory>

#include "support/failure.h"

namespace describe_slice {

namespace {

using example::Failure;

struct ImageDeleter {
  void operator()(nifti_image* image) const { nifti_image_free(image); }
};

// The place of a voxel in the axes of DICOM; those of NIfTI have x to the right and y to the front.
std::array<double, 3> PlaceOf(const nifti_dmat44& toWorld, const std::array<double, 3>& voxel) {
  std::array<double, 3> place{};
  for (std::size_t i = 0; i < 3; ++i) {
    const auto& row = toWorld.m[i];
    const double sum = row[0] * voxel[0] + row[1] * voxel[1] + row[2] * voxel[2] + row[3];
    place[i] = i < 2 ? -sum : sum;
  }
  return place;
}

std::array<double, 3> Difference(const std::array<double, 3>& to, const std::array<double, 3>& from) {
  return {to[0] - from[0], to[1] - from[1], to[2] - from[2]};
}

}  // namespace

SliceGeometry ReadSliceGeometry(const std::string& path, std::optional<int> index) {
  if (!std::filesystem::is_regular_file(path)) throw Failure("cannot open " + path);
  nifti_set_debug_level(0);
  const std::unique_ptr<nifti_image, ImageDeleter> image(nifti_image_read(path.c_str(), 0));
  if (!image) throw Failure("damaged or not a NIfTI image: " + path);
  if (image->sform_code <= 0 && image->qform_code <= 0) throw Failure("no place in the scanner in " + path);
  const nifti_dmat44& toWorld = image->sform_code > 0 ? image->sto_xyz : image->qto_xyz;
  const auto slices = static_cast<int>(image->nz > 0 ? image->nz : 1);
  const int slice = index.value_or(slices / 2);
  if (slice < 0 || slice >= slices) throw Failure("--index must be 0 to " + std::to_string(slices - 1));
  const double z = slice;
  const auto origin = PlaceOf(toWorld, {0, 0, z});
  const auto last =
      PlaceOf(toWorld, {static_cast<double>(image->nx - 1), static_cast<double>(image->ny - 1), z});
  return {Difference(PlaceOf(toWorld, {1, 0, z}), origin), Difference(PlaceOf(toWorld, {0, 1, z}), origin),
          MTH_3D_DOUBLE(origin[0], origin[1], origin[2]), MTH_3D_DOUBLE(last[0], last[1], last[2])};
}

SliceGeometry GeometryFromCosines(const std::array<double, 6>& cosines, const std::array<double, 3>& centre) {
  const MTH_3D_DOUBLE middle(centre[0], centre[1], centre[2]);
  return {{cosines[0], cosines[1], cosines[2]}, {cosines[3], cosines[4], cosines[5]}, middle, middle};
}

}  // namespace describe_slice
