// Trains a boosted classifier on labelled samples and tells how well it does: an example of a host program
// around AdaBoost.

#include <cstdio>

#include "options.h"
#include "report.h"
#include "samples.h"
#include "support/failure.h"
#include "support/output_folder.h"
#include "training.h"

namespace {

int Run(int argc, char** argv) {
  const auto options = classify::ParseOptions(argc, argv);
  if (!options) return 0;
  example::OutputFolder folder(options->outputPath);
  const classify::Samples samples = classify::ReadSamples(options->dataPath);
  const classify::Outcome outcome = classify::TrainAndTest(samples, *options);

  folder.WriteText("report.txt", FullReport(samples, outcome, *options));
  folder.WriteText("scores.csv", ScoresTable(samples, outcome));
  folder.WriteText("errors.svg", PlotErrors(outcome));
  folder.WriteText("roc.svg", PlotRoc(outcome));
  folder.Commit({});
  std::printf("%s4 files written into %s\n", Summary(samples, outcome, *options).c_str(),
              options->outputPath.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return example::RunProgram("classify", Run, argc, argv);
}
