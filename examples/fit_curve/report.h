#pragma once

#include <string>

#include "curve.h"
#include "minimisers.h"
#include "models.h"
#include "options.h"
#include "quality.h"

namespace fit_curve {

/// Parameters with their standard errors, cost, R squared, how the run ended, iterations and evaluations, one
/// per line.
std::string TextReport(const Problem& problem, const Outcome& outcome, const Quality& quality,
                       const Options& options);

/// The same for programs.
std::string JsonReport(const Problem& problem, const Outcome& outcome, const Quality& quality,
                       const Options& options);

/// The samples as dots, the model as a line and the residuals on the right axis: an SVG file.
std::string DrawFit(const Problem& problem, const Curve& curve, const Quality& quality,
                    const Options& options);

/// Samples, model and residuals as a table of commas.
std::string FittedTable(const Curve& curve, const Quality& quality);

}  // namespace fit_curve
