#pragma once

#include <string>

#include "options.h"
#include "samples.h"
#include "training.h"

namespace classify {

/// What was trained and how well it does, in a few lines.
std::string Summary(const Samples& samples, const Outcome& outcome, const Options& options);
/// The summary and the errors of every round.
std::string FullReport(const Samples& samples, const Outcome& outcome, const Options& options);
/// The same for programs.
std::string JsonReport(const Samples& samples, const Outcome& outcome, const Options& options);
/// One line per sample of the file: its label, whether it was held out, its score and the label it is given.
std::string ScoresTable(const Samples& samples, const Outcome& outcome);
/// Errors over the rounds (SVG).
std::string PlotErrors(const Outcome& outcome);
/// True over false positives of the judged group (SVG).
std::string PlotRoc(const Outcome& outcome);

}  // namespace classify
