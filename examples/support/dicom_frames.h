#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace example {

using Vector3 = std::array<double, 3>;

/// A slice of a DICOM file: the whole image of a classic file, or one frame of a multi-frame one. Places and
/// directions are in the axes of DICOM: x to the patient's left, y to the back, z to the head, in mm.
struct DicomFrame {
  std::string path;
  int index = 0;            ///< of the frame in its file, from 0
  bool isEnhanced = false;  ///< of a multi-frame file with functional groups
  std::string sopClass;
  std::string instance;  ///< the unique identifier of the file
  std::string seriesUid;
  std::optional<int> seriesNumber;
  std::string description;  ///< of the series
  std::string kind;  ///< image type, and stack of a multi-frame file: what tells maps of a series apart
  std::optional<int> echoNumber;
  std::optional<double> echoTime;  ///< in ms
  int rows = 0;
  int columns = 0;
  std::optional<Vector3> position;               ///< centre of the first voxel
  std::optional<Vector3> alongRow;               ///< direction from one column to the next
  std::optional<Vector3> alongColumn;            ///< direction from one row to the next
  std::optional<std::array<double, 2>> spacing;  ///< between columns, and between rows
  double thickness = 0.0;                        ///< distance to where a next slice would be; 0: not told
  double slope = 1.0;
  double intercept = 0.0;
  std::string refusal;  ///< why the image cannot be read; empty: it can
};

/// The slices that a file holds, from its header alone; none when it holds no image but other things, such as
/// a report. An image of a kind that is not read (colour, unknown compression ...), or shorter than what it
/// says to hold, is one slice with a refusal: it matters only where its series is asked for.
/// @throws Failure  naming the file, when it is damaged.
std::vector<DicomFrame> ReadDicomFrames(const std::string& path);

}  // namespace example
