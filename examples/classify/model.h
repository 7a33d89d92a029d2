#pragma once

#include <string>
#include <vector>

#include "mth/boosting/Mth_clustering_tree.h"
#include "mth/matrix/Mth_matrix.h"

namespace classify {

/// An interval that a feature must lie in, its ends excluded; a bound of MTH_CLUSTERING_TREE::kUnbounded is
/// none.
struct Condition {
  int feature;
  double lower;
  double upper;
};

/// A cell of the feature space, and what it adds to the score of the samples in it.
struct Cell {
  std::vector<Condition> conditions;
  double confidence;
};

/// A trained classifier: the score of a sample is the sum over its cells, above 0 it is the positive class.
struct Model {
  std::string variant;
  int rounds = 0;
  int depth = 0;
  int featuresCount = 0;
  std::string negativeLabel;
  std::string positiveLabel;
  std::vector<Cell> cells;
};

/// The conditions of a node and of its parents.
Cell CellOf(const MTH_CLUSTERING_TREE& node, double confidence);

/// The score of each column of `features`, a row per feature.
std::vector<double> Scores(const Model& model, MTH_MATRIX& features);

/// The model as a text for a file (JSON), whose numbers read back as the same.
std::string ModelText(const Model& model);

/// @throws example::Failure  naming the file, when it cannot be read or holds no such model.
Model ReadModel(const std::string& path);

}  // namespace classify
