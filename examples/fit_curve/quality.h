#pragma once

#include <string>
#include <vector>

#include "curve.h"
#include "models.h"

namespace fit_curve {

/// How well the model with its present parameters describes the samples.
struct Quality {
  std::vector<double> fitted;     ///< the model at each abscissa
  std::vector<double> residuals;  ///< sample minus model
  double rSquared = 0.0;          ///< share of the samples' variance that the model explains
  /// Of each parameter, from the model's derivatives at the fit and the variance of the residuals; not a
  /// number where the samples do not tell the parameters apart, or are no more than these.
  std::vector<double> standardErrors;
  std::string whyNoErrors;  ///< in the library's words, where their equations have no solution; else empty
};

Quality Assess(const Problem& problem, const Curve& curve);

}  // namespace fit_curve
