#pragma once

#include <optional>
#include <string>

#include "support/results.h"

namespace classify {

struct Options {
  std::string dataPath;
  example::OutputOptions output{"classification", "", false};
  std::string variant = "gentle";  ///< real, gentle or modest
  int rounds = 50;
  int depth = 3;
  double heldOut = 0.3;        ///< share of each class that is not trained upon
  unsigned seed = 1;           ///< of the choice of the samples held out
  int folds = 0;               ///< of a cross-validation; 0: none
  std::string saveModelPath;   ///< empty: nowhere
  std::string applyModelPath;  ///< of a model to apply instead of training one; empty: none
};

/// @return  nothing when the user asked for help, which is printed.
/// @throws example::Failure  for an option that is unknown or illegal.
std::optional<Options> ParseOptions(int argc, char** argv);

}  // namespace classify
