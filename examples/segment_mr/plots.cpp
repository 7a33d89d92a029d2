#include "plots.h"

#include <algorithm>
#include <cmath>

#include "histogram.h"
#include "support/svg_plot.h"
#include "support/text.h"

namespace segment_mr {

using example::Segmentation;

namespace {

using example::Colour;
using example::Method;
using example::PlotAxis;
using example::PlotPoint;
using example::SvgPlot;

constexpr Colour kBarColour{203, 209, 219};
constexpr Colour kChangeColour{0, 114, 178};
constexpr Colour kToleranceColour{213, 94, 0};

// Curves stop at bins without voxels and go on at the next one that has some.
std::vector<PlotPoint> MembershipCurve(const Histogram& histogram, std::size_t k) {
  std::vector<PlotPoint> points;
  for (std::size_t bin = 0; bin < histogram.counts.size(); ++bin) {
    if (histogram.counts[bin] > 0.0)
      points.emplace_back(histogram.MiddleOf(bin), histogram.memberships[k][bin]);
  }
  return points;
}

// The highest bar but one outlier: a background that is not 0 would flatten all others.
double HeightOfAxis(const std::vector<double>& counts) {
  std::vector<double> sorted = counts;
  std::sort(sorted.begin(), sorted.end(), std::greater<>());
  const double highest = sorted.front();
  const bool hasOutlier = sorted.size() > 1 && sorted[1] > 0.0 && highest > 5.0 * sorted[1];
  return 1.08 * (hasOutlier ? sorted[1] : highest);
}

std::string ClassName(std::size_t k) {
  return "class " + std::to_string(k + 1);
}

double NextPowerOfTen(double value, bool isUpwards) {
  const double power = std::log10(value);
  return std::pow(10.0, isUpwards ? std::ceil(power) : std::floor(power));
}

// From a power of ten below the positive values to one above the largest.
PlotAxis LogarithmicAxis(const std::string& label, double least, double greatest) {
  const double minimum = NextPowerOfTen(least, false);
  return {label, minimum, std::max(NextPowerOfTen(greatest, true), 10.0 * minimum), true};
}

const char* NameOfChange(Method method) {
  if (method == Method::EvidentialCMeans) return "mean movement of the centroids (grey levels)";
  return method == Method::KMeans ? "voxels that changed class (count)"
                                  : "largest change of a membership (0 to 1)";
}

}  // namespace

std::string DrawHistogram(const example::GreyImage& image, const Segmentation& segmentation) {
  const Histogram histogram = ComputeHistogram(image, segmentation);
  const double end = histogram.start + static_cast<double>(histogram.counts.size()) * histogram.binWidth;
  const double first = std::min(histogram.start, segmentation.centroids.front());
  const double last = std::max(end, segmentation.centroids.back());
  const std::string unit = example::IsVolume(image) ? "voxels" : "pixels";
  const std::string level = example::Rounded(histogram.binWidth, 3);
  SvgPlot plot("Intensities above 0, centroids and memberships",
               {"intensity (grey level)", first, last, false},
               {unit + " per " + (level == "1" ? "grey level" : level + " grey levels") + " (count)", 0.0,
                HeightOfAxis(histogram.counts), false});
  plot.SetRightAxis({"mean membership (0 to 1)", 0.0, 1.08, false});
  plot.AddBars(histogram.start, histogram.binWidth, histogram.counts, kBarColour, unit);
  const auto colours = example::DistinctColours(static_cast<int>(segmentation.centroids.size()));
  for (std::size_t k = 0; k < segmentation.centroids.size(); ++k) {
    plot.AddLine(MembershipCurve(histogram, k), colours[k], ClassName(k), true);
    plot.AddVerticalMark(segmentation.centroids[k], colours[k], example::Fixed(segmentation.centroids[k], 1));
  }
  return plot.Render();
}

std::string DrawConvergence(const Segmentation& segmentation, const Options& options) {
  const bool isFuzzy = options.settings.method != Method::KMeans;
  std::vector<PlotPoint> shown;
  std::vector<double> positive;
  for (const double change : segmentation.changes) {
    if (change > 0.0) positive.push_back(change);
  }
  const bool showsTolerance = isFuzzy && options.settings.tolerance > 0.0;
  if (positive.empty()) positive.push_back(1.0);
  double least = *std::min_element(positive.begin(), positive.end());
  if (showsTolerance) least = std::min(least, options.settings.tolerance);
  const double greatest = *std::max_element(positive.begin(), positive.end());
  const PlotAxis y = LogarithmicAxis(NameOfChange(options.settings.method), least, greatest);

  std::vector<PlotPoint> full;
  std::vector<PlotPoint> hollow;
  for (std::size_t i = 0; i < segmentation.changes.size(); ++i) {
    const double change = segmentation.changes[i];
    const bool isLast = i + 1 == segmentation.changes.size();
    if (isFuzzy && change == 0.0 && !isLast) continue;  // rounded to 0: only the last is known exactly
    shown.emplace_back(static_cast<double>(i) + 1.0, change > 0.0 ? change : y.minimum);
    (change > 0.0 ? full : hollow).push_back(shown.back());
  }
  const double iterations = static_cast<double>(segmentation.changes.size());
  SvgPlot plot("Convergence of " + std::string(NameOf(options.settings.method)),
               {"iteration (count)", 0.0, iterations + 1.0, false}, y);
  plot.AddLine(shown, kChangeColour, "change in the iteration");
  if (full.size() <= 60) plot.AddDots(full, kChangeColour, false, "");
  if (!hollow.empty()) plot.AddDots(hollow, kChangeColour, true, "hollow: no change");
  if (showsTolerance) {
    plot.AddHorizontalMark(options.settings.tolerance, kToleranceColour,
                           "tolerance " + example::Rounded(options.settings.tolerance, 3));
  }
  return plot.Render();
}

}  // namespace segment_mr
