#include "report.h"

#include <algorithm>
#include <cmath>

#include "support/json_text.h"
#include "support/svg_plot.h"
#include "support/text.h"

namespace classify {

namespace {

using example::Colour;
using example::Fixed;
using example::PlotAxis;
using example::PlotPoint;
using example::RightAligned;
using example::Shortest;

constexpr Colour kTrainedColour{0, 114, 178};
constexpr Colour kHeldOutColour{213, 94, 0};

std::string Percent(double share) {
  return Fixed(100.0 * share, 2) + " %";
}

std::vector<PlotPoint> ErrorLine(const Group& group) {
  std::vector<PlotPoint> points;
  for (std::size_t i = 0; i < group.errors.size(); ++i) {
    points.emplace_back(static_cast<double>(i + 1), 100.0 * group.errors[i]);
  }
  return points;
}

double LargestError(const Group& group) {
  return group.errors.empty() ? 0.0 : *std::max_element(group.errors.begin(), group.errors.end());
}

// Samples by what they are and what they are taken for; negative first.
struct Confusion {
  std::size_t counts[2][2] = {};
  explicit Confusion(const Group& group) {
    for (std::size_t i = 0; i < group.scores.size(); ++i)
      ++counts[group.isPositive[i] ? 1 : 0][group.scores[i] > 0.0 ? 1 : 0];
  }
  // The share of one class that is recognised; not a number without samples of it.
  double ShareOf(int isPositive) const {
    const auto& row = counts[isPositive];
    return static_cast<double>(row[isPositive]) / static_cast<double>(row[0] + row[1]);
  }
};

std::string ShareText(double share) {
  return std::isfinite(share) ? Percent(share) : "unknown";
}

std::string ConfusionTable(const Samples& samples, const Group& group) {
  const Confusion confusion(group);
  const std::string labels[] = {samples.negativeLabel, samples.positiveLabel};
  std::string text = "\n  label, down; taken for, across\n" + RightAligned("", 16) +
                     RightAligned(labels[0], 12) + RightAligned(labels[1], 12) + "\n";
  for (int row = 0; row < 2; ++row) {
    text += RightAligned(labels[row], 16);
    for (const std::size_t count : confusion.counts[row]) text += RightAligned(std::to_string(count), 12);
    text += "\n";
  }
  return text + "  sensitivity    " + RightAligned(ShareText(confusion.ShareOf(1)), 9) +
         "\n  specificity    " + RightAligned(ShareText(confusion.ShareOf(0)), 9) + "\n";
}

}  // namespace

std::string Summary(const Samples& samples, const Outcome& outcome, const Options& options) {
  const Group& judged = JudgedGroup(outcome);
  const Roc roc = ComputeRoc(judged);
  const Model& model = outcome.model;
  std::string text = model.variant + " AdaBoost, " + std::to_string(model.rounds) + " rounds of depth " +
                     std::to_string(model.depth) + ", " + std::to_string(model.cells.size()) + " cells\n";
  if (!options.applyModelPath.empty()) text += "  model          " + options.applyModelPath + "\n";
  text += "  samples        " + std::to_string(samples.Count()) + " of " +
          std::to_string(samples.FeaturesCount()) + " features, positive label " + samples.positiveLabel +
          ", negative " + samples.negativeLabel + "\n";
  for (const Group* group : {&outcome.trained, &outcome.heldOut}) {
    if (group->errors.empty()) continue;
    text += "  error          " + RightAligned(Percent(group->errors.back()), 8) + " of " +
            std::to_string(group->samples.size()) + " samples " + group->name + "\n";
  }
  if (!roc.points.empty()) {
    text +=
        "  area under ROC " + RightAligned(Fixed(roc.area, 4), 8) + " on the samples " + judged.name + "\n";
  }
  return judged.errors.empty() ? text : text + ConfusionTable(samples, judged);
}

std::string FullReport(const Samples& samples, const Outcome& outcome, const Options& options) {
  std::string text = Summary(samples, outcome, options);
  if (outcome.trained.errors.empty()) return text;
  text += "\n  round   trained upon";
  const bool tests = !outcome.heldOut.errors.empty();
  text += tests ? "   held out\n" : "\n";
  for (std::size_t i = 0; i < outcome.trained.errors.size(); ++i) {
    text += RightAligned(std::to_string(i + 1), 7) + RightAligned(Percent(outcome.trained.errors[i]), 15);
    if (tests) text += RightAligned(Percent(outcome.heldOut.errors[i]), 11);
    text += "\n";
  }
  return text;
}

std::string JsonReport(const Samples& samples, const Outcome& outcome, const Options& options) {
  example::Json json;
  json["data"] = options.dataPath;
  json["model"] = nullptr;
  if (!options.applyModelPath.empty()) json["model"] = options.applyModelPath;
  json["variant"] = outcome.model.variant;
  json["rounds"] = outcome.model.rounds;
  json["depth"] = outcome.model.depth;
  if (options.folds > 0) json["folds"] = options.folds;
  json["labels"] = {samples.negativeLabel, samples.positiveLabel};
  json["samples"] = samples.Count();
  json["features"] = samples.FeaturesCount();
  json["cells"] = outcome.model.cells.size();
  for (const Group* group : {&outcome.trained, &outcome.heldOut}) {
    if (group->errors.empty()) continue;
    const Roc roc = ComputeRoc(*group);
    const char* key = !options.applyModelPath.empty() ? "applied_to" : "held_out";
    example::Json& entry = json[group == &outcome.heldOut ? key : "trained_upon"];
    entry["samples"] = group->samples.size();
    entry["error"] = group->errors.back();
    entry["errors"] = group->errors;
    const Confusion confusion(*group);
    entry["confusion"] = confusion.counts;
    entry["sensitivity"] = confusion.ShareOf(1);
    entry["specificity"] = confusion.ShareOf(0);
    entry["area_under_roc"] = nullptr;
    if (!roc.points.empty()) entry["area_under_roc"] = roc.area;
  }
  return example::JsonText(json);
}

std::string ScoresTable(const Samples& samples, const Outcome& outcome) {
  std::vector<std::string> lines(samples.Count());
  for (const Group* group : {&outcome.trained, &outcome.heldOut}) {
    for (std::size_t i = 0; i < group->samples.size(); ++i) {
      const std::size_t place = group->samples[i];
      const auto labelOf = [&](bool isPositive) {
        return isPositive ? samples.positiveLabel : samples.negativeLabel;
      };
      const std::string label = group->isPositive.empty() ? "" : labelOf(group->isPositive[i]);
      lines[place] = std::to_string(place + 1) + "," + group->name + "," + label + "," +
                     labelOf(group->scores[i] > 0.0) + "," + Shortest(group->scores[i]) + "\n";
    }
  }
  std::string table = "sample,group,label,predicted,score\n";
  for (const std::string& line : lines) table += line;
  return table;
}

std::string PlotErrors(const Outcome& outcome) {
  const double largest = std::max({LargestError(outcome.trained), LargestError(outcome.heldOut), 0.01});
  const double lastRound = static_cast<double>(std::max<std::size_t>(outcome.trained.errors.size(), 2));
  example::SvgPlot plot("Error over the rounds", PlotAxis{"round", 1.0, lastRound},
                        PlotAxis{"error (%)", 0.0, 105.0 * largest});
  plot.AddLine(ErrorLine(outcome.trained), kTrainedColour, "trained upon");
  if (!outcome.heldOut.errors.empty())
    plot.AddLine(ErrorLine(outcome.heldOut), kHeldOutColour, outcome.heldOut.name);
  return plot.Render();
}

std::string PlotRoc(const Outcome& outcome) {
  const Group& judged = JudgedGroup(outcome);
  const Roc roc = ComputeRoc(judged);
  constexpr Colour kChanceColour{160, 160, 160};
  example::SvgPlot plot("Receiver operating characteristic, samples " + judged.name,
                        PlotAxis{"false positives", 0.0, 1.0}, PlotAxis{"true positives", 0.0, 1.0});
  plot.AddLine({{0.0, 0.0}, {1.0, 1.0}}, kChanceColour, "chance");
  if (!roc.points.empty()) plot.AddLine(roc.points, kTrainedColour, "area " + Fixed(roc.area, 4));
  return plot.Render();
}

}  // namespace classify
