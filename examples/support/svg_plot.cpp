#include "support/svg_plot.h"

#include <algorithm>
#include <cmath>

#include "support/text.h"

namespace example {

namespace {

constexpr double kWidth = 860.0;
constexpr double kHeight = 520.0;
constexpr double kLeft = 88.0;
constexpr double kRight = 84.0;
constexpr double kTop = 72.0;
constexpr double kBottom = 108.0;
constexpr double kPlotRight = kWidth - kRight;
constexpr double kPlotBottom = kHeight - kBottom;

std::string Number(double value) {
  return Rounded(value, 6);
}

std::string Attribute(const std::string& name, double value) {
  return " " + name + "=\"" + Number(value) + "\"";
}

std::string Attribute(const std::string& name, const std::string& value) {
  return " " + name + "=\"" + value + "\"";
}

std::string PathStep(char command, double value) {
  std::string step(1, command);
  return step += Number(value);
}

std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char character : text) {
    if (character == '&') {
      escaped += "&amp;";
    } else if (character == '<') {
      escaped += "&lt;";
    } else {
      escaped += character;
    }
  }
  return escaped;
}

std::string TextAt(double x, double y, const std::string& text, const std::string& attributes) {
  return "<text" + Attribute("x", x) + Attribute("y", y) + attributes + ">" + Escaped(text) + "</text>\n";
}

std::string LineFrom(double x1, double y1, double x2, double y2, const std::string& attributes) {
  return "<line" + Attribute("x1", x1) + Attribute("y1", y1) + Attribute("x2", x2) + Attribute("y2", y2) +
         attributes + "/>\n";
}

const std::string kCentred = " text-anchor=\"middle\"";
const std::string kGridStyle = " stroke=\"#e4e7ec\"";

// Where a value lies on the axis: 0 at its start, 1 at its end.
double Fraction(double value, const PlotAxis& axis) {
  if (!axis.isLogarithmic) return (value - axis.minimum) / (axis.maximum - axis.minimum);
  return std::log(value / axis.minimum) / std::log(axis.maximum / axis.minimum);
}

// The round step that divides a range into about that many parts.
double RoundStep(double range, int wantedCount) {
  const double raw = range / wantedCount;
  const double power = std::pow(10.0, std::floor(std::log10(raw)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= raw) return factor * power;
  }
  return 10.0 * power;
}

}  // namespace

std::vector<double> AxisTicks(const PlotAxis& axis, int wantedCount) {
  std::vector<double> ticks;
  if (axis.isLogarithmic) {
    const int first = static_cast<int>(std::ceil(std::log10(axis.minimum) - 1e-9));
    const int last = static_cast<int>(std::floor(std::log10(axis.maximum) + 1e-9));
    const int step = std::max(1, (last - first) / 8);
    for (int power = first; power <= last; power += step) ticks.push_back(std::pow(10.0, power));
    return ticks;
  }
  const double step = RoundStep(axis.maximum - axis.minimum, wantedCount);
  const double first = std::ceil(axis.minimum / step - 1e-9);
  const int count = static_cast<int>(std::floor(axis.maximum / step + 1e-9) - first) + 1;
  for (int i = 0; i < count; ++i) ticks.push_back((first + i) * step);
  return ticks;
}

SvgPlot::SvgPlot(std::string title, PlotAxis x, PlotAxis y)
    : title_(std::move(title)), x_(std::move(x)), y_(std::move(y)) {}

void SvgPlot::SetRightAxis(PlotAxis axis) {
  right_ = std::move(axis);
  hasRightAxis_ = true;
}

void SvgPlot::SetNames(std::vector<std::string> names) {
  names_ = std::move(names);
}

double SvgPlot::ToX(double value) const {
  return kLeft + Fraction(value, x_) * (kPlotRight - kLeft);
}

double SvgPlot::ToY(double value, const PlotAxis& axis) const {
  return kPlotBottom - Fraction(value, axis) * (kPlotBottom - kTop);
}

void SvgPlot::AddBars(double start, double width, const std::vector<double>& heights, Colour colour,
                      const std::string& legend) {
  std::string path = PathStep('M', ToX(start)) + PathStep(' ', kPlotBottom);
  for (std::size_t i = 0; i < heights.size(); ++i) {
    path += PathStep('V', ToY(heights[i], y_));
    path += PathStep('H', ToX(start + (static_cast<double>(i) + 1.0) * width));
  }
  path += PathStep('V', kPlotBottom);
  items_ += "<path" + Attribute("d", path) + Attribute("fill", HexText(colour)) + "/>\n";
  if (!legend.empty()) legend_.emplace_back(colour, legend);
}

void SvgPlot::AddLine(const std::vector<PlotPoint>& points, Colour colour, const std::string& legend,
                      bool isOnRightAxis) {
  const PlotAxis& axis = isOnRightAxis ? right_ : y_;
  std::string coordinates;
  for (const auto& [x, y] : points) coordinates += Number(ToX(x)) + "," + Number(ToY(y, axis)) + " ";
  items_ += "<polyline fill=\"none\" stroke-width=\"2.2\" stroke-linejoin=\"round\"" +
            Attribute("stroke", HexText(colour)) + Attribute("points", coordinates) + "/>\n";
  if (!legend.empty()) legend_.emplace_back(colour, legend);
}

void SvgPlot::AddDots(const std::vector<PlotPoint>& points, Colour colour, bool isHollow,
                      const std::string& legend) {
  for (const auto& [x, y] : points) {
    marks_ += "<circle r=\"3.4\" stroke-width=\"1.6\"" + Attribute("cx", ToX(x)) +
              Attribute("cy", ToY(y, y_)) + Attribute("stroke", HexText(colour)) +
              Attribute("fill", isHollow ? std::string("#ffffff") : HexText(colour)) + "/>\n";
  }
  if (!legend.empty()) legend_.emplace_back(colour, legend);
}

void SvgPlot::AddVerticalMark(double x, Colour colour, const std::string& text) {
  marks_ += LineFrom(ToX(x), kTop, ToX(x), kPlotBottom,
                     " stroke-dasharray=\"5 4\" stroke-width=\"1.4\"" + Attribute("stroke", HexText(colour)));
  marks_ +=
      TextAt(ToX(x), kTop - 8.0, text, kCentred + Attribute("fill", HexText(Mix(colour, {0, 0, 0}, 0.25))));
}

void SvgPlot::AddHorizontalMark(double y, Colour colour, const std::string& text) {
  const std::string hex = HexText(colour);
  marks_ += LineFrom(kLeft, ToY(y, y_), kPlotRight, ToY(y, y_),
                     " stroke-dasharray=\"5 4\" stroke-width=\"1.4\"" + Attribute("stroke", hex));
  marks_ += TextAt(kLeft + 8.0, ToY(y, y_) - 6.0, text, Attribute("fill", hex));
}

std::string SvgPlot::DrawNames() const {
  constexpr std::size_t kMostNames = 60;
  constexpr std::size_t kMostUpright = 12;
  const std::size_t step = (names_.size() + kMostNames - 1) / kMostNames;
  std::string svg;
  for (std::size_t i = 0; i < names_.size(); i += step) {
    const double x = ToX(static_cast<double>(i + 1));
    const double y = kPlotBottom + 16.0;
    const std::string turn =
        " text-anchor=\"end\" transform=\"rotate(-40 " + Number(x) + " " + Number(y) + ")\"";
    svg += TextAt(x, y, names_[i], names_.size() <= kMostUpright ? kCentred : turn);
  }
  return svg;
}

std::string SvgPlot::DrawHorizontalAxis() const {
  std::string svg = DrawNames();
  for (const double tick : names_.empty() ? AxisTicks(x_, 10) : std::vector<double>()) {
    const double x = ToX(tick);
    svg += LineFrom(x, kTop, x, kPlotBottom, kGridStyle);
    svg += TextAt(x, kPlotBottom + 18.0, Rounded(tick, 6), kCentred);
  }
  return svg +
         TextAt((kLeft + kPlotRight) / 2.0, kPlotBottom + 42.0, x_.label, kCentred + " font-size=\"14\"");
}

std::string SvgPlot::DrawVerticalAxis(const PlotAxis& axis, bool isRight) const {
  std::string svg;
  const double x = isRight ? kPlotRight : kLeft;
  for (const double tick : AxisTicks(axis, 6)) {
    const double y = ToY(tick, axis);
    if (!isRight) svg += LineFrom(kLeft, y, kPlotRight, y, kGridStyle);
    svg +=
        TextAt(isRight ? x + 8.0 : x - 8.0, y + 4.0, Rounded(tick, 6), isRight ? "" : " text-anchor=\"end\"");
  }
  const double labelX = isRight ? kWidth - 22.0 : 26.0;
  const double labelY = (kTop + kPlotBottom) / 2.0;
  const std::string turn = " transform=\"rotate(-90 " + Number(labelX) + " " + Number(labelY) + ")\"";
  return svg + TextAt(labelX, labelY, axis.label, kCentred + turn + " font-size=\"14\"");
}

// Entries in a row below the plot, in as many rows as they need.
std::string SvgPlot::DrawLegend() const {
  constexpr double kCharacterWidth = 7.2;  // on average, in the legend's size
  std::string svg;
  double x = kLeft;
  double y = kPlotBottom + 68.0;
  for (const auto& [colour, text] : legend_) {
    const double width = 36.0 + kCharacterWidth * static_cast<double>(text.size());
    if (x > kLeft && x + width > kPlotRight) {
      x = kLeft;
      y += 20.0;
    }
    svg += "<rect width=\"12\" height=\"12\" rx=\"2\"" + Attribute("x", x) + Attribute("y", y - 10.5) +
           Attribute("fill", HexText(colour)) + "/>\n";
    svg += TextAt(x + 18.0, y, text, "");
    x += width;
  }
  return svg;
}

std::string SvgPlot::Render() const {
  const std::string frame = Attribute("x", kLeft) + Attribute("y", kTop) +
                            Attribute("width", kPlotRight - kLeft) + Attribute("height", kPlotBottom - kTop);
  std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + Number(kWidth) + " " +
                    Number(kHeight) + "\" width=\"" + Number(kWidth) + "\" height=\"" + Number(kHeight) +
                    "\" font-family=\"Helvetica, Arial, 'DejaVu Sans', sans-serif\" font-size=\"12\" "
                    "fill=\"#2b2f36\">\n";
  svg += "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n";
  svg += TextAt(kLeft, 32.0, title_, " font-size=\"17\" font-weight=\"bold\"");
  svg += DrawHorizontalAxis() + DrawVerticalAxis(y_, false);
  if (hasRightAxis_) svg += DrawVerticalAxis(right_, true);
  svg += "<clipPath id=\"frame\"><rect" + frame + "/></clipPath>\n";
  svg += "<g clip-path=\"url(#frame)\">\n" + items_ + "</g>\n";
  svg += "<rect fill=\"none\" stroke=\"#8a919e\"" + frame + "/>\n";
  svg += marks_ + DrawLegend() + "</svg>\n";
  return svg;
}

}  // namespace example
