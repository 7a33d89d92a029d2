#pragma once

#include <string>
#include <vector>

#include "mth/value/Mth_3d_double.h"

namespace register_landmarks {

/// Points of a file, in mm, in the axes that DICOM and ITK use: x to the patient's left, y to the back, z to
/// the head (LPS).
struct Landmarks {
  std::vector<MTH_3D_DOUBLE> points;
  std::vector<std::string> labels;  ///< one per point; empty where the file has none
};

/// Reads landmarks: Slicer's fiducials (.fcsv, .mrk.json), which tell their axes, or lines of x,y,z or
/// label,x,y,z in any other file, where empty lines and lines after # are skipped.
/// @param isRas  the axes of a file that does not tell them: x to the right and y to the front, if true.
/// @throws example::Failure  naming the file and the line, when it cannot be read.
Landmarks ReadLandmarks(const std::string& path, bool isRas);

/// Puts the points of `second` in the order of `first`: by their labels when both files have the same
/// distinct ones, else they stay as they are.
/// @throws example::Failure  when the counts differ.
void MatchLandmarks(const Landmarks& first, Landmarks& second);

}  // namespace register_landmarks
