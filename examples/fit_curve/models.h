#pragma once

#include <mth/optimise/Mth_funct.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "curve.h"
#include "options.h"

namespace fit_curve {

/// A model of a curve and the cost function that fits it.
///
/// The minimisers take first steps of about 1 and end them within about 1e-5, so the cost works on samples
/// scaled to that size: a parameter of the data is offset + unit * parameter of the cost.
struct Problem {
  std::vector<std::string> names;
  std::vector<double> offsets;
  std::vector<double> units;
  std::vector<double> start;  ///< in the units of the data
  std::string costName;
  double costUnit = 1.0;
  /// The model at an abscissa, both and the parameters in the units of the data.
  std::function<double(const std::vector<double>& parameters, double x)> valueAt;

  std::vector<double> scaledX;
  std::vector<double> scaledY;
  std::unique_ptr<long> evaluationsCount = std::make_unique<long>(0);
  std::unique_ptr<MTH_FUNCT> cost;  ///< may borrow the samples and the count above

  std::vector<double> ToCost(const std::vector<double>& parameters) const;
  /// The parameters of the cost function as they are now.
  std::vector<double> Parameters() const;
};

/// @throws example::Failure  when the model cannot be fitted to these data or from that start.
Problem MakeProblem(const Options& options, const Curve& curve);

}  // namespace fit_curve
