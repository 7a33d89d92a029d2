#pragma once

#include <optional>
#include <string>
#include <vector>

#include "support/results.h"

namespace fit_curve {

/// What the user asks for; every value is within its legal range.
struct Options {
  std::string dataPath;
  example::OutputOptions output{"fit_curve.svg", "", false};
  std::string csvPath;  ///< of the fitted data; empty: none
  std::string model = "profile";
  std::string minimiser = "powell";
  int gaussians = 1;
  int iterations = 500;
  double tolerance = 1e-12;
  std::vector<double> start;  ///< in the units of the data; empty: estimated from them
  std::optional<int> seed;    ///< of the annealing; from the clock without
};

/// @return  nothing when the user asked for help, which is printed.
/// @throws example::Failure  for an unknown, missing or illegal option.
std::optional<Options> ParseOptions(int argc, char** argv);

}  // namespace fit_curve
