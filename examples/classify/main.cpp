// Trains a boosted classifier on labelled samples and tells how well it does: an example of a host program
// around AdaBoost.

#include <cstdio>

#include "options.h"
#include "report.h"
#include "samples.h"
#include "support/failure.h"
#include "training.h"

namespace {

int Run(int argc, char** argv) {
  const auto options = classify::ParseOptions(argc, argv);
  if (!options) return 0;
  example::Results results("classify", {options->dataPath}, options->output.isForced);
  results.OpenFolder(options->output.path);
  results.Announce({"report.txt", "scores.csv", "errors.svg", "roc.svg"});
  results.AnnounceFile(options->output.jsonPath);
  const classify::Samples samples = classify::ReadSamples(options->dataPath);
  const classify::Outcome outcome = classify::TrainAndTest(samples, *options);

  results.WriteText("report.txt", FullReport(samples, outcome, *options));
  results.WriteText("scores.csv", ScoresTable(samples, outcome));
  results.WriteText("errors.svg", PlotErrors(outcome));
  results.WriteText("roc.svg", PlotRoc(outcome));
  results.WriteTextFile(options->output.jsonPath, JsonReport(samples, outcome, *options));
  results.Commit();
  std::printf("%s4 files written into %s\n", Summary(samples, outcome, *options).c_str(),
              options->output.path.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return example::RunProgram("classify", Run, argc, argv);
}
