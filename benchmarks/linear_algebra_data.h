#pragma once

#include <cstddef>
#include <random>
#include <vector>

#include "mth/matrix/Mth_matrix.h"

namespace mth_benchmark {

/// Uniform elements in [-1, 1], row-major; the same for this library and for every peer.
inline std::vector<double> Elements(int rows, int columns) {
  std::mt19937 engine(1);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<double> elements(static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns));
  for (double& element : elements) element = uniform(engine);
  return elements;
}

/// The matrix of these elements.
inline MTH_MATRIX Random(int rows, int columns) {
  MTH_MATRIX matrix(rows, columns, 0);
  std::vector<double> elements = Elements(rows, columns);
  matrix.SetVector(elements.data(), rows * columns);
  return matrix;
}

}  // namespace mth_benchmark
