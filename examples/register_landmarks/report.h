#pragma once

#include <string>
#include <vector>

#include "landmarks.h"
#include "mth/geometry/Mth_matrix_chgref.h"

namespace register_landmarks {

/// How well the transform maps the first landmarks to the second, in mm.
struct Quality {
  std::vector<double> residuals;  ///< distance of each mapped point from its match
  double meanResidual;
  double rmsResidual;
  double largestResidual;
  std::vector<bool> isOutlier;  ///< as the method tells them, or whose residual is far beyond those of most
  double hausdorffBefore;
  double hausdorffAfter;
};

/// What was registered and how.
struct Matching {
  std::string method;
  std::vector<std::string> names;  ///< of the landmarks; their numbers where they have none
  bool isByLabel = false;
};

/// @param change     computed, with both sets as its reference sets.
/// @param isOutlier  which landmarks the method found wrong; null where it does not tell.
Quality Assess(MTH_MATRIX_CHGREF& change, const bool* isOutlier);

/// Matrix, angles, quaternion and quality for a person.
std::string TextReport(const MTH_MATRIX_CHGREF& change, const Quality& quality, const Matching& matching);

/// The same for programs.
std::string JsonReport(const MTH_MATRIX_CHGREF& change, const Quality& quality, const Matching& matching);

/// Four lines of four numbers.
std::string MatrixText(const MTH_MATRIX_CHGREF& change);

/// A transform file as ITK and Slicer read it. Such a file maps points of the fixed image to the moving one,
/// so it holds the inverse: applied in Slicer to the first landmarks, it moves them onto the second.
std::string ItkTransformText(const MTH_MATRIX_CHGREF& change);

/// The residuals as bars, as an SVG picture.
std::string DrawResiduals(const Quality& quality, const Matching& matching);

}  // namespace register_landmarks
