#pragma once

#include <string>

#include "curve.h"
#include "minimisers.h"
#include "models.h"
#include "options.h"

namespace fit_curve {

/// Parameters, cost, iterations and evaluations, one per line.
std::string TextReport(const Problem& problem, const Outcome& outcome, const Options& options);

/// The same for programs.
std::string JsonReport(const Problem& problem, const Outcome& outcome, const Options& options);

/// The samples as dots and the model as a line: an SVG file.
std::string DrawFit(const Problem& problem, const Curve& curve, const Options& options);

}  // namespace fit_curve
