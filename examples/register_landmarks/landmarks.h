#pragma once

#include <string>
#include <vector>

#include "mth/value/Mth_3d_double.h"

namespace register_landmarks {

/// Points of a file, in mm, in the axes that DICOM and ITK use: x to the patient's left, y to the back, z to
/// the head (LPS).
struct Landmarks {
  std::string path;
  std::vector<MTH_3D_DOUBLE> points;
  std::vector<std::string> labels;  ///< one per point; "" where the file has none
};

/// Whether a file of that name tells its axes itself: Slicer's do.
bool TellsAxes(const std::string& path);

/// Reads landmarks: Slicer's fiducials (.fcsv, .mrk.json), which tell their axes, or lines of x,y,z or
/// label,x,y,z in any other file, where empty lines and lines after # are skipped.
/// @param isRas  the axes of a file that does not tell them: x to the right and y to the front, if true.
/// @throws example::Failure  naming the file and the line, when it cannot be read.
Landmarks ReadLandmarks(const std::string& path, bool isRas);

/// Puts the points of `second` in the order of `first`: by their labels when either file has any, unless the
/// user wants their order to count.
/// @return                   whether they were matched by their labels.
/// @throws example::Failure  naming a label that the other file does not have, or that stands twice; naming
/// the
///                           counts where they differ.
bool MatchLandmarks(const Landmarks& first, Landmarks& second, bool isByOrder);

/// Whether all points lie on one line, to a millionth of their distances: any turn about it would do.
bool AreCollinear(const std::vector<MTH_3D_DOUBLE>& points);

}  // namespace register_landmarks
