// Trains a boosted classifier on labelled samples and tells how well it does: an example of a host program
// around AdaBoost.

#include <cstdio>

#include "options.h"
#include "report.h"
#include "samples.h"
#include "support/failure.h"
#include "training.h"

namespace {

void WriteResults(example::Results& results, const classify::Samples& samples,
                  const classify::Outcome& outcome, const classify::Options& options) {
  results.WriteText("report.txt", FullReport(samples, outcome, options));
  results.WriteText("scores.csv", ScoresTable(samples, outcome));
  if (!outcome.trained.errors.empty()) results.WriteText("errors.svg", PlotErrors(outcome));
  if (!samples.isPositive.empty()) results.WriteText("roc.svg", PlotRoc(outcome));
  if (!options.saveModelPath.empty()) results.WriteTextFile(options.saveModelPath, ModelText(outcome.model));
  results.WriteTextFile(options.output.jsonPath, JsonReport(samples, outcome, options));
  results.Commit();
}

int Run(int argc, char** argv) {
  const auto options = classify::ParseOptions(argc, argv);
  if (!options) return 0;
  const bool applies = !options->applyModelPath.empty();
  std::vector<std::string> inputs{options->dataPath};
  if (applies) inputs.push_back(options->applyModelPath);
  example::Results results("classify", inputs, options->output.isForced);
  results.OpenFolder(options->output.path);
  results.Announce({"report.txt", "scores.csv", "errors.svg", "roc.svg"});
  results.AnnounceFile(options->output.jsonPath);
  results.AnnounceFile(options->saveModelPath);
  std::optional<classify::Model> model;
  if (applies) model = classify::ReadModel(options->applyModelPath);
  const classify::Samples samples = applies ? classify::ReadSamplesFor(*model, options->dataPath)
                                            : classify::ReadSamples(options->dataPath);
  const classify::Outcome outcome =
      applies ? classify::ApplyModel(samples, *model) : classify::TrainAndTest(samples, *options);
  WriteResults(results, samples, outcome, *options);
  std::printf("%s%zu files written into %s\n", Summary(samples, outcome, *options).c_str(),
              results.GetNames().size(), options->output.path.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return example::RunProgram("classify", Run, argc, argv);
}
