#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "model.h"

namespace classify {

/// Labelled samples; of the two labels the greater one is the positive class: in number, or in the alphabet
/// where one of them is no number.
struct Samples {
  std::vector<std::vector<double>> features;  ///< of each sample
  std::vector<bool> isPositive;               ///< empty: the samples have no labels
  std::string negativeLabel;
  std::string positiveLabel;

  std::size_t Count() const { return features.size(); }
  std::size_t FeaturesCount() const { return features.front().size(); }
};

/// Reads a file of samples, one per line with its label last.
/// @throws example::Failure  naming the line that is not as long as the others or not of finite numbers, and
/// when
///                           there are not exactly two labels.
Samples ReadSamples(const std::string& path);

/// Reads samples of a model's features, with labels of the model's or, in every line, without.
/// @throws example::Failure  likewise, and for a label that the model does not know.
Samples ReadSamplesFor(const Model& model, const std::string& path);

}  // namespace classify
