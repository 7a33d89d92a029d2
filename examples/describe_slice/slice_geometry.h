#pragma once

#include <array>
#include <optional>
#include <string>

#include "mth/value/Mth_3d_double.h"
#include "support/image.h"

namespace describe_slice {

/// The slices of a series, in their order.
struct SliceStack {
  int count;
  double spacing;               ///< between the planes of neighbours, in mm
  std::array<double, 3> first;  ///< centre of the first voxel of the first slice
  std::array<double, 3> last;   ///< centre of the first voxel of the last slice
};

/// Where a slice lies in the patient: x to the left, y to the back, z to the head (the axes of DICOM), in mm.
struct SliceGeometry {
  std::array<double, 3> rowDirection;     ///< along a row, from one column to the next
  std::array<double, 3> columnDirection;  ///< along a column, from one row to the next
  MTH_3D_DOUBLE firstCorner;              ///< centre of the first voxel
  MTH_3D_DOUBLE lastCorner;               ///< centre of the last voxel of the slice
  std::optional<SliceStack> stack;        ///< of a DICOM series
};

/// Reads the place of a slice of a NIfTI image, or of DICOM slices.
/// @param index   of the slice along the third axis; the middle one without it.
/// @param choice  among the series of a DICOM folder.
/// @throws example::Failure  when the file cannot be read, does not tell its place, or has no such slice.
SliceGeometry ReadSliceGeometry(const std::string& path, std::optional<int> index,
                                const example::SeriesChoice& choice);

/// The geometry of six direction cosines (along a row, then along a column) and, for the shift, the middle of
/// the slice.
SliceGeometry GeometryFromCosines(const std::array<double, 6>& cosines, const std::array<double, 3>& centre);

}  // namespace describe_slice
