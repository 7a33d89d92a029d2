#include "slice_geometry.h"

#include <filesystem>

#include "support/dicom_io.h"
#include "support/failure.h"
#include "support/nifti_io.h"

namespace describe_slice {

namespace {

using example::Failure;

// The place of a voxel in the axes of DICOM; those of NIfTI have x to the right and y to the front.
std::array<double, 3> PlaceOf(const example::Affine& toWorld, const std::array<double, 3>& voxel) {
  std::array<double, 3> place{};
  for (std::size_t i = 0; i < 3; ++i) {
    const auto& row = toWorld[i];
    const double sum = row[0] * voxel[0] + row[1] * voxel[1] + row[2] * voxel[2] + row[3];
    place[i] = i < 2 ? -sum : sum;
  }
  return place;
}

std::array<double, 3> Difference(const std::array<double, 3>& to, const std::array<double, 3>& from) {
  return {to[0] - from[0], to[1] - from[1], to[2] - from[2]};
}

int ChooseSlice(int slices, std::optional<int> index) {
  const int slice = index.value_or(slices / 2);
  if (slice < 0 || slice >= slices) throw Failure("--index must be 0 to " + std::to_string(slices - 1));
  return slice;
}

std::array<double, 3> Along(std::array<double, 3> place, double length,
                            const std::array<double, 3>& direction) {
  for (std::size_t i = 0; i < 3; ++i) place[i] += length * direction[i];
  return place;
}

SliceGeometry GeometryOfSeries(const example::SeriesGeometry& series, std::optional<int> index) {
  const int count = series.size[2];
  const auto first = Along(series.first, ChooseSlice(count, index), series.step);
  const auto corner = Along(first, (series.size[0] - 1) * series.voxelSize[0], series.alongRow);
  const auto last = Along(corner, (series.size[1] - 1) * series.voxelSize[1], series.alongColumn);
  return {series.alongRow, series.alongColumn, MTH_3D_DOUBLE(first[0], first[1], first[2]),
          MTH_3D_DOUBLE(last[0], last[1], last[2]),
          SliceStack{count, series.voxelSize[2], series.first, Along(series.first, count - 1, series.step)}};
}

}  // namespace

SliceGeometry ReadSliceGeometry(const std::string& path, std::optional<int> index,
                                const example::SeriesChoice& choice) {
  if (std::filesystem::exists(path) && !example::IsNiftiPath(path) && example::IsDicomPath(path))
    return GeometryOfSeries(example::ReadDicomGeometry(path, choice), index);
  if (!std::filesystem::is_regular_file(path)) throw Failure("cannot open " + path);
  if (!choice.series.empty() || choice.echo)
    throw Failure("--series and --echo choose among DICOM slices: " + path + " holds none");
  const example::GreyImage grid = example::ReadNiftiGrid(path);
  if (!grid.affine) throw Failure("no place in the scanner in " + path);
  const example::Affine& toWorld = *grid.affine;
  const int slices = grid.size[2];
  const double z = ChooseSlice(slices, index);
  const auto origin = PlaceOf(toWorld, {0, 0, z});
  const auto last =
      PlaceOf(toWorld, {static_cast<double>(grid.size[0] - 1), static_cast<double>(grid.size[1] - 1), z});
  return {Difference(PlaceOf(toWorld, {1, 0, z}), origin), Difference(PlaceOf(toWorld, {0, 1, z}), origin),
          MTH_3D_DOUBLE(origin[0], origin[1], origin[2]), MTH_3D_DOUBLE(last[0], last[1], last[2]),
          std::nullopt};
}

SliceGeometry GeometryFromCosines(const std::array<double, 6>& cosines, const std::array<double, 3>& centre) {
  const MTH_3D_DOUBLE middle(centre[0], centre[1], centre[2]);
  return {{cosines[0], cosines[1], cosines[2]},
          {cosines[3], cosines[4], cosines[5]},
          middle,
          middle,
          std::nullopt};
}

}  // namespace describe_slice
