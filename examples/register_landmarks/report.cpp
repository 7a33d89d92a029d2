#include "report.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "mth/geometry/Mth_point_sets.h"
#include "support/failure.h"
#include "support/json_text.h"
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

// The rotation in the two ways that reports tell it.
struct Turn {
  double degrees[3];  // about x, y and z
  double quaternion[4];
};

Turn TurnOf(const MTH_MATRIX_CHGREF& change) {
  Turn turn{};
  change.GetRotation(turn.degrees);
  change.GetQuaternion(turn.quaternion);
  for (double& angle : turn.degrees) angle *= 180.0 * std::numbers::inv_pi;
  return turn;
}

// Beyond three deviations as the median residual tells them, and a micrometre.
std::vector<bool> FindOutliers(const std::vector<double>& residuals) {
  constexpr double kDeviationsOfMedian = 1.4826;
  std::vector<double> sorted = residuals;
  std::sort(sorted.begin(), sorted.end());
  const double limit = std::max(3.0 * kDeviationsOfMedian * sorted[sorted.size() / 2], 1e-3);
  std::vector<bool> areOutliers;
  for (const double residual : residuals) areOutliers.push_back(residual > limit);
  return areOutliers;
}

}  // namespace

Quality Assess(MTH_MATRIX_CHGREF& change, const bool* isOutlier) {
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
  quality.isOutlier = isOutlier != nullptr ? std::vector<bool>(isOutlier, isOutlier + count)
                                           : FindOutliers(quality.residuals);
  double squares = 0.0;
  for (const double residual : quality.residuals) squares += residual * residual;
  quality.rmsResidual = std::sqrt(squares / count);
  quality.largestResidual = *std::max_element(quality.residuals.begin(), quality.residuals.end());
  quality.hausdorffBefore = Mth_Hausdorff_Distance(first, second, count, count);
  quality.hausdorffAfter = Mth_Hausdorff_Distance(mapped.data(), second, count, count);
  return quality;
}

std::string TextReport(const MTH_MATRIX_CHGREF& change, const Quality& quality, const Matching& matching) {
  const Turn turn = TurnOf(change);
  std::string text = "Matrix (mm, LPS)\n";
  for (int i = 0; i < 4; ++i) {
    const double row[4] = {change.Get(i, 0), change.Get(i, 1), change.Get(i, 2), change.Get(i, 3)};
    text += Row(row, 4);
  }
  text += "Angles about x, y, z (degrees)\n" + Row(turn.degrees, 3);
  text += "Quaternion (scalar part first)\n" + Row(turn.quaternion, 4);
  text += "Residuals (mm) of " + std::to_string(quality.residuals.size()) + " landmarks matched by " +
          (matching.isByLabel ? "label" : "order") + "\n";
  for (std::size_t i = 0; i < quality.residuals.size(); ++i) {
    text += RightAligned(Fixed(quality.residuals[i], 3), kWidth) + "  " + matching.names[i] +
            (quality.isOutlier[i] ? "  (outlier)\n" : "\n");
  }
  text += "  mean " + Fixed(quality.meanResidual, 3) + ", root mean square " + Fixed(quality.rmsResidual, 3) +
          ", largest " + Fixed(quality.largestResidual, 3) + "\n";
  text += "Hausdorff distance (mm): before " + Fixed(quality.hausdorffBefore, 3) + ", after " +
          Fixed(quality.hausdorffAfter, 3) + "\n";
  return text;
}

std::string JsonReport(const MTH_MATRIX_CHGREF& change, const Quality& quality, const Matching& matching) {
  const Turn turn = TurnOf(change);
  example::Json json;
  json["method"] = matching.method;
  json["matched_by"] = matching.isByLabel ? "label" : "order";
  for (int i = 0; i < 4; ++i)
    json["matrix_lps_mm"].push_back({change.Get(i, 0), change.Get(i, 1), change.Get(i, 2), change.Get(i, 3)});
  json["angles_degrees"] = turn.degrees;
  json["quaternion"] = turn.quaternion;
  json["residuals_mm"] = {{"mean", quality.meanResidual},
                          {"root_mean_square", quality.rmsResidual},
                          {"largest", quality.largestResidual}};
  for (std::size_t i = 0; i < quality.residuals.size(); ++i)
    json["landmarks"].push_back({{"name", matching.names[i]},
                                 {"residual_mm", quality.residuals[i]},
                                 {"outlier", static_cast<bool>(quality.isOutlier[i])}});
  json["hausdorff_mm"] = {{"before", quality.hausdorffBefore}, {"after", quality.hausdorffAfter}};
  return example::JsonText(json);
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

std::string DrawResiduals(const Quality& quality, const Matching& matching) {
  constexpr example::Colour kBar{0, 114, 178};
  constexpr example::Colour kMark{213, 94, 0};
  const auto count = static_cast<double>(quality.residuals.size());
  const double top = quality.largestResidual > 0.0 ? 1.1 * quality.largestResidual : 1.0;
  example::SvgPlot plot("Residuals of the registration", {"landmark", 0.5, count + 0.5},
                        {"Residual (mm)", 0.0, top});
  plot.SetNames(matching.names);
  plot.AddBars(0.5, 1.0, quality.residuals, kBar, "");
  plot.AddHorizontalMark(quality.meanResidual, kMark, "mean " + Fixed(quality.meanResidual, 3) + " mm");
  return plot.Render();
}

}  // namespace register_landmarks
