#include "report.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "mth/geometry/Mth_point_sets.h"
#include "support/failure.h"
#include "support/svg_plot.h"
#include "support/text.h"

namespace register_landmarks {

namespace {

using example::Fixed;
using example::RightAligned;
using example::Shortest;

constexpr std::size_t kWidth = 14;
constexpr int kDecimals = 6;

std::string Row(const double* values, int count) {
  std::string row;
  for (int i = 0; i < count; ++i) row += RightAligned(Fixed(values[i], kDecimals), kWidth);
  return row + "\n";
}

}  // namespace

Quality Assess(MTH_MATRIX_CHGREF& change) {
  const int count = change.GetDimension();
  MTH_3D_DOUBLE* const first = change.GetRef1();
  MTH_3D_DOUBLE* const second = change.GetRef2();
  std::vector<MTH_3D_DOUBLE> mapped(static_cast<std::size_t>(count));
  change.ChangeRefCost(true, mapped.data());
  Quality quality{};
  for (int i = 0; i < count; ++i) {
    quality.residuals.push_back(mapped[static_cast<std::size_t>(i)].Distance(second[i]));
  }
  quality.meanResidual = change.GetCost();
  quality.largestResidual = *std::max_element(quality.residuals.begin(), quality.residuals.end());
  quality.hausdorffBefore = Mth_Hausdorff_Distance(first, second, count, count);
  quality.hausdorffAfter = Mth_Hausdorff_Distance(mapped.data(), second, count, count);
  return quality;
}

std::string TextReport(const MTH_MATRIX_CHGREF& change, const Quality& quality) {
  double angles[3];
  double quaternion[4];
  change.GetRotation(angles);  // radians about x, y and z
  change.GetQuaternion(quaternion);
  for (double& angle : angles) angle *= 180.0 * std::numbers::inv_pi;
  std::string text = "Matrix (mm, LPS)\n";
  for (int i = 0; i < 4; ++i) {
    const double row[4] = {change.Get(i, 0), change.Get(i, 1), change.Get(i, 2), change.Get(i, 3)};
    text += Row(row, 4);
  }
  text += "Angles about x, y, z (degrees)\n" + Row(angles, 3);
  text += "Quaternion (scalar part first)\n" + Row(quaternion, 4);
  text += "Residual of " + std::to_string(quality.residuals.size()) + " landmarks (mm): mean " +
          Fixed(quality.meanResidual, 3) + ", largest " + Fixed(quality.largestResidual, 3) + "\n";
  text += "Hausdorff distance (mm): before " + Fixed(quality.hausdorffBefore, 3) + ", after " +
          Fixed(quality.hausdorffAfter, 3) + "\n";
  return text;
}

std::string MatrixText(const MTH_MATRIX_CHGREF& change) {
  std::string text;
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) text.append(Shortest(change.Get(i, j))).append(j < 3 ? " " : "\n");
  }
  return text;
}

std::string ItkTransformText(const MTH_MATRIX_CHGREF& change) {
  std::string rotation;
  std::string translation;
  for (int i = 0; i < 3; ++i) {
    double shift = 0.0;
    for (int j = 0; j < 3; ++j) {
      rotation.append(" ").append(Shortest(change.Get(j, i)));  // the inverse of a rotation is its transpose
      shift -= change.Get(j, i) * change.Get(j, 3);
    }
    translation.append(" ").append(Shortest(shift));
  }
  return "#Insight Transform File V1.0\n#Transform 0\nTransform: AffineTransform_double_3_3\nParameters:" +
         rotation + translation + "\nFixedParameters: 0 0 0\n";
}

std::string DrawResiduals(const Quality& quality) {
  constexpr example::Colour kBar{0, 114, 178};
  constexpr example::Colour kMark{213, 94, 0};
  const auto count = static_cast<double>(quality.residuals.size());
  const double top = quality.largestResidual > 0.0 ? 1.1 * quality.largestResidual : 1.0;
  example::SvgPlot plot("Residuals of the registration", {"Landmark", 0.5, count + 0.5},
                        {"Residual (mm)", 0.0, top});
  plot.AddBars(0.5, 1.0, quality.residuals, kBar, "");
  plot.AddHorizontalMark(quality.meanResidual, kMark, "mean " + Fixed(quality.meanResidual, 3) + " mm");
  return plot.Render();
}

}  // namespace register_landmarks
