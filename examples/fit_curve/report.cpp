#include "report.h"

#include <algorithm>
#include <cmath>

#include "support/json_text.h"
#include "support/svg_plot.h"
#include "support/text.h"

namespace fit_curve {

namespace {

using example::PlotAxis;
using example::PlotPoint;

constexpr example::Colour kDataColour{120, 132, 150};
constexpr example::Colour kModelColour{213, 94, 0};
constexpr example::Colour kResidualColour{86, 180, 233};
constexpr int kModelPoints = 600;
constexpr int kDigits = 7;

// A line such as "sigma                  2.5".
std::string Line(const std::string& name, const std::string& value) {
  constexpr std::size_t kWidth = 24;
  return name + std::string(name.size() < kWidth ? kWidth - name.size() : 1, ' ') + value + "\n";
}

PlotAxis AxisOf(const std::string& label, const std::vector<double>& values, double margin) {
  const auto [low, high] = std::minmax_element(values.begin(), values.end());
  const double range = *high > *low ? *high - *low : std::max(std::abs(*low), 1.0);
  return {label, *low - margin * range, *high + margin * range, false};
}

}  // namespace

std::string TextReport(const Problem& problem, const Outcome& outcome, const Quality& quality,
                       const Options& options) {
  std::string text;
  const std::vector<double> parameters = problem.Parameters();
  for (std::size_t k = 0; k < parameters.size(); ++k) {
    text += Line(problem.names[k], example::Rounded(parameters[k], kDigits));
  }
  for (std::size_t k = 0; k < parameters.size(); ++k) {
    const double error = quality.standardErrors[k];
    text += Line("standard error " + problem.names[k],
                 std::isfinite(error) ? example::Rounded(error, 3) : "unknown");
  }
  if (!quality.whyNoErrors.empty()) text += Line("why unknown", quality.whyNoErrors);
  text += Line(problem.costName, example::Rounded(outcome.cost, kDigits));
  text += Line("R squared", example::Rounded(quality.rSquared, kDigits));
  text += Line("ended", Mth_StopReasonText(outcome.stopReason));
  text += Line("at the start", example::Rounded(outcome.startCost, kDigits));
  text += Line(options.minimiser == "annealing" ? "stages, at most" : "iterations",
               std::to_string(outcome.iterations));
  text += Line("evaluations", std::to_string(*problem.evaluationsCount));
  return text;
}

std::string JsonReport(const Problem& problem, const Outcome& outcome, const Quality& quality,
                       const Options& options) {
  const std::vector<double> parameters = problem.Parameters();
  example::Json json;
  json["data"] = options.dataPath;
  json["model"] = options.model;
  json["minimiser"] = options.minimiser;
  for (std::size_t k = 0; k < parameters.size(); ++k) json["parameters"][problem.names[k]] = parameters[k];
  for (std::size_t k = 0; k < parameters.size(); ++k)
    json["standard_errors"][problem.names[k]] = quality.standardErrors[k];
  json["r_squared"] = quality.rSquared;
  json["converged"] = outcome.stopReason == MTH_STOP_REASON::Converged;
  json["stop_reason"] = Mth_StopReasonText(outcome.stopReason);
  json["cost"] = {{"name", problem.costName}, {"value", outcome.cost}, {"at_the_start", outcome.startCost}};
  json["iterations"] = outcome.iterations;
  json["evaluations"] = *problem.evaluationsCount;
  return example::JsonText(json);
}

std::string DrawFit(const Problem& problem, const Curve& curve, const Quality& quality,
                    const Options& options) {
  const std::vector<double> parameters = problem.Parameters();
  const PlotAxis horizontal = AxisOf("x", curve.x, 0.0);
  example::SvgPlot plot(options.model + " by " + options.minimiser, horizontal, AxisOf("y", curve.y, 0.06));
  std::vector<PlotPoint> samples;
  for (std::size_t i = 0; i < curve.x.size(); ++i) samples.emplace_back(curve.x[i], curve.y[i]);
  std::vector<PlotPoint> model;
  for (int i = 0; i <= kModelPoints; ++i) {
    const double x = horizontal.minimum + i * (horizontal.maximum - horizontal.minimum) / kModelPoints;
    model.emplace_back(x, problem.valueAt(parameters, x));
  }
  std::vector<PlotPoint> residuals;
  for (std::size_t i = 0; i < curve.x.size(); ++i) residuals.emplace_back(curve.x[i], quality.residuals[i]);
  std::sort(residuals.begin(), residuals.end());
  // Four times as high as they are: below the model, which they would hide.
  PlotAxis right = AxisOf("residual", quality.residuals, 0.06);
  right.maximum += 3.0 * (right.maximum - right.minimum);
  plot.SetRightAxis(right);
  plot.AddLine(residuals, kResidualColour, "residuals", true);
  plot.AddDots(samples, kDataColour, true, "data");
  plot.AddLine(model, kModelColour, "model");
  return plot.Render();
}

std::string FittedTable(const Curve& curve, const Quality& quality) {
  std::string table = "x,y,model,residual\n";
  for (std::size_t i = 0; i < curve.x.size(); ++i) {
    const double row[] = {curve.x[i], curve.y[i], quality.fitted[i], quality.residuals[i]};
    for (int column = 0; column < 4; ++column)
      table.append(example::Shortest(row[column])).append(column < 3 ? "," : "\n");
  }
  return table;
}

}  // namespace fit_curve
