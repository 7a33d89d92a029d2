#pragma once

#include <string>
#include <utility>
#include <vector>

#include "support/raster.h"

namespace example {

/// An axis of a plot; a logarithmic one needs 0 < minimum < maximum.
struct PlotAxis {
  std::string label;
  double minimum = 0.0;
  double maximum = 1.0;
  bool isLogarithmic = false;
};

using PlotPoint = std::pair<double, double>;

/// A plot with a title, labelled axes and a legend, as an SVG picture. Items are drawn in the order in which
/// they are added, and cut at the frame.
class SvgPlot {
 public:
  SvgPlot(std::string title, PlotAxis x, PlotAxis y);

  /// A second vertical axis, on the right.
  void SetRightAxis(PlotAxis axis);

  /// Names under the x axis instead of numbers: the one of index i stands under i + 1. Slanted and thinned
  /// out where they are many.
  void SetNames(std::vector<std::string> names);

  /// Bars from the bottom of the plot; bar i spans [start + i * width, start + (i + 1) * width].
  void AddBars(double start, double width, const std::vector<double>& heights, Colour colour,
               const std::string& legend);
  /// A line through points; on the right axis if asked for.
  void AddLine(const std::vector<PlotPoint>& points, Colour colour, const std::string& legend,
               bool isOnRightAxis = false);
  /// Dots; hollow ones mark values that the axis cannot show where they are.
  void AddDots(const std::vector<PlotPoint>& points, Colour colour, bool isHollow, const std::string& legend);
  /// A dashed line across the plot at a value of x, with a text at its upper end.
  void AddVerticalMark(double x, Colour colour, const std::string& text);
  /// A dashed line across the plot at a value of y, with a text above its left end.
  void AddHorizontalMark(double y, Colour colour, const std::string& text);

  /// The whole SVG file.
  std::string Render() const;

 private:
  double ToX(double value) const;
  double ToY(double value, const PlotAxis& axis) const;
  std::string DrawHorizontalAxis() const;
  std::string DrawNames() const;
  std::string DrawVerticalAxis(const PlotAxis& axis, bool isRight) const;
  std::string DrawLegend() const;

  std::string title_;
  PlotAxis x_;
  PlotAxis y_;
  PlotAxis right_;
  bool hasRightAxis_ = false;
  std::vector<std::string> names_;
  std::string items_;
  std::string marks_;  // above the items, not cut
  std::vector<std::pair<Colour, std::string>> legend_;
};

/// Round values that divide the axis well: 1, 2 or 5 times a power of ten; powers of ten on a logarithmic
/// axis.
std::vector<double> AxisTicks(const PlotAxis& axis, int wantedCount);

}  // namespace example
