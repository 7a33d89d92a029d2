#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "model.h"
#include "options.h"
#include "samples.h"

namespace classify {

/// Some of the samples, with what the classifier says of them.
struct Group {
  std::string name;
  std::vector<std::size_t> samples;  ///< their places in the file
  std::vector<bool> isPositive;      ///< empty: unknown
  std::vector<double> scores;
  std::vector<double> errors;  ///< share of the samples on the wrong side of 0, after each round
};

struct Outcome {
  Group trained{"trained upon", {}, {}, {}, {}};
  Group heldOut{"held out", {}, {}, {}, {}};  ///< empty when nothing was held out
  Model model;                                ///< of the training, or the one that was applied
};

/// Splits the samples, trains round by round and tests after each. With folds every sample is held out once,
/// and the model is that of all samples.
/// @throws example::Failure  when a class has no sample to train upon, or without memory.
Outcome TrainAndTest(const Samples& samples, const Options& options);

/// Scores samples by a model; the group is called "applied to".
Outcome ApplyModel(const Samples& samples, const Model& model);

/// The group that a classifier is judged by: the samples held out, if any.
const Group& JudgedGroup(const Outcome& outcome);

/// A receiver operating characteristic: shares of false and true positives for every threshold, from (0, 0)
/// to (1, 1), and the area below.
struct Roc {
  std::vector<std::pair<double, double>> points;
  double area = 0.0;
};
/// @return  no points when the group lacks a class.
Roc ComputeRoc(const Group& group);

}  // namespace classify
