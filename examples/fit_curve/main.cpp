// Fits a model to a curve: an example of a host program around the cost functions and their minimisers.

#include <cstdio>

#include "curve.h"
#include "minimisers.h"
#include "models.h"
#include "options.h"
#include "quality.h"
#include "report.h"
#include "support/failure.h"

namespace {

int Run(int argc, char** argv) {
  const std::optional<fit_curve::Options> options = fit_curve::ParseOptions(argc, argv);
  if (!options) return 0;
  example::Results results("fit_curve", {options->dataPath}, options->output.isForced);
  results.AnnounceFile(options->output.path);
  results.AnnounceFile(options->output.jsonPath);
  results.AnnounceFile(options->csvPath);
  const fit_curve::Curve curve = fit_curve::ReadCurve(options->dataPath);
  fit_curve::Problem problem = fit_curve::MakeProblem(*options, curve);
  const fit_curve::Outcome outcome = fit_curve::Minimise(problem, *options);
  const fit_curve::Quality quality = fit_curve::Assess(problem, curve);
  results.WriteTextFile(options->output.path, fit_curve::DrawFit(problem, curve, quality, *options));
  results.WriteTextFile(options->csvPath, fit_curve::FittedTable(curve, quality));
  results.WriteTextFile(options->output.jsonPath, fit_curve::JsonReport(problem, outcome, quality, *options));
  results.Commit();
  std::printf("%s\nWritten: %s\n", fit_curve::TextReport(problem, outcome, quality, *options).c_str(),
              options->output.path.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return example::RunProgram("fit_curve", Run, argc, argv);
}
