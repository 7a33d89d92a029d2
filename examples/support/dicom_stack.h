#pragma once

#include <array>
#include <optional>
#include <vector>

#include "support/dicom_frames.h"
#include "support/image.h"

namespace example {

/// Slices in their order along their normal (along a row, then along a column, by the right hand), evenly
/// spaced; directions and places in the axes of DICOM.
struct DicomStack {
  std::vector<DicomFrame> slices;
  /// Where the voxels lie; nothing of a single image that does not tell.
  struct Place {
    Vector3 origin;       ///< centre of the first voxel of the first slice
    Vector3 alongRow;     ///< a unit vector
    Vector3 alongColumn;  ///< a unit vector
    Vector3 step;         ///< from one slice to the next; not along the normal where the gantry was tilted
    std::array<double, 3> voxelSize;  ///< along rows, along columns, and between the planes of the slices
  };
  std::optional<Place> place;
};

/// @throws Failure  naming files, when the slices differ in size, spacing or direction, when two are at the
/// same place, when one is missing between others, or when they are unevenly spaced.
DicomStack StackSlices(std::vector<DicomFrame> frames);

/// The grid of the stack as NIfTI has it: rows are counted from the last one, as its converters do, so that y
/// grows upwards in axial slices; slices along the normal.
GreyImage GridOf(const DicomStack& stack);

}  // namespace example
