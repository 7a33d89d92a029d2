#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "options.h"
#include "samples.h"

namespace classify {

/// Some of the samples, with what the classifier says of them.
struct Group {
  std::vector<std::size_t> samples;  ///< their places in the file
  std::vector<bool> isPositive;
  std::vector<double> scores;
  std::vector<double> errors;  ///< share of the samples on the wrong side of 0, after each round
};

struct Outcome {
  Group trained;
  Group heldOut;               ///< empty when nothing was held out
  std::size_t cellsCount = 0;  ///< cells of the feature space that the classifier sums over
};

/// Splits the samples, trains round by round and tests after each.
/// @throws example::Failure  when a class has no sample to train upon, or without memory.
Outcome TrainAndTest(const Samples& samples, const Options& options);

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
