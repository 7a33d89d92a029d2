#pragma once

#include <array>
#include <string>
#include <vector>

#include "support/image.h"

namespace example {

/// Whether a path is read as DICOM: a folder, a DICOMDIR, or a file that begins as DICOM files do or is named
/// so. Never, in a build without the DICOM toolkit, a folder.
bool IsDicomPath(const std::string& path);

/// Whether a file is named as the index of a disc: DICOMDIR.
bool IsDicomDirectory(const std::string& path);

/// Reads a series of slices, or a single image: a file, all files of a folder, or those that a DICOMDIR
/// names. The image keeps its source, for results that go back as DICOM.
/// @throws Failure  naming file and reason: several series or echoes and none chosen, a missing slice, a
/// damaged file ... A build without the DICOM toolkit reads none.
GreyImage ReadDicom(const std::string& path, const SeriesChoice& choice);

/// How the slices of a series lie, in the axes of DICOM: x to the patient's left, y to the back, z to the
/// head.
struct SeriesGeometry {
  std::array<double, 3> alongRow;     ///< a unit vector, from one column to the next
  std::array<double, 3> alongColumn;  ///< a unit vector, from one row to the next
  std::array<double, 3> first;        ///< centre of the first voxel of the first slice, in mm
  std::array<double, 3> step;         ///< from one slice to the next, in mm
  std::array<int, 3> size;            ///< columns, rows, slices
  std::array<double, 3> voxelSize;    ///< in mm
};

/// @throws Failure  as ReadDicom; when the images do not tell their place.
SeriesGeometry ReadDicomGeometry(const std::string& path, const SeriesChoice& choice);

/// What can be read of a path that holds several series, or echoes.
struct SeriesEntry {
  SeriesChoice choice;
  std::string
      text;  ///< one line: what --series takes, description, slices, and the echo where there are several
};

/// The series that a path holds, and each echo of those that have several.
std::vector<SeriesEntry> ListDicomSeries(const std::string& path);

}  // namespace example
