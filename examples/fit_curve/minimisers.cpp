#include "minimisers.h"

#include <mth/statistics/Mth_random.h>

#include <cmath>

#include "support/cancellation.h"
#include "support/failure.h"

namespace fit_curve {

namespace {

int annealingSeed = 0;

int Anneal(MTH_FUNCT& cost, double* start, const Options& options) {
  if (options.seed) {
    annealingSeed = *options.seed;
    Mth_SetRandomClock([] { return annealingSeed; });
  }
  SIMULATED_ANNEALING_PARAM settings{};
  settings.temperatureFactor = 0.97;
  settings.transitionsPerStage = 100 * cost.GetParametersCount();
  settings.stagesWithoutImprovement = options.iterations;
  settings.rejectionsPerStage = settings.transitionsPerStage;
  settings.maximumStages = options.iterations;
  settings.initialTemperature = 0.1 * cost.GetValue();
  settings.stepAmplitude = 0.3;
  settings.amplitudeFactor = 0.98;
  cost.ComputeOptimumSimmulatedAnnealing(&settings, start, 0, 0.0, nullptr);
  return options.iterations;
}

// The two that are made for two parameters would end far from the best fit with more.
void CheckMinimiser(const std::string& name, int parametersCount) {
  if ((name == "nelder-mead" || name == "steepest") && parametersCount > 2) {
    throw example::Failure("--minimiser " + name + " is for two parameters: the catenary alone");
  }
}

int Run(MTH_FUNCT& cost, double* start, const Options& options) {
  const double tolerance = options.tolerance;
  int iterations = 0;
  short shortIterations = 0;
  if (options.minimiser == "annealing") return Anneal(cost, start, options);
  if (options.minimiser == "nelder-mead") {
    cost.SetSimplexSize(0.5);
    cost.ComputeOptimum_Nelder_Mead(start, tolerance, options.iterations, &iterations);
    return iterations;
  }
  if (options.minimiser == "steepest") {
    cost.SetConstant_for_Steepes_Optimization(0.1);
    cost.Compute_Optimum_Steepes(start, tolerance, options.iterations, &iterations);
    return iterations;
  }
  if (options.minimiser == "bfgs") {
    cost.SetGradientStep(1e-5);
    cost.ComputeOptimumQNBFGS(start, tolerance, &shortIterations);
    return shortIterations;
  }
  cost.ComputeOptimumPowell(start, static_cast<short>(options.iterations), tolerance, &shortIterations, true);
  return shortIterations;
}

}  // namespace

Outcome Minimise(Problem& problem, const Options& options) {
  MTH_FUNCT& cost = *problem.cost;
  CheckMinimiser(options.minimiser, cost.GetParametersCount());
  std::vector<double> start = problem.ToCost(problem.start);
  Outcome outcome;
  outcome.startCost = cost.EvaluateAtPoint(start.data()) * problem.costUnit;  // defines the object, too
  if (!std::isfinite(outcome.startCost)) throw example::Failure("the cost at the start is not finite");
  cost.SetParameters(start.data());
  cost.Evaluate();
  *problem.evaluationsCount = 0;
  outcome.iterations = Run(cost, start.data(), options);
  example::ThrowIfCancelled();
  outcome.stopReason = cost.GetStopReason();
  outcome.cost = cost.GetValue() * problem.costUnit;
  if (!std::isfinite(outcome.cost))
    throw example::Failure("the fit left the domain of the model; try another --start");
  return outcome;
}

}  // namespace fit_curve
