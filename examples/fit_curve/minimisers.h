#pragma once

#include "models.h"
#include "mth/Mth_stop_reason.h"
#include "options.h"

namespace fit_curve {

/// What a minimiser reported; the parameters are in the cost function.
struct Outcome {
  int iterations = 0;
  double startCost = 0.0;  ///< in the units of the data
  double cost = 0.0;
  MTH_STOP_REASON stopReason = MTH_STOP_REASON::NotRun;
};

/// Fits the problem with the minimiser of that name.
/// @throws example::Failure  when the cost at the start, or at the end, is not finite.
Outcome Minimise(Problem& problem, const Options& options);

}  // namespace fit_curve
